#!/bin/sh
# Installs the build into a temporary prefix and builds a small engine
# against it through pkg-config, as an integrator would.
set -eu
build=$1
compiler=$2
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(ls -d "$prefix"/lib*/pkgconfig | head -n 1)
test -f "$libdir/pd-plugin.pc"
cat > "$prefix/engine.c" <<'C'
#include <pd-plugin/pd_plugin.h>
#include <sns-tiface/sns_nt.h>
int main(void) { return pd_sendreq == 0; }
C
flags=$(PKG_CONFIG_PATH=$libdir pkg-config --cflags --libs pd-plugin)
"$compiler" "$prefix/engine.c" -o "$prefix/engine" $flags -Wl,--unresolved-symbols=ignore-in-shared-libs
ls "$prefix"/lib*/libpd-plugin.so >/dev/null
echo "installed and linked through pkg-config"
