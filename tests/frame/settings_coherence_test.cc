// The settings as the requests see them while other programs, the
// configuration daemon and the engine's main loop do their part: real GConf
// inside a private D-Bus session, the transport double recording requests.
#include <glib.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>

#include "frame_fixture.h"
#include "gconftool.h"
#include "pd-plugin/pd_settings.h"
#include "settings.h"
#include "support/bus_count.h"

namespace pd_test {
namespace {

constexpr const char *kRefused = "<refused>";

std::string set_key(const std::string &value) {
  return "--type string --set /Apps/Sns/Sessionkey '" + value + "'";
}

class Coherence : public FrameTest {
 protected:
  void SetUp() override {
    pd::log::set_level(pd::log::Level::none);
    FrameTest::SetUp();
  }

  // The session key a friends request carries now, or kRefused.
  std::string next_key() {
    size_t before = sns_double::request_count();
    if (pd_sendreq(handle_, PD_REQ_FRIENDS, nullptr, nullptr) != 0) return kRefused;
    std::string body = sns_double::requests().at(before).body;
    const std::string attribute = "SessionKey=\"";
    size_t at = body.find(attribute);
    if (at == std::string::npos) return "<no key in " + body + ">";
    at += attribute.size();
    return body.substr(at, body.find('"', at) - at);
  }
};

// Each row: what another program does, and the key the next request sends.
struct Change {
  std::string command;
  std::string sent;
};

const Change kChanges[] = {
    {set_key("k-1"), "k-1"},
    {set_key("k-2"), "k-2"},
    {"--unset /Apps/Sns/Sessionkey", kRefused},
    {set_key("k-3"), "k-3"},
    {set_key(""), kRefused},
    {set_key("k-4"), "k-4"},
    // The daemon goes away: the store still holds k-4, and a new daemon
    // started by another program's change knows nothing of our watch.
    {"--shutdown", "k-4"},
    {set_key("k-5"), "k-5"},
    {"--shutdown", "k-5"},
    {"--recursive-unset /Apps/Sns", kRefused},
    {set_key("k-6"), "k-6"},
};

// Makes another program's change and waits until the store holds it. A
// daemon told to shut down refuses (or drops) requests until it is gone,
// and gconftool-2 does not always say so: the change is made again then.
void change_store(const Change &change) {
  const bool shutdown = change.command == "--shutdown";
  const std::string held = change.sent == kRefused ? "" : change.sent;
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::system(("gconftool-2 " + change.command + " >/dev/null 2>&1").c_str());
    if (shutdown || gconftool_get("/Apps/Sns/Sessionkey") == held) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  FAIL() << "the store never took " << change.command;
}

TEST_F(Coherence, ChangesByAnotherProgramReachTheNextRequest) {
  for (int round = 0; round < 3; ++round) {
    for (const Change &change : kChanges) {
      change_store(change);
      EXPECT_EQ(next_key(), change.sent) << change.command << " (round " << round << ")";
    }
  }
}

TEST_F(Coherence, OwnWritesAreReadBackAtOnce) {
  for (int i = 0; i < 5; ++i) {
    // Another program's change still undelivered must not come back over
    // the newer write.
    gconftool_set("/Apps/Sns/Sessionkey", "theirs-" + std::to_string(i));
    std::string ours = "ours-" + std::to_string(i);
    ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, ours.c_str()), 1);
    EXPECT_EQ(next_key(), ours);
    EXPECT_EQ(next_key(), ours);
  }
}

// A request composed while another program changes the key sends one of the
// values it was given, never an older one than an earlier request sent.
TEST_F(Coherence, RequestsDuringChangesSeeTheValuesInOrder) {
  gconftool_set("/Apps/Sns/Sessionkey", "k-00");
  std::atomic<bool> stop{false};
  std::vector<std::string> sent;
  std::thread sender([&] {
    while (!stop.load()) sent.push_back(next_key());
  });
  for (int i = 1; i <= 12; ++i) {
    char value[8];
    std::snprintf(value, sizeof value, "k-%02d", i);
    gconftool_set("/Apps/Sns/Sessionkey", value);
  }
  stop.store(true);
  sender.join();
  EXPECT_EQ(next_key(), "k-12");
  ASSERT_FALSE(sent.empty());
  for (size_t i = 0; i < sent.size(); ++i) {
    EXPECT_TRUE(sent[i].size() == 4 && sent[i].compare(0, 2, "k-") == 0) << sent[i];
    if (i > 0) {
      EXPECT_LE(sent[i - 1], sent[i]) << "request " << i;
    }
  }
}

TEST_F(Coherence, SteadyRequestsSendNoBusMessage) {
  gconftool_set("/Apps/Sns/Sessionkey", "steady");
  ASSERT_EQ(next_key(), "steady");
  BusCount bus;
  ASSERT_TRUE(bus.begin());
  for (int i = 0; i < 50; ++i) ASSERT_EQ(next_key(), "steady");
  ASSERT_TRUE(bus.end());
  std::vector<std::string> messages = bus.messages();
  std::string listing;
  for (const std::string &message : messages) listing += message + "\n";
  EXPECT_TRUE(messages.empty()) << listing;
}

// ---------------------------------------------------------------------------
// The engine runs GLib's default main loop on a thread of its own; requests
// come from another thread and from the loop's own callbacks, and the
// transport's thread stores a key.
class WithEngineLoop : public Coherence {
 protected:
  void SetUp() override {
    Coherence::SetUp();
    loop_ = g_main_loop_new(nullptr, FALSE);
    engine_ = std::thread([this] { g_main_loop_run(loop_); });
    while (!g_main_loop_is_running(loop_)) std::this_thread::yield();
  }
  void TearDown() override {
    g_main_loop_quit(loop_);
    engine_.join();
    g_main_loop_unref(loop_);
    Coherence::TearDown();
  }

  // Runs `work` in a callback of the loop at idle priority (after what the
  // loop has pending) and waits for it.
  std::string in_loop(std::function<std::string()> work) {
    struct Call {
      std::function<std::string()> work;
      std::string result{};
      std::atomic<bool> done{false};
    } call{std::move(work), {}};
    g_idle_add(
        [](gpointer data) -> gboolean {
          auto *c = static_cast<Call *>(data);
          c->result = c->work();
          c->done.store(true);
          return G_SOURCE_REMOVE;
        },
        &call);
    while (!call.done.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return call.result;
  }

  GMainLoop *loop_ = nullptr;
  std::thread engine_;
};

TEST_F(WithEngineLoop, ChangesReachRequestsFromEitherThread) {
  for (const Change &change : kChanges) {
    change_store(change);
    EXPECT_EQ(next_key(), change.sent) << change.command;
    EXPECT_EQ(in_loop([this] { return next_key(); }), change.sent) << change.command;
  }
  std::thread transport([] { sns_gconf_set_string(PD_SETTING_SESSION_KEY, "from-transport"); });
  transport.join();
  EXPECT_EQ(next_key(), "from-transport");
  EXPECT_EQ(in_loop([this] { return next_key(); }), "from-transport");
}

// A loop that does not come back in time: the request is refused instead of
// waiting on, and a write waits in order for the loop to return.
TEST_F(WithEngineLoop, ABlockedLoopRefusesInsteadOfHanging) {
  gconftool_set("/Apps/Sns/Sessionkey", "before");
  std::atomic<bool> release{false};
  g_idle_add(
      [](gpointer flag) -> gboolean {
        while (!static_cast<std::atomic<bool> *>(flag)->load())
          std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return G_SOURCE_REMOVE;
      },
      &release);
  EXPECT_EQ(next_key(), kRefused);
  EXPECT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "while-blocked"), 1);
  release.store(true);
  EXPECT_EQ(next_key(), "while-blocked");
}

}  // namespace
}  // namespace pd_test
