// The seven settings on real GConf, inside a private D-Bus session.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "gconftool.h"
#include "pd-plugin/pd_settings.h"
#include "settings.h"
#include "support/log_capture.h"

namespace pd_test {
namespace {

using pd::log::Channel;

// Declared first: in a whole-binary run it is the only case before any
// client exists (ctest runs each case in a process of its own anyway).
TEST(Settings, BeforeInitBothAccessorsRefuse) {
  LogCapture log;
  char buffer[16] = "untouched";
  EXPECT_EQ(sns_gconf_get_string(1, buffer), 0);
  EXPECT_EQ(sns_gconf_set_string(1, "x"), 0);
  EXPECT_STREQ(buffer, "untouched");
  const std::string where = "[PD-PLUGIN-DEBUG]plugins/client-plugin/palisade/src/pd_gconf:";
  // The getter brackets first; the setter refuses before its START line.
  EXPECT_EQ(log.text(Channel::debug),
            where + "sns_gconf_get_string:N: START >>>>>>>>\n\n" + where +
                "sns_gconf_get_string:N: Gconf client is not inited...returning\n\n" + where +
                "sns_gconf_set_string:N: Gconf client is not inited...returning\n\n");
}

class SettingsStore : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(sns_gconf_init(), 1); }
};

TEST_F(SettingsStore, ValuesWrittenHereAreReadByGconftoolAndBack) {
  const char *keys[] = {"/Apps/Sns/Persistkey", "/Apps/Sns/Sessionkey",
                        "/Apps/Sns/Remembermecheckbox", "/Apps/Sns/Emailaddress",
                        "/Apps/Sns/Loginpeopleid", "/Apps/Sns/UserName", "/Apps/Sns/Password"};
  for (uint32_t index = 0; index < 7; ++index) {
    std::string value = "value-" + std::to_string(index) + " <&\">";
    ASSERT_EQ(sns_gconf_set_string(index, value.c_str()), 1);
    EXPECT_EQ(gconftool_get(keys[index]), value) << index;
    EXPECT_STREQ(pd::settings::key(index), keys[index]);
  }
  gconftool_set("/Apps/Sns/UserName", "alice");
  char buffer[64] = {};
  EXPECT_EQ(sns_gconf_get_string(5, buffer), 1);
  EXPECT_STREQ(buffer, "alice");
}

TEST_F(SettingsStore, EmptyAndUnsetValuesReadAsZero) {
  char buffer[32] = "untouched";
  EXPECT_EQ(sns_gconf_get_string(3, buffer), 0);  // never set
  EXPECT_STREQ(buffer, "untouched");
  std::string bounded = "untouched";
  EXPECT_EQ(pd::settings::read(3, bounded), 0);
  EXPECT_EQ(bounded, "untouched");

  // Clearing the session key is how a login or logout forgets it.
  ASSERT_EQ(sns_gconf_set_string(1, "abc"), 1);
  ASSERT_EQ(sns_gconf_set_string(1, ""), 1);
  EXPECT_EQ(sns_gconf_get_string(1, buffer), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(pd::settings::read(1, bounded), 0);
  EXPECT_EQ(bounded, "");
  EXPECT_EQ(gconftool_get("/Apps/Sns/Sessionkey"), "");
}

TEST_F(SettingsStore, IndexAboveSixIsAKeyError) {
  LogCapture log;
  char buffer[16] = "untouched";
  EXPECT_EQ(sns_gconf_get_string(7, buffer), 0);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(sns_gconf_set_string(7, "x"), 0);
  EXPECT_EQ(sns_gconf_set_string(UINT32_MAX, "x"), 0);
  const std::string where = "[PD-PLUGIN-DEBUG]plugins/client-plugin/palisade/src/pd_gconf:";
  EXPECT_EQ(log.text(Channel::debug),
            where + "sns_gconf_get_string:N: START >>>>>>>>\n\n" + where + "sns_gconf_get_string:N: key error! \n\n\n" +
                where + "sns_gconf_set_string:N: START >>>>>>>>\n\n" + where +
                "sns_gconf_set_string:N: key error! \n\n\n" + where +
                "sns_gconf_set_string:N: END >>>>>>>>\n\n" + where +
                "sns_gconf_set_string:N: START >>>>>>>>\n\n" + where +
                "sns_gconf_set_string:N: key error! \n\n\n" + where +
                "sns_gconf_set_string:N: END >>>>>>>>\n\n");
}

TEST_F(SettingsStore, BoundedReadTakesAValueOfAnySize) {
  std::string big(1 << 20, 'k');
  ASSERT_EQ(sns_gconf_set_string(6, big.c_str()), 1);
  std::string read;
  EXPECT_EQ(pd::settings::read(6, read), 1);
  EXPECT_EQ(read, big);
  std::string buffer(big.size() + 1, '\0');
  EXPECT_EQ(sns_gconf_get_string(6, buffer.data()), 1);
  EXPECT_EQ(buffer.c_str(), big);
}

// GConf refuses a null text: the key keeps its value.
TEST_F(SettingsStore, NullValueKeepsTheStoredOne) {
  ASSERT_EQ(sns_gconf_set_string(1, "abc"), 1);
  EXPECT_EQ(sns_gconf_set_string(1, nullptr), 1);
  std::string read;
  EXPECT_EQ(pd::settings::read(1, read), 1);
  EXPECT_EQ(read, "abc");
}

TEST_F(SettingsStore, SecondInitKeepsOneWorkingClient) {
  ASSERT_EQ(sns_gconf_set_string(4, "p-1"), 1);
  EXPECT_EQ(sns_gconf_init(), 1);
  std::string read;
  EXPECT_EQ(pd::settings::read(4, read), 1);
  EXPECT_EQ(read, "p-1");
}

}  // namespace
}  // namespace pd_test
