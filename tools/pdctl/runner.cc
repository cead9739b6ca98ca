#include "runner.h"

#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <map>
#include <mutex>

#include "release.h"
#include "sns-tiface/sns_nt_failure.h"

namespace pdctl {
namespace {

// The engine callback takes nothing but the notification, so its mailbox
// is process-wide. It is filled on the transport's thread.
class Mailbox {
 public:
  void post(pd_notification *notification) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      notifications_.push_back(notification);
    }
    arrived_.notify_all();
  }

  pd_notification *wait(std::chrono::duration<double> timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!arrived_.wait_for(lock, timeout, [this] { return !notifications_.empty(); })) return nullptr;
    return take_locked();
  }

  // One that is still here, or null.
  pd_notification *take() {
    std::lock_guard<std::mutex> lock(mutex_);
    return take_locked();
  }

 private:
  pd_notification *take_locked() {
    if (notifications_.empty()) return nullptr;
    pd_notification *first = notifications_.front();
    notifications_.pop_front();
    return first;
  }

  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<pd_notification *> notifications_;
};

Mailbox g_mailbox;

void on_notification(pd_notification *notification) {
  if (notification != nullptr) g_mailbox.post(notification);
}

// The transport's reasons for exchanges without an answer, by request id.
// The transport tells one just before the plug-in hears of the exchange.
std::mutex g_failures_mutex;
std::map<uint32_t, TransportFailure> g_failures;

void on_failure(uint32_t request_id, int cause, const char *detail, void *) {
  std::lock_guard<std::mutex> lock(g_failures_mutex);
  g_failures[request_id] = {cause, detail != nullptr ? detail : ""};
}

using SetFailure = void (*)(sns_nt_failure_cb, void *);

}  // namespace

bool is_record(intptr_t result) {
  // Small positive numbers are no addresses: a reply whose error code is
  // negative leaves such a number in the result word of a request whose
  // reply is not parsed into a record.
  return result >= 4096;
}

void discard(const Plugin &plugin, pd_notification *notification) {
  if (notification == nullptr) return;
  if (is_record(notification->iResult))
    release_record(plugin, notification->uReqCode, notification->iResult);
  std::free(notification);
}

Answer run_request(const Plugin &plugin, uint32_t code, void *params,
                   std::chrono::duration<double> timeout, Progress *progress) {
  void *handle = nullptr;
  plugin.pd_init(&handle);
  if (handle == nullptr) return {};
  plugin.pd_setattr(handle, PD_ATTR_ENGINE_CB, PD_ATTR_ENGINE_CB,
                    reinterpret_cast<void *>(&on_notification));
  if (progress != nullptr) progress->attach();
  auto set_failure = transport_extension<SetFailure>("sns_nt_set_failure_cb");
  if (set_failure != nullptr) set_failure(on_failure, nullptr);

  Answer answer;
  if (plugin.pd_sendreq(handle, code, params, nullptr) == PD_OK) {
    answer.notification = g_mailbox.wait(timeout);
    answer.kind = answer.notification != nullptr ? Answer::Kind::notified : Answer::Kind::timed_out;
  }
  // After this no callback runs: what arrives late, or more than once, is
  // released here.
  plugin.pd_finalize(handle);
  if (set_failure != nullptr) set_failure(nullptr, nullptr);
  if (answer.notification != nullptr && answer.notification->uHttpStatus == 0) {
    std::lock_guard<std::mutex> lock(g_failures_mutex);
    if (auto found = g_failures.find(answer.notification->uReqId); found != g_failures.end())
      answer.failure = found->second;
  }
  if (progress != nullptr) {
    progress->detach();
    progress->finish();
  }
  while (pd_notification *late = g_mailbox.take()) discard(plugin, late);
  return answer;
}

}  // namespace pdctl
