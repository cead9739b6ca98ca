// What lasts between processes: a login in one process, and the next
// process finds the session key in GConf (the same private D-Bus session)
// and is served with it; a logout in a third ends it for the fourth.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "conversation.h"
#include "pd-plugin/pd_settings.h"
#include "support/gateway_sim.h"
#include "support/golden.h"

extern char **environ;

namespace pd_test {
namespace {

// The standard output of one run of e2e_engine_step, or a note of how it
// failed.
std::string run_step(std::vector<std::string> args) {
  args.insert(args.begin(), PD_E2E_ENGINE_STEP);
  std::vector<char *> argv;
  for (std::string &arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  int out[2];
  if (pipe(out) != 0) return "no pipe";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  pid_t pid = 0;
  int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<size_t>(n));
  close(out[0]);
  if (spawned != 0) return "not started";
  int status = 0;
  waitpid(pid, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) text += "[exit status " + std::to_string(status) + "]";
  return text;
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
