#!/bin/sh
# Every function and variable the engine may reach by name is in the dynamic
# symbol table of the library, and no C++ symbol leaks into it.
set -u
library=$1
list=$2
nm=${3:-nm}
defined=$("$nm" -D --defined-only "$library" | awk '{print $3}')
status=0
for name in $(grep -v '^#' "$list"); do
  if ! printf '%s\n' "$defined" | grep -qx "$name"; then
    echo "not exported: $name"
    status=1
  fi
done
leaked=$(printf '%s\n' "$defined" | grep '^_Z' || true)
if [ -n "$leaked" ]; then
  echo "C++ symbols exported:"; printf '%s\n' "$leaked"
  status=1
fi
count=$(grep -vc '^#' "$list")
[ $status -eq 0 ] && echo "all $count names exported"
exit $status
