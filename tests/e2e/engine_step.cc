// One step of an engine in a process of its own, for the tests of what
// lasts between processes (the keys in GConf):
//   e2e_engine_step login USER PASSWORD | friends | logout
// sends the request through a fresh plug-in instance and prints
// "sendreq <result>" and, when it was sent, its notification as the golden
// files show it. Exits 1 when no notification came.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "conversation.h"
#include "pd-plugin/pd_settings.h"
#include "support/plugin_engine.h"

int main(int argc, char **argv) {
  // Only the step's own lines on standard output.
  setenv("PD_PLUGIN_LOG", "none", 1);
  std::string command = argc > 1 ? argv[1] : "";
  pd_test::PluginEngine engine;
  if (!engine.open()) return 2;
  int sent = 0;
  if (command == "login" && argc == 4)
    sent = engine.send(PD_REQ_LOGIN, std::vector<const char *>{argv[2], argv[3]});
  else if (command == "friends")
    sent = engine.send(PD_REQ_FRIENDS, static_cast<void *>(nullptr));
  else if (command == "logout")
    sent = engine.send(PD_REQ_LOGOUT, static_cast<void *>(nullptr));
  else
    return 2;
  std::printf("sendreq %d\n", sent);
  if (sent != PD_OK) return 0;
  if (!engine.wait_for(1)) return 1;
  pd_test::Masks masks;
  masks.add(pd_test::stored_setting(PD_SETTING_SESSION_KEY), "<session-key>");
  masks.add(pd_test::stored_setting(PD_SETTING_PERSIST_KEY), "<persist-key>");
  engine.close();
  for (const pd_notification &notification : engine.notifications())
    std::fputs(pd_test::describe(notification, masks).c_str(), stdout);
  return 0;
}
