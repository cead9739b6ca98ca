// Passing requests on to a real gateway, so that `--record` captures its
// answers: an engine developer records a conversation with the real thing
// once and replays it offline with `--replay`.
#ifndef GATEWAY_SIM_FORWARD_H
#define GATEWAY_SIM_FORWARD_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trace.h"

namespace gateway_sim {

struct ForwardedReply {
  int status = 0;
  std::vector<std::pair<std::string, std::string>> headers;  // of the final answer
  std::string body;
};

class Forwarder {
 public:
  // Requests that arrived in plain HTTP go to `plain`, those that arrived
  // over TLS to `secure` (each "http[s]://host[:port]"); `ca_file`, when not
  // empty, is the only authority trusted for an HTTPS gateway.
  Forwarder(std::string plain, std::string secure, std::string ca_file, uint64_t max_reply_bytes);

  // Sends `request` (method, target, headers and body as they arrived) to
  // the gateway and returns its answer, or nothing with the reason in `why`
  // when none came. Blocks the calling thread for the exchange.
  std::optional<ForwardedReply> forward(const TraceMessage &request, bool secure, std::string *why) const;

  const std::string &base(bool secure) const { return secure ? secure_ : plain_; }

 private:
  std::string plain_, secure_, ca_file_;
  uint64_t max_reply_bytes_;
};

// A base URL the forwarder can use, or the reason it cannot (named after
// the switch `option`).
bool forward_base_ok(const std::string &option, const std::string &base, std::string *why);

// "https://host" for "http[s]://host[:port]": where a gateway's TLS port is
// when only its plain one was given.
std::string secure_base_of(const std::string &base);

}  // namespace gateway_sim

#endif
