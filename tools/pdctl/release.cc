#include "release.h"

#include "engine_release.h"

namespace pdctl {

void release_record(const Plugin &plugin, uint32_t code, intptr_t record) {
  pd_engine::release_record(plugin, code, record);
}

}  // namespace pdctl
