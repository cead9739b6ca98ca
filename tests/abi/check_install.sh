#!/bin/sh
# Installs the build into a temporary prefix and builds a small engine
# against it through pkg-config, as an integrator would; the plug-in is
# where pd-plugin.pc says, a module with no versioned name, and it names the
# transport by the transport's SONAME, which the library folder holds.
#   check_install.sh BUILD CC [PKG_CONFIG [READELF]]
set -eu
build=$1
compiler=$2
pkg_config=${3:-pkg-config}
readelf=${4:-readelf}
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
pcdir=$(dirname "$(find "$prefix" -name pd-plugin.pc)")
pc() { PKG_CONFIG_PATH=$pcdir PKG_CONFIG_LIBDIR=$pcdir "$pkg_config" "$@" pd-plugin; }

plugindir=$(pc --variable=plugindir)
libdir=$(pc --variable=libdir)
plugin=$plugindir/libpd-plugin.so
test -f "$plugin" || { echo "no libpd-plugin.so in $plugindir"; exit 1; }
dynamic=$("$readelf" -d "$plugin")
soname=$(printf '%s\n' "$dynamic" | sed -n 's/.*(SONAME).*\[\(.*\)\].*/\1/p')
if [ -n "$soname" ] && [ "$soname" != libpd-plugin.so ]; then
  echo "the plug-in has the versioned name $soname"; exit 1
fi
transport=$(printf '%s\n' "$dynamic" | sed -n 's/.*(NEEDED).*\[\(libsns-tiface[^]]*\)\].*/\1/p')
test -n "$transport" && test -e "$libdir/$transport" ||
  { echo "the plug-in needs '$transport', which $libdir lacks"; exit 1; }

cat > "$prefix/engine.c" <<'C'
#include <pd-plugin/pd_plugin.h>
#include <sns-tiface/sns_nt.h>
int main(void) { return pd_sendreq == 0; }
C
# shellcheck disable=SC2046
"$compiler" "$prefix/engine.c" -o "$prefix/engine" $(pc --cflags --libs) \
  -Wl,--unresolved-symbols=ignore-in-shared-libs
echo "installed: $plugin needs $transport; an engine linked through pkg-config"
