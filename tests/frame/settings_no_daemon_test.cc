// Settings with no GConf daemon reachable: documented results, no crash.
#include <cstdio>
#include <cstdlib>

#include "pd-plugin/pd_settings.h"

int main() {
  char home[] = "/tmp/pd-nodaemon.XXXXXX";
  if (mkdtemp(home) == nullptr) return 2;
  setenv("HOME", home, 1);
  int init = sns_gconf_init();
  int set = sns_gconf_set_string(1, "abc");
  char buffer[32] = "untouched";
  int get = sns_gconf_get_string(1, buffer);
  std::printf("init=%d set=%d get=%d buffer=%s\n", init, set, get, buffer);
  return 0;
}
