// Runs one engine request through a fresh plug-in instance, as the engine
// does: pd_init, the notification callback (pd_setattr id 3), pd_sendreq,
// a wait for the one notification, pd_finalize.
#ifndef PDCTL_RUNNER_H
#define PDCTL_RUNNER_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "plugin.h"
#include "progress.h"

namespace pdctl {

// Why the transport got no answer, as our transport tells it (see
// sns_nt_failure.h); the platform's transport does not.
struct TransportFailure {
  int cause = 0;  // enum sns_nt_failure
  std::string detail;
};

struct Answer {
  enum class Kind {
    notified,   // `notification` holds the answer
    refused,    // pd_sendreq did not send the request
    timed_out,  // no notification within the time allowed
  };
  Kind kind = Kind::refused;
  // The caller's once returned: it frees the record with the plug-in's
  // release operations and the notification itself with free().
  pd_notification *notification = nullptr;
  // For a notification without an answer (HTTP status 0), when known.
  std::optional<TransportFailure> failure;
};

// `params` is the engine's parameter block for `code`. `progress`, when
// given, is hooked into the transport for the time of the request. When
// this returns the instance is finalised and no callback runs any more.
Answer run_request(const Plugin &plugin, uint32_t code, void *params,
                   std::chrono::duration<double> timeout, Progress *progress);

// Whether a notification's result is the address of a record (rather than
// null or a negative gateway error).
bool is_record(intptr_t result);

// Frees a notification and the record it carries.
void discard(const Plugin &plugin, pd_notification *notification);

}  // namespace pdctl

#endif
