// Request numbering and refusal, and the delivery of transport replies.
#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <thread>

#include "frame_fixture.h"
#include "pd-plugin/pd_upload.h"

namespace pd_test {
namespace {

TEST(RequestIds, StartAtOneAndNeverRepeatAcrossThreads) {
  EXPECT_EQ(pd_util_reqid(), 1u);
  EXPECT_EQ(pd_util_reqid(), 2u);
  constexpr int kThreads = 8, kEach = 2000;
  std::vector<std::vector<uint32_t>> seen(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&seen, t] {
      for (int i = 0; i < kEach; ++i) seen[t].push_back(pd_util_reqid());
    });
  for (std::thread &thread : threads) thread.join();
  std::set<uint32_t> all;
  for (const auto &ids : seen) all.insert(ids.begin(), ids.end());
  EXPECT_EQ(all.size(), static_cast<size_t>(kThreads * kEach));
  EXPECT_EQ(*all.begin(), 3u);
  EXPECT_EQ(*all.rbegin(), static_cast<uint32_t>(kThreads * kEach + 2));
}

class Dispatch : public FrameTest {};

TEST_F(Dispatch, UnservedCodesAreRefusedWithoutTakingAnId) {
  const uint32_t unserved[] = {1, 2, 3, 6, 7, 10, 14, 15, 16, 19, 20, 21, 22, 23,
                               24, 25, 26, 27, 31, 33, 35, 36, 1000, UINT32_MAX};
  LogCapture log;
  for (uint32_t code : unserved) {
    EXPECT_EQ(pd_send_pluggin_request(handle_, code, nullptr, nullptr), 5) << code;
    EXPECT_EQ(pd_sendreq(handle_, code, nullptr, nullptr), 3) << code;
  }
  EXPECT_EQ(sns_double::request_count(), 0u);
  EXPECT_EQ(pd_util_reqid(), 1u);
  // A refusal is silent beyond the brackets.
  for (const LogRecord &record : log.records())
    EXPECT_TRUE(record.text.find("START >>>>>>>>") != std::string::npos ||
                record.text.find("END >>>>>>>>") != std::string::npos)
        << record.text;
}

TEST_F(Dispatch, NullInstanceIsNotSent) {
  EXPECT_EQ(pd_send_pluggin_request(nullptr, 0, nullptr, nullptr), 5);
  EXPECT_EQ(pd_sendreq(nullptr, 0, nullptr, nullptr), 3);
}

// ---------------------------------------------------------------------------
// Replies

class Replies : public FrameTest {
 protected:
  // Delivers a reply as the transport would, for a request this instance sent.
  void reply(uint32_t code, uint32_t status, const char *body, void *priv = nullptr,
             uint32_t id = 41, uintptr_t pass_through = 0xfeed) {
    sns_nt_response response{};
    response.uReqId = id;
    response.uReqCode = code;
    response.uHttpStatus = status;
    response.pBody = const_cast<char *>(body);
    response.uBodyLen = body ? static_cast<uint32_t>(std::string(body).size()) : 0;
    response.pInstance = handle_;
    response.uPassThrough = pass_through;
    response.pPrivData = priv;
    sns_double::deliver(inst()->hTransport, &response);
  }
};

TEST_F(Replies, EveryReplyBecomesOneNotification) {
  reply(0, 404, "<Response/>");
  reply(28, 200, "<Response/>");
  reply(35, 200, "<Response/>");
  reply(1, 200, "<Response/>");
  reply(0, 0, nullptr);
  std::vector<pd_notification> got = notifications();
  ASSERT_EQ(got.size(), 5u);
  const uint32_t codes[] = {0, 28, 35, 1, 0};
  const uint32_t statuses[] = {404, 200, 200, 200, 0};
  for (size_t i = 0; i < got.size(); ++i) {
    EXPECT_EQ(got[i].iMarker, -1);
    EXPECT_EQ(got[i].uReqCode, codes[i]);
    EXPECT_EQ(got[i].uHttpStatus, statuses[i]);
    EXPECT_EQ(got[i].uReqId, 41u);
    EXPECT_EQ(got[i].uReserved, 0u);
    EXPECT_EQ(got[i].iResult, 0);
    EXPECT_EQ(got[i].uPassThrough, 0xfeedu);
  }
}

TEST_F(Replies, NonOkStatusSkipsTheParserAndItsMessages) {
  LogCapture log;
  reply(0, 404, "<Response SessionKey=\"k\"/>");
  EXPECT_FALSE(log.contains("Login response"));
  EXPECT_FALSE(log.contains("Body="));
  ASSERT_EQ(notifications().size(), 1u);
}

TEST_F(Replies, EachServedCodeLogsItsReceiptThenTheBody) {
  const std::pair<uint32_t, const char *> receipts[] = {
      {0, "Login response recieved from sns nt"},
      {4, "Login response recieved from sns nt"},
      {5, "Login response recieved from sns nt"},
      {8, "Get Comment status/photo response recieved"},
      {13, "Get Comment status/photo response recieved"},
      {11, "Comment on status/photo response recieved"},
      {12, "Comment on status/photo response recieved"},
      {17, "Get album list response recieved"},
      {18, "Get photo of album  response recieved"},
      {29, "Login response recieved from sns nt"},
      {30, "Login response recieved from sns nt"},
      {32, "Get Message folder recieved"},
      {34, "Get Message folder recieved"},
  };
  for (const auto &[code, receipt] : receipts) {
    LogCapture log;
    reply(code, 200, "<Root/>");
    const std::string where =
        "[PD-PLUGIN-DEBUG]plugins/client-plugin/palisade/src/pd-plugin:pd_response_cb:N: ";
    EXPECT_TRUE(log.contains(where + receipt + "\n\n")) << code;
    EXPECT_TRUE(log.contains(where + "Body=<Root/>\n\n")) << code;
  }
  EXPECT_EQ(notifications().size(), std::size(receipts));
}

TEST_F(Replies, NullBodyOfAServedCodeFailsWithANullResult) {
  LogCapture log;
  reply(29, 200, nullptr);
  EXPECT_TRUE(log.contains("Body=(null)\n\n"));
  EXPECT_TRUE(log.contains("Body is NULL... failed\n\n"));
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].iResult, 0);
}

TEST_F(Replies, NullResponseDeliversNothing) {
  LogCapture log;
  EXPECT_EQ(pd_response_cb(nullptr), 0);
  EXPECT_TRUE(log.contains("Response from the sns nt is NULL... return...\n\n"));
  EXPECT_TRUE(notifications().empty());
}

TEST_F(Replies, WithoutAnEngineCallbackTheNotificationIsDropped) {
  inst()->pfnEngineCb = nullptr;
  reply(0, 200, "<Response/>");
  reply(28, 500, nullptr);
  EXPECT_TRUE(notifications().empty());
  // A reply naming no instance has no callback either.
  sns_nt_response orphan{};
  orphan.uHttpStatus = 200;
  EXPECT_EQ(pd_response_cb(&orphan), 0);
  EXPECT_TRUE(notifications().empty());
}

TEST_F(Replies, UploadReplyWithoutItsRecordIsSilent) {
  LogCapture log;
  reply(9, 200, "<Response/>", nullptr);
  EXPECT_TRUE(notifications().empty());
  EXPECT_TRUE(log.contains("Private Data is (nil)\n\n"));
  EXPECT_TRUE(log.contains("[PD-PLUGIN-ERROR]plugins/client-plugin/palisade/src/pd-plugin:"
                           "pd_response_cb:N: Private data is NULL... wat to do now?\n\n"));
  EXPECT_FALSE(log.contains("END >>>>>>>>"));
}

TEST_F(Replies, UploadReplyWithoutABodyEndsWithANullResult) {
  // The exchange ends here, so the plug-in releases the record.
  pd_upload_data *upload = sns_photo_upload_init("/tmp/photo.jpg");
  LogCapture log;
  reply(9, 200, nullptr, upload);
  EXPECT_TRUE(log.contains("File Name to upload /tmp/photo.jpg\n\n"));
  EXPECT_TRUE(log.contains("Body is NULL... failed\n\n"));
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].iResult, 0);
  EXPECT_EQ(notifications()[0].uReqCode, 9u);
}

}  // namespace
}  // namespace pd_test
