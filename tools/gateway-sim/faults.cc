#include "faults.h"

#include <charconv>
#include <cstdlib>
#include <sstream>

#include "gateway.h"

namespace gateway_sim {
namespace {

constexpr uint64_t kMaxMilliseconds = 600000;  // ten minutes

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string form_decode(const std::string &text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+') {
      out += ' ';
    } else if (text[i] == '%' && i + 2 < text.size() && hex_value(text[i + 1]) >= 0 &&
               hex_value(text[i + 2]) >= 0) {
      out += static_cast<char>(hex_value(text[i + 1]) * 16 + hex_value(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

bool read_number(const std::string &text, uint64_t *value) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

bool read_flag(const std::string &text, bool *value) {
  if (text.empty() || text == "1" || text == "true" || text == "yes") return *value = true, true;
  if (text == "0" || text == "false" || text == "no") return *value = false, true;
  return false;
}

std::string quoted(const std::string &text) { return "\"" + text + "\""; }

const char *const kKnown =
    "path, skip, count, probability, status, envelope, context, malformed, pad, delay, drop, "
    "truncate, reset, throttle, slice, slow-close";

template <typename T>
void put(std::ostringstream &out, const char *key, const std::optional<T> &value) {
  if (value) out << ' ' << key << '=' << *value;
}

}  // namespace

bool Effects::any() const {
  return status || envelope || malformed || pad || delay_ms || drop || truncate || reset ||
         throttle || slice || slow_close_ms;
}

bool Effects::shapes_the_wire() const {
  return truncate || reset || throttle || slice || slow_close_ms;
}

void Effects::merge(const Effects &later) {
  auto take = [](auto &mine, const auto &theirs) {
    if (theirs) mine = theirs;
  };
  take(status, later.status);
  take(envelope, later.envelope);
  if (!later.context.empty()) context = later.context;
  malformed = malformed || later.malformed;
  take(pad, later.pad);
  take(delay_ms, later.delay_ms);
  drop = drop || later.drop;
  take(truncate, later.truncate);
  take(reset, later.reset);
  take(throttle, later.throttle);
  take(slice, later.slice);
  take(slow_close_ms, later.slow_close_ms);
}

std::string Effects::describe() const {
  std::ostringstream out;
  put(out, "status", status);
  if (envelope) out << " envelope=" << envelope->first << '/' << envelope->second;
  if (!context.empty()) out << " context=" << context;
  if (malformed) out << " malformed";
  put(out, "pad", pad);
  put(out, "delay", delay_ms);
  if (drop) out << " drop";
  put(out, "truncate", truncate);
  put(out, "reset", reset);
  put(out, "throttle", throttle);
  put(out, "slice", slice);
  put(out, "slow-close", slow_close_ms);
  std::string text = out.str();
  return text.empty() ? text : text.substr(1);
}

Fields parse_fields(const std::string &text) {
  Fields fields;
  std::string word;
  auto flush = [&] {
    if (word.empty()) return;
    size_t equals = word.find('=');
    if (equals == std::string::npos)
      fields.emplace_back(form_decode(word), "");
    else
      fields.emplace_back(form_decode(word.substr(0, equals)), form_decode(word.substr(equals + 1)));
    word.clear();
  };
  for (char c : text) {
    if (c == '&' || c == ' ' || c == '\n' || c == '\r' || c == '\t')
      flush();
    else
      word += c;
  }
  flush();
  return fields;
}

bool FaultRule::matches(const std::string &request_path) const {
  if (path == "*") return true;
  if (!path.empty() && path.back() == '*')
    return request_path.compare(0, path.size() - 1, path, 0, path.size() - 1) == 0;
  return request_path == path;
}

std::string FaultRule::describe() const {
  std::ostringstream out;
  out << "id=" << id << " path=" << path;
  if (skip) out << " skip=" << skip;
  if (count) out << " count=" << *count;
  if (probability < 1) out << " probability=" << probability;
  out << ' ' << effects.describe() << " seen=" << seen << " applied=" << applied;
  return out.str();
}

std::optional<FaultRule> parse_rule(const Fields &fields, std::string *error) {
  FaultRule rule;
  Effects &e = rule.effects;
  for (const auto &[key, value] : fields) {
    auto fail = [&, key = key, value = value](const std::string &needs) {
      *error = key + " needs " + needs + ", not " + quoted(value);
      return std::nullopt;
    };
    uint64_t number = 0;
    bool number_ok = read_number(value, &number);
    if (key == "path") {
      if (!pattern_serves(value)) {
        *error = "path " + quoted(value) + " matches no served path";
        return std::nullopt;
      }
      rule.path = value;
    } else if (key == "skip") {
      if (!number_ok) return fail("a count of requests");
      rule.skip = number;
    } else if (key == "count") {
      if (!number_ok || number == 0) return fail("a count of requests above 0");
      rule.count = number;
    } else if (key == "probability") {
      char *end = nullptr;
      double p = std::strtod(value.c_str(), &end);
      if (value.empty() || end != value.c_str() + value.size() || !(p >= 0 && p <= 1))
        return fail("a number from 0 to 1");
      rule.probability = p;
    } else if (key == "status") {
      if (!number_ok || number < 100 || number > 599) return fail("an HTTP status from 100 to 599");
      e.status = static_cast<int>(number);
    } else if (key == "envelope") {
      size_t slash = value.find('/');
      std::string code = value.substr(0, slash);
      std::string sub = slash == std::string::npos ? "0" : value.substr(slash + 1);
      if (code.empty()) return fail("ErrCode[/ErrSubCode]");
      e.envelope = {code, sub};
    } else if (key == "context") {
      e.context = value;
    } else if (key == "malformed") {
      if (!read_flag(value, &e.malformed)) return fail("no value, or true or false");
    } else if (key == "drop") {
      if (!read_flag(value, &e.drop)) return fail("no value, or true or false");
    } else if (key == "pad") {
      if (!number_ok) return fail("a number of bytes");
      e.pad = number;
    } else if (key == "delay" || key == "slow-close") {
      if (!number_ok || number > kMaxMilliseconds) return fail("milliseconds up to 600000");
      (key == "delay" ? e.delay_ms : e.slow_close_ms) = number;
    } else if (key == "truncate" || key == "reset") {
      if (!number_ok) return fail("a number of bytes");
      (key == "truncate" ? e.truncate : e.reset) = number;
    } else if (key == "throttle" || key == "slice") {
      if (!number_ok || number == 0) return fail(key == "throttle" ? "bytes a second above 0" : "a number of bytes above 0");
      (key == "throttle" ? e.throttle : e.slice) = number;
    } else {
      *error = "unknown fault " + quoted(key) + " (known: " + kKnown + ")";
      return std::nullopt;
    }
  }
  if (e.truncate && e.reset) {
    *error = "truncate and reset cannot both end one answer";
    return std::nullopt;
  }
  if (!e.any()) {
    *error = "a fault needs something to go wrong (one of status, envelope, malformed, pad, "
             "delay, drop, truncate, reset, throttle, slice, slow-close)";
    return std::nullopt;
  }
  return rule;
}

int FaultTable::add(FaultRule rule) {
  std::lock_guard<std::mutex> lock(mutex_);
  rule.id = next_id_++;
  rule.seen = rule.applied = 0;
  rules_.push_back(std::move(rule));
  return rules_.back().id;
}

bool FaultTable::remove(int id) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto it = rules_.begin(); it != rules_.end(); ++it)
    if (it->id == id) {
      rules_.erase(it);
      return true;
    }
  return false;
}

size_t FaultTable::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t count = rules_.size();
  rules_.clear();
  return count;
}

void FaultTable::reseed(uint64_t seed) {
  std::lock_guard<std::mutex> lock(mutex_);
  random_.seed(seed);
}

std::string FaultTable::list() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string text;
  for (const FaultRule &rule : rules_) text += rule.describe() + "\n";
  return text;
}

Effects FaultTable::take(const std::string &request_path) {
  std::lock_guard<std::mutex> lock(mutex_);
  Effects effects;
  for (FaultRule &rule : rules_) {
    if (!rule.matches(request_path)) continue;
    if (++rule.seen <= rule.skip) continue;
    if (rule.count && rule.applied >= *rule.count) continue;
    if (rule.probability < 1 && std::generate_canonical<double, 53>(random_) >= rule.probability)
      continue;
    ++rule.applied;
    effects.merge(rule.effects);
  }
  return effects;
}

}  // namespace gateway_sim
