// The instance, its attributes and the log sink's line forms.
#define PD_LOG_SOURCE "tests/frame"

#include <cstdlib>
#include <string>

#include "frame_fixture.h"
#include "log.h"

namespace pd_test {
namespace {

using pd::log::Channel;

TEST(EntryPoints, InitBindsTransportAndReportsSuccessWhateverTheTransportSays) {
  sns_double::reset();
  sns_double::set_results(7, 8, 0);
  LogCapture log;
  void *handle = nullptr;
  ASSERT_EQ(pd_init(&handle), 0);
  ASSERT_NE(handle, nullptr);
  auto *inst = static_cast<pd_inst *>(handle);
  EXPECT_EQ(inst->szAttribute1[0], '\0');
  EXPECT_EQ(inst->szAttribute2[0], '\0');
  EXPECT_EQ(inst->pCallerData, nullptr);
  EXPECT_EQ(inst->pfnEngineCb, nullptr);
  sns_double::Counters calls = sns_double::counters();
  EXPECT_EQ(calls.init, 1);
  EXPECT_EQ(calls.connect, 1);
  EXPECT_EQ(sns_double::callback(inst->hTransport), &pd_response_cb);
  const std::string where = "[PD-PLUGIN-DEBUG]plugins/client-plugin/palisade/src/pd-plugin:pd_init:N: ";
  std::vector<LogRecord> records = log.records();
  ASSERT_GE(records.size(), 3u);
  EXPECT_EQ(records[0].text, where + "START >>>>>>>>\n\n");
  EXPECT_EQ(records[1].text, where + "This is sample test print:123\n\n");
  EXPECT_EQ(records[2].text, where + "sns_nt_init, e_ret :7,\n\n");
  EXPECT_TRUE(log.contains("pd_init:N: sns_nt_connect, e_ret :8,\n\n"));
  EXPECT_TRUE(log.contains("pd_init:N: END >>>>>>>>\n\n"));
  EXPECT_EQ(pd_finalize(handle), 0);
  EXPECT_EQ(sns_double::counters().finalize, 1);
}

TEST(EntryPoints, NullHandlesAreRefusedWithAnErrorLine) {
  LogCapture log;
  EXPECT_EQ(pd_init(nullptr), 3);
  EXPECT_EQ(pd_finalize(nullptr), 3);
  int kind = 42;
  void *value = &kind;
  EXPECT_EQ(pd_getattr(nullptr, 1, &kind, &value), 3);
  EXPECT_EQ(pd_setattr(nullptr, 1, 1, const_cast<char *>("x")), 3);
  EXPECT_EQ(kind, 42);
  EXPECT_EQ(log.text(Channel::error),
            "[PD-PLUGIN-ERROR]plugins/client-plugin/palisade/src/pd-plugin:pd_init:N: invalid handle\n\n"
            "[PD-PLUGIN-ERROR]plugins/client-plugin/palisade/src/pd-plugin:pd_finalize:N: invalid handle\n\n"
            "[PD-PLUGIN-ERROR]plugins/client-plugin/palisade/src/pd-plugin:pd_getattr:N: invalid handle\n\n"
            "[PD-PLUGIN-ERROR]plugins/client-plugin/palisade/src/pd-plugin:pd_setattr:N: invalid handle\n\n");
  // pd_finalize brackets its work even for a null handle.
  EXPECT_TRUE(log.contains("pd_finalize:N: Handle :(nil)\n\n"));
  EXPECT_TRUE(log.contains("pd_finalize:N: END >>>>>>>>\n\n"));
}

class Attributes : public FrameTest {};

TEST_F(Attributes, OnlyMatchingPairsAct) {
  EXPECT_EQ(pd_setattr(handle_, 1, 2, const_cast<char *>("x")), 0);
  EXPECT_EQ(pd_setattr(handle_, 2, 1, const_cast<char *>("x")), 0);
  EXPECT_EQ(pd_setattr(handle_, 4, 4, const_cast<char *>("x")), 0);
  EXPECT_EQ(pd_setattr(handle_, 3, 1, reinterpret_cast<void *>(&std::abort)), 0);
  EXPECT_STREQ(inst()->szAttribute1, "");
  EXPECT_STREQ(inst()->szAttribute2, "");
  EXPECT_EQ(inst()->pfnEngineCb, &engine_callback);

  LogCapture log;
  EXPECT_EQ(pd_setattr(handle_, 2, 2, const_cast<char *>("second")), 0);
  EXPECT_STREQ(inst()->szAttribute2, "second");
  EXPECT_STREQ(inst()->szAttribute1, "");
  EXPECT_TRUE(log.contains("pd_setattr:N: Attribute ID is set:second\n\n"));
}

TEST_F(Attributes, LongTextKeepsSixtyThreeCharactersAndLeavesTheOtherAlone) {
  std::string value(100, 'a');
  value[62] = 'z';
  ASSERT_EQ(pd_setattr(handle_, 1, 1, value.data()), 0);
  EXPECT_EQ(std::string(inst()->szAttribute1), value.substr(0, 63));
  EXPECT_STREQ(inst()->szAttribute2, "");
}

TEST_F(Attributes, NullValueIsAnInvalidHandle) {
  LogCapture log;
  EXPECT_EQ(pd_setattr(handle_, 1, 1, nullptr), 3);
  EXPECT_EQ(pd_setattr(handle_, 3, 3, nullptr), 3);
  EXPECT_EQ(inst()->pfnEngineCb, &engine_callback);
  EXPECT_TRUE(log.contains("invalid handle"));
  EXPECT_FALSE(log.contains("END >>>>>>>>"));
}

TEST_F(Attributes, GetattrPointsIntoTheInstanceAndReportsKindOneForBothTexts) {
  int kind = 0;
  void *value = nullptr;
  ASSERT_EQ(pd_getattr(handle_, 1, &kind, &value), 0);
  EXPECT_EQ(kind, 1);
  EXPECT_EQ(value, handle_);
  ASSERT_EQ(pd_getattr(handle_, 2, &kind, &value), 0);
  EXPECT_EQ(kind, 1);
  EXPECT_EQ(value, static_cast<char *>(handle_) + 65);

  kind = 77;
  value = &kind;
  EXPECT_EQ(pd_getattr(handle_, 3, &kind, &value), 0);
  EXPECT_EQ(pd_getattr(handle_, 7, &kind, &value), 0);
  EXPECT_EQ(kind, 77);
  EXPECT_EQ(value, &kind);
  // Null outputs are not written through.
  EXPECT_EQ(pd_getattr(handle_, 1, nullptr, nullptr), 0);
}

// ---------------------------------------------------------------------------
// The log sink

TEST(LogSink, LevelsSilenceChannelsWithoutFormatting) {
  LogCapture log;
  int formatted = 0;
  auto count = [&formatted] { return ++formatted; };

  pd::log::set_level(pd::log::Level::error);
  PD_LOG_DEBUG("debug %d\n\n", count());
  PD_LOG_STDOUT("out %d\n", count());
  PD_LOG_STDERR("err %d\n", count());
  PD_LOG_ERROR("error %d\n\n", count());
  EXPECT_EQ(formatted, 1);
  EXPECT_EQ(log.all(), "[PD-PLUGIN-ERROR]tests/frame:TestBody:N: error 1\n\n");

  pd::log::set_level(pd::log::Level::none);
  PD_LOG_ERROR("error %d\n\n", count());
  EXPECT_EQ(formatted, 1);

  pd::log::set_level(pd::log::Level::all);
  log.clear();
  PD_LOG_STDOUT("out %s\n", PD_STR(nullptr));
  PD_LOG_STDERR("err\n");
  std::vector<LogRecord> records = log.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].channel, Channel::out);
  EXPECT_EQ(records[0].text, "out (null)\n");
  EXPECT_EQ(records[1].channel, Channel::err);
  EXPECT_EQ(records[1].text, "err\n");
}

TEST(LogSink, EnvironmentChoosesTheLevel) {
  const std::pair<const char *, pd::log::Level> cases[] = {
      {"none", pd::log::Level::none},
      {"error", pd::log::Level::error},
      {"all", pd::log::Level::all},
      {"bogus", pd::log::Level::all},
  };
  for (const auto &[text, level] : cases) {
    setenv("PD_PLUGIN_LOG", text, 1);
    pd::log::reload_from_env();
    EXPECT_EQ(pd::log::level(), level) << text;
  }
  unsetenv("PD_PLUGIN_LOG");
  pd::log::reload_from_env();
  EXPECT_EQ(pd::log::level(), pd::log::Level::all);
}

TEST(LogSink, LongMessagesAreWrittenWhole) {
  LogCapture log;
  std::string big(100000, 'x');
  PD_LOG_DEBUG("%s\n\n", big.c_str());
  EXPECT_EQ(log.all(), "[PD-PLUGIN-DEBUG]tests/frame:TestBody:N: " + big + "\n\n");
}

}  // namespace
}  // namespace pd_test
