#!/usr/bin/env bash
# Builds the Debian packages (pd-plugin, pd-plugin-dev, pd-plugin-tools) from
# a copy of this checkout's files, without running the tests (the test
# command does that), and checks them with lintian, which must report no
# error.
#
#   scripts/build-packages.sh               the host's architecture
#   scripts/build-packages.sh --arch armhf  cross-built in the armhf build root
#
# The packages land in build/deb/<architecture>/.
set -euo pipefail
cd "$(dirname "$0")/.."

arch=$(dpkg --print-architecture)
case "${1:-}" in
  "") ;;
  --arch)
    [ "${2:-}" = armhf ] || { echo "unknown architecture '${2:-}' (known: armhf)" >&2; exit 2; }
    arch=armhf ;;
  *) echo "usage: $0 [--arch armhf]" >&2; exit 2 ;;
esac

out=build/deb/$arch
rm -rf "$out"
mkdir -p "$out/src"
# The files git knows of (committed or not, ignored ones left out): a build
# tree never ends up in the packages' source.
git ls-files -z --cached --others --exclude-standard |
  while IFS= read -r -d '' file; do [ -e "$file" ] && printf '%s\0' "$file"; done |
  tar --null -T - -cf - | tar -xf - -C "$out/src"

# The compiler cache serves a rebuild of the same checkout.
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
fi
export DEB_BUILD_OPTIONS="nocheck parallel=${PD_JOBS:-$(nproc)}"
log=$out/build.log
echo "==== dpkg-buildpackage for $arch (log: $log)"
if [ "$arch" = armhf ]; then
  build=(scripts/armhf-root.sh run sh -c "cd '$out/src' && dpkg-buildpackage -aarmhf -Pcross,nocheck -b -us -uc")
else
  build=(sh -c "cd '$out/src' && dpkg-buildpackage -Pnocheck -b -us -uc")
fi
if ! "${build[@]}" > "$log" 2>&1; then
  tail -n 60 "$log"
  echo "dpkg-buildpackage failed for $arch (whole log: $log)" >&2
  exit 1
fi

changes=$(ls "$out"/*.changes)
echo "==== lintian $changes"
lintian --fail-on error --info "$changes"
ls "$out"/*.deb
