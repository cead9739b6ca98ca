// The transport test double: a libsns-tiface.so that records what the
// plug-in hands it and lets a test play the transport's side.
#ifndef PD_TESTS_DOUBLE_SNS_DOUBLE_H
#define PD_TESTS_DOUBLE_SNS_DOUBLE_H

#include <cstdint>
#include <string>
#include <vector>

#include "sns-tiface/sns_nt.h"

namespace sns_double {

struct Recorded {
  sns_nt_request *request;     // the record as handed over (owned by the double)
  std::string url, header, body;  // body: the bytes that would go on the wire
  uint32_t upload_state;       // of the upload data record at send time
};

// Releases every request as the transport would, zeroes the finalize count
// and makes init and connect succeed again.
void reset();
void set_results(int init, int connect);  // what sns_nt_init and sns_nt_connect return
int finalized();
std::vector<Recorded> requests();
size_t request_count();
// The callback registered on a handle (attribute 1, kind 1), or null.
sns_nt_response_cb callback(sns_nt_handle handle);
// Plays the transport: the response to a recorded request (its id, code,
// instance and private data) goes to the handle's callback on this thread.
int respond(size_t index, uint32_t http_status, const char *body, uintptr_t pass_through = 0);
// Calls the handle's callback with an arbitrary record.
int deliver(sns_nt_handle handle, void *response);

}  // namespace sns_double

#endif
