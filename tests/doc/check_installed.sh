#!/bin/sh
# What an integrator gets from cmake --install: manual pages readable with
# man -l without a formatting warning and naming every option and command
# that the programs' --help lists (so pages and programs cannot drift apart),
# and the README's example engine, built against the prefix through
# pkg-config, which starts with the plug-in's folder (pd-plugin.pc's
# plugindir) on its library path or in its rpath and not without.
#   check_installed.sh BUILD_DIR SOURCE_DIR PDCTL GATEWAY_SIM C_COMPILER [FLAGS...]
set -u
build=$1
source=$2
pdctl=$3
gateway_sim=$4
compiler=$5
shift 5
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
status=0
fail() {
  echo "$*"
  status=1
}

cmake --install "$build" --prefix "$prefix" >/dev/null || exit 1
for page in man3/pd-plugin.3 man1/pdctl.1 man1/gateway-sim.1; do
  file=$prefix/share/man/$page
  if [ ! -f "$file" ]; then
    fail "not installed: share/man/$page"
    continue
  fi
  # man formats only for a reader: its output must go to a pipe.
  warnings=$( (MANWIDTH=80 man --warnings=w -l "$file" | cat >/dev/null) 2>&1)
  [ -z "$warnings" ] || fail "$page: $warnings"
  MANWIDTH=80 man -l "$file" 2>/dev/null | grep -q '^NAME' || fail "$page: man -l shows no NAME section"
done

# The words a page names, with its escaped hyphens as typed.
page_text() { sed 's/\\-/-/g' "$prefix/share/man/man1/$1"; }
# The long options a --help text lists.
options_of() { grep -oE '(^|[ ,])--[a-z][a-z0-9-]*' | sed 's/^[ ,]//' | sort -u; }
check_options() {
  page=$1
  shift
  text=$(page_text "$page")
  for option in $("$@" --help | options_of); do
    printf '%s\n' "$text" | grep -q -- "$option" || fail "$page: $* --help lists $option, the page does not"
  done
}

check_options gateway-sim.1 "$gateway_sim"
check_options pdctl.1 "$pdctl"
commands=$("$pdctl" --help | sed -n '/^Subcommands:/,/^$/p' | awk 'NR > 1 && NF { print $1 }')
[ -n "$commands" ] || fail "pdctl --help lists no commands"
for command in $commands; do
  page_text pdctl.1 | grep -qE "^\.(B|BR|BI|TP) +$command( |$)|^\.B $command " ||
    fail "pdctl.1: pdctl --help lists the command $command, the page does not"
  check_options pdctl.1 "$pdctl" "$command"
done

# The example engine: nothing listens where the transport is sent, so a login
# gets no answer, which the engine reports once the whole path has run.
pcdir=$(dirname "$(find "$prefix" -name pd-plugin.pc | head -n 1)")
libdir=$(PKG_CONFIG_PATH=$pcdir pkg-config --variable=plugindir pd-plugin)
flags=$(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs pd-plugin)
"$compiler" "$@" "$source/doc/engine.c" -o "$prefix/engine" $flags || fail "doc/engine.c does not build"
"$compiler" "$@" "$source/doc/engine.c" -o "$prefix/engine-rpath" $flags -Wl,-rpath,"$libdir" ||
  fail "doc/engine.c does not build with an rpath"
export PD_PLUGIN_LOG=none ASAN_OPTIONS=detect_leaks=0
export SNS_NT_CONNECT_TO=gateway.palisade.example:443:127.0.0.1:1
"$prefix/engine" user password >/dev/null 2>&1 && fail "the engine started without its library path"
for run in "env LD_LIBRARY_PATH=$libdir $prefix/engine" "$prefix/engine-rpath"; do
  said=$($run ann@palisade.example 'a&b' 2>/dev/null)
  [ "$said" = "no answer (HTTP status 0)" ] || fail "$run: said \"$said\""
done
[ $status -eq 0 ] && echo "manual pages installed, readable and complete; the example engine runs"
exit $status
