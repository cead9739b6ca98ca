// libsns-tiface against gateway-sim on loopback: real libcurl, real HTTP and
// HTTPS, request records built as the plug-in builds them. Every case also
// checks that each request got exactly one callback.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <tuple>

#include "sns-tiface/sns_nt.h"
#include "sns-tiface/sns_nt_failure.h"
#include "support/gateway_sim.h"
#include "support/golden.h"
#include "support/wire_requests.h"

namespace {

using pd_test::Delivered;
using pd_test::GatewaySim;
using pd_test::Responses;

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
    EXPECT_EQ(sim_.stop(), 0) << "gateway-sim did not stop cleanly";
  }

  // Starts gateway-sim with the given switches and a transport pointed at it.
  void start(const std::vector<std::string> &switches = {}) {
    sim_.start(switches);
    sim_.export_environment();
    open_transport();
  }

  void open_transport() {
    ASSERT_EQ(sns_nt_init(&handle_), 0);
    ASSERT_EQ(sns_nt_connect(handle_), 0);
    ASSERT_EQ(sns_nt_setattr(handle_, SNS_NT_ATTR_RESPONSE_CB, 1,
                             reinterpret_cast<void *>(&Responses::callback)),
              0);
  }

  int send(const std::string &path, const std::string &request_file, uint32_t code = 29) {
    return sns_nt_sendreq(handle_, pd_test::xml_request(handle_, ++id_, code, GatewaySim::gateway_url(path),
                                                         pd_test::read_data("wire/requests/" + request_file + ".xml"),
                                                         &instance_, &caller_));
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
  sns_nt_handle handle_ = nullptr;
  uint32_t id_ = 0;
  int instance_ = 0, caller_ = 0;
};

// The reply in every field of the record; later requests on the one
// connection the first opened. (What each request carries, byte for byte,
// the end-to-end tour shows.)
TEST_F(Wire, DeliversTheReplyAndReusesTheConnection) {
  start();
  Delivered login = exchange("/palisade/auth", "login", 0);
  const sns_nt_response &r = login.record;
  EXPECT_EQ(std::make_tuple(r.uWord0, r.uReqId, r.uReqCode, r.uHttpStatus, r.uWord16, r.uWord28),
            std::make_tuple(0u, 1u, 0u, 200u, 0u, 0u));
  EXPECT_EQ(r.pInstance, &instance_);
  EXPECT_EQ(r.uPassThrough, reinterpret_cast<uintptr_t>(&caller_));
  EXPECT_EQ(r.pPrivData, nullptr);
  ASSERT_TRUE(login.body);
  EXPECT_EQ(r.uBodyLen, login.body->size());
  EXPECT_NE(login.body->find("<RemoteLoginInfo LoginPeopleID=\"1001\""), std::string::npos);
  EXPECT_EQ(login.body->find('\0'), std::string::npos);
  for (int i = 0; i < 20; ++i) {
    Delivered reply = exchange("/palisade/friend/grouping", "friends");
    EXPECT_EQ(reply.record.uHttpStatus, 200u);
  }
  std::set<std::string> peers;
  for (const pd_test::RecordedRequest &request : sim_.requests())
    if (request.scheme == "http") peers.insert(request.peer);
  EXPECT_EQ(peers.size(), 1u) << "20 requests came on " << peers.size() << " connections";
  expect_one_callback_each();
}

// The ways an exchange fails that only these cases meet: one callback, with
// the status the transport saw (0: no answer, and then no body) and the
// cause the failure hook told first (0: none told). An empty answer is an
// empty text, not none.
TEST_F(Wire, EachFailureIsToldWithItsCause) {
  struct Row {
    std::vector<std::string> switches;
    std::vector<std::pair<const char *, std::string>> environment;
    const char *path;
    uint32_t status;
    int cause;
    bool arrives = true;  // the request reaches gateway-sim
  };
  // The other causes, each told once, the plug-in's end-to-end faults and
  // pdctl's transport transcripts show.
  const Row rows[] = {
      // The system's authorities know nothing of the throw-away CA.
      {{}, {{"SNS_NT_CAINFO", ""}}, "/palisade/auth", 0, SNS_NT_FAILURE_CERTIFICATE, false},
      {{"--fault", "reset=1"}, {}, "/palisade/friend/grouping", 0, SNS_NT_FAILURE_CONNECTION_LOST},
      {{"--pad-bytes", std::to_string((size_t{64} << 20) + 1)}, {}, "/palisade/friend/grouping", 0,
       SNS_NT_FAILURE_TOO_LARGE},
      {{"--replay", pd_test::data_path("wire/empty-reply")}, {}, "/palisade/friend/grouping", 200, 0},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.switches.empty() ? row.environment[0].second : row.switches[0]);
    start(row.switches);
    for (const auto &[name, value] : row.environment) setenv(name, value.c_str(), 1);
    ASSERT_EQ(sns_nt_finalize(handle_), 0);
    open_transport();
    Delivered reply = exchange(row.path, row.path == std::string("/palisade/auth") ? "login" : "friends", 0);
    EXPECT_EQ(reply.record.uHttpStatus, row.status);
    EXPECT_EQ(reply.body.has_value(), row.status != 0);
    EXPECT_EQ(reply.record.uBodyLen, reply.body.value_or("").size());
    EXPECT_TRUE(row.status != 200 || reply.body == std::optional<std::string>("")) << reply.body.value_or("(none)");
    EXPECT_EQ(cause_of(reply), row.cause);
    EXPECT_EQ(sim_.requests().size(), row.arrives ? 1u : 0u);
    expect_one_callback_each();
    ASSERT_EQ(sns_nt_finalize(handle_), 0);
    handle_ = nullptr;
    ASSERT_EQ(sim_.stop(), 0);
    for (const auto &[name, value] : row.environment) unsetenv(name);
  }
}

// The engine may finalize from inside a callback while other answers are
// done already: the first callback waits until all four have come, so the
// third, which finalizes, has the last done beside it, never delivered.
TEST_F(Wire, FinalizeFromInsideTheCallback) {
  start({"--delay-ms", "100"});
  for (int i = 0; i < 4; ++i) ASSERT_EQ(send("/palisade/friend/grouping", "friends"), 0);
  std::atomic<int> calls{0};
  Responses::instance().on_response([&](const sns_nt_response &) {
    int call = ++calls;
    if (call == 1) {
      std::this_thread::sleep_for(std::chrono::milliseconds(500));
    } else if (call == 3) {
      EXPECT_EQ(sns_nt_finalize(handle_), 0);
    }
  });
  ASSERT_TRUE(Responses::instance().wait_for(3));
  handle_ = nullptr;
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  EXPECT_EQ(calls.load(), 3);
  EXPECT_EQ(Responses::instance().count(), 3u);
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
  EXPECT_NE(sns_nt_sendreq(nullptr, pd_test::xml_request(nullptr, 105, 29, "http://x/", "")), 0);
  EXPECT_NE(sns_nt_setattr(handle_, 2, 1, nullptr), 0);
  // None of them called back; the next request does, once.
  EXPECT_EQ(exchange("/palisade/auth", "login", 0).record.uReqId, 1u);
  EXPECT_EQ(Responses::instance().count(), 1u);
}

}  // namespace
