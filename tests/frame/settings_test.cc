// The seven settings on real GConf inside a private D-Bus session, and as
// the requests see them while other programs, the configuration daemon, the
// engine's main loop and the end of the session do their part.
#include <glib.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "frame_fixture.h"
#include "support/bus_count.h"

namespace pd_test {
namespace {

// The calls of a data table in turn, from before the first init on (ctest
// runs each case in a process of its own), against a golden transcript of
// each result and its log lines.
TEST(Settings, CallsAndTheirResults) {
  EXPECT_TRUE(matches_golden("frame/settings.transcript", play_calls("frame/settings.rows")));
}

// With no D-Bus session (nor a display to start one for) GConf cannot reach
// its daemon: the accessors still answer, and nothing crashes.
TEST(Settings, WithoutADaemonTheAccessorsStillAnswer) {
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  unsetenv("DISPLAY");
  pd::log::set_level(pd::log::Level::none);
  EXPECT_TRUE(matches_golden("frame/no-daemon.transcript", play_calls("frame/no-daemon.rows")));
}

TEST(Settings, ValuesOfAnySizeAreReadWhole) {
  ASSERT_EQ(sns_gconf_init(), 1);
  std::string big(1 << 20, 'k');
  ASSERT_EQ(sns_gconf_set_string(6, big.c_str()), 1);
  EXPECT_EQ(read_setting(6), "1:" + big);
  std::string large(big.size() + 1, '\0');
  EXPECT_EQ(sns_gconf_get_string(6, large.data()), 1);
  EXPECT_EQ(large.c_str(), big);
}

// ---------------------------------------------------------------------------
// Coherence, with the transport double recording the requests.

constexpr const char *kRefused = "<refused>";

// Runs `work` in a callback of the default main loop at idle priority.
template <typename Work>
void idle(Work *work) {
  g_idle_add([](gpointer w) -> gboolean {
    (*static_cast<Work *>(w))();
    return G_SOURCE_REMOVE;
  }, work);
}

// Sets the session key as another program does.
void set_key(const std::string &value) {
  gconftool("--type string --set /Apps/Sns/Sessionkey '" + value + "'");
}

class Coherence : public FrameTest {
 protected:
  void SetUp() override {
    pd::log::set_level(pd::log::Level::none);
    FrameTest::SetUp();
  }
  void TearDown() override {
    if (loop_ != nullptr) {
      g_main_loop_quit(loop_);
      engine_.join();
      g_main_loop_unref(loop_);
    }
    FrameTest::TearDown();
  }
  // The engine runs GLib's default main loop on a thread of its own.
  void start_engine_loop() {
    loop_ = g_main_loop_new(nullptr, FALSE);
    engine_ = std::thread([this] { g_main_loop_run(loop_); });
    while (!g_main_loop_is_running(loop_)) std::this_thread::yield();
  }

  // The session key a friends request carries now, or kRefused.
  std::string next_key() {
    size_t before = sns_double::request_count();
    if (pd_sendreq(handle_, PD_REQ_FRIENDS, nullptr, nullptr) != 0) return kRefused;
    std::string body = sns_double::requests().at(before).body;
    size_t at = body.find("SessionKey=\"");
    if (at == std::string::npos) return "<no key in " + body + ">";
    return body.substr(at + 12, body.find('"', at + 12) - at - 12);
  }

  // The same, from a callback of the loop at idle priority (after what the
  // loop has pending).
  std::string next_key_in_loop() {
    std::string key;
    std::atomic<bool> done{false};
    auto work = [&] {
      key = next_key();
      done = true;
    };
    idle(&work);
    while (!done) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return key;
  }

  // Every change of the table reaches the next request, also from the
  // loop's callbacks when it runs; then a key the transport's thread stores
  // does. A daemon told to shut down refuses (or drops) requests until it is
  // gone, and gconftool-2 does not always say so: a change is made again
  // until the store holds it.
  void expect_changes_seen(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      for (const auto &row : data_rows("frame/coherence-changes.rows")) {
        const std::string &command = row[0], &sent = row[1];
        for (int attempt = 0; attempt < 100; ++attempt) {
          gconftool(command);
          std::string held = gconftool("--get /Apps/Sns/Sessionkey");
          if (command == "--shutdown" || held == (sent == kRefused ? "" : sent)) break;
          std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_EQ(next_key(), sent) << command << " (round " << round << ")";
        if (loop_ != nullptr) {
          EXPECT_EQ(next_key_in_loop(), sent) << command;
        }
      }
    }
    std::thread([] { sns_gconf_set_string(PD_SETTING_SESSION_KEY, "from-transport"); }).join();
    EXPECT_EQ(next_key(), "from-transport");
    EXPECT_EQ(loop_ ? next_key_in_loop() : "from-transport", "from-transport");
  }

  GMainLoop *loop_ = nullptr;
  std::thread engine_;
};

TEST_F(Coherence, ChangesByAnotherProgramReachTheNextRequest) { expect_changes_seen(3); }

TEST_F(Coherence, ChangesReachRequestsFromTheEngineLoopToo) {
  start_engine_loop();
  expect_changes_seen(1);
}

// Another program's change still undelivered must not come back over a
// newer write of our own.
TEST_F(Coherence, OwnWritesAreReadBackAtOnce) {
  for (int i = 0; i < 5; ++i) {
    set_key("theirs-" + std::to_string(i));
    std::string ours = "ours-" + std::to_string(i);
    ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, ours.c_str()), 1);
    EXPECT_EQ(next_key() + next_key(), ours + ours);
  }
}

// A request composed while another program changes the key sends one of the
// values it was given, never an older one than an earlier request sent.
TEST_F(Coherence, RequestsDuringChangesSeeTheValuesInOrder) {
  set_key("k-00");
  std::atomic<bool> stop{false};
  std::vector<std::string> sent;
  std::thread sender([&] {
    while (!stop) sent.push_back(next_key());
  });
  for (int i = 1; i <= 12; ++i) set_key((i < 10 ? "k-0" : "k-") + std::to_string(i));
  stop = true;
  sender.join();
  EXPECT_EQ(next_key(), "k-12");
  ASSERT_FALSE(sent.empty());
  for (size_t i = 0; i < sent.size(); ++i) {
    EXPECT_TRUE(sent[i].size() == 4 && sent[i].compare(0, 2, "k-") == 0) << sent[i];
    EXPECT_LE(sent[i > 0 ? i - 1 : 0], sent[i]) << "request " << i;
  }
}

TEST_F(Coherence, SteadyRequestsSendNoBusMessage) {
  set_key("steady");
  ASSERT_EQ(next_key(), "steady");
  BusCount bus;
  ASSERT_TRUE(bus.begin());
  for (int i = 0; i < 50; ++i) ASSERT_EQ(next_key(), "steady");
  ASSERT_TRUE(bus.end());
  EXPECT_EQ(bus.messages(), std::vector<std::string>());
}

// A loop that does not come back in time: the request is refused instead of
// waiting on, and a write waits in order for the loop to return.
TEST_F(Coherence, ABlockedLoopRefusesInsteadOfHanging) {
  start_engine_loop();
  set_key("before");
  std::atomic<bool> release{false};
  auto block = [&release] {
    while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  };
  idle(&block);
  EXPECT_EQ(next_key(), kRefused);
  EXPECT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "while-blocked"), 1);
  release = true;
  EXPECT_EQ(next_key(), "while-blocked");
}

// The D-Bus session ends under a running plug-in: requests are refused and
// nothing hangs. The case starts (and ends) a session bus of its own.
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
  EXPECT_EQ(read_setting(PD_SETTING_SESSION_KEY), "1:k-1");
  // The bus daemon is not our child: wait until it is gone, and with it
  // every connection it served.
  const pid_t daemon = static_cast<pid_t>(std::atoi(pid));
  ASSERT_EQ(kill(daemon, SIGTERM), 0);
  for (int i = 0; i < 1000 && kill(daemon, 0) == 0; ++i) usleep(10000);
  ASSERT_NE(kill(daemon, 0), 0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(pd_sendreq(handle, PD_REQ_FRIENDS, nullptr, nullptr), 3);
    EXPECT_EQ(read_setting(PD_SETTING_SESSION_KEY), "0:<unset>");
    EXPECT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "k-2"), 1);
  }
  EXPECT_EQ(sns_double::request_count(), 1u);
  pd_finalize(handle);
  sns_double::reset();
  std::system((std::string("rm -rf ") + home).c_str());
}

}  // namespace
}  // namespace pd_test
