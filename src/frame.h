// Internal pieces of the plug-in frame shared between its source files.
#ifndef PD_PLUGIN_SRC_FRAME_H
#define PD_PLUGIN_SRC_FRAME_H

#include <cstdint>

#include "pd-plugin/pd_plugin.h"
#include "sns-tiface/sns_nt.h"

namespace pd::frame {

// The instance behind an engine handle, or null.
inline pd_inst *instance(void *handle) noexcept { return static_cast<pd_inst *>(handle); }

// What varies between the requests the plug-in sends: a composed gateway
// request (kind 1) or an upload chunk (kind 2).
struct RequestShape {
  uint32_t code;
  uint32_t kind;
  uint32_t word16;  // 0 for a gateway request, 9 for a chunk
  char *url;
  char *header;
  char *body;
  uint32_t body_length;
  void *private_data;
  uint32_t upload_value;
  const char *function;  // the named function sending it, for an assertion
};

// A new transport request record of `inst` with the next request id. The
// record, with its URL, header and body, is the transport's once handed to
// sns_nt_sendreq.
sns_nt_request *new_request(pd_inst *inst, const RequestShape &shape);

}  // namespace pd::frame

#endif
