// What lasts between processes: a login in one process, and the next
// process finds the session key in GConf (the same private D-Bus session)
// and is served with it; a logout in a third ends it for the fourth.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "conversation.h"
#include "pd-plugin/pd_settings.h"
#include "support/gateway_sim.h"
#include "support/golden.h"

namespace pd_test {
namespace {

// The standard output of one run of e2e_engine_step, and how it ended when
// not well.
std::string run_step(std::vector<std::string> args) {
  args.insert(args.begin(), PD_E2E_ENGINE_STEP);
  Outcome step = run_program(args);
  return step.out + (step.status != 0 ? "[exit status " + std::to_string(step.status) + "]" : "");
}

TEST(Session, ALoginServesTheNextProcessUntilALogout) {
  GatewaySim sim;
  std::string error;
  ASSERT_TRUE(sim.start({}, &error)) << error;
  sim.export_environment();

  EXPECT_EQ(run_step({"login", "ann@palisade.example", "harbour-lights"}),
            "sendreq 0\n" + read_data("e2e/tour/01-login.dump"));
  EXPECT_EQ(run_step({"friends"}), "sendreq 0\n" + read_data("e2e/tour/02-friends.dump"));

  // The second process sent the key that the first one was given.
  ASSERT_EQ(sns_gconf_init(), 1);
  std::string key = stored_setting(PD_SETTING_SESSION_KEY);
  ASSERT_EQ(key.size(), 32u);
  std::vector<RecordedRequest> sent;
  ASSERT_TRUE(sim.requests(&sent, &error)) << error;
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].path, "/palisade/auth");
  EXPECT_EQ(sent[1].path, "/palisade/friend/grouping");
  EXPECT_NE(sent[1].body.find("SessionKey=\"" + key + "\""), std::string::npos)
      << sent[1].body;

  EXPECT_EQ(run_step({"logout"}), "sendreq 0\n" + read_data("e2e/tour/20-logout.dump"));
  EXPECT_EQ(run_step({"friends"}), "sendreq 3\n");
  sent.clear();
  ASSERT_TRUE(sim.requests(&sent, &error)) << error;
  ASSERT_EQ(sent.size(), 3u);  // the log-out's request, and nothing after it
  EXPECT_NE(sent[2].body.find("Method=\"logout\""), std::string::npos);
  EXPECT_EQ(sim.stop(), 0);
}

}  // namespace
}  // namespace pd_test
