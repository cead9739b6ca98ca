#include "transport.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace sns_tiface {
namespace {

// Idle easy handles kept for reuse; more than this are cleaned up.
constexpr size_t kIdleHandles = 16;

// A process-wide callback of an extension header. It is called under its
// lock, so once a host has set it to null it is neither running nor called
// again, and the host may free what the callback uses.
template <class Callback>
class Hook {
 public:
  void set(Callback callback, void *user) {
    std::lock_guard<std::mutex> lock(mutex_);
    callback_ = callback;
    user_ = user;
  }
  bool wanted() {
    std::lock_guard<std::mutex> lock(mutex_);
    return callback_ != nullptr;
  }
  template <class... Args>
  void call(Args... args) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (callback_ != nullptr) callback_(args..., user_);
  }

 private:
  std::mutex mutex_;
  Callback callback_ = nullptr;
  void *user_ = nullptr;
};

Hook<sns_nt_progress_cb> g_progress;
Hook<sns_nt_failure_cb> g_failure;

int on_progress(void *data, curl_off_t, curl_off_t, curl_off_t, curl_off_t uploaded) {
  auto *exchange = static_cast<Exchange *>(data);
  uint64_t sent = exchange->file_sent(static_cast<uint64_t>(uploaded));
  if (sent == exchange->reported) return 0;
  exchange->reported = sent;
  g_progress.call(sent, exchange->file_total());
  return 0;
}

// What a person should hear about a failed exchange, from libcurl's result.
sns_nt_failure cause_of(CURLcode result, CURL *easy, Exchange &exchange) {
  switch (result) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return SNS_NT_FAILURE_NAME;
    case CURLE_COULDNT_CONNECT: {
      long os_error = 0;
      curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &os_error);
      return os_error == ECONNREFUSED ? SNS_NT_FAILURE_REFUSED : SNS_NT_FAILURE_UNREACHABLE;
    }
    case CURLE_PEER_FAILED_VERIFICATION: return SNS_NT_FAILURE_CERTIFICATE;
    case CURLE_SSL_CACERT_BADFILE: return SNS_NT_FAILURE_CA_FILE;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_USE_SSL_FAILED: return SNS_NT_FAILURE_TLS;
    case CURLE_OPERATION_TIMEDOUT: return SNS_NT_FAILURE_TIMEOUT;
    case CURLE_FILESIZE_EXCEEDED: return SNS_NT_FAILURE_TOO_LARGE;
    // The reply buffer refuses bytes past the limit or when memory runs out.
    case CURLE_WRITE_ERROR:
      return exchange.reply().over_limit() ? SNS_NT_FAILURE_TOO_LARGE : SNS_NT_FAILURE_NO_MEMORY;
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM: return SNS_NT_FAILURE_CONNECTION_LOST;
    case CURLE_OUT_OF_MEMORY: return SNS_NT_FAILURE_NO_MEMORY;
    default: return SNS_NT_FAILURE_OTHER;
  }
}

size_t on_reply_bytes(char *bytes, size_t size, size_t count, void *data) {
  auto *exchange = static_cast<Exchange *>(data);
  size_t length = size * count;
  // Returning less than was offered makes libcurl end the exchange with an
  // error: a reply past the limit is no answer.
  return exchange->reply().append(bytes, length) ? length : 0;
}

}  // namespace

void set_progress_callback(sns_nt_progress_cb callback, void *user) { g_progress.set(callback, user); }
void set_failure_callback(sns_nt_failure_cb callback, void *user) { g_failure.set(callback, user); }

Transport::Transport(Config config) : config_(std::move(config)) {}

Transport *Transport::create(Config config) {
  auto destroy = [](Transport *unstarted) { delete unstarted; };
  std::unique_ptr<Transport, decltype(destroy)> transport(new Transport(std::move(config)), destroy);
  for (const std::string &entry : transport->config_.connect_to) {
    curl_slist *list = curl_slist_append(transport->connect_to_, entry.c_str());
    if (list == nullptr) return nullptr;
    transport->connect_to_ = list;
  }
  transport->multi_ = curl_multi_init();
  if (transport->multi_ == nullptr) return nullptr;
  try {
    transport->worker_ = std::thread(&Transport::run, transport.get());
  } catch (const std::system_error &) {
    return nullptr;
  }
  return transport.release();
}

Transport::~Transport() {
  if (multi_ != nullptr) curl_multi_cleanup(multi_);
  curl_slist_free_all(connect_to_);
}

void Transport::submit(std::unique_ptr<Exchange> exchange) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back(std::move(exchange));
  }
  curl_multi_wakeup(multi_);
}

void Transport::finish() {
  if (std::this_thread::get_id() == worker_.get_id()) {
    // Inside the response callback: the worker cannot wait for itself.
    self_delete_ = true;
    stopping_.store(true);
    worker_.detach();
    return;
  }
  stopping_.store(true);
  curl_multi_wakeup(multi_);
  worker_.join();
  delete this;
}

void Transport::run() {
  std::vector<std::unique_ptr<Exchange>> incoming;
  while (!stopping_.load()) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      incoming.swap(queue_);
    }
    for (std::unique_ptr<Exchange> &exchange : incoming) start(std::move(exchange));
    incoming.clear();

    int running = 0;
    curl_multi_perform(multi_, &running);
    int left = 0;
    while (CURLMsg *message = curl_multi_info_read(multi_, &left))
      if (message->msg == CURLMSG_DONE) complete(message->easy_handle, message->data.result);

    if (stopping_.load()) break;
    // Sleeps until a socket is ready, a timer is due or submit() wakes it.
    curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
  }
  abandon();
  if (self_delete_) delete this;
}

void Transport::abandon() {
  // Dropped without a callback: nobody may be called after finalize.
  for (CURL *easy : active_) {
    Exchange *exchange = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &exchange);
    curl_multi_remove_handle(multi_, easy);
    curl_easy_cleanup(easy);
    delete exchange;
  }
  active_.clear();
  for (CURL *easy : idle_) curl_easy_cleanup(easy);
  idle_.clear();
  std::lock_guard<std::mutex> lock(mutex_);
  queue_.clear();
}

CURL *Transport::take_easy() {
  if (idle_.empty()) return curl_easy_init();
  CURL *easy = idle_.back();
  idle_.pop_back();
  curl_easy_reset(easy);
  return easy;
}

void Transport::configure(CURL *easy, Exchange &exchange) {
  curl_easy_setopt(easy, CURLOPT_URL, exchange.request()->pszUrl);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  curl_easy_setopt(easy, CURLOPT_POSTFIELDS, exchange.send_data());
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                   static_cast<curl_off_t>(exchange.send_length()));
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, exchange.headers());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, on_reply_bytes);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &exchange);
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(config_.max_reply_bytes));
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &exchange);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, exchange.error_buffer());
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, config_.timeout_ms);
  // The gateway is reached directly; a proxy from the environment would
  // also swallow the connect-to entries.
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_CONNECT_TO, connect_to_);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!config_.cainfo.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, config_.cainfo.c_str());
  if (exchange.is_chunk() && g_progress.wanted()) {
    curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, on_progress);
    curl_easy_setopt(easy, CURLOPT_XFERINFODATA, &exchange);
    curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
  }
}

void Transport::start(std::unique_ptr<Exchange> exchange) {
  CURL *easy = take_easy();
  if (easy == nullptr) {
    report_failure(*exchange, SNS_NT_FAILURE_NO_MEMORY, "no libcurl handle for the exchange");
    deliver(*exchange, 0, nullptr, 0);
    return;
  }
  configure(easy, *exchange);
  if (CURLMcode added = curl_multi_add_handle(multi_, easy); added != CURLM_OK) {
    curl_easy_cleanup(easy);
    report_failure(*exchange,
                   added == CURLM_OUT_OF_MEMORY ? SNS_NT_FAILURE_NO_MEMORY : SNS_NT_FAILURE_OTHER,
                   curl_multi_strerror(added));
    deliver(*exchange, 0, nullptr, 0);
    return;
  }
  exchange.release();  // owned through CURLOPT_PRIVATE until complete()
  active_.push_back(easy);
}

void Transport::complete(CURL *easy, CURLcode result) {
  Exchange *raw = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &raw);
  std::unique_ptr<Exchange> exchange(raw);
  curl_multi_remove_handle(multi_, easy);
  active_.erase(std::find(active_.begin(), active_.end(), easy));

  long status = 0;
  char *body = nullptr;
  size_t length = 0;
  if (result == CURLE_OK) {
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    body = exchange->reply().release(&length);
    if (config_.debug)
      std::fprintf(stderr, "sns-tiface: request %u code %u %s -> %ld\n", exchange->request()->uReqId,
                   exchange->request()->uReqCode, exchange->request()->pszUrl, status);
  } else {
    char detail[CURL_ERROR_SIZE + 64];
    if (exchange->reply().over_limit())
      std::snprintf(detail, sizeof detail, "the answer is longer than %zu bytes",
                    config_.max_reply_bytes);
    else
      std::snprintf(detail, sizeof detail, "%s",
                    exchange->error_buffer()[0] != '\0' ? exchange->error_buffer()
                                                         : curl_easy_strerror(result));
    report_failure(*exchange, cause_of(result, easy, *exchange), detail);
  }
  if (idle_.size() < kIdleHandles)
    idle_.push_back(easy);
  else
    curl_easy_cleanup(easy);
  deliver(*exchange, static_cast<uint32_t>(status), body, length);
}

void Transport::report_failure(const Exchange &exchange, sns_nt_failure cause, const char *detail) {
  const sns_nt_request &request = *exchange.request();
  if (config_.debug)
    std::fprintf(stderr, "sns-tiface: request %u code %u %s -> no answer (%s)\n", request.uReqId,
                 request.uReqCode, request.pszUrl, detail);
  // Nobody hears of an exchange once the handle is being finalised.
  if (!stopping_.load()) g_failure.call(request.uReqId, static_cast<int>(cause), detail);
}

void Transport::deliver(Exchange &exchange, uint32_t status, char *body, size_t length) {
  sns_nt_response_cb callback = callback_.load();
  if (callback != nullptr && !stopping_.load()) {
    const sns_nt_request &request = *exchange.request();
    sns_nt_response fallback{};
    auto *response = static_cast<sns_nt_response *>(std::calloc(1, sizeof(sns_nt_response)));
    if (response == nullptr) response = &fallback;
    response->uReqId = request.uReqId;
    response->uReqCode = request.uReqCode;
    response->uHttpStatus = status;
    response->pBody = body;
    response->uBodyLen = static_cast<uint32_t>(std::min<size_t>(length, UINT32_MAX));
    response->pInstance = request.pInstance;
    response->uPassThrough = reinterpret_cast<uintptr_t>(request.pCallerData);
    response->pPrivData = request.pPrivData;
    callback(response);
    if (response != &fallback) std::free(response);
  }
  std::free(body);
}

}  // namespace sns_tiface
