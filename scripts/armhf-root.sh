#!/usr/bin/env bash
# The armhf build root: a Debian system of the host's release and
# architecture with armhf added as a foreign architecture, where the phone's
# build is cross-compiled and its programs run under qemu-arm.
#
#   scripts/armhf-root.sh setup          make or update it (idempotent)
#   scripts/armhf-root.sh run CMD ARG... run CMD in it, in this checkout
#
# Why a root of its own: GConf's development package (libgconf2-dev, and
# gir1.2-gconf-2.0 with it) is not Multi-Arch: same, so its armhf copy cannot
# be installed beside the amd64 one that the host's own builds need. The
# root holds the armhf copy only, which is how Debian cross-builds (sbuild
# does the same), and dpkg-buildpackage -aarmhf checks its build
# dependencies and computes the packages' dependencies there as usual.
#
# Its packages are debian/control's Build-Depends for armhf (apt-get
# build-dep), plus the cross compilers and ccache below; a new library of the
# project goes into debian/control. The D-Bus and GConf daemons in it are
# native; only the project's own programs are emulated.
#
#   PD_ARMHF_ROOT      where the root lives (default /var/cache/pd-plugin/armhf-root)
#   PD_DEBIAN_MIRROR   Debian mirror (default: the host's, else deb.debian.org)
set -euo pipefail

if [ "$(id -u)" -ne 0 ]; then
  exec sudo --preserve-env "$0" "$@"
fi

here=$(cd "$(dirname "$0")/.." && pwd)
root=${PD_ARMHF_ROOT:-/var/cache/pd-plugin/armhf-root}
# Beyond the Build-Depends: the cross compilers, and what the tests run
# natively that a cross build's Build-Depends cannot name (python3-jsonschema
# is Architecture: all without Multi-Arch: foreign, so apt would look for an
# armhf copy).
extra_packages=(crossbuild-essential-armhf ccache ca-certificates file python3-jsonschema)
emulator=/usr/bin/qemu-arm-static

die() { echo "armhf-root: $*" >&2; exit 1; }

# The kernel hands every ARM ELF file to qemu-arm, so emulated programs can
# start each other (tests start gateway-sim, pdctl and engine steps). The
# registration fixes the emulator binary at once (flag F), so it also serves
# programs inside the build root.
enable_emulator() {
  [ -x "$emulator" ] ||
    die "$emulator is missing: install qemu-user-static (scripts/bootstrap.sh --arch armhf)"
  local misc=/proc/sys/fs/binfmt_misc
  if [ ! -e "$misc/register" ]; then
    mount -t binfmt_misc binfmt_misc "$misc" ||
      die "cannot mount binfmt_misc at $misc; ARM programs cannot start each other"
  fi
  if [ ! -e "$misc/qemu-arm" ]; then
    local rule=/usr/lib/binfmt.d/qemu-arm.conf
    [ -f "$rule" ] || die "$rule is missing: reinstall qemu-user-static"
    tr -d '\n' < "$rule" > "$misc/register" ||
      die "cannot register qemu-arm with binfmt_misc"
  fi
  [ "$(head -n 1 "$misc/qemu-arm")" = enabled ] || echo 1 > "$misc/qemu-arm"
}

host_mirror() {
  if [ -n "${PD_DEBIAN_MIRROR:-}" ]; then
    echo "$PD_DEBIAN_MIRROR"
    return
  fi
  local found
  found=$(cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list \
              /etc/apt/sources.list.d/*.sources 2>/dev/null |
            grep -o -E 'https?://[^ ]*/debian/?( |$)' | head -n 1 | tr -d ' ' || true)
  echo "${found:-http://deb.debian.org/debian}"
}

# Runs a command in the root, in this checkout (mounted at the same path so
# every path CMake records holds inside and out), in a mount namespace of its
# own: the mounts vanish with the command, and concurrent runs from several
# checkouts do not meet. Only the variables named here pass into the root.
in_root() {
  local passed=(PATH=/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8
                DEBIAN_FRONTEND=noninteractive)
  local name cwd=$PWD
  case "$cwd" in "$here" | "$here"/*) ;; *) cwd=$here ;; esac
  for name in PD_JOBS PD_UPDATE_GOLDEN PD_FUZZ_SECONDS CCACHE_BASEDIR CCACHE_NOHASHDIR TERM CI \
              DEB_BUILD_OPTIONS DEB_BUILD_PROFILES CMAKE_C_COMPILER_LAUNCHER \
              CMAKE_CXX_COMPILER_LAUNCHER; do
    if [ -n "${!name+x}" ]; then passed+=("$name=${!name}"); fi
  done
  unshare --mount --propagation private -- bash -c '
    set -e
    root=$1 here=$2 emulator=$3 cwd=$4 count=$5
    shift 5
    vars=("${@:1:count}")
    shift "$count"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount -t tmpfs tmpfs "$root/tmp"
    mkdir -p "$root$here" "$root/usr/local/bin"
    mount --bind "$here" "$root$here"
    touch "$root/usr/local/bin/qemu-arm-static"
    mount --bind "$emulator" "$root/usr/local/bin/qemu-arm-static"
    exec chroot "$root" env -i "${vars[@]}" sh -c '"'"'cd "$0" && exec "$@"'"'"' "$cwd" "$@"
   ' in-root "$root" "$here" "$emulator" "$cwd" "${#passed[@]}" "${passed[@]}" "$@"
}

# A mirror in mid-sync fails apt-get update on an index or two although the
# lists needed may be fine: the install decides, and is retried with fresh
# lists.
apt_in_root() {
  local try
  for try in 1 2 3; do
    in_root apt-get update -qq || true
    if in_root apt-get "$@"; then
      return 0
    fi
    echo "armhf-root: apt-get $1 failed (try $try of 3)" >&2
    sleep $((try * 10))
  done
  return 1
}

# The packages the root must hold change only with debian/control and the
# list above; the stamp lets a repeated setup cost nothing.
wanted_stamp() {
  { cat "$here/debian/control"; echo "${extra_packages[*]}"; } | sha256sum | cut -d' ' -f1
}

setup() {
  enable_emulator
  mkdir -p "$(dirname "$root")"
  exec 9>"$root.lock"
  flock 9
  if [ ! -f "$root/.pd-base" ]; then
    local codename mirror
    codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(host_mirror)
    echo "armhf-root: laying out $codename (amd64) from $mirror in $root" >&2
    rm -rf "$root"
    debootstrap --variant=minbase --arch=amd64 "$codename" "$root" "$mirror" >/dev/null ||
      die "debootstrap failed"
    local security=${mirror%/debian*}/debian-security
    case "$mirror" in *deb.debian.org*) security=http://deb.debian.org/debian-security ;; esac
    cat > "$root/etc/apt/sources.list" <<EOF
deb $mirror $codename main
deb $mirror $codename-updates main
deb $security $codename-security main
EOF
    in_root dpkg --add-architecture armhf
    touch "$root/.pd-base"
  fi
  cp /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true

  local stamp
  stamp=$(wanted_stamp)
  if [ "$(cat "$root/.pd-packages" 2>/dev/null)" != "$stamp" ]; then
    echo "armhf-root: installing the build dependencies for armhf" >&2
    rm -rf "$root/var/tmp/pd-deps" && mkdir -p "$root/var/tmp/pd-deps/debian"
    cp "$here/debian/control" "$here/debian/changelog" "$root/var/tmp/pd-deps/debian/"
    apt_in_root install -y -qq --no-install-recommends "${extra_packages[@]}" >/dev/null ||
      die "cannot install ${extra_packages[*]} in the build root"
    apt_in_root build-dep -y -qq --host-architecture armhf --build-profiles cross \
      /var/tmp/pd-deps >/dev/null ||
      die "cannot install debian/control's Build-Depends for armhf in the build root"
    echo "$stamp" > "$root/.pd-packages"
  fi

  # The root's C library for ARM must start under the emulator.
  in_root /lib/ld-linux-armhf.so.3 --version >/dev/null 2>&1 ||
    die "ARM programs do not start in $root: qemu-arm is not working (see $emulator and /proc/sys/fs/binfmt_misc/qemu-arm)"
}

run() {
  [ $# -gt 0 ] || die "run needs a command"
  [ -f "$root/.pd-packages" ] || die "no build root at $root: run scripts/bootstrap.sh --arch armhf"
  enable_emulator
  in_root "$@"
}

case "${1:-}" in
  setup) setup ;;
  run) shift; run "$@" ;;
  *) echo "usage: $0 setup | run COMMAND [ARG...]" >&2; exit 2 ;;
esac
