// The seven settings on real GConf, inside a private D-Bus session.
#include <string>

#include "gconftool.h"
#include "pd-plugin/pd_settings.h"
#include "settings.h"
#include "support/golden.h"
#include "support/log_capture.h"

namespace pd_test {
namespace {

// Declared first: in a whole-binary run it is the only case before any
// client exists (ctest runs each case in a process of its own anyway).
TEST(Settings, BeforeInitBothAccessorsRefuse) {
  LogCapture log;
  char buffer[16] = "untouched";
  EXPECT_EQ(sns_gconf_get_string(1, buffer), 0);
  EXPECT_EQ(sns_gconf_set_string(1, "x"), 0);
  EXPECT_STREQ(buffer, "untouched");
  // The getter brackets first; the setter refuses before its START line.
  EXPECT_TRUE(matches_golden("frame/settings-before-init.log", log.all()));
}

class SettingsStore : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(sns_gconf_init(), 1); }
  static std::string read(uint32_t index) {
    std::string value = "<unset>";
    int found = pd::settings::read(index, value);
    return std::to_string(found) + ":" + value;
  }
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
  EXPECT_EQ(pd::settings::key(7), nullptr);
  gconftool_set("/Apps/Sns/UserName", "alice");
  char buffer[64] = {};
  EXPECT_EQ(sns_gconf_get_string(5, buffer), 1);
  EXPECT_STREQ(buffer, "alice");
  // A second init keeps one working client.
  EXPECT_EQ(sns_gconf_init(), 1);
  EXPECT_EQ(read(5), "1:alice");
}

TEST_F(SettingsStore, EmptyUnsetAndNullValues) {
  char buffer[32] = "untouched";
  EXPECT_EQ(sns_gconf_get_string(3, buffer), 0);  // never set
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(read(3), "0:<unset>");
  // GConf refuses a null text: the key keeps its value.
  ASSERT_EQ(sns_gconf_set_string(1, "abc"), 1);
  EXPECT_EQ(sns_gconf_set_string(1, nullptr), 1);
  EXPECT_EQ(read(1), "1:abc");
  // Clearing the session key is how a login or logout forgets it.
  ASSERT_EQ(sns_gconf_set_string(1, ""), 1);
  EXPECT_EQ(sns_gconf_get_string(1, buffer), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(read(1), "0:");
  EXPECT_EQ(gconftool_get("/Apps/Sns/Sessionkey"), "");
}

TEST_F(SettingsStore, IndexAboveSixIsAKeyError) {
  LogCapture log;
  char buffer[16] = "untouched";
  EXPECT_EQ(sns_gconf_get_string(7, buffer), 0);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(sns_gconf_set_string(7, "x"), 0);
  EXPECT_EQ(sns_gconf_set_string(UINT32_MAX, "x"), 0);
  EXPECT_TRUE(matches_golden("frame/settings-key-error.log", log.all()));
}

TEST_F(SettingsStore, ValuesOfAnySizeAreReadWhole) {
  std::string big(1 << 20, 'k');
  ASSERT_EQ(sns_gconf_set_string(6, big.c_str()), 1);
  EXPECT_EQ(read(6), "1:" + big);
  std::string buffer(big.size() + 1, '\0');
  EXPECT_EQ(sns_gconf_get_string(6, buffer.data()), 1);
  EXPECT_EQ(buffer.c_str(), big);
}

}  // namespace
}  // namespace pd_test
