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
  const std::string long_text = std::string(62, 'a') + std::string(38, 'z'), kept = long_text.substr(0, 63);
  void *x = const_cast<char *>("x"), *second = const_cast<char *>("second");
  // id, kind, value, then "result|first text|second text" after the call.
  const std::tuple<int, int, void *, std::string> rows[] = {
      {1, 2, x, "0||"}, {2, 1, x, "0||"}, {4, 4, x, "0||"}, {3, 1, reinterpret_cast<void *>(&std::abort), "0||"},
      {2, 2, second, "0||second"}, {1, 1, const_cast<char *>(long_text.c_str()), "0|" + kept + "|second"},
      {1, 1, nullptr, "3|" + kept + "|second"}, {3, 3, nullptr, "3|" + kept + "|second"}};
  LogCapture log;
  for (const auto &[id, kind, value, after] : rows) {
    int result = pd_setattr(handle_, id, kind, value);
    EXPECT_EQ(std::to_string(result) + "|" + inst()->szAttribute1 + "|" + inst()->szAttribute2, after)
        << id << kind;
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

// Silenced channels do not even format; the environment chooses the level
// (anything unknown, or nothing, is all).
TEST(LogSink, LevelsSilenceChannelsWithoutFormatting) {
  using pd::log::Level;
  LogCapture log;
  int formatted = 0;
  pd::log::set_level(Level::error);
  PD_LOG_DEBUG("debug %d\n\n", ++formatted);
  PD_LOG_STDOUT("out %d\n", ++formatted);
  PD_LOG_STDERR("err %d\n", ++formatted);
  PD_LOG_ERROR("error %d\n\n", ++formatted);
  pd::log::set_level(Level::none);
  PD_LOG_ERROR("error %d\n\n", ++formatted);
  EXPECT_EQ(formatted, 1);
  pd::log::set_level(Level::all);
  PD_LOG_STDOUT("out %s\n", PD_STR(nullptr));
  PD_LOG_STDERR("err\n");
  const std::string big(100000, 'x');
  PD_LOG_DEBUG("%s\n\n", big.c_str());
  std::vector<pd::log::Channel> channels;
  for (const LogRecord &record : log.records()) channels.push_back(record.channel);
  EXPECT_EQ(channels, std::vector({pd::log::Channel::error, pd::log::Channel::out, pd::log::Channel::err,
                                   pd::log::Channel::debug}));
  EXPECT_EQ(log.all(), "[PD-PLUGIN-ERROR]tests/frame:TestBody:N: error 1\n\nout (null)\nerr\n"
                       "[PD-PLUGIN-DEBUG]tests/frame:TestBody:N: " + big + "\n\n");
  for (auto [text, level] : {std::pair{"none", Level::none}, {"error", Level::error}, {"all", Level::all},
                             {"none", Level::none}, {"bogus", Level::all}, {nullptr, Level::all}}) {
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

// Each reply of the table as the transport delivers it, then what the
// plug-in logged and what the engine heard, against a golden transcript.
TEST_F(FrameTest, EveryReplyBecomesOneNotification) {
  std::string transcript;
  size_t replies = 0;
  for (const auto &row : data_rows("frame/replies.rows")) {
    LogCapture log;
    size_t before = notifications().size();
    // The plug-in releases the upload record when the exchange ends.
    reply(std::stoul(row[0]), std::stoul(row[1]), row[2] == "-" ? nullptr : row[2].c_str(),
          row.size() > 3 ? sns_photo_upload_init("/tmp/photo.jpg") : nullptr);
    transcript += "== reply " + row[0] + " " + row[1] + "\n" + log.all();
    std::vector<pd_notification> got = notifications();
    for (const pd_notification &n : std::vector(got.begin() + before, got.end())) {
      char line[160];
      std::snprintf(line, sizeof line, "-> marker %d code %u status %u id %u reserved %u result %s pass %lu\n",
                    n.iMarker, n.uReqCode, n.uHttpStatus, n.uReqId, n.uReserved, n.iResult == 0 ? "null" : "set",
                    static_cast<unsigned long>(n.uPassThrough));
      transcript += line;
    }
    ++replies;
  }
  // A null reply, a reply naming no instance and one to an instance without
  // an engine callback reach no one.
  LogCapture log;
  EXPECT_EQ(pd_response_cb(nullptr), 0);
  sns_nt_response orphan{};
  orphan.uHttpStatus = 200;
  EXPECT_EQ(pd_response_cb(&orphan), 0);
  inst()->pfnEngineCb = nullptr;
  reply(0, 200, "<Response/>");
  reply(28, 500, nullptr);
  transcript += "== null, orphan and no engine callback\n" + log.all();
  EXPECT_EQ(notifications().size(), replies - 1);
  EXPECT_TRUE(matches_golden("frame/replies.transcript", without_addresses(transcript)));
}

}  // namespace
}  // namespace pd_test
