// Requests per second and upload throughput of the real wire against
// gateway-sim on loopback, three ways over one reused connection: through
// the plug-in's entry points (composed, sent by the transport, parsed and
// delivered to an engine callback), through the transport alone, and with
// plain libcurl.
//
// Each way of carrying an exchange is a "route" with the same two
// operations:
//   struct SomeRoute {
//     explicit SomeRoute(Wire &wire);
//     void request();                      // one friends-list exchange
//     void upload(const std::string &url); // the 32 MB file to an upload URL
//   };
//
// The plug-in keeps its keys in GConf, so the benchmark runs itself inside
// a private D-Bus session with a temporary HOME (tests/with-session.sh);
// nothing of the user's settings is touched.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <mutex>
#include <regex>
#include <sstream>

#include "pd-plugin/pd_upload.h"
#include "sns-tiface/sns_nt.h"
#include "support/gateway_sim.h"
#include "support/plugin_engine.h"
#include "support/wire_requests.h"

namespace {

using pd_test::GatewaySim;

constexpr size_t kUploadBytes = size_t{32} << 20;

std::string read_data(const std::string &relative) {
  std::ifstream in(std::string(PD_TEST_DATA_DIR) + "/" + relative, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// A plain libcurl easy handle aimed at the simulator as the transport is.
class Easy {
 public:
  explicit Easy(const GatewaySim &sim) : easy_(curl_easy_init()) {
    std::stringstream entries(sim.connect_to());
    for (std::string entry; std::getline(entries, entry, ',');)
      connect_to_ = curl_slist_append(connect_to_, entry.c_str());
    curl_easy_setopt(easy_, CURLOPT_CONNECT_TO, connect_to_);
    curl_easy_setopt(easy_, CURLOPT_CAINFO, GatewaySim::ca_file().c_str());
    curl_easy_setopt(easy_, CURLOPT_PROXY, "");
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, &reply_);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION,
                     +[](char *bytes, size_t size, size_t count, void *out) {
                       static_cast<std::string *>(out)->append(bytes, size * count);
                       return size * count;
                     });
  }
  ~Easy() {
    curl_easy_cleanup(easy_);
    curl_slist_free_all(connect_to_);
    curl_slist_free_all(headers_);
  }

  // POSTs a body with the given header lines; the reply's body, or an
  // error for anything but a 200 answer.
  const std::string &post(const std::string &url, const std::string &body,
                          std::initializer_list<const char *> header_lines) {
    curl_slist_free_all(headers_);
    headers_ = curl_slist_append(nullptr, "Expect:");
    for (const char *line : header_lines) headers_ = curl_slist_append(headers_, line);
    reply_.clear();
    curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    long status = 0;
    if (curl_easy_perform(easy_) != CURLE_OK ||
        curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status) != CURLE_OK || status != 200)
      throw std::runtime_error("plain libcurl exchange failed: " + url);
    return reply_;
  }

 private:
  CURL *easy_;
  curl_slist *connect_to_ = nullptr, *headers_ = nullptr;
  std::string reply_;
};

// The simulator, a session on it, and the bytes every route sends.
struct Wire {
  GatewaySim sim;
  std::string friends_request;  // the plug-in's friends-list document
  std::string file;             // the upload
  std::string file_path;        // the same bytes on disk, for the plug-in
  std::string session;

  void open() {
    std::string error;
    if (!sim.start({}, &error, false)) throw std::runtime_error(error);
    sim.export_environment();
    Easy easy(sim);
    std::smatch key;
    std::string reply = easy.post(GatewaySim::gateway_url("/palisade/auth"),
                                  read_data("wire/requests/login.xml"), {"Content-Type: text/xml"});
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
                                  with_session(read_data("wire/requests/add_photo.xml")),
                                  {"Content-Type: text/xml"});
    std::smatch found;
    if (!std::regex_search(reply, found, std::regex("HostAddr=\"([^\"]+)\" ResourceID=\"([^\"]+)\"")))
      throw std::runtime_error("no upload location in " + reply);
    return "http://" + found[1].str() + "/" + found[2].str();
  }
};

Wire g_wire;

// Waits on the transport's callback thread for one answer at a time.
class Callbacks {
 public:
  static int callback(void *record) {
    const auto *response = static_cast<const sns_nt_response *>(record);
    Callbacks &self = instance();
    if (self.upload_ != nullptr && self.upload_->on_response(*response) && !self.upload_->finished())
      return 0;  // the next chunk is on its way
    std::lock_guard<std::mutex> lock(self.mutex_);
    self.status_ = response->uHttpStatus;
    ++self.done_;
    self.changed_.notify_all();
    return 0;
  }
  static Callbacks &instance() {
    static Callbacks callbacks;
    return callbacks;
  }
  // Waits for the next answer; its HTTP status.
  uint32_t wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return done_ > seen_; });
    ++seen_;
    return status_;
  }
  void follow(pd_test::ChunkedUpload *upload) { upload_ = upload; }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  uint64_t done_ = 0, seen_ = 0;
  uint32_t status_ = 0;
  pd_test::ChunkedUpload *upload_ = nullptr;
};

// The plug-in through its entry points, as the engine drives it: a login
// first (its keys go to GConf), then each request through pd_sendreq until
// the engine's callback has its notification, whose records are released
// with the plug-in's own operations. The upload is engine request 9, which
// asks the gateway for its own upload location and sends the file from disk
// in 64 KiB chunks.
class PluginRoute {
 public:
  explicit PluginRoute(Wire &wire) : wire_(wire) {
    if (!engine_.open()) throw std::runtime_error("no plug-in instance");
    expect(PD_REQ_LOGIN, static_cast<void *>(const_cast<char **>(kLogin)));
  }

  void request() { expect(PD_REQ_FRIENDS, nullptr); }

  // The location comes from the plug-in's own add-photo request.
  void upload(const std::string &) {
    const char *block[] = {wire_.file_path.c_str(), "al4"};
    expect(PD_REQ_UPLOAD_PHOTO, static_cast<void *>(const_cast<char **>(block)));
  }

 private:
  static constexpr const char *kLogin[] = {"ann@palisade.example", "harbour-lights"};

  // Sends a request and waits for its notification, which must carry a
  // record; the record is released before the next request.
  void expect(uint32_t code, void *params) {
    size_t before = engine_.count();
    if (engine_.send(code, params) != PD_OK) throw std::runtime_error("request not sent");
    if (!engine_.wait_for(before + 1)) throw std::runtime_error("no notification");
    pd_notification done = engine_.notifications()[before];
    if (done.uHttpStatus != 200 || done.iResult <= 0)
      throw std::runtime_error("request " + std::to_string(code) + " failed: status " +
                               std::to_string(done.uHttpStatus) + " result " +
                               std::to_string(done.iResult));
    if (code == PD_REQ_UPLOAD_PHOTO) {
      const char *status = reinterpret_cast<xml_photo *>(done.iResult)->pszStatus;
      if (status == nullptr || std::strcmp(status, "done") != 0)
        throw std::runtime_error("upload not done");
    }
    engine_.release_all();
  }

  Wire &wire_;
  pd_test::PluginEngine engine_;
};

// Our transport: a request record per exchange, answered on its worker.
class TransportRoute {
 public:
  explicit TransportRoute(Wire &wire) : wire_(wire) {
    if (sns_nt_init(&handle_) != 0 ||
        sns_nt_setattr(handle_, SNS_NT_ATTR_RESPONSE_CB, 1,
                       reinterpret_cast<void *>(&Callbacks::callback)) != 0)
      throw std::runtime_error("no transport");
  }
  ~TransportRoute() { sns_nt_finalize(handle_); }

  void request() {
    sns_nt_sendreq(handle_, pd_test::xml_request(handle_, ++id_, 29, url_, wire_.friends_request));
    if (Callbacks::instance().wait() != 200) throw std::runtime_error("request failed");
  }

  // 64 KiB chunks, each sent from the callback of the one before, as the
  // plug-in's upload does.
  void upload(const std::string &url) {
    pd_test::ChunkedUpload chunks(handle_, url, wire_.file);
    Callbacks::instance().follow(&chunks);
    chunks.start(++id_);
    uint32_t status = Callbacks::instance().wait();
    Callbacks::instance().follow(nullptr);
    id_ += static_cast<uint32_t>(chunks.chunks_sent());
    if (status != 200 || chunks.last_body().find("Status=\"done\"") == std::string::npos)
      throw std::runtime_error("upload failed");
  }

 private:
  Wire &wire_;
  sns_nt_handle handle_ = nullptr;
  uint32_t id_ = 0;
  std::string url_ = GatewaySim::gateway_url("/palisade/friend/grouping");
};

// Plain libcurl: one easy handle, its connection reused, one request at a
// time; the upload is a single POST of the whole file.
class PlainCurlRoute {
 public:
  explicit PlainCurlRoute(Wire &wire) : wire_(wire), easy_(wire.sim) {}

  void request() {
    easy_.post(url_, wire_.friends_request, {"Content-Type: text/xml"});
  }

  void upload(const std::string &url) {
    std::string range = "Content-Range: bytes 0-" + std::to_string(wire_.file.size() - 1) + "/" +
                        std::to_string(wire_.file.size());
    const std::string &reply = easy_.post(url, wire_.file, {"Content-Type: image/jpg", range.c_str()});
    if (reply.find("Status=\"done\"") == std::string::npos) throw std::runtime_error("upload failed");
  }

 private:
  Wire &wire_;
  Easy easy_;
  std::string url_ = GatewaySim::gateway_url("/palisade/friend/grouping");
};

template <typename Route>
void BM_Requests(benchmark::State &state) {
  Route route(g_wire);
  route.request();  // the connection is open before timing starts
  for (auto _ : state) route.request();
  state.SetItemsProcessed(state.iterations());
}

template <typename Route>
void BM_Upload32MB(benchmark::State &state) {
  Route route(g_wire);
  for (auto _ : state) {
    state.PauseTiming();
    std::string url = g_wire.upload_url();
    state.ResumeTiming();
    route.upload(url);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kUploadBytes));
}

BENCHMARK_TEMPLATE(BM_Requests, PluginRoute)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Requests, TransportRoute)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Requests, PlainCurlRoute)->UseRealTime();
// The simulator keeps every uploaded file, so a few rounds only.
BENCHMARK_TEMPLATE(BM_Upload32MB, PluginRoute)->UseRealTime()->Iterations(4);
BENCHMARK_TEMPLATE(BM_Upload32MB, TransportRoute)->UseRealTime()->Iterations(4);
BENCHMARK_TEMPLATE(BM_Upload32MB, PlainCurlRoute)->UseRealTime()->Iterations(4);

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
  g_wire.close_down();
  return g_wire.sim.stop() == 0 ? status : 1;
}
