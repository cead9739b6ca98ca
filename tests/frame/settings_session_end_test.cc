// The D-Bus session ends under a running plug-in: requests are refused and
// nothing hangs. The case starts (and ends) a session bus of its own.
#include <signal.h>
#include <unistd.h>

#include "frame_fixture.h"
#include "pd-plugin/pd_settings.h"
#include "settings.h"

namespace pd_test {
namespace {

TEST(SessionEnd, RequestsAreRefusedOnceTheBusIsGone) {
  char home[] = "/tmp/pd-session-end.XXXXXX";
  ASSERT_NE(mkdtemp(home), nullptr);
  setenv("HOME", home, 1);
  pd::log::set_level(pd::log::Level::none);
  FILE *bus = popen("dbus-daemon --session --fork --print-address=1 --print-pid=1", "r");
  ASSERT_NE(bus, nullptr);
  char address[512] = {}, pid[32] = {};
  ASSERT_TRUE(std::fgets(address, sizeof address, bus) && std::fgets(pid, sizeof pid, bus));
  pclose(bus);
  address[std::strcspn(address, "\n")] = '\0';
  setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);

  void *handle = nullptr;
  ASSERT_EQ(pd_init(&handle), 0);
  ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "k-1"), 1);
  EXPECT_EQ(pd_sendreq(handle, PD_REQ_FRIENDS, nullptr, nullptr), 0);
  std::string key;
  EXPECT_EQ(pd::settings::read(PD_SETTING_SESSION_KEY, key), 1);
  EXPECT_EQ(key, "k-1");
  // The bus daemon is not our child: wait until it is gone, and with it
  // every connection it served.
  const pid_t daemon = static_cast<pid_t>(std::atoi(pid));
  ASSERT_EQ(kill(daemon, SIGTERM), 0);
  for (int i = 0; i < 1000 && kill(daemon, 0) == 0; ++i) usleep(10000);
  ASSERT_NE(kill(daemon, 0), 0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(pd_sendreq(handle, PD_REQ_FRIENDS, nullptr, nullptr), 3);
    EXPECT_EQ(pd::settings::read(PD_SETTING_SESSION_KEY, key), 0);
    EXPECT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "k-2"), 1);
  }
  EXPECT_EQ(sns_double::request_count(), 1u);
  pd_finalize(handle);
  sns_double::reset();
  std::system((std::string("rm -rf ") + home).c_str());
}

}  // namespace
}  // namespace pd_test
