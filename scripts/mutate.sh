#!/usr/bin/env bash
# A small mutation check: applies each single-line mutation of
# scripts/mutations.txt to src/ in turn, rebuilds incrementally and runs the
# tests of the mutated subsystem; a mutant is killed when a test fails. It
# measures how many planted faults the tests catch. Not a CI stage: it takes
# about five minutes on two quiet cores.
#
#   scripts/mutate.sh [LIST]        default scripts/mutations.txt
#
# LIST holds blocks of three lines (blank lines and # comments between):
#   @ LABELS FILE        ctest labels to run (a regex, e.g. frame|upload), file under src/
#   - ORIGINAL           text that occurs exactly once in FILE (leading blanks ignored)
#   + REPLACEMENT        what it becomes
# The end-to-end tests are not run. Every source file is restored after each
# mutant, also on Ctrl-C.
set -euo pipefail
cd "$(dirname "$0")/.."
list=${1:-scripts/mutations.txt}
dir=build/mutate
jobs=${PD_JOBS:-$(nproc)}
log=$dir/mutate.log

cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DPD_BUILD_TOOLS=OFF >/dev/null
mkdir -p "$dir"; : >"$log"
build() { cmake --build "$dir" -j "$jobs" >>"$log" 2>&1; }
run_tests() { ctest --test-dir "$dir" -L "^($1)\$" -j "$jobs" --timeout 60 >>"$log" 2>&1; }

backup=""; target=""
restore() { if [ -n "$backup" ]; then cp "$backup" "$target"; rm -f "$backup"; backup=""; fi; }
trap restore EXIT INT TERM

echo "mutate: building and running the unmutated tests" >&2
build || { echo "mutate: the tree does not build" >&2; exit 2; }

# Reads the list into parallel arrays.
labels=(); files=(); originals=(); replacements=()
while IFS= read -r line || [ -n "$line" ]; do
  case "$line" in
    "@ "*) set -- ${line#@ }; labels+=("$1"); files+=("$2") ;;
    "- "*) originals+=("${line#- }") ;;
    "+ "*) replacements+=("${line#+ }") ;;
    ""|"#"*) ;;
    *) echo "mutate: $list: cannot read: $line" >&2; exit 2 ;;
  esac
done <"$list"
n=${#labels[@]}
if [ "${#originals[@]}" -ne "$n" ] || [ "${#replacements[@]}" -ne "$n" ]; then
  echo "mutate: $list: every @ line needs one - and one + line" >&2; exit 2
fi
for l in $(printf '%s\n' "${labels[@]}" | sort -u); do
  run_tests "$l" || { echo "mutate: tests labelled $l fail without a mutation" >&2; exit 2; }
done

killed=0; survived=0; invalid=0
for ((i = 0; i < n; i++)); do
  target=${files[i]}
  count=$(ORIG="${originals[i]}" perl -0777 -ne '$n = () = /\Q$ENV{ORIG}\E/g; print $n' "$target")
  if [ "$count" != 1 ]; then
    printf '%-9s %-34s found %s times: %s\n' invalid "$target" "$count" "${originals[i]}"
    invalid=$((invalid + 1)); continue
  fi
  backup=$(mktemp); cp -p "$target" "$backup"
  ORIG="${originals[i]}" REPL="${replacements[i]}" perl -0777 -pi -e 's/\Q$ENV{ORIG}\E/$ENV{REPL}/' "$target"
  echo "== mutant $((i + 1)): ${files[i]}: ${replacements[i]}" >>"$log"
  if ! build; then
    verdict=invalid; invalid=$((invalid + 1))   # does not compile: not a mutant
  elif run_tests "${labels[i]}"; then
    verdict=SURVIVED; survived=$((survived + 1))
  else
    verdict=killed; killed=$((killed + 1))
  fi
  restore
  printf '%-9s %-34s %s\n' "$verdict" "${files[i]}" "${replacements[i]}"
done
build || true
echo "killed $killed of $((killed + survived)) mutants ($survived survived, $invalid invalid)"
