#!/usr/bin/env bash
# Line and branch coverage of the plug-in (src/) and our transport
# (transport/) under the whole test suite, in an instrumented build of its
# own (build/coverage). A measuring tool, not a CI stage.
#
#   scripts/coverage.sh [ctest arguments...]   e.g. -LE e2e to leave out a label
set -euo pipefail
cd "$(dirname "$0")/.."
command -v gcovr >/dev/null || { echo "coverage: gcovr is missing (apt-get install gcovr)" >&2; exit 2; }

dir=build/coverage
jobs=${PD_JOBS:-$(nproc)}
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DPD_COVERAGE=ON -DPD_BUILD_BENCH=OFF >/dev/null
cmake --build "$dir" -j "$jobs" >/dev/null
find "$dir" -name '*.gcda' -delete
ctest --test-dir "$dir" -j "$jobs" --timeout 300 "$@" >"$dir/ctest.log" 2>&1 ||
  { tail -n 30 "$dir/ctest.log"; echo "coverage: tests failed (the figures below count them all the same)" >&2; }
# Branches the compiler adds for exceptions are not decisions of the code.
# Per file lines in $dir/coverage.txt; the totals of lines and branches here.
gcovr --root . --object-directory "$dir" --filter 'src/' --filter 'transport/' \
  --exclude-throw-branches --exclude-unreachable-branches --print-summary \
  --txt "$dir/coverage.txt" | grep -E '^(lines|branches):'
