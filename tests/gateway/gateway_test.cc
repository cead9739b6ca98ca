// Every served request through the dispatcher to the transport double, with
// the settings in real GConf: the URL, the record's words and the body
// handed over, against golden transcripts.
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

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
};

// Every served request, refusals and the keys a login and a logout leave, by
// the calls of a data table against a golden transcript with what each call
// logs (the path looked up, the builder's result line, the category the
// classifier leaves).
TEST_F(Gateway, RequestsRefusalsAndKeysPlayAsTheTableSays) {
  std::string photo = "/tmp/pd-gateway-photo-" + std::to_string(getpid()) + ".jpg";
  std::ofstream(photo) << "jpeg";
  EXPECT_TRUE(matches_golden("gateway/requests.transcript", play_calls("gateway/calls.rows", handle_, true, photo)));
  // The upload waits for its location; a failed exchange ends it.
  sns_double::respond(4, 503, nullptr);
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].uHttpStatus, 503u);
  std::remove(photo.c_str());
}

TEST_F(Gateway, TextsOfAnyLengthComposeWhole) {
  std::string status(1 << 20, 's'), key(100000, 'k');
  ASSERT_EQ(pd_sendreq(handle_, 5, status.data(), nullptr), 0);
  sns_gconf_set_string(PD_SETTING_SESSION_KEY, key.c_str());
  ASSERT_EQ(pd_sendreq(handle_, 29, nullptr, nullptr), 0);
  ASSERT_EQ(sns_double::request_count(), 2u);
  sns_double::Recorded recorded = sns_double::requests()[0];
  EXPECT_EQ(recorded.body, "<Request Method=\"set\" SessionKey=\"sk-5f1c\" >\n<People ID=\"owner\" />\n"
                           "<Status>" + status + "</Status>\n</Request>\n");
  EXPECT_EQ(recorded.request->uBodyLen, recorded.body.size());
  EXPECT_NE(sns_double::requests()[1].body.find("SessionKey=\"" + key + "\""), std::string::npos);
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
