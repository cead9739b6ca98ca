// The engine's side of the real plug-in, for end-to-end tests and the wire
// benchmark: one instance made through the exported entry points, every
// notification kept (copied, the record freed as the engine frees it) until
// its result is released with the plug-in's own release operations.
// Free of GoogleTest so benchmarks and helper programs can use it too.
#ifndef PD_TESTS_SUPPORT_PLUGIN_ENGINE_H
#define PD_TESTS_SUPPORT_PLUGIN_ENGINE_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "pd-plugin/pd_plugin.h"

namespace pd_test {

class PluginEngine {
 public:
  PluginEngine() = default;
  // Finalizes the instance and releases every result still held.
  ~PluginEngine();
  PluginEngine(const PluginEngine &) = delete;
  PluginEngine &operator=(const PluginEngine &) = delete;

  // pd_init and pd_setattr(handle, 3, 3, callback). The transport reads its
  // configuration (SNS_NT_*) here, so set the environment first. Several
  // engines may be open at once: each puts its address in its instance's
  // caller word, which our transport hands back as every notification's
  // pass-through word.
  bool open();
  // pd_finalize: no notification arrives after it returns, so the count is
  // final from here on. Results stay held until release_all().
  void close();

  // pd_sendreq's result.
  int send(uint32_t code, void *params);
  int send(uint32_t code, std::vector<const char *> words);

  // Waits until at least `count` notifications have arrived in all; false
  // after `seconds`.
  bool wait_for(size_t count, double seconds = 60);
  // Copies of every notification so far, in order of arrival; the results
  // of those already released must not be read.
  std::vector<pd_notification> notifications();
  size_t count();
  // Releases the results of the notifications not released yet.
  void release_all();
  // Notifications that arrived while no engine was open (after pd_finalize).
  static size_t stray();

 private:
  static void callback(pd_notification *notification);

  void *handle_ = nullptr;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<pd_notification> notifications_;
  size_t released_ = 0;
};

}  // namespace pd_test

#endif
