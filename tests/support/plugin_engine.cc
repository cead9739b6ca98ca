#include "support/plugin_engine.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <set>

#include "support/release_records.h"

namespace pd_test {
namespace {

// The engines open now; a notification reaches the one its pass-through
// word names.
std::mutex g_open_mutex;
std::set<const PluginEngine *> g_open;
std::atomic<size_t> g_stray{0};

}  // namespace

PluginEngine::~PluginEngine() {
  close();
  release_all();
}

bool PluginEngine::open() {
  if (handle_ != nullptr) return false;
  if (pd_init(&handle_) != PD_OK) {
    handle_ = nullptr;
    return false;
  }
  // The caller word is the engine's: the plug-in only copies it into every
  // request it sends.
  static_cast<pd_inst *>(handle_)->pCallerData = this;
  {
    std::lock_guard<std::mutex> lock(g_open_mutex);
    g_open.insert(this);
  }
  if (pd_setattr(handle_, PD_ATTR_ENGINE_CB, PD_ATTR_ENGINE_CB,
                 reinterpret_cast<void *>(&PluginEngine::callback)) != PD_OK) {
    close();
    return false;
  }
  return true;
}

void PluginEngine::close() {
  if (handle_ != nullptr) pd_finalize(handle_);
  handle_ = nullptr;
  std::lock_guard<std::mutex> lock(g_open_mutex);
  g_open.erase(this);
}

int PluginEngine::send(uint32_t code, void *params) {
  return pd_sendreq(handle_, code, params, nullptr);
}

int PluginEngine::send(uint32_t code, std::vector<const char *> words) {
  // The block is the engine's array of texts; the plug-in copies what it keeps.
  return send(code, static_cast<void *>(const_cast<char **>(words.data())));
}

void PluginEngine::callback(pd_notification *notification) {
  {
    std::lock_guard<std::mutex> open_lock(g_open_mutex);
    auto found = g_open.find(reinterpret_cast<const PluginEngine *>(notification->uPassThrough));
    if (found != g_open.end()) {
      auto *engine = const_cast<PluginEngine *>(*found);
      std::lock_guard<std::mutex> lock(engine->mutex_);
      engine->notifications_.push_back(*notification);
      engine->arrived_.notify_all();
      std::free(notification);
      return;
    }
  }
  // Nobody may be called once pd_finalize has returned; counted so a test
  // can tell, and released so the count is the only trace.
  ++g_stray;
  release_notification_result(notification->uReqCode, notification->iResult);
  std::free(notification);
}

bool PluginEngine::wait_for(size_t count, double seconds) {
  std::unique_lock<std::mutex> lock(mutex_);
  return arrived_.wait_for(lock, std::chrono::duration<double>(seconds),
                           [&] { return notifications_.size() >= count; });
}

std::vector<pd_notification> PluginEngine::notifications() {
  std::lock_guard<std::mutex> lock(mutex_);
  return notifications_;
}

size_t PluginEngine::count() {
  std::lock_guard<std::mutex> lock(mutex_);
  return notifications_.size();
}

void PluginEngine::release_all() {
  std::lock_guard<std::mutex> lock(mutex_);
  for (; released_ < notifications_.size(); ++released_)
    release_notification_result(notifications_[released_].uReqCode,
                                notifications_[released_].iResult);
}

size_t PluginEngine::stray() { return g_stray.load(); }

}  // namespace pd_test
