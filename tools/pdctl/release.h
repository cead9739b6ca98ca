// Releases the record a notification carries with the plug-in's own
// release operations, as the engine must: several of them take only the
// head of a list and leave the rest to the engine, and two records (the
// photo list and the message folder) have none, so their fields go one by
// one through data_Del.
#ifndef PDCTL_RELEASE_H
#define PDCTL_RELEASE_H

#include <cstdint>

#include "plugin.h"

namespace pdctl {

// `record` is the notification's result for engine request `code`; it must
// be a record address (not null, not an error number).
void release_record(const Plugin &plugin, uint32_t code, intptr_t record);

}  // namespace pdctl

#endif
