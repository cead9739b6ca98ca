// The real wire against gateway-sim on loopback: friends-list exchanges and
// chunked photo uploads, carried five ways over reused connections:
//   PluginRoute    the plug-in's entry points, as an engine drives them
//                  (composed, sent by our transport, parsed, delivered to
//                  the engine's callback, released);
//   Plugin8Route   the same from eight engine threads at once;
//   TransportRoute our transport alone, given the plug-in's request bytes;
//   PlainCurlRoute one libcurl easy handle with the transport's options,
//                  one exchange at a time on the calling thread: the floor
//                  for libcurl;
//   RawSocketRoute one keep-alive TCP connection written and read by hand:
//                  the floor for any HTTP client (requests only).
//
// Every number is a comparison of two routes measured in turns within one
// run: each round times a turn of one route and then a turn of the other
// (which goes first alternates), and the round's ratio is the first route's
// rate over the second's. Printed are each ratio's min, median and max over
// the rounds and each route's median rate, so a ratio stays readable on a
// machine that other work shares.
//
// BM_PluginCosts adds what a request costs the engine's process: its CPU
// time (all threads, getrusage) per request through the plug-in and through
// the transport alone, and the messages on the session bus per request
// through the plug-in (dbus-monitor, between marks).
//
// The plug-in keeps its keys in GConf, so the benchmark runs itself inside
// a private D-Bus session with a temporary HOME (tests/with-session.sh).
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <mutex>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "../alternate.h"
#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_upload.h"
#include "sns-tiface/sns_nt.h"
#include "support/bus_count.h"
#include "support/gateway_sim.h"
#include "support/release_records.h"
#include "support/wire_requests.h"

namespace {

using pd_test::GatewaySim;
using Clock = std::chrono::steady_clock;

constexpr size_t kUploadBytes = size_t{8} << 20;
constexpr size_t kChunkBytes = 65536;
constexpr int kRounds = 21;                // turns of each route per comparison
// A turn of 250 exchanges lasts some 30 ms: long enough that a run's median
// ratio moves by about a tenth from run to run on a shared 2-core host
// (with turns of 50 it moved by a quarter).
constexpr int kRequestsPerTurn = 250;
constexpr int kUploadRounds = 5;

std::string read_data(const std::string &relative) {
  std::ifstream in(std::string(PD_TEST_DATA_DIR) + "/" + relative, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// ---------------------------------------------------------------------------
// The photo upload after the location has arrived: sends the file in
// chunks of PD_UPLOAD_CHUNK_SIZE, each from the callback of the one before,
// with the upload data record advanced before each chunk is sent.
class ChunkedUpload {
 public:
  ChunkedUpload(sns_nt_handle handle, std::string url, std::string file);
  // Sends the first chunk, with request id `first_id`.
  void start(uint32_t first_id);
  // Feed every response; sends the next chunk after an accepted one.
  // Returns true when the response belonged to this upload.
  bool on_response(const sns_nt_response &response);
  bool finished() const { return finished_.load(); }
  // The status and body of the last answer.
  uint32_t last_status() const { return last_status_; }
  const std::string &last_body() const { return last_body_; }
  size_t chunks_sent() const { return chunks_; }

 private:
  void send_next();

  sns_nt_handle handle_;
  std::string url_, file_;
  pd_upload_data upload_{};
  uint32_t next_id_ = 0;
  size_t chunks_ = 0;
  std::atomic<bool> finished_{false};
  uint32_t last_status_ = 0;
  std::string last_body_;
};

ChunkedUpload::ChunkedUpload(sns_nt_handle handle, std::string url, std::string file)
    : handle_(handle), url_(std::move(url)), file_(std::move(file)) {
  upload_.iFileSize = static_cast<int32_t>(file_.size());
}

void ChunkedUpload::start(uint32_t first_id) {
  next_id_ = first_id;
  send_next();
}

void ChunkedUpload::send_next() {
  // As the plug-in does: the record is advanced past the chunk before the
  // chunk is handed to the transport.
  size_t length = std::min<size_t>(file_.size() - upload_.uOffset, PD_UPLOAD_CHUNK_SIZE);
  std::string chunk = file_.substr(upload_.uOffset, length);
  bool first = upload_.uOffset == 0;
  upload_.uOffset += static_cast<uint32_t>(length);
  bool last = upload_.uOffset == file_.size();
  upload_.uState = last ? PD_UPLOAD_LAST_CHUNK : first ? PD_UPLOAD_FIRST_CHUNK : PD_UPLOAD_MORE_CHUNKS;
  ++chunks_;
  sns_nt_sendreq(handle_, pd_test::chunk_request(handle_, next_id_++, url_, chunk, first, &upload_));
}

bool ChunkedUpload::on_response(const sns_nt_response &response) {
  if (response.pPrivData != &upload_) return false;
  if (response.uHttpStatus == 200 && upload_.uState != PD_UPLOAD_LAST_CHUNK) {
    send_next();
    return true;
  }
  last_status_ = response.uHttpStatus;
  last_body_ = response.pBody != nullptr ? std::string(response.pBody, response.uBodyLen) : "";
  finished_ = true;
  return true;
}

// ---------------------------------------------------------------------------
// Plain libcurl: an easy handle set up as our transport sets up each exchange
// (transport/transport.cc), kept for the next exchange with its connection.
class Easy {
 public:
  explicit Easy(const GatewaySim &sim) : easy_(curl_easy_init()) {
    std::stringstream entries(sim.connect_to());
    for (std::string entry; std::getline(entries, entry, ',');)
      connect_to_ = curl_slist_append(connect_to_, entry.c_str());
    curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy_, CURLOPT_POST, 1L);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION,
                     +[](char *bytes, size_t size, size_t count, void *out) {
                       static_cast<std::string *>(out)->append(bytes, size * count);
                       return size * count;
                     });
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, &reply_);
    curl_easy_setopt(easy_, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(64) << 20);
    curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, error_);
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy_, CURLOPT_TIMEOUT_MS, 30000L);
    curl_easy_setopt(easy_, CURLOPT_PROXY, "");
    curl_easy_setopt(easy_, CURLOPT_CONNECT_TO, connect_to_);
    curl_easy_setopt(easy_, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy_, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(easy_, CURLOPT_CAINFO, GatewaySim::ca_file().c_str());
  }
  ~Easy() {
    curl_easy_cleanup(easy_);
    curl_slist_free_all(connect_to_);
    curl_slist_free_all(headers_);
  }
  Easy(const Easy &) = delete;
  Easy &operator=(const Easy &) = delete;

  // POSTs `length` bytes with the header lines; the reply's body. Anything
  // but a 200 answer is an error.
  const std::string &post(const std::string &url, const char *data, size_t length,
                          std::initializer_list<std::string> header_lines) {
    curl_slist_free_all(headers_);
    headers_ = nullptr;
    for (const std::string &line : header_lines) headers_ = curl_slist_append(headers_, line.c_str());
    headers_ = curl_slist_append(headers_, "Expect:");
    reply_.clear();
    curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, data);
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(length));
    long status = 0;
    if (curl_easy_perform(easy_) != CURLE_OK ||
        curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status) != CURLE_OK || status != 200)
      throw std::runtime_error("plain libcurl exchange failed: " + url);
    return reply_;
  }
  const std::string &post(const std::string &url, const std::string &body) {
    return post(url, body.data(), body.size(), {"Content-Type: text/xml"});
  }

 private:
  CURL *easy_;
  curl_slist *connect_to_ = nullptr, *headers_ = nullptr;
  std::string reply_;
  char error_[CURL_ERROR_SIZE] = {};
};

// ---------------------------------------------------------------------------
// The simulator, a session on it, and the bytes every route sends.
struct Wire {
  GatewaySim sim;
  std::string friends_request;  // the plug-in's friends-list document
  std::string file;             // the upload
  std::string file_path;        // the same bytes on disk, for the plug-in
  std::string session;

  void open() {
    sim.start({}, false);
    sim.export_environment();
    Easy easy(sim);
    std::smatch key;
    std::string reply =
        easy.post(GatewaySim::gateway_url("/palisade/auth"), read_data("wire/requests/login.xml"));
    if (!std::regex_search(reply, key, std::regex("SessionKey=\"([0-9a-f]+)\"")))
      throw std::runtime_error("no session key in " + reply);
    session = key[1];
    friends_request = with_session(read_data("wire/requests/friends.xml"));
    file.resize(kUploadBytes);
    for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<char>(i * 2654435761u >> 24);
    char path[] = "/tmp/bench-wire-photo.XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0 || write(fd, file.data(), file.size()) != static_cast<ssize_t>(file.size()))
      throw std::runtime_error("cannot write the photo file");
    close(fd);
    file_path = path;
  }

  void close_down() {
    if (!file_path.empty()) std::remove(file_path.c_str());
  }

  std::string with_session(std::string document) const {
    const std::string golden = "00000000000000000000000000000001";
    size_t at = document.find(golden);
    if (at != std::string::npos) document.replace(at, golden.size(), session);
    return document;
  }

  // A fresh upload location (each takes one file).
  std::string upload_url() {
    Easy easy(sim);
    std::string reply = easy.post(GatewaySim::gateway_url("/palisade/photo"),
                                  with_session(read_data("wire/requests/add_photo.xml")));
    std::smatch found;
    if (!std::regex_search(reply, found, std::regex("HostAddr=\"([^\"]+)\" ResourceID=\"([^\"]+)\"")))
      throw std::runtime_error("no upload location in " + reply);
    return "http://" + found[1].str() + "/" + found[2].str();
  }
};

Wire g_wire;

// ---------------------------------------------------------------------------
// The engine's side of the plug-in: one instance for the process; each
// notification is counted, checked and its record released at once, as an
// engine does once it has read it.
class Engine {
 public:
  static Engine &instance() {
    static Engine *engine = made_ = new Engine;
    return *engine;
  }
  // pd_finalize, when an instance was made.
  static void finish() {
    if (made_ != nullptr) pd_finalize(made_->handle_);
  }

  // Sends a request and waits until as many notifications have arrived as
  // requests were sent up to this one.
  void exchange(uint32_t code, void *params) {
    uint64_t mine = sent_.fetch_add(1) + 1;
    if (pd_sendreq(handle_, code, params, nullptr) != PD_OK)
      throw std::runtime_error("request " + std::to_string(code) + " not sent");
    std::unique_lock<std::mutex> lock(mutex_);
    if (!arrived_cv_.wait_for(lock, std::chrono::seconds(60), [&] { return arrived_ >= mine; }))
      throw std::runtime_error("no notification");
    if (failures_ != 0) throw std::runtime_error("a request failed");
  }

 private:
  Engine() {
    if (pd_init(&handle_) != PD_OK ||
        pd_setattr(handle_, PD_ATTR_ENGINE_CB, PD_ATTR_ENGINE_CB,
                   reinterpret_cast<void *>(&Engine::callback)) != PD_OK)
      throw std::runtime_error("no plug-in instance");
  }

  static void callback(pd_notification *notification) {
    Engine &self = instance();
    bool ok = notification->uHttpStatus == 200 && notification->iResult > 0;
    if (ok && notification->uReqCode == PD_REQ_UPLOAD_PHOTO) {
      const char *status = reinterpret_cast<xml_photo *>(notification->iResult)->pszStatus;
      ok = status != nullptr && std::strcmp(status, "done") == 0;
    }
    pd_test::release_notification_result(notification->uReqCode, notification->iResult);
    std::free(notification);
    std::lock_guard<std::mutex> lock(self.mutex_);
    ++self.arrived_;
    if (!ok) ++self.failures_;
    self.arrived_cv_.notify_all();
  }

  static inline Engine *made_ = nullptr;
  void *handle_ = nullptr;
  std::atomic<uint64_t> sent_{0};
  std::mutex mutex_;
  std::condition_variable arrived_cv_;
  uint64_t arrived_ = 0, failures_ = 0;
};

constexpr const char *kLogin[] = {"ann@palisade.example", "harbour-lights"};

// Routes: run(n) makes n exchanges; upload(url) sends the whole file.
class PluginRoute {
 public:
  explicit PluginRoute(Wire &wire) : wire_(wire) { login(); }
  static void login() {
    static bool done = [] {
      Engine::instance().exchange(PD_REQ_LOGIN, const_cast<char **>(kLogin));
      return true;
    }();
    (void)done;
  }
  void run(int n) {
    for (int i = 0; i < n; ++i) Engine::instance().exchange(PD_REQ_FRIENDS, nullptr);
  }
  // The location comes from the plug-in's own add-photo request.
  void upload(const std::string &) {
    const char *block[] = {wire_.file_path.c_str(), "al4"};
    Engine::instance().exchange(PD_REQ_UPLOAD_PHOTO, const_cast<char **>(block));
  }
  static constexpr const char *kName = "plugin";

 private:
  Wire &wire_;
};

// Eight engine threads sending at once, each waiting for a reply before its
// next request.
class Plugin8Route {
 public:
  explicit Plugin8Route(Wire &) { PluginRoute::login(); }
  void run(int n) {
    std::vector<std::thread> senders;
    std::atomic<bool> failed{false};
    for (int t = 0; t < kThreads; ++t)
      senders.emplace_back([n, t, &failed] {
        try {
          for (int i = t; i < n; i += kThreads) Engine::instance().exchange(PD_REQ_FRIENDS, nullptr);
        } catch (const std::exception &) {
          failed.store(true);
        }
      });
    for (std::thread &sender : senders) sender.join();
    if (failed.load()) throw std::runtime_error("a sender's request failed");
  }
  static constexpr const char *kName = "plugin_8_threads";
  static constexpr int kThreads = 8;
};

// Our transport given the bytes the plug-in sends; answered on its worker.
class TransportRoute {
 public:
  explicit TransportRoute(Wire &wire) : wire_(wire) {
    if (sns_nt_init(&handle_) != 0 ||
        sns_nt_setattr(handle_, SNS_NT_ATTR_RESPONSE_CB, 1,
                       reinterpret_cast<void *>(&TransportRoute::callback)) != 0)
      throw std::runtime_error("no transport");
  }
  ~TransportRoute() { sns_nt_finalize(handle_); }

  void run(int n) {
    for (int i = 0; i < n; ++i) {
      sns_nt_sendreq(handle_, pd_test::xml_request(handle_, ++id_, PD_REQ_FRIENDS, url_,
                                                   wire_.friends_request));
      if (wait() != 200) throw std::runtime_error("request failed");
    }
  }

  // 64 KiB chunks, each sent from the callback of the one before, as the
  // plug-in's upload does.
  void upload(const std::string &url) {
    ChunkedUpload chunks(handle_, url, wire_.file);
    upload_ = &chunks;
    chunks.start(++id_);
    uint32_t status = wait();
    upload_ = nullptr;
    id_ += static_cast<uint32_t>(chunks.chunks_sent());
    if (status != 200 || chunks.last_body().find("Status=\"done\"") == std::string::npos)
      throw std::runtime_error("upload failed");
  }
  static constexpr const char *kName = "transport";

 private:
  static int callback(void *record) {
    const auto *response = static_cast<const sns_nt_response *>(record);
    TransportRoute *self = current_;
    if (self->upload_ != nullptr && self->upload_->on_response(*response) &&
        !self->upload_->finished())
      return 0;  // the next chunk is on its way
    std::lock_guard<std::mutex> lock(self->mutex_);
    self->status_ = response->uHttpStatus;
    ++self->done_;
    self->changed_.notify_all();
    return 0;
  }
  uint32_t wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return done_ > seen_; });
    ++seen_;
    return status_;
  }

  // The interface has no user word: the route being measured.
  static inline TransportRoute *current_ = nullptr;

 public:
  void make_current() { current_ = this; }

 private:
  Wire &wire_;
  sns_nt_handle handle_ = nullptr;
  uint32_t id_ = 0;
  std::string url_ = GatewaySim::gateway_url("/palisade/friend/grouping");
  ChunkedUpload *upload_ = nullptr;
  std::mutex mutex_;
  std::condition_variable changed_;
  uint64_t done_ = 0, seen_ = 0;
  uint32_t status_ = 0;
};

class PlainCurlRoute {
 public:
  explicit PlainCurlRoute(Wire &wire) : wire_(wire), easy_(wire.sim) {}
  void run(int n) {
    for (int i = 0; i < n; ++i) easy_.post(url_, wire_.friends_request);
  }
  // The same 64 KiB chunks as the transport sends, one after the other.
  void upload(const std::string &url) {
    const std::string total = std::to_string(wire_.file.size());
    std::string reply;
    for (size_t at = 0; at < wire_.file.size(); at += kChunkBytes) {
      size_t length = std::min(kChunkBytes, wire_.file.size() - at);
      reply = easy_.post(url, wire_.file.data() + at, length,
                         {"Content-Type: image/jpg", "Content-Range: bytes " + std::to_string(at) +
                                                         "-" + std::to_string(at + length - 1) +
                                                         "/" + total});
    }
    if (reply.find("Status=\"done\"") == std::string::npos) throw std::runtime_error("upload failed");
  }
  static constexpr const char *kName = "plain_libcurl";

 private:
  Wire &wire_;
  Easy easy_;
  std::string url_ = GatewaySim::gateway_url("/palisade/friend/grouping");
};

// One keep-alive connection to the simulator's HTTP port; the request
// written with one send, the answer read up to its Content-Length.
class RawSocketRoute {
 public:
  explicit RawSocketRoute(Wire &wire) : wire_(wire) {
    request_ = "POST /palisade/friend/grouping HTTP/1.1\r\nHost: gateway.palisade.example\r\n"
               "Accept: */*\r\nContent-Type: text/xml\r\nContent-Length: " +
               std::to_string(wire.friends_request.size()) + "\r\n\r\n" + wire.friends_request;
  }
  ~RawSocketRoute() {
    if (fd_ >= 0) close(fd_);
  }
  void run(int n) {
    for (int i = 0; i < n; ++i) exchange();
  }
  static constexpr const char *kName = "raw_socket";

 private:
  void connect_once() {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    int one = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(wire_.sim.http_port()));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd_, reinterpret_cast<sockaddr *>(&to), sizeof to) != 0)
      throw std::runtime_error("raw socket: no connection");
  }
  void exchange() {
    if (fd_ < 0) connect_once();
    for (size_t sent = 0; sent < request_.size();) {
      ssize_t n = send(fd_, request_.data() + sent, request_.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) throw std::runtime_error("raw socket: send failed");
      sent += static_cast<size_t>(n);
    }
    reply_.clear();
    size_t header_end = std::string::npos, length = 0;
    char buffer[16384];
    for (;;) {
      ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
      if (n <= 0) throw std::runtime_error("raw socket: connection closed");
      reply_.append(buffer, static_cast<size_t>(n));
      if (header_end == std::string::npos) {
        header_end = reply_.find("\r\n\r\n");
        if (header_end == std::string::npos) continue;
        if (reply_.compare(0, 12, "HTTP/1.1 200") != 0) throw std::runtime_error("raw socket: not 200");
        size_t at = find_header("content-length:", header_end);
        if (at == std::string::npos) throw std::runtime_error("raw socket: no length");
        length = std::strtoul(reply_.c_str() + at, nullptr, 10);
        at = find_header("connection:", header_end);
        closing_ = at != std::string::npos && reply_.compare(at, 6, " close") == 0;
      }
      if (reply_.size() >= header_end + 4 + length) break;
    }
    if (closing_) {
      close(fd_);
      fd_ = -1;
    }
  }

  // Where the value of header `name` (lower case, colon included) begins
  // in the reply's head, or npos.
  size_t find_header(const char *name, size_t head_end) const {
    size_t length = std::strlen(name);
    for (size_t line = reply_.find("\r\n"); line != std::string::npos && line < head_end;
         line = reply_.find("\r\n", line + 2)) {
      if (strncasecmp(reply_.c_str() + line + 2, name, length) == 0) return line + 2 + length;
    }
    return std::string::npos;
  }

  Wire &wire_;
  std::string request_, reply_;
  int fd_ = -1;
  bool closing_ = false;
};

// ---------------------------------------------------------------------------
// Comparisons.

template <class Route>
double timed_requests(Route &route, int n) {
  if constexpr (std::is_same_v<Route, TransportRoute>) route.make_current();
  auto start = Clock::now();
  route.run(n);
  return std::chrono::duration<double>(Clock::now() - start).count();
}

template <class Route>
double timed_upload(Route &route) {
  if constexpr (std::is_same_v<Route, TransportRoute>) route.make_current();
  std::string url = g_wire.upload_url();
  auto start = Clock::now();
  route.upload(url);
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Route A's rate over route B's, and each route's median rate.
void report(benchmark::State &state, const char *a, const char *b, const char *unit,
            const std::vector<double> &rate_a, const std::vector<double> &rate_b) {
  pd_bench::report_ratio(state, rate_a, rate_b);
  state.counters[std::string(a) + unit] = pd_bench::median(rate_a);
  state.counters[std::string(b) + unit] = pd_bench::median(rate_b);
}

std::vector<double> per_second(double amount, const std::vector<double> &seconds) {
  std::vector<double> rates;
  for (double s : seconds) rates.push_back(amount / s);
  return rates;
}

// Requests per second of A over B.
template <class A, class B>
void BM_Requests(benchmark::State &state) {
  A a(g_wire);
  B b(g_wire);
  timed_requests(a, 20);  // connections open and warm before timing
  timed_requests(b, 20);
  std::vector<double> time_a, time_b;
  pd_bench::alternate(
      state, [&] { return timed_requests(a, kRequestsPerTurn); },
      [&] { return timed_requests(b, kRequestsPerTurn); }, time_a, time_b);
  report(state, A::kName, B::kName, "_per_second", per_second(kRequestsPerTurn, time_a),
         per_second(kRequestsPerTurn, time_b));
}

// Upload megabytes per second of A over B.
template <class A, class B>
void BM_Upload(benchmark::State &state) {
  A a(g_wire);
  B b(g_wire);
  std::vector<double> time_a, time_b;
  pd_bench::alternate(
      state, [&] { return timed_upload(a); }, [&] { return timed_upload(b); }, time_a, time_b);
  report(state, A::kName, B::kName, "_MB_per_second", per_second(kUploadBytes / 1e6, time_a),
         per_second(kUploadBytes / 1e6, time_b));
}

double process_cpu_seconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  auto seconds = [](const timeval &t) { return t.tv_sec + t.tv_usec * 1e-6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The process's CPU seconds (all threads) for n requests.
template <class Route>
double cpu_seconds(Route &route, int n) {
  double start = process_cpu_seconds();
  timed_requests(route, n);
  return process_cpu_seconds() - start;
}

// What one request costs the engine's process, in turns with the transport
// alone, and the session bus's messages per plug-in request.
void BM_PluginCosts(benchmark::State &state) {
  PluginRoute plugin(g_wire);
  TransportRoute transport(g_wire);
  timed_requests(plugin, 20);
  timed_requests(transport, 20);
  std::vector<double> cpu_plugin, cpu_transport;
  pd_bench::alternate(
      state, [&] { return cpu_seconds(plugin, kRequestsPerTurn); },
      [&] { return cpu_seconds(transport, kRequestsPerTurn); }, cpu_plugin, cpu_transport);
  double bus_messages = -1;  // no monitor
  pd_test::BusCount bus;
  if (bus.begin()) {
    timed_requests(plugin, kRequestsPerTurn);
    if (bus.end()) bus_messages = static_cast<double>(bus.messages().size()) / kRequestsPerTurn;
  }
  pd_bench::report_ratio(state, cpu_plugin, cpu_transport);
  state.counters["plugin_cpu_us_per_request"] = pd_bench::median(cpu_plugin) * 1e6 / kRequestsPerTurn;
  state.counters["transport_cpu_us_per_request"] =
      pd_bench::median(cpu_transport) * 1e6 / kRequestsPerTurn;
  state.counters["bus_messages_per_request"] = bus_messages;
}

#define PD_COMPARE(kind, A, B, rounds) \
  BENCHMARK_TEMPLATE(kind, A, B)->Iterations(rounds)->UseManualTime()->Unit(benchmark::kMillisecond)
PD_COMPARE(BM_Requests, PluginRoute, TransportRoute, kRounds);
PD_COMPARE(BM_Requests, PluginRoute, PlainCurlRoute, kRounds);
PD_COMPARE(BM_Requests, TransportRoute, PlainCurlRoute, kRounds);
PD_COMPARE(BM_Requests, PlainCurlRoute, RawSocketRoute, kRounds);
PD_COMPARE(BM_Requests, Plugin8Route, PluginRoute, kRounds);
PD_COMPARE(BM_Upload, PluginRoute, TransportRoute, kUploadRounds);
PD_COMPARE(BM_Upload, TransportRoute, PlainCurlRoute, kUploadRounds);
#undef PD_COMPARE
BENCHMARK(BM_PluginCosts)->Iterations(kRounds)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
  // Into a private session first: the plug-in's login writes to GConf.
  if (std::getenv("PD_BENCH_PRIVATE_SESSION") == nullptr) {
    setenv("PD_BENCH_PRIVATE_SESSION", "1", 1);
    std::vector<char *> args = {const_cast<char *>(PD_WITH_SESSION)};
    args.insert(args.end(), argv, argv + argc + 1);
    execv(PD_WITH_SESSION, args.data());
    std::cerr << "bench_wire: cannot start " << PD_WITH_SESSION << "\n";
    return 1;
  }
  setenv("PD_PLUGIN_LOG", "none", 1);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  curl_global_init(CURL_GLOBAL_DEFAULT);
  int status = 0;
  try {
    g_wire.open();
    benchmark::RunSpecifiedBenchmarks();
  } catch (const std::exception &error) {
    std::cerr << "bench_wire: " << error.what() << "\n";
    status = 1;
  }
  benchmark::Shutdown();
  Engine::finish();
  g_wire.close_down();
  return g_wire.sim.stop() == 0 ? status : 1;
}
