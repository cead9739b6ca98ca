// Every served request through the dispatcher to the transport double, with
// the settings in real GConf: the URL, the record's words and the body
// handed over, against golden transcripts.
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "composer/pd_api_composer.h"
#include "frame/frame_fixture.h"
#include "support/golden.h"

namespace pd_test {
namespace {

class Gateway : public FrameTest {
 protected:
  void SetUp() override {
    FrameTest::SetUp();
    ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-5f1c"), 1);
  }
  // Sends one request and expects it handed over.
  sns_double::Recorded send(uint32_t code, void *params) {
    size_t before = sns_double::request_count();
    EXPECT_EQ(pd_sendreq(handle_, code, params, nullptr), 0) << code;
    EXPECT_EQ(sns_double::request_count(), before + 1) << code;
    return sns_double::requests().back();
  }
  int refused(uint32_t code, void *params) { return pd_sendreq(handle_, code, params, nullptr); }
};

// Every served request, refusals and the keys a login and a logout leave, by
// the calls of a data table against a golden transcript.
TEST_F(Gateway, RequestsRefusalsAndKeysPlayAsTheTableSays) {
  std::string photo = "/tmp/pd-gateway-photo-" + std::to_string(getpid()) + ".jpg";
  std::ofstream(photo) << "jpeg";
  EXPECT_TRUE(matches_golden("gateway/requests.transcript",
                             play_calls("gateway/calls.rows", handle_, false, photo)));
  // The upload waits for its location; a failed exchange ends it.
  sns_double::respond(4, 503, nullptr);
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].uHttpStatus, 503u);
  std::remove(photo.c_str());
}

TEST_F(Gateway, TextsOfAnyLengthComposeWhole) {
  std::string status(1 << 20, 's');
  sns_double::Recorded recorded = send(5, status.data());
  EXPECT_EQ(recorded.body, "<Request Method=\"set\" SessionKey=\"sk-5f1c\" >\n<People ID=\"owner\" />\n"
                           "<Status>" + status + "</Status>\n</Request>\n");
  EXPECT_EQ(recorded.request->uBodyLen, recorded.body.size());
  std::string key(100000, 'k');
  sns_gconf_set_string(PD_SETTING_SESSION_KEY, key.c_str());
  EXPECT_NE(send(29, nullptr).body.find("SessionKey=\"" + key + "\""), std::string::npos);
}

// The path looked up, the builder's result line and the category the
// classifier leaves, for a request of each kind of line.
TEST_F(Gateway, ResultLinesAndDiagnostics) {
  LogCapture log;
  std::string transcript;
  for (uint32_t code : {30u, 29u, 5u}) {
    send(code, const_cast<char *>("Bea"));
    transcript += "== " + std::to_string(code) + " category " + std::to_string(snsmsg_type) + "\n";
  }
  EXPECT_EQ(refused(32, const_cast<char *>("Inbox")), 3);
  EXPECT_TRUE(matches_golden("gateway/diagnostics.log", transcript + without_addresses(log.all())));
}

TEST_F(Gateway, EightThreadsSendingAtOnceGetDistinctIds) {
  constexpr int kThreads = 8, kEach = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([this] {
      for (int i = 0; i < kEach; ++i) EXPECT_EQ(pd_sendreq(handle_, 29, nullptr, nullptr), 0);
    });
  for (std::thread &thread : threads) thread.join();
  std::set<uint32_t> ids;
  for (const sns_double::Recorded &recorded : sns_double::requests()) ids.insert(recorded.request->uReqId);
  EXPECT_EQ(ids.size(), static_cast<size_t>(kThreads * kEach));
  EXPECT_EQ(*ids.begin(), 1u);
  EXPECT_EQ(*ids.rbegin(), static_cast<uint32_t>(kThreads * kEach));
  // Every document came out whole, none interleaved with another.
  for (const sns_double::Recorded &recorded : sns_double::requests())
    EXPECT_EQ(recorded.body, sns_double::requests().front().body);
}

}  // namespace
}  // namespace pd_test
