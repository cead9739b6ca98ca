// The settings as the requests see them while other programs, the
// configuration daemon and the engine's main loop do their part: real GConf
// inside a private D-Bus session, the transport double recording requests.
#include <glib.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "frame_fixture.h"
#include "gconftool.h"
#include "pd-plugin/pd_settings.h"
#include "support/bus_count.h"

namespace pd_test {
namespace {

constexpr const char *kRefused = "<refused>";
constexpr const char *kKey = "/Apps/Sns/Sessionkey";

// Each row: what another program does, and the key the next request sends.
struct Change {
  std::string command, sent;
};
std::string set_key(const std::string &value) { return "--type string --set /Apps/Sns/Sessionkey '" + value + "'"; }
const Change kChanges[] = {
    {set_key("k-1"), "k-1"}, {set_key("k-2"), "k-2"}, {"--unset /Apps/Sns/Sessionkey", kRefused},
    {set_key("k-3"), "k-3"}, {set_key(""), kRefused}, {set_key("k-4"), "k-4"},
    // The daemon goes away: the store still holds k-4, and a new daemon
    // started by another program's change knows nothing of our watch.
    {"--shutdown", "k-4"},   {set_key("k-5"), "k-5"}, {"--shutdown", "k-5"},
    {"--recursive-unset /Apps/Sns", kRefused},        {set_key("k-6"), "k-6"},
};

// Makes another program's change and waits until the store holds it. A
// daemon told to shut down refuses (or drops) requests until it is gone,
// and gconftool-2 does not always say so: the change is made again then.
void change_store(const Change &change) {
  const std::string held = change.sent == kRefused ? "" : change.sent;
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::system(("gconftool-2 " + change.command + " >/dev/null 2>&1").c_str());
    if (change.command == "--shutdown" || gconftool_get(kKey) == held) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  FAIL() << "the store never took " << change.command;
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

  // The session key a friends request carries now, or kRefused.
  std::string next_key() {
    size_t before = sns_double::request_count();
    if (pd_sendreq(handle_, PD_REQ_FRIENDS, nullptr, nullptr) != 0) return kRefused;
    std::string body = sns_double::requests().at(before).body;
    size_t at = body.find("SessionKey=\"");
    if (at == std::string::npos) return "<no key in " + body + ">";
    at += 12;
    return body.substr(at, body.find('"', at) - at);
  }

  // The next key as a callback of the loop at idle priority (after what the
  // loop has pending) sees it.
  std::string key_in_loop() {
    struct Call {
      Coherence *self;
      std::string result{};
      std::atomic<bool> done{false};
    } call{this};
    g_idle_add(
        [](gpointer data) -> gboolean {
          auto *c = static_cast<Call *>(data);
          c->result = c->self->next_key();
          c->done.store(true);
          return G_SOURCE_REMOVE;
        },
        &call);
    while (!call.done.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return call.result;
  }

  // Every change of the table reaches the next request, from this thread
  // and (with the engine's loop) from the loop's callbacks; then a key the
  // transport's thread stores does.
  void expect_changes_seen(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      for (const Change &change : kChanges) {
        change_store(change);
        EXPECT_EQ(next_key(), change.sent) << change.command << " (round " << round << ")";
        if (loop_) {
          EXPECT_EQ(key_in_loop(), change.sent) << change.command;
        }
      }
    }
    std::thread([] { sns_gconf_set_string(PD_SETTING_SESSION_KEY, "from-transport"); }).join();
    EXPECT_EQ(next_key(), "from-transport");
    if (loop_) {
      EXPECT_EQ(key_in_loop(), "from-transport");
    }
  }

  GMainLoop *loop_ = nullptr;
  std::thread engine_;
};

// The engine runs GLib's default main loop on a thread of its own.
class WithEngineLoop : public Coherence {
 protected:
  void SetUp() override {
    Coherence::SetUp();
    loop_ = g_main_loop_new(nullptr, FALSE);
    engine_ = std::thread([this] { g_main_loop_run(loop_); });
    while (!g_main_loop_is_running(loop_)) std::this_thread::yield();
  }
};

TEST_F(Coherence, ChangesByAnotherProgramReachTheNextRequest) { expect_changes_seen(3); }
TEST_F(WithEngineLoop, ChangesReachRequestsFromEitherThread) { expect_changes_seen(1); }

TEST_F(Coherence, OwnWritesAreReadBackAtOnce) {
  for (int i = 0; i < 5; ++i) {
    // Another program's change still undelivered must not come back over
    // the newer write.
    gconftool_set(kKey, "theirs-" + std::to_string(i));
    std::string ours = "ours-" + std::to_string(i);
    ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, ours.c_str()), 1);
    EXPECT_EQ(next_key(), ours);
    EXPECT_EQ(next_key(), ours);
  }
}

// A request composed while another program changes the key sends one of the
// values it was given, never an older one than an earlier request sent.
TEST_F(Coherence, RequestsDuringChangesSeeTheValuesInOrder) {
  gconftool_set(kKey, "k-00");
  std::atomic<bool> stop{false};
  std::vector<std::string> sent;
  std::thread sender([&] {
    while (!stop.load()) sent.push_back(next_key());
  });
  for (int i = 1; i <= 12; ++i) gconftool_set(kKey, (i < 10 ? "k-0" : "k-") + std::to_string(i));
  stop.store(true);
  sender.join();
  EXPECT_EQ(next_key(), "k-12");
  ASSERT_FALSE(sent.empty());
  for (size_t i = 0; i < sent.size(); ++i) {
    EXPECT_TRUE(sent[i].size() == 4 && sent[i].compare(0, 2, "k-") == 0) << sent[i];
    EXPECT_LE(sent[i > 0 ? i - 1 : 0], sent[i]) << "request " << i;
  }
}

TEST_F(Coherence, SteadyRequestsSendNoBusMessage) {
  gconftool_set(kKey, "steady");
  ASSERT_EQ(next_key(), "steady");
  BusCount bus;
  ASSERT_TRUE(bus.begin());
  for (int i = 0; i < 50; ++i) ASSERT_EQ(next_key(), "steady");
  ASSERT_TRUE(bus.end());
  std::string listing;
  for (const std::string &message : bus.messages()) listing += message + "\n";
  EXPECT_EQ(listing, "");
}

// A loop that does not come back in time: the request is refused instead of
// waiting on, and a write waits in order for the loop to return.
TEST_F(WithEngineLoop, ABlockedLoopRefusesInsteadOfHanging) {
  gconftool_set(kKey, "before");
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
