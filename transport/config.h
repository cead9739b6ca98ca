// Run-time configuration of the transport, read from the environment when a
// handle is created.
#ifndef SNS_TIFACE_TRANSPORT_CONFIG_H
#define SNS_TIFACE_TRANSPORT_CONFIG_H

#include <cstddef>
#include <string>
#include <vector>

namespace sns_tiface {

struct Config {
  // libcurl connect-to entries ("HOST:PORT:CONNECT-HOST:CONNECT-PORT"), so
  // the compiled-in gateway host can be pointed at a simulator.
  std::vector<std::string> connect_to;
  // A CA file that replaces the system's trust store; empty: the system's.
  std::string cainfo;
  // Limit for one whole exchange, connection set-up included.
  long timeout_ms = 30000;
  // A reply longer than this ends the exchange as if no answer came.
  size_t max_reply_bytes = size_t{64} << 20;
  // One line per finished exchange on standard error.
  bool debug = false;

  // SNS_NT_CONNECT_TO (comma-separated entries), SNS_NT_CAINFO,
  // SNS_NT_TIMEOUT_MS, SNS_NT_MAX_REPLY_BYTES, SNS_NT_DEBUG. A value that is
  // not a positive number keeps the default.
  static Config from_environment();
};

}  // namespace sns_tiface

#endif
