// Every served request through the dispatcher to the transport double, with
// the settings in real GConf: the URL, the record's words and the body
// handed over, against golden files.
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "composer/pd_api_composer.h"
#include "frame/frame_fixture.h"
#include "pd-plugin/pd_settings.h"
#include "settings.h"
#include "support/golden.h"

namespace pd_test {
namespace {

// What the transport was handed, as the golden files show it.
std::string describe(const sns_double::Recorded &recorded) {
  const sns_nt_request &r = *recorded.request;
  char words[240];
  std::snprintf(words, sizeof words,
                "ID %u CODE %u KIND %u WORD16 %u WORD20 %u WORD24 %u WORD28 %u UPLOAD %u LENGTH %u PRIVATE %s "
                "HEADER %s\n",
                r.uReqId, r.uReqCode, r.uKind, r.uWord16, r.uWord20, r.uWord24, r.uWord28, r.uUploadValue,
                r.uBodyLen, r.pPrivData ? "upload-record" : "none", r.pheader ? r.pheader : "none");
  return "URL " + recorded.url + "\n" + words + "\n" + recorded.body;
}

std::string stored(uint32_t index) {
  std::string value = "<unset>";
  pd::settings::read(index, value);
  return value;
}

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

TEST_F(Gateway, EveryServedCodeHandsOverItsUrlAndDocument) {
  std::string photo = "/tmp/pd-gateway-photo-" + std::to_string(getpid()) + ".jpg";
  std::ofstream(photo) << "jpeg";
  for (auto row : data_rows("gateway/requests.rows")) {
    SCOPED_TRACE(row[1]);
    std::vector<char *> block;
    for (size_t i = 3; i < row.size(); ++i)
      block.push_back(row[i] == "-" ? nullptr : row[i] == "$photo" ? photo.data() : row[i].data());
    void *params = row[2] == "block" ? static_cast<void *>(block.data())
                   : row[2] == "text" ? block[0]
                                      : nullptr;
    sns_double::Recorded recorded = send(std::stoul(row[0]), params);
    EXPECT_TRUE(matches_golden("gateway/" + row[1] + ".request", describe(recorded)));
    EXPECT_EQ(recorded.request->pInstance, handle_);
    EXPECT_EQ(recorded.request->hTransport, inst()->hTransport);
    // A login takes a new session key, so later requests need one again.
    sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-5f1c");
  }
  // The upload waits for its location; a failed exchange ends it.
  sns_double::respond(4, 503, nullptr);
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].uHttpStatus, 503u);
  std::remove(photo.c_str());
}

TEST_F(Gateway, LoginAndLogoutForgetTheStoredKeys) {
  sns_gconf_set_string(PD_SETTING_PERSIST_KEY, "pk-old");
  char *login[] = {const_cast<char *>("alice"), const_cast<char *>("s3cret")};
  send(0, login);
  EXPECT_EQ(stored(PD_SETTING_SESSION_KEY) + "|" + stored(PD_SETTING_PERSIST_KEY), "|");
  sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-new");
  sns_gconf_set_string(PD_SETTING_PERSIST_KEY, "pk-new");
  EXPECT_NE(send(28, nullptr).body.find("SessionKey=\"sk-new\""), std::string::npos);
  EXPECT_EQ(stored(PD_SETTING_SESSION_KEY) + "|" + stored(PD_SETTING_PERSIST_KEY), "|");
  EXPECT_EQ(refused(29, nullptr), 3);  // with the key gone, nothing more goes out

  // A login without a password falls back to the stored credentials, also
  // without a block at all.
  sns_gconf_set_string(PD_SETTING_USER_NAME, "bea");
  sns_gconf_set_string(PD_SETTING_PASSWORD, "pw-bea");
  char *empty_password[] = {const_cast<char *>("alice"), const_cast<char *>("")};
  EXPECT_TRUE(matches_golden("gateway/00-login-stored.request", describe(send(0, empty_password))));
  send(0, nullptr);
  // Without a stored password nothing is composed and the keys stay.
  sns_gconf_set_string(PD_SETTING_PASSWORD, "");
  sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-kept");
  EXPECT_EQ(refused(0, empty_password), 3);
  EXPECT_EQ(sns_double::request_count(), 4u);
  EXPECT_EQ(stored(PD_SETTING_SESSION_KEY), "sk-kept");
}

// Refusals take no id: the dispatcher says 5, pd_sendreq 3.
TEST_F(Gateway, MissingParametersOrSessionKeyGetTheirDocumentedResult) {
  char *nulls[7] = {};
  // A commented item without an id, a message without a receiver, an upload
  // without a file.
  for (uint32_t code : {8u, 13u}) EXPECT_EQ(refused(code, nullptr), 3) << code;
  for (uint32_t code : {9u, 11u, 12u, 34u}) {
    EXPECT_EQ(refused(code, nulls), 3) << code;
    EXPECT_EQ(refused(code, nullptr), 3) << code;
  }
  sns_gconf_set_string(PD_SETTING_SESSION_KEY, "");
  for (uint32_t code : {4, 5, 8, 11, 12, 13, 17, 18, 28, 29, 30, 32, 34}) {
    EXPECT_EQ(pd_send_pluggin_request(handle_, code, nulls, nullptr), 5) << code;
    EXPECT_EQ(refused(code, nulls), 3) << code;
  }
  EXPECT_EQ(sns_double::request_count(), 0u);
  EXPECT_EQ(pd_util_reqid(), 1u);
  // Sent: the document leaves the missing parts out.
  sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-5f1c");
  for (uint32_t code : {5u, 18u, 30u, 32u}) send(code, nullptr);
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
