#!/usr/bin/env bash
# The project's test command: installs what is missing, then builds and runs
# every test three times (a normal build with warnings as errors, an
# AddressSanitizer + UndefinedBehaviorSanitizer build and a ThreadSanitizer
# build), builds and lints the amd64 Debian packages, runs each fuzz target
# for a bounded time, and checks that the benchmarks build.
#
#   scripts/test.sh --arch armhf
#
# is the device's stage instead: the armhf cross build with warnings as
# errors, every test under qemu-arm, and the armhf Debian packages.
#
#   PD_FUZZ_SECONDS   seconds per fuzz target (default 60; 0 skips fuzzing)
#   PD_JOBS           parallel jobs (default: the number of cores)
set -euo pipefail
cd "$(dirname "$0")/.."

arch=
case "${1:-}" in
  "") ;;
  --arch)
    arch=${2:-}
    [ "$arch" = armhf ] || { echo "test.sh: unknown architecture '${arch}' (known: armhf)" >&2; exit 2; } ;;
  *) echo "usage: $0 [--arch armhf]" >&2; exit 2 ;;
esac

scripts/bootstrap.sh ${arch:+--arch "$arch"}
jobs=${PD_JOBS:-$(nproc)}
fuzz_seconds=${PD_FUZZ_SECONDS:-60}

step() { printf '\n==== %s\n' "$*"; }

# Compiler cache: the builds below share most objects' inputs, and a later run
# on the same machine starts warm. Paths are made relative to the checkout so
# clones elsewhere hit the same entries.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

run_build() {
  local dir=$1; shift
  cmake -S . -B "$dir" -DPD_WERROR=ON "${launcher[@]}" "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 300
}

if [ "$arch" = armhf ]; then
  # Built and run in the armhf build root (scripts/armhf-root.sh): the
  # tests through the emulator that the toolchain file names, the programs
  # they start through binfmt_misc, the D-Bus and GConf daemons native.
  in_root() { scripts/armhf-root.sh run "$@"; }
  step "armhf cross build"
  in_root cmake -S . -B build/armhf -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-linux-gnueabihf.cmake \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPD_WERROR=ON "${launcher[@]}" >/dev/null
  in_root cmake --build build/armhf -j "$jobs"
  if ! file -b build/armhf/src/libpd-plugin.so | grep -q '^ELF 32-bit LSB shared object, ARM'; then
    echo "build/armhf/src/libpd-plugin.so is not a 32-bit ARM library: $(file -b build/armhf/src/libpd-plugin.so)" >&2
    exit 1
  fi
  step "every test under qemu-arm"
  in_root ctest --test-dir build/armhf -j "$jobs" --output-on-failure --timeout 300
  step "armhf Debian packages"
  scripts/build-packages.sh --arch armhf
  step "all armhf tests passed"
  exit 0
fi

step "normal build and tests"
run_build build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPD_BUILD_BENCH=ON

step "amd64 Debian packages"
scripts/build-packages.sh

step "AddressSanitizer + UndefinedBehaviorSanitizer build and tests"
run_build build/sanitize -DCMAKE_BUILD_TYPE=Debug -DPD_SANITIZE=ON

# Two engine instances parse on two transport threads, and every upload
# step runs on a transport thread: every test again, under ThreadSanitizer
# (suppressions, for uninstrumented Debian libraries only, in tests/tsan.supp).
step "ThreadSanitizer build and tests"
run_build build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPD_SANITIZE_THREAD=ON

if [ "$fuzz_seconds" -gt 0 ] && [ -f fuzz/CMakeLists.txt ]; then
  step "fuzz targets, ${fuzz_seconds}s each"
  CC=clang CXX=clang++ cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DPD_WERROR=ON "${launcher[@]}" -DPD_BUILD_FUZZ=ON -DPD_BUILD_TESTS=OFF -DPD_BUILD_TOOLS=OFF >/dev/null
  cmake --build build/fuzz -j "$jobs"
  # Each run starts from the seeds of the golden files and the corpus kept in
  # fuzz/corpus/ (where the last long run ended); what it finds new goes to
  # build/fuzz/corpus/, never into the repository, and so does a crashing
  # input (build/fuzz/artifacts/).
  rm -rf build/fuzz/seeds
  fuzz/make-seeds.sh build/fuzz/seeds
  mkdir -p build/fuzz/artifacts
  for target in build/fuzz/fuzz/fuzz_*; do
    [ -x "$target" ] || continue
    name=$(basename "$target")
    corpus=build/fuzz/corpus/$name
    mkdir -p "$corpus"
    kept=fuzz/corpus/$name
    [ -d "$kept" ] || kept=
    echo "-- $name"
    LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp PD_PLUGIN_LOG=none \
      "$target" -max_total_time="$fuzz_seconds" -print_final_stats=1 \
      -artifact_prefix=build/fuzz/artifacts/"$name"- "$corpus" $kept \
      build/fuzz/seeds/"$name" 2>&1 |
      grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|==|SUMMARY|INFO: Running)' || true
    test "${PIPESTATUS[0]}" -eq 0
  done
fi

step "all tests passed"
