// The simulator's HTTP side, on libmicrohttpd: an event loop per worker
// thread, so idle keep-alive connections and clients that send their
// headers a byte at a time cost a socket and a little memory each, never a
// thread. Bodies are bounded: a gateway request is held up to a limit, an
// upload chunk goes straight into its file. Faults shape answers here.
#ifndef GATEWAY_SIM_SERVER_H
#define GATEWAY_SIM_SERVER_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "control.h"
#include "faults.h"
#include "forward.h"
#include "gateway.h"
#include "trace.h"

struct MHD_Daemon;

namespace gateway_sim {

struct ServerConfig {
  uint64_t max_body_bytes = uint64_t{8} << 20;  // a request body held in memory
  uint64_t max_upload_bytes = uint64_t{256} << 20;  // an upload chunk's body, streamed
  unsigned idle_timeout_s = 60;  // an idle or stalled connection is closed after this
  unsigned threads = 2;          // event loops per listening port
  unsigned connection_limit = 4096;  // per listening port
  std::string cert_pem, key_pem;
  bool verbose = false;  // one line per exchange on standard error
};

class Server {
 public:
  // One of `gateway`, `replayer` and `forwarder` answers, the others are
  // null. `trace` may be null.
  Server(ServerConfig config, Gateway *gateway, Replayer *replayer, Forwarder *forwarder,
         FaultTable &faults, TraceWriter *trace);
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  // Serves on three listening sockets (taken over). `control` answers the
  // control port.
  bool start(int http_fd, int https_fd, int control_fd, Controlled control, std::string *error);
  void stop();

  // "name=value" lines: requests, open connections, the most at once.
  std::string counters() const;

  // For the exchanges (server.cc).
  struct Shared;

 private:
  std::unique_ptr<Shared> shared_;
  MHD_Daemon *http_ = nullptr, *https_ = nullptr, *control_ = nullptr;
};

}  // namespace gateway_sim

#endif
