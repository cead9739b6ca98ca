// The control interface: plain HTTP on a loopback port of its own, answered
// in plain text, to change faults and state while the simulator runs.
//
//   GET    /             what follows
//   GET    /faults       the faults, one per line, with their counts
//   POST   /faults       a fault from form fields (path=/upload/*&skip=2&count=1&status=500)
//   DELETE /faults       every fault cleared
//   DELETE /faults/ID    one fault cleared
//   POST   /reset        the network back to its seed (a JSON seed in the body: to that one)
//   POST   /reseed       value=N: keys and fault probabilities drawn from N on
//   GET    /status       requests and connections so far, and the replay's report
#ifndef GATEWAY_SIM_CONTROL_H
#define GATEWAY_SIM_CONTROL_H

#include <functional>
#include <string>

#include "faults.h"
#include "gateway.h"
#include "trace.h"

namespace gateway_sim {

struct ControlReply {
  int status = 200;
  std::string text;
};

// What the control interface acts on.
struct Controlled {
  FaultTable *faults = nullptr;
  Gateway *gateway = nullptr;      // null while replaying
  std::string seed_text;           // the seed the simulator started with
  Replayer *replayer = nullptr;    // null unless replaying
  std::function<std::string()> counters;  // "name=value" lines of the HTTP server
};

// `query` is the target's query string (without '?'); form fields come from
// it and from a form-encoded body alike.
ControlReply control(Controlled &target, const std::string &method, const std::string &path,
                     const std::string &query, const std::string &body);

}  // namespace gateway_sim

#endif
