// The gateway's side of every exchange: a request (path, method, headers
// that matter, body) in, a reply out. Free of any HTTP library, so tests can
// drive it directly.
#ifndef GATEWAY_SIM_GATEWAY_H
#define GATEWAY_SIM_GATEWAY_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "network.h"

namespace gateway_sim {

struct Options {
  std::string upload_host = "upload.palisade.example";
  bool cdata = false;  // element texts in CDATA sections instead of escaped
};

// What makes the replies differ from run to run, replaceable for tests.
struct Environment {
  std::function<std::string()> new_key;  // session, persist and upload keys
  std::function<int64_t()> now;          // seconds since the epoch
  static Environment real();
};

struct Incoming {
  std::string method;  // "POST", "GET", ...
  std::string path;
  bool secure = false;  // arrived over HTTPS
  std::string content_range;
  std::string body;
};

struct Outgoing {
  int status = 200;
  std::string content_type = "text/xml; charset=UTF-8";
  std::string body;
};

class Gateway {
 public:
  Gateway(Network network, Options options, Environment environment);

  // Thread-safe; requests are served one at a time.
  Outgoing handle(const Incoming &request);

  // Runs `look` on the network under the lock (for tests and diagnostics).
  template <typename F>
  auto inspect(F look) {
    std::lock_guard<std::mutex> lock(mutex_);
    return look(static_cast<const Network &>(network_));
  }

 private:
  Outgoing gateway_request(const Incoming &request);
  Outgoing upload_chunk(const Incoming &request);
  Outgoing media(const Incoming &request);

  std::mutex mutex_;
  Network network_;
  Options options_;
  Environment environment_;
};

}  // namespace gateway_sim

#endif
