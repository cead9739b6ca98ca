// libsns-tiface against gateway-sim on loopback: real libcurl, real HTTP and
// HTTPS, request records built as the plug-in builds them. Every case also
// checks that each request got exactly one callback.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <thread>

#include "sns-tiface/sns_nt.h"
#include "sns-tiface/sns_nt_failure.h"
#include "sns-tiface/sns_nt_progress.h"
#include "support/gateway_sim.h"
#include "support/golden.h"
#include "support/wire_requests.h"

namespace {

using pd_test::Delivered;
using pd_test::GatewaySim;
using pd_test::RecordedRequest;
using pd_test::Responses;

constexpr const char *kGoldenKey = "00000000000000000000000000000001";

// A TCP socket bound to a free loopback port.
int loopback_socket(int *port) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0)
    ADD_FAILURE() << "no loopback port";
  *port = ntohs(address.sin_port);
  return fd;
}

// Plain HTTP to the gateway host goes to this loopback port.
void point_gateway_at(int port) {
  setenv("SNS_NT_CONNECT_TO",
         (std::string(PD_GATEWAY_HOST) + ":80:127.0.0.1:" + std::to_string(port)).c_str(), 1);
}

// The causes the transport's failure hook told, by request id. The hook is
// called before the response callback of the same exchange, which checks it.
std::mutex g_causes_mutex;
std::map<uint32_t, int> g_causes;
std::atomic<int> g_late_causes{0};

class Wire : public ::testing::Test {
 protected:
  void SetUp() override {
    {
      std::lock_guard<std::mutex> lock(g_causes_mutex);
      g_causes.clear();
    }
    sns_nt_set_failure_cb(
        [](uint32_t id, int cause, const char *detail, void *) {
          EXPECT_NE(detail, nullptr);
          std::lock_guard<std::mutex> lock(g_causes_mutex);
          g_causes[id] = cause;
        },
        nullptr);
    Responses::instance().on_response([](const sns_nt_response &response) {
      std::lock_guard<std::mutex> lock(g_causes_mutex);
      if ((response.uHttpStatus == 0) != (g_causes.count(response.uReqId) == 1)) ++g_late_causes;
    });
    // Each case sets what it needs; nothing carries over from another case.
    for (const char *name : {"SNS_NT_CONNECT_TO", "SNS_NT_CAINFO", "SNS_NT_TIMEOUT_MS",
                             "SNS_NT_MAX_REPLY_BYTES", "SNS_NT_DEBUG"})
      unsetenv(name);
    Responses::instance().clear();
  }

  void TearDown() override {
    sns_nt_set_failure_cb(nullptr, nullptr);
    EXPECT_EQ(g_late_causes.exchange(0), 0) << "a failure was told after its response, or an answer was told as one";
    Responses::instance().on_response(nullptr);
    if (handle_ != nullptr) {
      EXPECT_EQ(sns_nt_finalize(handle_), 0);
    }
    if (sim_started_) {
      EXPECT_EQ(sim_.stop(), 0) << "gateway-sim did not stop cleanly";
    }
  }

  // Starts gateway-sim with the given switches and a transport pointed at it.
  void start(const std::vector<std::string> &switches = {}) {
    std::string error;
    ASSERT_TRUE(sim_.start(switches, &error)) << error;
    sim_started_ = true;
    sim_.export_environment();
    open_transport();
  }

  // Another simulator with other switches, and a transport for it.
  void restart(const std::vector<std::string> &switches) {
    ASSERT_EQ(sns_nt_finalize(handle_), 0);
    handle_ = nullptr;
    ASSERT_EQ(sim_.stop(), 0);
    start(switches);
  }

  void open_transport() {
    ASSERT_EQ(sns_nt_init(&handle_), 0);
    ASSERT_EQ(sns_nt_connect(handle_), 0);
    ASSERT_EQ(sns_nt_setattr(handle_, SNS_NT_ATTR_RESPONSE_CB, 1,
                             reinterpret_cast<void *>(&Responses::callback)),
              0);
  }

  // A request document as the plug-in writes it, with the live session key.
  std::string document(const std::string &name) {
    std::string text = pd_test::read_data("wire/requests/" + name + ".xml");
    size_t at = text.find(kGoldenKey);
    if (at != std::string::npos) text.replace(at, std::strlen(kGoldenKey), session_);
    return text;
  }

  int send(const std::string &path, const std::string &request_file, uint32_t code = 29) {
    return sns_nt_sendreq(handle_, pd_test::xml_request(handle_, ++id_, code, GatewaySim::gateway_url(path),
                                                         document(request_file), &instance_, &caller_));
  }

  // Sends one request and waits for its single callback.
  Delivered exchange(const std::string &path, const std::string &request_file, uint32_t code = 29) {
    size_t before = Responses::instance().count();
    EXPECT_EQ(send(path, request_file, code), 0);
    EXPECT_TRUE(Responses::instance().wait_for(before + 1));
    std::vector<Delivered> all = Responses::instance().all();
    EXPECT_EQ(all.size(), before + 1) << "more than one callback";
    return all.back();
  }

  void log_in() {
    Delivered login = exchange("/palisade/auth", "login", 0);
    ASSERT_EQ(login.record.uHttpStatus, 200u);
    std::smatch key;
    ASSERT_TRUE(std::regex_search(*login.body, key, std::regex("SessionKey=\"([0-9a-f]+)\"")));
    session_ = key[1];
  }

  std::vector<RecordedRequest> recorded() {
    std::vector<RecordedRequest> requests;
    std::string error;
    EXPECT_TRUE(sim_.requests(&requests, &error)) << error;
    return requests;
  }

  // Every request sent so far got exactly one callback, and no other came.
  void expect_one_callback_each() {
    std::multiset<uint32_t> ids;
    for (const Delivered &delivered : Responses::instance().all()) ids.insert(delivered.record.uReqId);
    EXPECT_EQ(ids.size(), id_);
    for (uint32_t id = 1; id <= id_; ++id) EXPECT_EQ(ids.count(id), 1u) << "request " << id;
  }

  // The cause the transport told for a request, or 0.
  static int cause_of(const Delivered &delivered) {
    std::lock_guard<std::mutex> lock(g_causes_mutex);
    auto found = g_causes.find(delivered.record.uReqId);
    return found != g_causes.end() ? found->second : 0;
  }

  GatewaySim sim_;
  bool sim_started_ = false;
  sns_nt_handle handle_ = nullptr;
  uint32_t id_ = 0;
  std::string session_ = kGoldenKey;
  int instance_ = 0, caller_ = 0;
};

TEST_F(Wire, DeliversTheReplyInTheResponseRecord) {
  start();
  Delivered login = exchange("/palisade/auth", "login", 0);
  const sns_nt_response &r = login.record;
  EXPECT_EQ(r.uWord0, 0u);
  EXPECT_EQ(r.uReqId, 1u);
  EXPECT_EQ(r.uReqCode, 0u);
  EXPECT_EQ(r.uHttpStatus, 200u);
  EXPECT_EQ(r.uWord16, 0u);
  EXPECT_EQ(r.uWord28, 0u);
  EXPECT_EQ(r.pInstance, &instance_);
  EXPECT_EQ(r.uPassThrough, reinterpret_cast<uintptr_t>(&caller_));
  EXPECT_EQ(r.pPrivData, nullptr);
  ASSERT_TRUE(login.body);
  EXPECT_EQ(r.uBodyLen, login.body->size());
  EXPECT_NE(login.body->find("<RemoteLoginInfo LoginPeopleID=\"1001\""), std::string::npos);
  EXPECT_EQ(login.body->find('\0'), std::string::npos);
}

TEST_F(Wire, EveryServedRequestArrivesByteForByte) {
  start();
  log_in();
  const std::pair<const char *, const char *> requests[] = {
      {"/palisade/friend/grouping", "friends"},     {"/palisade/search", "search"},
      {"/palisade/activity", "activity"},           {"/palisade/people/profile", "set_status"},
      {"/palisade/comment", "comment_photo"},       {"/palisade/comment", "comments_activity"},
      {"/palisade/photo/album", "album_list"},      {"/palisade/photo/album", "album_photos"},
      {"/palisade/photo", "add_photo"},             {"/palisade/message/folder", "message_inbox"},
      {"/palisade/message", "send_message"},        {"/palisade/auth", "logout"}};
  for (const auto &[path, file] : requests) {
    Delivered reply = exchange(path, file);
    EXPECT_EQ(reply.record.uHttpStatus, 200u) << file;
    ASSERT_TRUE(reply.body) << file;
    EXPECT_EQ(reply.body->find("ErrCode"), std::string::npos) << file << ": " << *reply.body;
  }
  std::vector<RecordedRequest> arrived = recorded();
  ASSERT_EQ(arrived.size(), std::size(requests) + 1);
  EXPECT_EQ(arrived[0].body, document("login"));
  EXPECT_EQ(arrived[0].scheme, "https");
  for (size_t i = 0; i < std::size(requests); ++i) {
    const RecordedRequest &request = arrived[i + 1];
    SCOPED_TRACE(requests[i].second);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, requests[i].first);
    EXPECT_EQ(request.scheme, request.path == "/palisade/auth" ? "https" : "http");
    EXPECT_EQ(request.body, document(requests[i].second));
    ASSERT_NE(request.header("Content-Type"), nullptr);
    EXPECT_EQ(*request.header("Content-Type"), "text/xml");
    ASSERT_NE(request.header("Host"), nullptr);
    EXPECT_EQ(request.header("Host")->rfind(PD_GATEWAY_HOST, 0), 0u);
    EXPECT_EQ(request.header("Expect"), nullptr);
  }
  expect_one_callback_each();
}

TEST_F(Wire, ReusesTheConnection) {
  start();
  log_in();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(exchange("/palisade/friend/grouping", "friends").record.uHttpStatus, 200u);
  std::set<std::string> peers;
  for (const RecordedRequest &request : recorded())
    if (request.scheme == "http") peers.insert(request.peer);
  EXPECT_EQ(peers.size(), 1u) << "20 requests came on " << peers.size() << " connections";
}

TEST_F(Wire, RefusesAServerTheAuthorityDidNotSign) {
  std::string error;
  ASSERT_TRUE(sim_.start({}, &error)) << error;
  sim_started_ = true;
  sim_.export_environment();
  setenv("SNS_NT_CAINFO", GatewaySim::other_ca_file().c_str(), 1);
  open_transport();
  Delivered login = exchange("/palisade/auth", "login", 0);
  EXPECT_EQ(login.record.uHttpStatus, 0u);
  EXPECT_FALSE(login.body);
  EXPECT_EQ(cause_of(login), SNS_NT_FAILURE_CERTIFICATE);
  EXPECT_TRUE(recorded().empty()) << "a request passed a refused handshake";

  // The system's authorities know nothing of the throw-away CA either; a
  // CA file that cannot be read is a cause of its own.
  for (const char *cainfo : {"", "/nonexistent/ca.pem"}) {
    ASSERT_EQ(sns_nt_finalize(handle_), 0);
    handle_ = nullptr;
    setenv("SNS_NT_CAINFO", cainfo, 1);
    open_transport();
    Delivered refused = exchange("/palisade/auth", "login", 0);
    EXPECT_EQ(refused.record.uHttpStatus, 0u);
    EXPECT_EQ(cause_of(refused), *cainfo ? SNS_NT_FAILURE_CA_FILE : SNS_NT_FAILURE_CERTIFICATE);
  }
  expect_one_callback_each();
}

TEST_F(Wire, UnreachableGatewayGivesStatusZero) {
  // A port that was free a moment ago and has no listener now.
  int port = 0;
  close(loopback_socket(&port));
  point_gateway_at(port);
  open_transport();
  Delivered reply = exchange("/palisade/friend/grouping", "friends");
  EXPECT_EQ(reply.record.uHttpStatus, 0u);
  EXPECT_FALSE(reply.body);
  EXPECT_EQ(cause_of(reply), SNS_NT_FAILURE_REFUSED);
  // A host name that resolves nowhere.
  ASSERT_EQ(sns_nt_finalize(handle_), 0);
  setenv("SNS_NT_CONNECT_TO", PD_GATEWAY_HOST ":80:no-such-host.invalid:80", 1);
  open_transport();
  EXPECT_EQ(cause_of(exchange("/palisade/friend/grouping", "friends")), SNS_NT_FAILURE_NAME);
  expect_one_callback_each();
}

TEST_F(Wire, SlowGatewayTimesOut) {
  setenv("SNS_NT_TIMEOUT_MS", "300", 1);
  start({"--delay-ms", "2000"});
  Delivered reply = exchange("/palisade/friend/grouping", "friends");
  EXPECT_EQ(reply.record.uHttpStatus, 0u);
  EXPECT_FALSE(reply.body);
  EXPECT_EQ(cause_of(reply), SNS_NT_FAILURE_TIMEOUT);
  expect_one_callback_each();
}

// A one-connection server on loopback: reads the request, then writes
// `answer` and closes, or resets the connection when there is no answer.
class OneShotServer {
 public:
  explicit OneShotServer(std::optional<std::string> answer) {
    listener_ = loopback_socket(&port_);
    listen(listener_, 1);
    thread_ = std::thread([this, answer] {
      int connection = accept(listener_, nullptr, nullptr);
      char buffer[4096];
      (void)!read(connection, buffer, sizeof buffer);
      if (answer) {
        (void)!write(connection, answer->data(), answer->size());
      } else {
        linger reset{1, 0};
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
      }
      close(connection);
    });
  }
  ~OneShotServer() {
    thread_.join();
    close(listener_);
  }
  int port() const { return port_; }

 private:
  int listener_ = -1, port_ = 0;
  std::thread thread_;
};

TEST_F(Wire, ResetConnectionGivesStatusZero) {
  OneShotServer resetting(std::nullopt);
  point_gateway_at(resetting.port());
  open_transport();
  Delivered reply = exchange("/palisade/friend/grouping", "friends");
  EXPECT_EQ(reply.record.uHttpStatus, 0u);
  EXPECT_FALSE(reply.body);
  EXPECT_EQ(cause_of(reply), SNS_NT_FAILURE_CONNECTION_LOST);
  expect_one_callback_each();
}

TEST_F(Wire, EmptyReplyGivesAnEmptyText) {
  OneShotServer empty(pd_test::read_data("wire/http/empty_reply.txt"));
  point_gateway_at(empty.port());
  open_transport();
  Delivered reply = exchange("/palisade/friend/grouping", "friends");
  EXPECT_EQ(reply.record.uHttpStatus, 200u);
  ASSERT_TRUE(reply.body);
  EXPECT_EQ(*reply.body, "");
  EXPECT_EQ(reply.record.uBodyLen, 0u);
}

TEST_F(Wire, ReplyPastTheLimitGivesStatusZero) {
  setenv("SNS_NT_MAX_REPLY_BYTES", "1000000", 1);
  start({"--pad-bytes", "600000", "--fault-path", "/palisade/search"});
  log_in();
  Delivered fits = exchange("/palisade/search", "search");
  EXPECT_EQ(fits.record.uHttpStatus, 200u);
  ASSERT_TRUE(fits.body);
  EXPECT_GT(fits.body->size(), 600000u);
  EXPECT_EQ(fits.record.uBodyLen, fits.body->size());
  restart({"--pad-bytes", "1500000"});
  Delivered huge = exchange("/palisade/search", "search");
  EXPECT_EQ(huge.record.uHttpStatus, 0u);
  EXPECT_FALSE(huge.body);
  EXPECT_EQ(cause_of(huge), SNS_NT_FAILURE_TOO_LARGE);
}

TEST_F(Wire, DefaultLimitRefusesAHugeReply) {
  start({"--pad-bytes", std::to_string((size_t{64} << 20) + 1)});
  Delivered huge = exchange("/palisade/friend/grouping", "friends");
  EXPECT_EQ(huge.record.uHttpStatus, 0u);
  EXPECT_FALSE(huge.body);
  EXPECT_EQ(cause_of(huge), SNS_NT_FAILURE_TOO_LARGE);
  expect_one_callback_each();
}

TEST_F(Wire, FaultSwitchesShowInTheResponse) {
  start({"--status", "503", "--fault-path", "/palisade/search"});
  log_in();
  Delivered failed = exchange("/palisade/search", "search");
  EXPECT_EQ(failed.record.uHttpStatus, 503u);
  ASSERT_TRUE(failed.body);
  EXPECT_NE(failed.body->find("<Response"), std::string::npos);

  restart({"--malformed"});
  Delivered cut = exchange("/palisade/friend/grouping", "friends");
  EXPECT_EQ(cut.record.uHttpStatus, 200u);
  ASSERT_TRUE(cut.body);
  EXPECT_FALSE(cut.body->empty());
  EXPECT_EQ(cut.body->find("</Response>"), std::string::npos) << *cut.body;

  restart({"--drop", "--fault-path", "/palisade/friend/grouping"});
  Delivered dropped = exchange("/palisade/friend/grouping", "friends");
  EXPECT_EQ(dropped.record.uHttpStatus, 0u);
  EXPECT_FALSE(dropped.body);
  EXPECT_EQ(recorded().size(), 1u) << "the dropped request was not recorded";
  // Other paths are left alone, and a new connection works.
  EXPECT_EQ(exchange("/palisade/auth", "login", 0).record.uHttpStatus, 200u);

  restart({"--delay-ms", "200", "--fault-skip", "1"});
  EXPECT_EQ(exchange("/palisade/auth", "login", 0).record.uHttpStatus, 200u);
  EXPECT_EQ(exchange("/palisade/auth", "login", 0).record.uHttpStatus, 200u);
  expect_one_callback_each();
}

TEST_F(Wire, SendsFromInsideTheCallback) {
  start();
  log_in();
  constexpr uint32_t kChain = 10;
  std::atomic<uint32_t> refused{0};
  Responses::instance().on_response([&](const sns_nt_response &response) {
    if (response.uReqId < kChain + 1 && response.uReqId > 1)
      if (send("/palisade/friend/grouping", "friends") != 0) ++refused;
  });
  ASSERT_EQ(send("/palisade/friend/grouping", "friends"), 0);
  ASSERT_TRUE(Responses::instance().wait_for(kChain + 1));
  Responses::instance().on_response(nullptr);
  EXPECT_EQ(refused.load(), 0u);
  std::vector<Delivered> all = Responses::instance().all();
  for (uint32_t i = 1; i < all.size(); ++i) {
    EXPECT_EQ(all[i].record.uReqId, i + 1);
    EXPECT_EQ(all[i].record.uHttpStatus, 200u);
  }
  expect_one_callback_each();
}

TEST_F(Wire, NoCallbackAfterFinalize) {
  start({"--delay-ms", "400"});
  for (int i = 0; i < 5; ++i) ASSERT_EQ(send("/palisade/friend/grouping", "friends"), 0);
  ASSERT_EQ(sns_nt_finalize(handle_), 0);
  handle_ = nullptr;
  // Long enough for the delayed answers to have arrived.
  std::this_thread::sleep_for(std::chrono::milliseconds(800));
  EXPECT_EQ(Responses::instance().count(), 0u);
  // The handle is gone: a request for it is refused (and freed).
  void *stale = nullptr;
  EXPECT_NE(sns_nt_sendreq(stale, pd_test::xml_request(stale, 99, 29, "http://x/", "")), 0);
}

TEST_F(Wire, FinalizeFromInsideTheCallback) {
  start({"--delay-ms", "100", "--fault-skip", "1"});
  log_in();
  for (int i = 0; i < 4; ++i) ASSERT_EQ(send("/palisade/friend/grouping", "friends"), 0);
  std::atomic<int> after{0};
  std::atomic<bool> finalized{false};
  Responses::instance().on_response([&](const sns_nt_response &) {
    if (finalized.exchange(true))
      ++after;
    else
      EXPECT_EQ(sns_nt_finalize(handle_), 0);
  });
  ASSERT_TRUE(Responses::instance().wait_for(2));
  handle_ = nullptr;
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  EXPECT_EQ(after.load(), 0);
  EXPECT_EQ(Responses::instance().count(), 2u);
}

TEST_F(Wire, RefusesRecordsItCannotSend) {
  start();
  auto refused = [&](sns_nt_request *request) { return sns_nt_sendreq(handle_, request) != 0; };
  sns_nt_request *kind = pd_test::xml_request(handle_, 101, 29, "http://x/", "");
  kind->uKind = 3;
  EXPECT_TRUE(refused(kind));
  sns_nt_request *no_url = pd_test::xml_request(handle_, 102, 29, "http://x/", "");
  std::free(no_url->pszUrl);
  no_url->pszUrl = nullptr;
  EXPECT_TRUE(refused(no_url));
  EXPECT_TRUE(refused(pd_test::chunk_request(handle_, 103, "http://x/", "abc", true, nullptr)));
  pd_upload_data past_end{nullptr, PD_UPLOAD_LAST_CHUNK, 2, 3, nullptr};
  EXPECT_TRUE(refused(pd_test::chunk_request(handle_, 104, "http://x/", "abc", true, &past_end)));
  EXPECT_NE(sns_nt_sendreq(handle_, nullptr), 0);
  EXPECT_NE(sns_nt_setattr(handle_, 2, 1, nullptr), 0);
  // None of them called back; the next request does, once.
  EXPECT_EQ(exchange("/palisade/auth", "login", 0).record.uReqId, 1u);
  EXPECT_EQ(Responses::instance().count(), 1u);
}

TEST_F(Wire, UploadsAFileInChunks) {
  start();
  log_in();
  Delivered location = exchange("/palisade/photo", "add_photo");
  std::smatch found;
  ASSERT_TRUE(std::regex_search(*location.body, found,
                                std::regex("HostAddr=\"([^\"]+)\" ResourceID=\"([^\"]+)\"")));
  std::string url = "http://" + found[1].str() + "/" + found[2].str();
  std::string file(200000, '\0');
  for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<char>(i * 2654435761u >> 24);

  std::vector<std::pair<uint64_t, uint64_t>> progress;
  sns_nt_set_progress_cb([](uint64_t sent, uint64_t total, void *user) {
    static_cast<std::vector<std::pair<uint64_t, uint64_t>> *>(user)->emplace_back(sent, total);
  }, &progress);
  pd_test::ChunkedUpload upload(handle_, url, file);
  Responses::instance().on_response([&](const sns_nt_response &response) { upload.on_response(response); });
  upload.start(++id_);
  ASSERT_TRUE(Responses::instance().wait_for(2 + 4));
  sns_nt_set_progress_cb(nullptr, nullptr);
  id_ += 3;
  ASSERT_TRUE(upload.finished());
  EXPECT_EQ(upload.last_status(), 200u);
  EXPECT_NE(upload.last_body().find("Status=\"done\""), std::string::npos) << upload.last_body();

  std::vector<std::string> ranges;
  for (const RecordedRequest &request : recorded())
    if (request.path.rfind("/upload/", 0) == 0) {
      ranges.push_back(*request.header("Content-Range"));
      EXPECT_EQ(*request.header("Content-Type"), "image/jpg");
      EXPECT_EQ(*request.header("Host"), GatewaySim::upload_host());
    }
  EXPECT_EQ(ranges, (std::vector<std::string>{"bytes 0-65535/200000", "bytes 65536-131071/200000",
                                              "bytes 131072-196607/200000",
                                              "bytes 196608-199999/200000"}));
  ASSERT_FALSE(progress.empty());
  EXPECT_EQ(progress.back(), std::make_pair(uint64_t{200000}, uint64_t{200000}));
  for (size_t i = 1; i < progress.size(); ++i) EXPECT_LE(progress[i - 1].first, progress[i].first);

  // The simulator holds exactly the file: its picture URL serves it back.
  std::smatch photo;
  ASSERT_TRUE(std::regex_search(upload.last_body(), photo, std::regex("Photo ID=\"([^\"]+)\"")));
  Delivered listed = exchange("/palisade/photo/album", "album_photos");
  EXPECT_NE(listed.body->find("ID=\"" + photo[1].str() + "\" Title=\"junk.jpg\""), std::string::npos);
  ASSERT_EQ(sim_.fetch("/media/" + photo[1].str()), file);
  expect_one_callback_each();
}

TEST_F(Wire, UploadsAnEmptyFile) {
  start();
  log_in();
  Delivered location = exchange("/palisade/photo", "add_photo");
  std::smatch found;
  ASSERT_TRUE(std::regex_search(*location.body, found, std::regex("ResourceID=\"([^\"]+)\"")));
  pd_test::ChunkedUpload upload(handle_, "http://" + GatewaySim::upload_host() + "/" + found[1].str(), "");
  Responses::instance().on_response([&](const sns_nt_response &response) { upload.on_response(response); });
  upload.start(++id_);
  ASSERT_TRUE(Responses::instance().wait_for(3));
  EXPECT_NE(upload.last_body().find("Status=\"done\""), std::string::npos) << upload.last_body();
  std::vector<RecordedRequest> arrived = recorded();
  EXPECT_EQ(*arrived.back().header("Content-Range"), "bytes */0");
  EXPECT_TRUE(arrived.back().body.empty());
  expect_one_callback_each();
}

TEST_F(Wire, SeveralHandlesWorkSideBySide) {
  start();
  sns_nt_handle second = nullptr;
  ASSERT_EQ(sns_nt_init(&second), 0);
  ASSERT_EQ(sns_nt_setattr(second, SNS_NT_ATTR_RESPONSE_CB, 1, reinterpret_cast<void *>(&Responses::callback)), 0);
  int other_instance = 0;
  ASSERT_EQ(sns_nt_sendreq(second, pd_test::xml_request(second, 2, 0, GatewaySim::gateway_url("/palisade/auth"),
                                                        document("login"), &other_instance)),
            0);
  ++id_;
  ASSERT_EQ(send("/palisade/auth", "login", 0), 0);
  ASSERT_TRUE(Responses::instance().wait_for(2));
  EXPECT_EQ(sns_nt_finalize(second), 0);
  std::set<void *> instances;
  for (const Delivered &delivered : Responses::instance().all()) {
    EXPECT_EQ(delivered.record.uHttpStatus, 200u);
    instances.insert(delivered.record.pInstance);
  }
  EXPECT_EQ(instances, (std::set<void *>{&instance_, &other_instance}));
}

}  // namespace
