#!/bin/sh
set -u
# Runs a command inside a private D-Bus session with a fresh temporary HOME,
# so GConf keeps its database in a throw-away ~/.gconf and nothing of the
# user's is read or touched. The session's GConf daemon is asked to shut
# down before the session ends, so it has finished writing when HOME goes.
# The session's bus daemon (and the GConf daemon it starts) write only
# chatter about resource limits and service activation: they are silenced.
home=$(mktemp -d "${TMPDIR:-/tmp}/pd-home.XXXXXX") || exit 1
quiet_daemon=$(dirname "$0")/quiet-dbus-daemon.sh
HOME=$home dbus-run-session --dbus-daemon="$quiet_daemon" -- \
  sh -c '"$@"; status=$?; gconftool-2 --shutdown >/dev/null 2>&1; exit $status' with-session "$@"
status=$?
rm -rf "$home"
exit $status
