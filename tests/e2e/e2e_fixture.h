// One test's world: gateway-sim on free loopback ports, the transport
// pointed at it through the environment, and the real plug-in driven
// through its entry points by an engine stand-in. Every exchange expects
// exactly one notification; after the instance is finalized the count must
// be exactly the number expected, and nothing may arrive later.
#ifndef PD_TESTS_E2E_E2E_FIXTURE_H
#define PD_TESTS_E2E_E2E_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "conversation.h"
#include "pd-plugin/pd_records.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"
#include "support/gateway_sim.h"
#include "support/plugin_engine.h"

namespace pd_test {

// A person of the simulator's seed.
inline const char *const kAnn[] = {"ann@palisade.example", "harbour-lights"};

class EndToEnd : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/pd-e2e.XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }

  void TearDown() override {
    engine_.close();
    EXPECT_EQ(engine_.count(), expected_) << "notifications other than one per exchange";
    EXPECT_EQ(PluginEngine::stray(), 0u) << "a notification came after pd_finalize";
    engine_.release_all();
    EXPECT_EQ(sim_.stop(), 0) << "gateway-sim did not end cleanly";
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // Starts gateway-sim with `switches` (in place of one that must end
  // cleanly), points the transport at it and opens a plug-in instance, which
  // reads the transport's environment now.
  void start(const std::vector<std::string> &switches = {}) {
    engine_.close();
    ASSERT_EQ(sim_.stop(), 0) << "gateway-sim did not end cleanly";
    sim_.start(switches);
    sim_.export_environment();
    reopen();
  }
  void reopen() {
    engine_.close();
    ASSERT_TRUE(engine_.open());
  }

  // Sends one request and waits for its one notification.
  template <typename Params>
  pd_notification exchange(uint32_t code, Params params) {
    size_t before = engine_.count();
    int sent = engine_.send(code, params);
    EXPECT_EQ(sent, PD_OK) << "request " << code << " was not sent";
    expected_ += sent == PD_OK;
    if (sent != PD_OK || !engine_.wait_for(before + 1)) {
      ADD_FAILURE() << "no notification for request " << code;
      pd_notification none{};
      none.uReqCode = UINT32_MAX;
      return none;
    }
    return engine_.notifications()[before];
  }

  // Notifications for `count` requests sent other than through exchange().
  void expect_sent_elsewhere(size_t count) { expected_ += count; }

  // Logs in as Ann; from here on her keys show masked.
  void login() {
    pd_notification done = exchange(PD_REQ_LOGIN, std::vector<const char *>{kAnn[0], kAnn[1]});
    ASSERT_EQ(done.uHttpStatus, 200u);
    ASSERT_GT(done.iResult, 0);
    mask_keys();
  }
  void mask_keys() {
    masks_.add(stored_setting(PD_SETTING_SESSION_KEY), "<session-key>");
    masks_.add(stored_setting(PD_SETTING_PERSIST_KEY), "<persist-key>");
  }

  // What the plug-in sent: every request recorded but the test's own
  // fetches of stored pictures.
  std::vector<RecordedRequest> requests() const {
    std::vector<RecordedRequest> sent;
    for (RecordedRequest &request : sim_.requests())
      if (!(request.method() == "GET" && request.path().rfind("/media/", 0) == 0)) sent.push_back(std::move(request));
    return sent;
  }

  // A file of `size` bytes that no two positions of a chunk repeat alike.
  std::string photo(const std::string &name, size_t size) {
    std::string bytes(size, '\0');
    uint32_t state = 2463534242u + static_cast<uint32_t>(size);
    for (char &byte : bytes) {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
      byte = static_cast<char>(state >> 24);
    }
    std::ofstream(path_of(name), std::ios::binary) << bytes;
    return bytes;
  }
  std::string path_of(const std::string &name) const { return dir_ + "/" + name; }

  GatewaySim sim_;
  PluginEngine engine_;
  Masks masks_;
  std::string dir_;

 private:
  size_t expected_ = 0;
};

}  // namespace pd_test

#endif
