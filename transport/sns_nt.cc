// The transport interface on libcurl. Every entry point checks its handle
// against the handles that are alive, so a stale or foreign handle is
// refused instead of followed.
#include "sns-tiface/sns_nt.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_set>

#include "sns-tiface/sns_nt_failure.h"
#include "sns-tiface/sns_nt_progress.h"
#include "transport.h"

#define SNS_NT_API extern "C" __attribute__((visibility("default")))

namespace {

using sns_tiface::Transport;

constexpr int kRefused = -1;

std::mutex g_handles_mutex;
std::unordered_set<Transport *> g_handles;

void global_init() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// The live transport behind a handle, or null; the caller holds the lock.
Transport *find(sns_nt_handle handle) {
  auto *transport = static_cast<Transport *>(handle);
  return g_handles.count(transport) != 0 ? transport : nullptr;
}

}  // namespace

SNS_NT_API int sns_nt_init(sns_nt_handle *out) {
  if (out == nullptr) return kRefused;
  *out = nullptr;
  global_init();
  Transport *transport = nullptr;
  try {
    transport = Transport::create(sns_tiface::Config::from_environment());
    if (transport == nullptr) return kRefused;
    std::lock_guard<std::mutex> lock(g_handles_mutex);
    g_handles.insert(transport);
  } catch (const std::bad_alloc &) {
    if (transport != nullptr) transport->finish();
    return kRefused;
  }
  *out = transport;
  return 0;
}

// Connections are opened per exchange and kept for reuse, so there is
// nothing to do up front.
SNS_NT_API int sns_nt_connect(sns_nt_handle handle) {
  std::lock_guard<std::mutex> lock(g_handles_mutex);
  return find(handle) != nullptr ? 0 : kRefused;
}

SNS_NT_API int sns_nt_setattr(sns_nt_handle handle, int id, int kind, void *value) {
  std::lock_guard<std::mutex> lock(g_handles_mutex);
  Transport *transport = find(handle);
  if (transport == nullptr || id != SNS_NT_ATTR_RESPONSE_CB || kind != 1) return kRefused;
  transport->set_callback(reinterpret_cast<sns_nt_response_cb>(value));
  return 0;
}

SNS_NT_API int sns_nt_sendreq(sns_nt_handle handle, void *record) {
  auto *request = static_cast<sns_nt_request *>(record);
  if (request == nullptr) return kRefused;
  std::lock_guard<std::mutex> lock(g_handles_mutex);
  Transport *transport = find(handle);
  const char *why = "no such transport handle";
  try {
    if (transport != nullptr) {
      std::unique_ptr<sns_tiface::Exchange> exchange =
          sns_tiface::Exchange::prepare(request, transport->config().max_reply_bytes, &why);
      if (exchange != nullptr) {
        transport->submit(std::move(exchange));
        return 0;
      }
    }
  } catch (const std::bad_alloc &) {
    // Nothing may leave through the C interface; the exchange that owned
    // the record has freed it.
    return kRefused;
  }
  if (transport != nullptr && transport->config().debug)
    std::fprintf(stderr, "sns-tiface: request %u refused: %s\n", request->uReqId, why);
  // A refused request is still the transport's to free.
  sns_tiface::release_request(request);
  return kRefused;
}

SNS_NT_API int sns_nt_finalize(sns_nt_handle handle) {
  Transport *transport;
  {
    // Not held while the worker stops: a callback still running may call
    // sns_nt_sendreq, which takes this lock.
    std::lock_guard<std::mutex> lock(g_handles_mutex);
    transport = find(handle);
    if (transport == nullptr) return kRefused;
    g_handles.erase(transport);
  }
  transport->finish();
  return 0;
}

SNS_NT_API void sns_nt_set_progress_cb(sns_nt_progress_cb callback, void *user) {
  sns_tiface::set_progress_callback(callback, user);
}

SNS_NT_API void sns_nt_set_failure_cb(sns_nt_failure_cb callback, void *user) {
  sns_tiface::set_failure_callback(callback, user);
}
