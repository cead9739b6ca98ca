#include "control.h"

#include <charconv>

namespace gateway_sim {
namespace {

const char kHelp[] =
    "gateway-sim control interface\n"
    "GET    /             this text\n"
    "GET    /faults       the faults, one per line, with their counts\n"
    "POST   /faults       add a fault from form fields, e.g. path=/upload/*&skip=2&count=1&status=500\n"
    "                     choosing: path (/exact, PREFIX* or *), skip, count, probability\n"
    "                     effects: status=N, envelope=CODE[/SUB], context=TEXT, malformed, pad=BYTES,\n"
    "                     delay=MS, drop, truncate=BYTES, reset=BYTES, throttle=BYTES_PER_S,\n"
    "                     slice=BYTES, slow-close=MS\n"
    "DELETE /faults       clear every fault\n"
    "DELETE /faults/ID    clear one fault\n"
    "POST   /reset        the network back to its seed; with a JSON seed as the body, to that seed\n"
    "POST   /reseed       value=N: session, persist and upload keys and fault probabilities from N\n"
    "GET    /status       requests and connections so far, the replay's report\n";

ControlReply error(int status, std::string text) { return {status, "error: " + text + "\n"}; }

bool read_number(const std::string &text, uint64_t *value) {
  auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return !text.empty() && failed == std::errc() && end == text.data() + text.size();
}

std::string trimmed(const std::string &text) {
  size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

ControlReply reset(Controlled &target, const std::string &body) {
  if (target.replayer != nullptr) target.replayer->rewind();
  if (target.gateway == nullptr) return {200, "replay rewound\n"};
  std::string seed = trimmed(body).empty() ? target.seed_text : body;
  try {
    target.gateway->reset(Network::from_seed(seed));
  } catch (const std::exception &failure) {
    return error(400, std::string("the seed cannot be used: ") + failure.what());
  }
  return {200, trimmed(body).empty() ? "network reset to its seed\n" : "network reset to the seed given\n"};
}

std::string status(Controlled &target) {
  std::string text = target.counters ? target.counters() : "";
  if (target.replayer != nullptr) {
    text += "replay_recorded=" + std::to_string(target.replayer->recorded()) + "\n";
    text += "replay_unused=" + std::to_string(target.replayer->unused()) + "\n";
    text += "replay_unmatched=" + std::to_string(target.replayer->unmatched_count()) + "\n";
    for (const std::string &request : target.replayer->unmatched()) text += "unmatched " + request + "\n";
  }
  return text;
}

}  // namespace

ControlReply control(Controlled &target, const std::string &method, const std::string &path,
                     const std::string &query, const std::string &body) {
  auto only = [&](const char *allowed) {
    return error(405, method + " is not served on " + path + " (" + allowed + " is)");
  };
  if (path == "/") return method == "GET" ? ControlReply{200, kHelp} : only("GET");
  if (path == "/status") return method == "GET" ? ControlReply{200, status(target)} : only("GET");
  if (path == "/reset") return method == "POST" ? reset(target, body) : only("POST");
  if (path == "/reseed") {
    if (method != "POST") return only("POST");
    Fields fields = parse_fields(query + "&" + body);
    uint64_t seed = 0;
    if (fields.size() != 1 || fields[0].first != "value" || !read_number(fields[0].second, &seed))
      return error(400, "reseed needs value=N with N a whole number");
    target.faults->reseed(seed);
    if (target.gateway != nullptr) target.gateway->reseed(seed);
    return {200, "reseeded with " + std::to_string(seed) + "\n"};
  }
  if (path == "/faults") {
    if (method == "GET") return {200, target.faults->list()};
    if (method == "DELETE") return {200, "cleared " + std::to_string(target.faults->clear()) + "\n"};
    if (method != "POST") return only("GET, POST or DELETE");
    std::string why;
    std::optional<FaultRule> rule = parse_rule(parse_fields(query + "&" + body), &why);
    if (!rule) return error(400, why);
    return {200, "id=" + std::to_string(target.faults->add(std::move(*rule))) + "\n"};
  }
  if (path.rfind("/faults/", 0) == 0) {
    if (method != "DELETE") return only("DELETE");
    std::string id_text = path.substr(8);
    uint64_t id = 0;
    if (!read_number(id_text, &id) || id > INT32_MAX) return error(400, "\"" + id_text + "\" is not a fault id");
    if (!target.faults->remove(static_cast<int>(id))) return error(404, "no fault " + id_text);
    return {200, "cleared 1\n"};
  }
  return error(404, "no control path " + path + "; GET / lists them");
}

}  // namespace gateway_sim
