// Faults of the wire and of the gateway, through the plug-in, libcurl and
// gateway-sim: each ends with exactly one notification carrying the status
// the transport saw and no record (or the gateway's error number), and the
// next request is served. The photo upload: the add-photo request, then the
// file in chunks sent from the transport's callback, and one notification at
// the very end. And two engine instances at once.
#include <chrono>
#include <iterator>
#include <map>
#include <sstream>
#include <set>
#include <thread>

#include "e2e_fixture.h"
#include "support/golden.h"

namespace pd_test {
namespace {

// One simulator for every fault of tests/data/e2e/control-faults.txt, each
// set on the friends path through the control port and cleared after: one
// notification each, and a request on another path is served meanwhile.
TEST_F(EndToEnd, EachFaultOfTheControlPortEndsInOneNotification) {
  start();
  login();
  for (const std::string &line : data_lines("e2e/control-faults.txt")) {
    SCOPED_TRACE(line);
    std::istringstream words(line);
    std::string fields, result;
    uint32_t status = 0;
    int at_least_ms = 0;
    words >> fields >> status >> result >> at_least_ms;
    std::vector<std::string> environment{std::istream_iterator<std::string>(words), {}};
    for (const std::string &variable : environment)
      setenv(variable.substr(0, variable.find('=')).c_str(), variable.substr(variable.find('=') + 1).c_str(), 1);
    if (!environment.empty()) reopen();
    ASSERT_TRUE(sim_.fault("path=/palisade/friend/grouping&" + fields));
    auto begun = std::chrono::steady_clock::now();
    pd_notification friends = exchange(PD_REQ_FRIENDS, static_cast<void *>(nullptr));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(at_least_ms));
    if (result == "list")
      EXPECT_TRUE(matches_golden("e2e/tour/02-friends.dump", describe(friends, masks_)));
    else
      EXPECT_EQ(std::make_pair(friends.uHttpStatus, friends.iResult), std::make_pair(status, static_cast<intptr_t>(std::stoll(result))));
    pd_notification albums = exchange(PD_REQ_ALBUM_LIST, static_cast<void *>(nullptr));
    EXPECT_TRUE(matches_golden("e2e/tour/13-album-list.dump", describe(albums, masks_)));
    ASSERT_TRUE(sim_.clear_faults());
    for (const std::string &variable : environment) unsetenv(variable.substr(0, variable.find('=')).c_str());
    if (!environment.empty()) reopen();
  }
}

class PhotoUpload : public EndToEnd {
 protected:
  // Uploads the file written as `name` to Ann's album "al4".
  pd_notification upload(const std::string &name) {
    return exchange(PD_REQ_UPLOAD_PHOTO, std::vector<const char *>{path_of(name).c_str(), "al4"});
  }
};

// Sizes around the chunk boundaries (and 5 MB, not a multiple of 64 KiB,
// without a fault), without a fault and with one at each step of the
// exchange (the add-photo request, the first, a middle and the last chunk)
// of each kind: one notification each, with the documented result, from one
// simulator whose faults are set through its control port. Without a fault
// the add-photo request and the chunks, in order with their Content-Range,
// are those of tests/data/e2e/upload/whole.requests.
TEST_F(PhotoUpload, AFaultAtAnyStepEndsTheExchangeWithOneNotification) {
  struct Fault {
    std::string effect;  // control fields
    uint32_t status;     // of the notification
  };
  // A dropped request may be sent once more on a new connection by libcurl,
  // and is dropped again; the timeout waits for none.
  const Fault kFaults[] = {{"", 200}, {"status=500&count=1", 500}, {"malformed&count=1", 200}, {"drop", 0},
                           {"delay=1000&count=1", 0}};
  start();
  login();
  std::string whole;
  size_t seen = requests().size();  // of the requests the uploads without a fault made
  for (const auto &[effect, status] : kFaults) {
    if (effect.rfind("delay", 0) == 0) {
      setenv("SNS_NT_TIMEOUT_MS", "300", 1);
      reopen();
    }
    std::vector<size_t> sizes = {0, 1, 65535, 65536, 65537, 200000, 1 << 20};
    if (effect.empty()) sizes.push_back(5000000);
    for (size_t size : sizes) {
      std::string name = std::to_string(size) + ".jpg", file = photo(name, size);
      size_t chunks = std::max<size_t>(1, (size + PD_UPLOAD_CHUNK_SIZE - 1) / PD_UPLOAD_CHUNK_SIZE);
      // Step 0: the add-photo request.
      for (size_t step : effect.empty() ? std::set<size_t>{0} : std::set<size_t>{0, 1, (chunks + 1) / 2, chunks}) {
        SCOPED_TRACE(effect + " at step " + std::to_string(step) + " of a file of " + std::to_string(size) + " bytes");
        ASSERT_TRUE(sim_.clear_faults());
        std::string where = step == 0 ? "path=/palisade/photo" : "path=/upload/*&skip=" + std::to_string(step - 1);
        ASSERT_TRUE(effect.empty() || sim_.fault(where + "&" + effect));
        long long before = sim_.counter("requests");
        pd_notification done = upload(name);
        long long sent = sim_.counter("requests") - before;
        EXPECT_EQ(done.uHttpStatus, status);
        // The answers to chunks before the last are not read: a malformed
        // one there does not stop the upload.
        if (effect.empty() || (effect == "malformed&count=1" && step != 0 && step != chunks)) {
          EXPECT_EQ(sent, static_cast<long long>(1 + chunks));
          ASSERT_GT(done.iResult, 0);
          const auto *record = reinterpret_cast<const xml_photo *>(done.iResult);
          EXPECT_STREQ(record->pszStatus, "done");
          EXPECT_EQ(sim_.fetch(std::string("/media/") + record->pszID), file);
          std::vector<RecordedRequest> recorded = effect.empty() ? requests() : std::vector<RecordedRequest>{};
          for (; seen < recorded.size(); ++seen) whole += describe(recorded[seen], masks_) + "\n";
          continue;
        }
        EXPECT_EQ(done.iResult, 0);
        EXPECT_GE(sent, static_cast<long long>(1 + step)) << "the exchange went on past the fault";
        EXPECT_LE(sent, static_cast<long long>(1 + step + (effect == "drop"))) << "the exchange went on past the fault";
      }
    }
  }
  EXPECT_TRUE(matches_golden("e2e/upload/whole.requests", whole));
}

// The engine finalizes its instance while a chunk is on the wire: no
// notification comes, and nothing of the upload is left behind (the
// sanitizer build's LeakSanitizer sees the process end).
TEST_F(PhotoUpload, FinalizeWhileAChunkIsOnTheWire) {
  start({"--delay-ms", "1000", "--fault-path", "/upload/*"});
  login();
  photo("photo.jpg", 300000);
  ASSERT_EQ(engine_.send(PD_REQ_UPLOAD_PHOTO, std::vector<const char *>{path_of("photo.jpg").c_str(), "al4"}), PD_OK);
  auto chunk_sent = [&] {
    std::vector<RecordedRequest> sent = requests();
    return std::any_of(sent.begin(), sent.end(), [](auto &request) { return request.path().rfind("/upload/", 0) == 0; });
  };
  for (int waited = 0; waited < 1000 && !chunk_sent(); ++waited)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_TRUE(chunk_sent());
  engine_.close();
  EXPECT_EQ(engine_.count(), 1u);  // the login's
}

// Two engine instances in one process: each has its own transport, so
// replies arrive on two callback threads at once, and yet every reply is
// parsed as if it were the only one. Each instance fetches the feed in
// rounds of a few requests at once, so that replies keep arriving on both
// callback threads without queueing at the simulator.
constexpr size_t kRounds = 40, kAtOnce = 4, kFetches = kRounds * kAtOnce;

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
  expect_sent_elsewhere(kFetches);

  std::vector<pd_notification> got = engine_.notifications(), got_there = other.notifications();
  got.erase(got.begin(), got.begin() + static_cast<std::ptrdiff_t>(before));
  ASSERT_EQ(got.size(), kFetches);
  ASSERT_EQ(got_there.size(), kFetches);
  got.insert(got.end(), got_there.begin(), got_there.end());
  std::map<std::string, size_t> dumps;  // how many times each record came
  for (const pd_notification &notification : got) ++dumps[describe(notification, masks_)];
  EXPECT_EQ(dumps, (std::map<std::string, size_t>{{alone, got.size()}}));
}

}  // namespace
}  // namespace pd_test
