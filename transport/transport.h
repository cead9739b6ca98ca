// A transport handle: a worker thread that runs the exchanges of its handle
// on one libcurl multi handle, so connections to the gateway are reused, and
// calls the response callback on that thread once per exchange.
#ifndef SNS_TIFACE_TRANSPORT_TRANSPORT_H
#define SNS_TIFACE_TRANSPORT_TRANSPORT_H

#include <curl/curl.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "config.h"
#include "exchange.h"
#include "sns-tiface/sns_nt.h"
#include "sns-tiface/sns_nt_failure.h"
#include "sns-tiface/sns_nt_progress.h"

namespace sns_tiface {

// The process-wide hooks of the extension headers: upload progress
// (sns_nt_progress.h) and the cause of an exchange without an answer
// (sns_nt_failure.h).
void set_progress_callback(sns_nt_progress_cb callback, void *user);
void set_failure_callback(sns_nt_failure_cb callback, void *user);

class Transport {
 public:
  // Null when libcurl cannot give a multi handle or the thread cannot start.
  static Transport *create(Config config);

  void set_callback(sns_nt_response_cb callback) noexcept { callback_.store(callback); }
  // Queues a prepared exchange and wakes the worker; callable from any
  // thread, the response callback included.
  void submit(std::unique_ptr<Exchange> exchange);
  const Config &config() const noexcept { return config_; }

  // Stops the worker and frees the handle. After it returns no callback
  // runs: exchanges still queued or on the wire are dropped and their
  // requests freed without a callback. Called from inside the callback, the
  // worker finishes that callback, stops and frees the handle itself.
  void finish();

 private:
  explicit Transport(Config config);
  ~Transport();
  void run();
  void start(std::unique_ptr<Exchange> exchange);
  void complete(CURL *easy, CURLcode result);
  void deliver(Exchange &exchange, uint32_t status, char *body, size_t length);
  // Tells the failure hook (and the debug line) why an exchange got no answer.
  void report_failure(const Exchange &exchange, sns_nt_failure cause, const char *detail);
  CURL *take_easy();
  void configure(CURL *easy, Exchange &exchange);
  void abandon();

  Config config_;
  curl_slist *connect_to_ = nullptr;
  CURLM *multi_ = nullptr;
  std::atomic<sns_nt_response_cb> callback_{nullptr};
  std::atomic<bool> stopping_{false};
  bool self_delete_ = false;  // written before stopping_ is set

  std::mutex mutex_;  // guards queue_
  std::vector<std::unique_ptr<Exchange>> queue_;

  // Worker-only state.
  std::vector<CURL *> idle_;     // easy handles kept for the next exchanges
  std::vector<CURL *> active_;   // easy handles on the wire
  std::thread worker_;
};

}  // namespace sns_tiface

#endif
