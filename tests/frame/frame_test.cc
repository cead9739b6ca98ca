// The instance and its attributes, the log sink, request refusal and the
// delivery of transport replies.
#define PD_LOG_SOURCE "tests/frame"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "frame_fixture.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"
#include "support/golden.h"

namespace pd_test {
namespace {

TEST(EntryPoints, InitBindsTheTransportWhateverItSaysAndFinalizeReleasesIt) {
  sns_double::reset();
  sns_double::set_results(7, 8);
  LogCapture log;
  void *handle = nullptr;
  ASSERT_EQ(pd_init(&handle), 0);
  auto *inst = static_cast<pd_inst *>(handle);
  EXPECT_EQ(std::string(inst->szAttribute1) + inst->szAttribute2, "");
  EXPECT_EQ(inst->pCallerData, nullptr);
  EXPECT_EQ(inst->pfnEngineCb, nullptr);
  EXPECT_EQ(sns_double::callback(inst->hTransport), &pd_response_cb);
  EXPECT_EQ(pd_finalize(handle), 0);
  EXPECT_EQ(sns_double::finalized(), 1);
  // The transport's results (7, 8) appear in the log lines.
  EXPECT_TRUE(matches_golden("frame/init-finalize.log", without_addresses(log.all())));
}

TEST(EntryPoints, NullHandlesAreRefusedWithAnErrorLine) {
  LogCapture log;
  int kind = 42;
  void *value = &kind;
  EXPECT_EQ(pd_init(nullptr), 3);
  EXPECT_EQ(pd_finalize(nullptr), 3);
  EXPECT_EQ(pd_getattr(nullptr, 1, &kind, &value), 3);
  EXPECT_EQ(pd_setattr(nullptr, 1, 1, const_cast<char *>("x")), 3);
  EXPECT_EQ(kind, 42);
  EXPECT_TRUE(matches_golden("frame/null-handles.log", log.all()));
}

TEST_F(FrameTest, OnlyMatchingAttributePairsAct) {
  std::string long_text(100, 'a');
  long_text[62] = 'z';
  const std::string kept = long_text.substr(0, 63);
  struct Row {
    int id, kind;
    void *value;
    int result;
    const char *text1, *text2;
  };
  const Row rows[] = {
      {1, 2, const_cast<char *>("x"), 0, "", ""},
      {2, 1, const_cast<char *>("x"), 0, "", ""},
      {4, 4, const_cast<char *>("x"), 0, "", ""},
      {3, 1, reinterpret_cast<void *>(&std::abort), 0, "", ""},
      {2, 2, const_cast<char *>("second"), 0, "", "second"},
      {1, 1, long_text.data(), 0, kept.c_str(), "second"},
      {1, 1, nullptr, 3, kept.c_str(), "second"},
      {3, 3, nullptr, 3, kept.c_str(), "second"},
  };
  LogCapture log;
  for (const Row &row : rows) {
    EXPECT_EQ(pd_setattr(handle_, row.id, row.kind, row.value), row.result) << row.id << row.kind;
    EXPECT_STREQ(inst()->szAttribute1, row.text1) << row.id << row.kind;
    EXPECT_STREQ(inst()->szAttribute2, row.text2) << row.id << row.kind;
  }
  EXPECT_EQ(inst()->pfnEngineCb, &engine_callback);
  EXPECT_TRUE(matches_golden("frame/setattr.log", log.all()));

  // Both texts are read in place, of kind 1; other ids leave the outputs be.
  int kind = 0;
  void *value = nullptr;
  for (int id : {1, 2}) {
    ASSERT_EQ(pd_getattr(handle_, id, &kind, &value), 0);
    EXPECT_EQ(kind, 1);
    EXPECT_EQ(value, static_cast<char *>(handle_) + (id - 1) * PD_ATTR_TEXT_SIZE);
  }
  kind = 77;
  for (int id : {3, 7}) EXPECT_EQ(pd_getattr(handle_, id, &kind, &value), 0);
  EXPECT_EQ(kind, 77);
  EXPECT_EQ(value, static_cast<char *>(handle_) + PD_ATTR_TEXT_SIZE);
  EXPECT_EQ(pd_getattr(handle_, 1, nullptr, nullptr), 0);
}

TEST(LogSink, LevelsSilenceChannelsWithoutFormatting) {
  LogCapture log;
  int formatted = 0;
  auto count = [&formatted] { return ++formatted; };
  pd::log::set_level(pd::log::Level::error);
  PD_LOG_DEBUG("debug %d\n\n", count());
  PD_LOG_STDOUT("out %d\n", count());
  PD_LOG_STDERR("err %d\n", count());
  PD_LOG_ERROR("error %d\n\n", count());
  pd::log::set_level(pd::log::Level::none);
  PD_LOG_ERROR("error %d\n\n", count());
  EXPECT_EQ(formatted, 1);
  pd::log::set_level(pd::log::Level::all);
  PD_LOG_STDOUT("out %s\n", PD_STR(nullptr));
  PD_LOG_STDERR("err\n");
  const std::string big(100000, 'x');
  PD_LOG_DEBUG("%s\n\n", big.c_str());
  using pd::log::Channel;
  const Channel channels[] = {Channel::error, Channel::out, Channel::err, Channel::debug};
  std::vector<LogRecord> records = log.records();
  ASSERT_EQ(records.size(), std::size(channels));
  for (size_t i = 0; i < records.size(); ++i) EXPECT_EQ(records[i].channel, channels[i]) << i;
  EXPECT_EQ(log.all(), "[PD-PLUGIN-ERROR]tests/frame:TestBody:N: error 1\n\nout (null)\nerr\n"
                       "[PD-PLUGIN-DEBUG]tests/frame:TestBody:N: " + big + "\n\n");
}

TEST(LogSink, EnvironmentChoosesTheLevel) {
  const std::pair<const char *, pd::log::Level> cases[] = {
      {"none", pd::log::Level::none}, {"error", pd::log::Level::error},
      {"all", pd::log::Level::all},   {"none", pd::log::Level::none},
      {"bogus", pd::log::Level::all}, {nullptr, pd::log::Level::all}};
  for (const auto &[text, level] : cases) {
    text ? setenv("PD_PLUGIN_LOG", text, 1) : unsetenv("PD_PLUGIN_LOG");
    pd::log::reload_from_env();
    EXPECT_EQ(pd::log::level(), level) << (text ? text : "unset");
  }
}

// Unserved codes and a null instance are refused, silently and without
// taking an id; every served code with its parameters goes out.
TEST_F(FrameTest, OnlyServedCodesAreSent) {
  const uint32_t unserved[] = {1,  2,  3,  6,  7,  10, 14, 15, 16, 19, 20,   21,
                               22, 23, 24, 25, 26, 27, 31, 33, 35, 36, 1000, UINT32_MAX};
  LogCapture log;
  for (uint32_t code : unserved) {
    EXPECT_EQ(pd_send_pluggin_request(handle_, code, nullptr, nullptr), 5) << code;
    EXPECT_EQ(pd_sendreq(handle_, code, nullptr, nullptr), 3) << code;
  }
  EXPECT_EQ(pd_send_pluggin_request(nullptr, 0, nullptr, nullptr), 5);
  EXPECT_EQ(pd_sendreq(nullptr, 0, nullptr, nullptr), 3);
  EXPECT_EQ(sns_double::request_count(), 0u);
  EXPECT_EQ(pd_util_reqid(), 1u);
  EXPECT_TRUE(matches_golden("frame/refused.log", log.all()));

  ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-1"), 1);
  char *message[7] = {const_cast<char *>("u-2"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
  EXPECT_EQ(pd_sendreq(handle_, PD_REQ_SEND_MESSAGE, message, nullptr), 0);
  EXPECT_EQ(pd_sendreq(handle_, PD_REQ_ALBUM_PHOTOS, const_cast<char *>("al-2"), nullptr), 0);
  ASSERT_EQ(sns_double::request_count(), 2u);
  EXPECT_EQ(sns_double::requests()[0].request->uReqId, 2u);
  EXPECT_EQ(sns_double::requests()[1].url, "http://gateway.palisade.example:80/palisade/photo/album");
}

// Each reply as the transport delivers it, then what the plug-in logged and
// what the engine heard, against one golden transcript.
TEST_F(FrameTest, EveryReplyBecomesOneNotification) {
  pd_upload_data *upload = sns_photo_upload_init("/tmp/photo.jpg");  // released by the plug-in
  struct Row {
    uint32_t code, status;
    const char *body;
    void *priv;
  };
  const Row rows[] = {
      {0, 404, "<Response SessionKey=\"k\"/>", nullptr},  // not OK: no parser, no body line
      {0, 200, "<Root/>", nullptr},  {4, 200, "<Root/>", nullptr},  {5, 200, "<Root/>", nullptr},
      {8, 200, "<Root/>", nullptr},  {11, 200, "<Root/>", nullptr}, {12, 200, "<Root/>", nullptr},
      {13, 200, "<Root/>", nullptr}, {17, 200, "<Root/>", nullptr}, {18, 200, "<Root/>", nullptr},
      {29, 200, "<Root/>", nullptr}, {30, 200, "<Root/>", nullptr}, {32, 200, "<Root/>", nullptr},
      {34, 200, "<Root/>", nullptr}, {28, 200, "<Root/>", nullptr}, {35, 200, "<Root/>", nullptr},
      {1, 200, "<Root/>", nullptr},  {29, 200, nullptr, nullptr},   {0, 0, nullptr, nullptr},
      {9, 200, "<Root/>", nullptr},  // an upload reply without its record is silent
      {9, 200, nullptr, upload},     // the exchange ends with a null result
  };
  std::string transcript;
  for (const Row &row : rows) {
    LogCapture log;
    size_t before = notifications().size();
    reply(row.code, row.status, row.body, row.priv);
    transcript += "== reply " + std::to_string(row.code) + " " + std::to_string(row.status) + "\n" +
                  log.all();
    for (size_t i = before; i < notifications().size(); ++i) {
      const pd_notification n = notifications()[i];
      char line[160];
      std::snprintf(line, sizeof line, "-> marker %d code %u status %u id %u reserved %u result %s pass %lu\n",
                    n.iMarker, n.uReqCode, n.uHttpStatus, n.uReqId, n.uReserved,
                    n.iResult == 0 ? "null" : "set", static_cast<unsigned long>(n.uPassThrough));
      transcript += line;
    }
  }
  LogCapture log;
  EXPECT_EQ(pd_response_cb(nullptr), 0);
  // A reply naming no instance, and one to an instance without an engine
  // callback, reach no one.
  sns_nt_response orphan{};
  orphan.uHttpStatus = 200;
  EXPECT_EQ(pd_response_cb(&orphan), 0);
  inst()->pfnEngineCb = nullptr;
  reply(0, 200, "<Response/>");
  reply(28, 500, nullptr);
  transcript += "== null, orphan and no engine callback\n" + log.all();
  EXPECT_EQ(notifications().size(), std::size(rows) - 1);
  EXPECT_TRUE(matches_golden("frame/replies.transcript", without_addresses(transcript)));
}

}  // namespace
}  // namespace pd_test
