// Request numbering.
#define PD_LOG_SOURCE "plugins/client-plugin/palisade/src/pd-plugin-util"

#include <pthread.h>

#include <cstdint>

#include "pd-plugin/pd_plugin.h"

namespace {
// One counter and one mutex for the whole process: ids are unique across
// instances and across the engine's and the transport's threads.
pthread_mutex_t g_reqid_mutex = PTHREAD_MUTEX_INITIALIZER;
uint32_t g_reqid = 0;
}  // namespace

extern "C" uint32_t pd_util_reqid(void) {
  pthread_mutex_lock(&g_reqid_mutex);
  uint32_t id = ++g_reqid;
  pthread_mutex_unlock(&g_reqid_mutex);
  return id;
}
