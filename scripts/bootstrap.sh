#!/usr/bin/env bash
# Installs every Debian 12 package the project needs to build, test, fuzz,
# benchmark, package and run its demonstration. Idempotent: packages already
# present are left alone, so a second run costs one dpkg query.
#
#   scripts/bootstrap.sh --arch armhf
#
# also readies the device's architecture: the ARM emulator, registered with
# the kernel, and the armhf build root (scripts/armhf-root.sh), whose
# packages are the Build-Depends of debian/control.
set -euo pipefail

arch=
case "${1:-}" in
  "") ;;
  --arch)
    arch=${2:-}
    if [ "$arch" != armhf ]; then
      echo "bootstrap: unknown architecture '${arch}' (known: armhf)" >&2
      exit 2
    fi ;;
  *) echo "usage: $0 [--arch armhf]" >&2; exit 2 ;;
esac

packages=(
  # toolchain
  build-essential cmake pkg-config clang libclang-rt-14-dev git ccache
  # the plug-in
  libxml2-dev libgconf2-dev gconf2 dbus
  # the host transport, the simulator, the command-line tool
  libcurl4-openssl-dev libssl-dev openssl libmicrohttpd-dev libgnutls28-dev libcli11-dev nlohmann-json3-dev
  # tests and benchmarks (pdctl's JSON against its schema, the manual pages
  # read with man -l)
  libgtest-dev libgmock-dev libbenchmark-dev python3-jsonschema man-db
  # coverage measurements (scripts/coverage.sh)
  gcovr
  # the demonstration makes a real JPEG on the fly
  libjpeg-turbo-progs
  # scripts
  curl ca-certificates procps
  # the pinned ABI, Debian packages
  abigail-tools dpkg-dev debhelper lintian file
)
if [ "$arch" = armhf ]; then
  # User-mode emulation of 32-bit ARM, and the tool that lays out the build root.
  packages+=(qemu-user-static debootstrap util-linux)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q '^install ok installed$'; then
    missing+=("$p")
  fi
done

ready_armhf() {
  if [ "$arch" = armhf ]; then
    exec "$(dirname "$0")/armhf-root.sh" setup
  fi
}

if [ "${#missing[@]}" -eq 0 ]; then
  ready_armhf
  exit 0
fi

echo "bootstrap: installing ${missing[*]}" >&2
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive

# A mirror in the middle of a sync serves index files of the wrong size, and
# apt-get update then fails although every list it needs may be fine. Retry a
# few times, and let the install itself decide whether what is there will do.
update_lists() {
  local try
  for try in 1 2 3; do
    if $sudo apt-get update -qq; then
      return 0
    fi
    echo "bootstrap: apt-get update failed (try $try of 3)" >&2
    sleep $((try * 5))
  done
  return 1
}

install_missing() {
  $sudo apt-get install -y -qq --no-install-recommends "$@" >/dev/null
}

update_lists || true
if ! install_missing "${missing[@]}"; then
  echo "bootstrap: install failed; refreshing the package lists once more" >&2
  sleep 20
  update_lists || true
  install_missing "${missing[@]}"
fi
ready_armhf
