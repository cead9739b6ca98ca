// Internal pieces of the plug-in frame shared between its source files.
#ifndef PD_PLUGIN_SRC_FRAME_H
#define PD_PLUGIN_SRC_FRAME_H

#include <cstdint>

#include "pd-plugin/pd_plugin.h"

namespace pd::frame {

// The instance behind an engine handle, or null.
inline pd_inst *instance(void *handle) noexcept { return static_cast<pd_inst *>(handle); }

}  // namespace pd::frame

#endif
