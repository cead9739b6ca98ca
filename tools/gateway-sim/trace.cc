#include "trace.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

namespace gateway_sim {
namespace {

using Emit = std::function<bool(std::string_view)>;

const char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kBase64Line = 76;  // characters, 57 bytes
constexpr size_t kBlock = 57 * 1024;  // bytes read at a time from a body file

// Plain text: UTF-8 without NUL, CR or other control characters but tab and
// newline. Anything else travels in base64.
bool is_text(std::string_view bytes) {
  for (size_t i = 0; i < bytes.size();) {
    unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c < 0x80) {
      if ((c < 0x20 && c != '\n' && c != '\t') || c == 0x7f) return false;
      ++i;
      continue;
    }
    size_t extra = c >= 0xc2 && c <= 0xdf ? 1 : c >= 0xe0 && c <= 0xef ? 2 : c >= 0xf0 && c <= 0xf4 ? 3 : 0;
    if (extra == 0 || i + extra >= bytes.size()) return false;
    for (size_t k = 1; k <= extra; ++k)
      if ((static_cast<unsigned char>(bytes[i + k]) & 0xc0) != 0x80) return false;
    i += extra + 1;
  }
  return true;
}

std::string base64(std::string_view bytes) {
  std::string out;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    uint32_t n = static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << 16;
    if (i + 1 < bytes.size()) n |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8;
    if (i + 2 < bytes.size()) n |= static_cast<unsigned char>(bytes[i + 2]);
    out += kBase64[(n >> 18) & 63];
    out += kBase64[(n >> 12) & 63];
    out += i + 1 < bytes.size() ? kBase64[(n >> 6) & 63] : '=';
    out += i + 2 < bytes.size() ? kBase64[n & 63] : '=';
  }
  return out;
}

bool unbase64(std::string_view text, std::string *out) {
  uint32_t bits = 0;
  int have = 0;
  size_t padding = 0;
  for (char c : text) {
    if (c == '=') {
      ++padding;
      continue;
    }
    const char *at = std::find(kBase64, kBase64 + 64, c);
    if (at == kBase64 + 64 || padding > 0) return false;
    bits = (bits << 6) | static_cast<uint32_t>(at - kBase64);
    have += 6;
    if (have >= 8) {
      have -= 8;
      *out += static_cast<char>((bits >> have) & 0xff);
    }
  }
  return padding <= 2 && (text.size() % 4) == 0;
}

// A body, from memory or from a file.
struct Body {
  std::string_view text;
  int fd = -1;
  uint64_t length = 0;

  uint64_t size() const { return fd >= 0 ? length : text.size(); }
  // Calls `use` on consecutive pieces of at most kBlock bytes (multiples of
  // three, so base64 lines join up).
  bool each(const std::function<bool(std::string_view)> &use) const {
    if (fd < 0) {
      for (size_t at = 0; at < text.size(); at += kBlock)
        if (!use(text.substr(at, kBlock))) return false;
      return true;
    }
    std::string block(kBlock, '\0');
    for (uint64_t at = 0; at < length;) {
      size_t want = static_cast<size_t>(std::min<uint64_t>(kBlock, length - at));
      ssize_t got = pread(fd, block.data(), want, static_cast<off_t>(at));
      if (got != static_cast<ssize_t>(want)) return false;
      if (!use(std::string_view(block.data(), want))) return false;
      at += want;
    }
    return true;
  }
};

bool emit_message(const Emit &emit, const char *label, const TraceMessage &message, const Body &body) {
  bool text = true;
  if (!body.each([&](std::string_view piece) { return (text = text && is_text(piece)), true; })) return false;
  // A character cut between two pieces reads as not text: base64 then, which
  // is only less readable.
  std::string open = std::string("<") + label + " body-bytes=\"" + std::to_string(body.size()) + "\"" +
                     (text ? "" : " body=\"base64\"") + ">\n";
  if (!emit(open) || !emit(message.start + "\n")) return false;
  for (const auto &[name, value] : message.headers)
    if (!emit(name + ": " + value + "\n")) return false;
  if (!emit("\n")) return false;
  if (text) {
    if (!body.each(emit)) return false;
    if (!emit("\n")) return false;
  } else {
    std::string line;
    bool ok = body.each([&](std::string_view piece) {
      std::string encoded = base64(piece);
      for (size_t at = 0; at < encoded.size(); at += kBase64Line)
        if (!emit(encoded.substr(at, kBase64Line) + "\n")) return false;
      return true;
    });
    if (!ok) return false;
  }
  return emit(std::string("</") + label + ">\n");
}

bool emit_exchange(const Emit &emit, const TraceExchange &exchange, const Body &request_body,
                   const Body &reply_body) {
  std::string info = "<testcase>\n<info>\n<keywords>\n" +
                     std::string(exchange.scheme == "https" ? "HTTPS" : "HTTP") + "\n" +
                     exchange.method() + " " + exchange.path() + "\n</keywords>\n";
  if (!exchange.peer.empty()) info += "<peer>\n" + exchange.peer + "\n</peer>\n";
  if (!exchange.fault.empty()) info += "<fault>\n" + exchange.fault + "\n</fault>\n";
  info += "</info>\n\n";
  if (!emit(info)) return false;
  if (exchange.reply) {
    if (!emit("<reply>\n")) return false;
    if (!emit_message(emit, "data", *exchange.reply, reply_body)) return false;
    if (!emit("</reply>\n\n")) return false;
  }
  return emit("<verify>\n") && emit_message(emit, "protocol", exchange.request, request_body) &&
         emit("</verify>\n</testcase>\n");
}

// Reads a file line by line, keeping the line number for messages.
class Reader {
 public:
  Reader(const std::string &text, const std::string &file) : text_(text), file_(file) {}

  bool at_end() const { return at_ >= text_.size(); }
  int line() const { return line_; }
  // The next line without its newline; false at the end.
  bool next(std::string *out) {
    if (at_end()) return false;
    size_t end = text_.find('\n', at_);
    if (end == std::string::npos) end = text_.size();
    *out = text_.substr(at_, end - at_);
    at_ = std::min(end + 1, text_.size() + 1);
    ++line_;
    return true;
  }
  // Exactly `count` bytes, then a newline.
  bool bytes(uint64_t count, std::string *out) {
    if (at_ > text_.size() || text_.size() - at_ < count + 1 || text_[at_ + count] != '\n') return false;
    *out = text_.substr(at_, static_cast<size_t>(count));
    line_ += static_cast<int>(std::count(out->begin(), out->end(), '\n')) + 1;
    at_ += static_cast<size_t>(count) + 1;
    return true;
  }
  bool fail(std::string *error, const std::string &why) const {
    *error = file_ + ":" + std::to_string(line_) + ": " + why;
    return false;
  }
  // Skips blank lines and comments ("<!-- ... -->", over lines if need
  // be, and lines starting with '#').
  bool next_content(std::string *out) {
    while (next(out)) {
      if (out->rfind("<!--", 0) == 0) {
        while (out->find("-->") == std::string::npos)
          if (!next(out)) return false;
        continue;
      }
      if (!out->empty() && (*out)[0] != '#') return true;
    }
    return false;
  }

 private:
  const std::string &text_;
  const std::string &file_;
  size_t at_ = 0;
  int line_ = 0;
};

// The value of name="..." in an opening label, or nothing.
std::optional<std::string> label_attribute(const std::string &label, const std::string &name) {
  std::string key = " " + name + "=\"";
  size_t at = label.find(key);
  if (at == std::string::npos) return std::nullopt;
  size_t end = label.find('"', at + key.size());
  if (end == std::string::npos) return std::nullopt;
  return label.substr(at + key.size(), end - at - key.size());
}

bool expect(Reader &in, const std::string &label, std::string *error) {
  std::string line;
  if (!in.next_content(&line)) return in.fail(error, "the file ends where " + label + " belongs");
  if (line != label) return in.fail(error, "expected " + label + ", found \"" + line + "\"");
  return true;
}

// The lines of a simple section up to its closing label.
bool section_lines(Reader &in, const std::string &name, std::vector<std::string> *lines,
                   std::string *error) {
  std::string line;
  while (in.next(&line)) {
    if (line == "</" + name + ">") return true;
    lines->push_back(line);
  }
  return in.fail(error, "<" + name + "> is not closed");
}

bool read_message(Reader &in, const std::string &label, TraceMessage *message, std::string *error) {
  std::string line;
  if (!in.next_content(&line)) return in.fail(error, "the file ends where <" + label + "> belongs");
  if (line.rfind("<" + label, 0) != 0 || line.back() != '>')
    return in.fail(error, "expected <" + label + " body-bytes=\"N\">, found \"" + line + "\"");
  std::optional<std::string> length_text = label_attribute(line, "body-bytes");
  uint64_t length = 0;
  if (!length_text || std::from_chars(length_text->data(), length_text->data() + length_text->size(), length).ec != std::errc() ||
      std::to_string(length) != *length_text)
    return in.fail(error, "<" + label + "> needs body-bytes=\"N\" with N a number of bytes");
  std::optional<std::string> encoding = label_attribute(line, "body");
  if (encoding && *encoding != "base64") return in.fail(error, "body=\"" + *encoding + "\" is not known; only base64 is");
  if (!in.next(&line) || line.empty()) return in.fail(error, "<" + label + "> needs a start line");
  message->start = line;
  while (true) {
    if (!in.next(&line)) return in.fail(error, "the head of <" + label + "> is not ended by a blank line");
    if (line.empty()) break;
    size_t colon = line.find(':');
    if (colon == std::string::npos || colon == 0)
      return in.fail(error, "a header line needs a name and a colon: \"" + line + "\"");
    size_t value = line.find_first_not_of(' ', colon + 1);
    message->headers.emplace_back(line.substr(0, colon), value == std::string::npos ? "" : line.substr(value));
  }
  int body_line = in.line() + 1;
  if (encoding) {
    std::vector<std::string> lines;
    if (!section_lines(in, label, &lines, error)) return false;
    std::string joined;
    for (const std::string &part : lines) joined += part;
    if (!unbase64(joined, &message->body))
      return in.fail(error, "the base64 body from line " + std::to_string(body_line) + " does not decode");
    if (message->body.size() != length)
      return in.fail(error, "the body is " + std::to_string(message->body.size()) + " bytes, not the " +
                                std::to_string(length) + " that body-bytes says");
    return true;
  }
  if (!in.bytes(length, &message->body))
    return in.fail(error, "the body from line " + std::to_string(body_line) + " is not " +
                              std::to_string(length) + " bytes followed by a newline");
  return expect(in, "</" + label + ">", error);
}

std::string slug(const std::string &path) {
  std::string out;
  for (char c : path.substr(path.empty() || path[0] != '/' ? 0 : 1)) {
    bool plain = std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_';
    out += plain ? c : '-';
    if (out.size() >= 60) break;
  }
  return out;
}

}  // namespace

bool same_header_name(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

const std::string *TraceMessage::header(std::string_view name) const {
  for (const auto &[key, value] : headers)
    if (same_header_name(key, name)) return &value;
  return nullptr;
}

std::string TraceExchange::method() const { return request.start.substr(0, request.start.find(' ')); }

std::string TraceExchange::path() const {
  size_t space = request.start.find(' ');
  if (space == std::string::npos) return "";
  std::string target = request.start.substr(space + 1, request.start.find(' ', space + 1) - space - 1);
  return target.substr(0, target.find('?'));
}

int TraceExchange::status() const {
  if (!reply) return 0;
  size_t space = reply->start.find(' ');
  if (space == std::string::npos) return 0;
  int status = 0;
  std::from_chars(reply->start.data() + space + 1, reply->start.data() + reply->start.size(), status);
  return status;
}

std::string format_exchange(const TraceExchange &exchange) {
  std::string out;
  Body none;
  emit_exchange([&](std::string_view piece) { return out.append(piece), true; }, exchange,
                Body{exchange.request.body}, exchange.reply ? Body{exchange.reply->body} : none);
  return out;
}

bool write_exchange(std::FILE *out, const TraceExchange &exchange, BodyFile request_body,
                    BodyFile reply_body) {
  Body request{exchange.request.body}, reply;
  if (request_body.fd >= 0) request = Body{{}, request_body.fd, request_body.length};
  if (exchange.reply) reply = Body{exchange.reply->body};
  if (reply_body.fd >= 0) reply = Body{{}, reply_body.fd, reply_body.length};
  return emit_exchange([&](std::string_view piece) {
    return std::fwrite(piece.data(), 1, piece.size(), out) == piece.size();
  }, exchange, request, reply);
}

bool parse_exchange(const std::string &text, const std::string &file, TraceExchange *exchange,
                    std::string *error) {
  Reader in(text, file);
  exchange->file = file;
  if (!expect(in, "<testcase>", error)) return false;
  std::string line;
  bool seen_request = false;
  while (in.next_content(&line)) {
    if (line == "</testcase>") {
      if (!seen_request) return in.fail(error, "the exchange has no <verify> section with the request");
      if (exchange->method().empty() || exchange->path().empty())
        return in.fail(error, "the request's start line needs a method and a path");
      if (in.next_content(&line)) return in.fail(error, "text after </testcase>");
      return true;
    }
    if (line == "<info>") {
      while (true) {
        if (!in.next_content(&line)) return in.fail(error, "<info> is not closed");
        if (line == "</info>") break;
        std::vector<std::string> lines;
        if (line == "<keywords>" || line == "<peer>" || line == "<fault>") {
          std::string name = line.substr(1, line.size() - 2);
          if (!section_lines(in, name, &lines, error)) return false;
          if (name == "keywords")
            for (const std::string &keyword : lines) {
              if (keyword == "HTTPS") exchange->scheme = "https";
              else if (keyword == "HTTP") exchange->scheme = "http";
            }
          if (name == "peer" && !lines.empty()) exchange->peer = lines[0];
          if (name == "fault") {
            for (const std::string &part : lines) exchange->fault += (exchange->fault.empty() ? "" : " ") + part;
          }
        } else {
          return in.fail(error, "unknown section \"" + line + "\" in <info>");
        }
      }
    } else if (line == "<reply>") {
      exchange->reply.emplace();
      if (!read_message(in, "data", &*exchange->reply, error)) return false;
      if (exchange->status() < 100 || exchange->status() > 599)
        return in.fail(error, "the reply's start line needs a status from 100 to 599: \"" +
                                  exchange->reply->start + "\"");
      if (!expect(in, "</reply>", error)) return false;
    } else if (line == "<verify>") {
      if (!read_message(in, "protocol", &exchange->request, error)) return false;
      seen_request = true;
      if (!expect(in, "</verify>", error)) return false;
    } else {
      return in.fail(error, "unknown section \"" + line + "\"");
    }
  }
  return in.fail(error, "<testcase> is not closed");
}

bool read_trace(const std::string &dir, std::vector<TraceExchange> *exchanges, std::string *error) {
  std::error_code failed;
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(dir, failed)) {
    std::string name = entry.path().filename().string();
    if (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) && entry.is_regular_file())
      names.push_back(name);
  }
  if (failed) return *error = dir + ": " + failed.message(), false;
  std::sort(names.begin(), names.end());
  for (const std::string &name : names) {
    std::string path = dir + "/" + name;
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in) return *error = path + ": cannot be read", false;
    TraceExchange exchange;
    if (!parse_exchange(text.str(), path, &exchange, error)) return false;
    exchanges->push_back(std::move(exchange));
  }
  return true;
}

TraceWriter::TraceWriter(std::string dir) : dir_(std::move(dir)) {
  std::error_code failed;
  std::filesystem::create_directories(dir_, failed);
  if (failed || !std::filesystem::is_directory(dir_, failed)) {
    error_ = dir_ + " is not a folder that can be written";
    return;
  }
  uint64_t highest = 0;
  for (const auto &entry : std::filesystem::directory_iterator(dir_, failed)) {
    std::string name = entry.path().filename().string();
    uint64_t number = 0;
    auto [end, bad] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (bad == std::errc() && end != name.data()) highest = std::max(highest, number);
  }
  next_ = highest + 1;
  ok_ = true;
}

bool TraceWriter::write(const TraceExchange &exchange, BodyFile request_body, BodyFile reply_body) {
  char number[24];
  std::snprintf(number, sizeof number, "%06llu", static_cast<unsigned long long>(next_++));
  std::string name = std::string(number) + "-" + exchange.method() + "-" + slug(exchange.path());
  std::string temporary = dir_ + "/." + name, final_path = dir_ + "/" + name;
  std::FILE *out = std::fopen(temporary.c_str(), "wb");
  if (out == nullptr) return false;
  bool ok = write_exchange(out, exchange, request_body, reply_body);
  ok = std::fclose(out) == 0 && ok;
  // Renamed into place, so a reader never meets half a file.
  return ok && std::rename(temporary.c_str(), final_path.c_str()) == 0;
}

std::string mask_fields(std::string body, const std::vector<std::string> &names) {
  for (const std::string &name : names) {
    std::string attribute = name + "=\"";
    for (size_t at = body.find(attribute); at != std::string::npos; at = body.find(attribute, at + 1)) {
      bool whole = at == 0 || !(std::isalnum(static_cast<unsigned char>(body[at - 1])) || body[at - 1] == '_');
      size_t from = at + attribute.size(), end = body.find('"', from);
      if (!whole || end == std::string::npos) continue;
      body.erase(from, end - from);
    }
    std::string open = "<" + name + ">", close = "</" + name + ">";
    for (size_t at = body.find(open); at != std::string::npos; at = body.find(open, at + 1)) {
      size_t from = at + open.size(), end = body.find(close, from);
      if (end != std::string::npos) body.erase(from, end - from);
    }
  }
  return body;
}

Replayer::Replayer(std::vector<TraceExchange> exchanges, std::vector<std::string> ignored)
    : exchanges_(std::move(exchanges)), used_(exchanges_.size(), false), ignored_(std::move(ignored)) {
  for (const TraceExchange &exchange : exchanges_)
    keys_.push_back(exchange.method() + " " + exchange.path() + "\n" +
                    mask_fields(exchange.request.body, ignored_));
}

const TraceExchange *Replayer::take(const std::string &method, const std::string &path,
                                    const std::string &body) {
  std::string key = method + " " + path + "\n" + mask_fields(body, ignored_);
  std::lock_guard<std::mutex> lock(mutex_);
  for (size_t i = 0; i < exchanges_.size(); ++i)
    if (!used_[i] && keys_[i] == key) {
      used_[i] = true;
      return &exchanges_[i];
    }
  ++unmatched_count_;
  if (unmatched_.size() < 100)
    unmatched_.push_back(method + " " + path + " (" + std::to_string(body.size()) + " bytes)");
  return nullptr;
}

void Replayer::rewind() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::fill(used_.begin(), used_.end(), false);
  unmatched_.clear();
  unmatched_count_ = 0;
}

size_t Replayer::unused() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<size_t>(std::count(used_.begin(), used_.end(), false));
}

std::vector<std::string> Replayer::unmatched() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return unmatched_;
}

size_t Replayer::unmatched_count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return unmatched_count_;
}

}  // namespace gateway_sim
