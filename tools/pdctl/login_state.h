// The login state as the plug-in keeps it: the session key in GConf, read
// back the way any other program of the phone reads it, so that pdctl can
// tell whether a login was kept and whether a failed request dropped it.
#ifndef PDCTL_LOGIN_STATE_H
#define PDCTL_LOGIN_STATE_H

#include <optional>
#include <string>

namespace pdctl {

// GConf's own warnings (a missing D-Bus session, five lines each time it is
// asked) are left out; pdctl says what they mean once.
void quiet_gconf_warnings();

// The stored session key ("" when there is none), or nothing, with GConf's
// reason in `why`, when the settings store cannot be reached.
std::optional<std::string> stored_session_key(std::string *why);

}  // namespace pdctl

#endif
