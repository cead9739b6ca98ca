// The instance and its attributes, the log sink, request refusal and the
// delivery of transport replies.
#define PD_LOG_SOURCE "tests/frame"

#include <cstdlib>
#include <string>

#include "frame_fixture.h"

namespace pd_test {
namespace {

// The entry points, attributes, refused requests and the delivery of
// replies, by the calls of a data table against a golden transcript.
TEST_F(FrameTest, CallsPlayAsTheTableSays) {
  EXPECT_TRUE(matches_golden("frame/calls.transcript", play_calls("frame/calls.rows", handle_)));
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

}  // namespace
}  // namespace pd_test
