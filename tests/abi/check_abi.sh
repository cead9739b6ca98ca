#!/bin/sh
# The ABI the engine links against, pinned: the built libpd-plugin.so against
# its stored description (libabigail).
#   check_abi.sh LIBRARY STORED SOURCE_DIR
# abidiff compares the exported functions and variables and every type they
# reach. The records the engine and the transport share travel as void
# pointers and so reach no signature; their layouts (size, and each member's
# name and offset) are compared as well, for every record a public header
# defines. PD_UPDATE_GOLDEN=1 rewrites the stored description: a deliberate
# change of the ABI commits it with the change.
set -eu
library=$1
stored=$2
source=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Paths of the checkout are cut, so the description is the same from any clone.
abidw --no-corpus-path --no-comp-dir-path --type-id-style hash --load-all-types "$library" |
  sed "s|$source/||g" > "$work/fresh.abi"
if [ "${PD_UPDATE_GOLDEN:-}" = 1 ]; then
  cp "$work/fresh.abi" "$stored"
  echo "rewrote $stored"
  exit 0
fi

# One line per record of a public header and per member: name, size, offset.
records() {
  awk '
    /<class-decl / && /filepath=[^ ]*include\/(pd-plugin|sns-tiface)\// && !/is-declaration-only/ {
      match($0, /name=.[^\047]*/); name = substr($0, RSTART + 6, RLENGTH - 6)
      match($0, /size-in-bits=.[0-9]*/); size = substr($0, RSTART + 14, RLENGTH - 14)
      inside = 1; depth = 0; print name " size " size; next
    }
    inside && /<class-decl / { depth++ }
    inside && /<\/class-decl>/ { if (depth-- == 0) inside = 0; next }
    inside && depth == 0 && /<data-member / {
      match($0, /layout-offset-in-bits=.[0-9]*/); offset = substr($0, RSTART + 23, RLENGTH - 23)
    }
    inside && depth == 0 && /<var-decl / {
      match($0, /name=.[^\047]*/); print name "." substr($0, RSTART + 6, RLENGTH - 6) " at " offset
    }
  ' "$1" | sort -u
}

status=0
abidiff "$stored" "$work/fresh.abi" > "$work/abidiff.txt" 2>&1 || status=$?
if [ "$status" -ne 0 ]; then
  echo "abidiff: the exported functions or what they reach changed (status $status):"
  cat "$work/abidiff.txt"
fi
records "$stored" > "$work/stored.txt"
records "$work/fresh.abi" > "$work/fresh.txt"
test -s "$work/stored.txt" || { echo "no public record in $stored"; exit 1; }
if ! diff -u "$work/stored.txt" "$work/fresh.txt"; then
  echo "the layout of a shared record changed"
  status=1
fi
if [ "$status" -ne 0 ]; then
  echo "If the change is deliberate: PD_UPDATE_GOLDEN=1 ctest -R abi_pinned, and commit $stored with it."
  exit 1
fi
echo "ABI as stored: $(grep -c '<elf-symbol ' "$stored") symbols, $(grep -c ' size ' "$work/stored.txt") records"
