#!/usr/bin/env bash
# The main job: the plug-in does its whole work against the bundled gateway
# simulator. Installs what is missing, builds pdctl and gateway-sim, makes a
# throw-away certificate, starts gateway-sim with its seed data on free
# loopback ports and takes a tour with pdctl inside a private D-Bus session
# and HOME. The simulator is stopped and every temporary file removed on the
# way out, also after a failure or Ctrl-C.
#
#   PD_JOBS   parallel build jobs (default: the number of cores)
set -euo pipefail
cd "$(dirname "$0")/.."
self=$PWD/scripts/demo.sh

bold=""
plain=""
if [ -t 1 ]; then
  bold=$(printf '\033[1m')
  plain=$(printf '\033[0m')
fi

# --- the tour, run inside the private session --------------------------------

# The command as a person would type it, quoting what needs quotes.
show() {
  local line="$" word
  for word in "$@"; do
    case $word in
      *[!A-Za-z0-9@._/:=-]*) line+=" '$word'" ;;
      *) line+=" $word" ;;
    esac
  done
  printf '%s\n' "$line"
}

heading() {
  printf '\n%s== %s%s\n' "$bold" "$1" "$plain"
  shift
  [ $# -eq 0 ] || printf '   %s\n' "$@"
}

# step EXPECTED-EXIT -- ARGS...: runs pdctl and checks how it ended.
step() {
  local expected=$1 status=0
  shift 2
  show pdctl "$@"
  "$PDCTL" "$@" || status=$?
  if [ "$status" -ne "$expected" ]; then
    echo "demo: pdctl $1 ended with exit status $status, expected $expected" >&2
    exit 1
  fi
  if [ "$expected" -ne 0 ]; then
    echo "(exit status $status, as expected)"
  fi
}

# A real JPEG of a few hundred KB, so the upload goes in several chunks: a
# colour gradient with waves and some grain, written as a plain PPM.
make_photo() {
  awk 'BEGIN {
    w = 1024; h = 768; srand(7)
    printf "P3\n%d %d\n255\n", w, h
    for (y = 0; y < h; y++) {
      line = ""
      for (x = 0; x < w; x++) {
        n = int(rand() * 48)
        b = int(128 + 70 * sin(x / 9.0) * cos(y / 7.0)) + n
        line = line (int(x * 200 / w) + n) " " (int(y * 200 / h) + n) " " (b > 255 ? 255 : b) " "
      }
      print line
    }
  }' > "$1.ppm"
  cjpeg -quality 90 "$1.ppm" > "$1"
  rm -f "$1.ppm"
}

tour() {
  # Standard error comes back as fd 3 (the session's bus daemon does not
  # get it).
  if { true >&3; } 2>/dev/null; then exec 2>&3 3>&-; fi

  heading "A wrong password: the gateway turns the login down" \
    "pdctl shows the gateway's error number and what it means; exit status 1."
  step 1 -- login ann@palisade.example not-her-password

  heading "Log in as Ann" \
    "The plug-in keeps the session key in GConf, so the next pdctl commands use it."
  step 0 -- login ann@palisade.example harbour-lights

  heading "Ann's friends"
  step 0 -- friends

  heading "Ann's news feed: what she and her friends did lately"
  step 0 -- feed

  heading "Ann sets her status"
  step 0 -- status "Drawing the 1921 tram map again"

  heading "Her new status now heads the feed" "(the first entry of the feed)"
  show pdctl feed
  local feed
  feed=$("$PDCTL" feed)
  printf '%s\n' "$feed" | sed '/^$/,$d'

  heading "Ann comments on her photo \"Fog on the pier\" (p201)"
  step 0 -- comment photo p201 "The fog came back this morning"

  heading "The comments on that photo, hers last"
  step 0 -- comments photo p201

  heading "Ann's photo albums"
  step 0 -- albums

  heading "The photos in her album \"Harbour walks\" (al1)"
  step 0 -- photos al1

  local photo=$DEMO_WORK/tram-map.jpg
  make_photo "$photo"
  heading "Ann uploads a photo into her album \"Uploads\" (al4)" \
    "A real JPEG made just now ($(stat -c %s "$photo") bytes); it goes in chunks of 64 KiB."
  step 0 -- --progress upload "$photo" al4

  heading "The album \"Uploads\" now holds it" \
    "(the plug-in always names an uploaded file junk.jpg)"
  step 0 -- photos al4

  heading "Search for people called \"Raman\""
  step 0 -- search Raman

  heading "Ann's inbox"
  step 0 -- messages inbox

  heading "Ann writes to Bram (1002)"
  step 0 -- send --to 1002 --title "Map night" --content "Shall we go together on Tuesday?" \
    --type new

  heading "Ann's outbox: the new message comes first"
  step 0 -- messages outbox

  heading "Ann logs out" "The plug-in forgets the session key."
  step 0 -- logout

  heading "Logged out, a further request is refused" \
    "The plug-in does not send it at all; exit status 4."
  step 4 -- friends

  heading "The tour is over"
}

if [ "${1:-}" = "--tour" ]; then
  tour
  exit 0
fi

# --- set-up -------------------------------------------------------------------

scripts/bootstrap.sh
jobs=${PD_JOBS:-$(nproc)}
build=build/release

work=$(mktemp -d "${TMPDIR:-/tmp}/pd-demo.XXXXXX")
sim_pid=""
cleanup() {
  if [ -n "$sim_pid" ]; then
    kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# The same build as scripts/test.sh's normal one, so the two share it.
echo "Building pdctl, the plug-in and gateway-sim in $build (log: $work/build.log)"
if ! { cmake -S . -B "$build" -DPD_WERROR=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPD_BUILD_BENCH=ON &&
       cmake --build "$build" -j "$jobs" --target pdctl gateway-sim; } > "$work/build.log" 2>&1; then
  cat "$work/build.log" >&2
  echo "demo: the build failed" >&2
  exit 1
fi

scripts/make-cert.sh "$work/certs"
"$build/tools/gateway-sim/gateway-sim" --http-port 0 --https-port 0 \
  --cert "$work/certs/server.pem" --key "$work/certs/server.key" \
  --seed tools/gateway-sim/seed.json --upload-host upload.palisade.example \
  --ready-file "$work/ready" 2> "$work/gateway-sim.log" &
sim_pid=$!
for _ in $(seq 300); do
  [ -s "$work/ready" ] && break
  if ! kill -0 "$sim_pid" 2>/dev/null; then
    cat "$work/gateway-sim.log" >&2
    echo "demo: gateway-sim did not start" >&2
    exit 1
  fi
  sleep 0.1
done
http_port=$(sed -n 's/^http_port=//p' "$work/ready")
https_port=$(sed -n 's/^https_port=//p' "$work/ready")
if [ -z "$http_port" ] || [ -z "$https_port" ]; then
  echo "demo: gateway-sim did not get ready" >&2
  exit 1
fi

# The transport sends the compiled-in gateway host (HTTPS for the login,
# HTTP otherwise) and the upload host to the simulator, and trusts its
# throw-away certificate authority.
host=$(sed -n 's/^PD_GATEWAY_HOST:STRING=//p' "$build/CMakeCache.txt")
export SNS_NT_CONNECT_TO="$host:443:127.0.0.1:$https_port,$host:80:127.0.0.1:$http_port,upload.palisade.example:80:127.0.0.1:$http_port"
export SNS_NT_CAINFO=$work/certs/ca.pem
export PDCTL=$PWD/$build/tools/pdctl/pdctl
export DEMO_WORK=$work

echo "gateway-sim is serving its seeded social network on 127.0.0.1 (HTTP port $http_port, HTTPS port $https_port)."
echo "Every pdctl below loads libpd-plugin.so, which talks to it through the libcurl transport."

# A private D-Bus session and HOME: GConf keeps the login state in a
# throw-away ~/.gconf. Its daemon is shut down before the session ends. The
# bus daemon's own chatter goes nowhere; the tour gets standard error as fd 3.
mkdir "$work/home"
HOME=$work/home dbus-run-session -- \
  bash -c '"$@"; status=$?; gconftool-2 --shutdown >/dev/null 2>&1; exit $status' \
  tour "$self" --tour 3>&2 2>/dev/null
