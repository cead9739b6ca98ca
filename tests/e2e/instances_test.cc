// Two engine instances in one process: each has its own transport, so
// replies arrive on two callback threads at once, and yet every reply is
// parsed as if it were the only one.
#include <thread>

#include "e2e_fixture.h"

namespace pd_test {
namespace {

// Each instance fetches the feed in rounds of a few requests at once, so
// that replies keep arriving on both callback threads without queueing at
// the simulator.
constexpr size_t kRounds = 40;
constexpr size_t kAtOnce = 4;
constexpr size_t kFetches = kRounds * kAtOnce;

void fetch_feeds(PluginEngine &engine, bool *all_sent) {
  *all_sent = true;
  for (size_t round = 0; round < kRounds; ++round) {
    size_t target = engine.count() + kAtOnce;
    for (size_t i = 0; i < kAtOnce; ++i)
      *all_sent = engine.send(PD_REQ_ACTIVITY_FEED, static_cast<void *>(nullptr)) == PD_OK && *all_sent;
    if (!engine.wait_for(target)) return;
  }
}

TEST_F(EndToEnd, TwoInstancesFetchingTheFeedTogetherEachGetTheRecordFetchedAlone) {
  start();
  login();
  const std::string alone = describe(exchange(PD_REQ_ACTIVITY_FEED, static_cast<void *>(nullptr)), masks_);
  // The feed has links of every kind, so a parse that lost its links choice
  // to the other instance's shows.
  ASSERT_NE(alone.find("pstLink"), std::string::npos) << alone;

  PluginEngine other;  // logged in through the shared settings
  ASSERT_TRUE(other.open());
  size_t before = engine_.count();
  bool sent_here = false, sent_there = false;
  std::thread there(fetch_feeds, std::ref(other), &sent_there);
  fetch_feeds(engine_, &sent_here);
  there.join();
  other.close();
  EXPECT_TRUE(sent_here && sent_there);

  std::vector<pd_notification> got = engine_.notifications();
  got.erase(got.begin(), got.begin() + static_cast<std::ptrdiff_t>(before));
  std::vector<pd_notification> got_there = other.notifications();
  ASSERT_EQ(got.size(), kFetches);
  ASSERT_EQ(got_there.size(), kFetches);
  got.insert(got.end(), got_there.begin(), got_there.end());
  size_t differing = 0;
  for (const pd_notification &notification : got) {
    std::string dump = describe(notification, masks_);
    if (dump == alone) continue;
    if (differing++ == 0) {
      EXPECT_EQ(dump, alone) << "the first record that differs";
    }
  }
  EXPECT_EQ(differing, 0u) << "of " << got.size() << " records";
  expect_sent_elsewhere(kFetches);
}

}  // namespace
}  // namespace pd_test
