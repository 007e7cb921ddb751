#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a consumer against it,
# once through find_package(thriftyol) and once through pkg-config.
# Usage: check_install.sh BUILD_DIR SOURCE_DIR LIBDIR (relative to the prefix)
set -euo pipefail
build=$1
src=$2
libdir=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
# shellcheck source=consumers.sh
. "$src/tests/install/consumers.sh"

cmake --install "$build" --prefix "$prefix" >/dev/null

for f in "$libdir/libthriftyol.so.1" \
         include/thriftyol/types/yol_types.h \
         include/thriftyol/types/yol_constants.h \
         include/thriftyol/service/Yol.h \
         include/thriftyol/testing/MockYolIf.h \
         "$libdir/cmake/thriftyol/thriftyolConfig.cmake" \
         "$libdir/pkgconfig/thriftyol.pc"; do
  [ -e "$prefix/$f" ] || { echo "missing from the install: $f"; exit 1; }
done
soname=$(objdump -p "$prefix/$libdir/libthriftyol.so.1" | awk '$1 == "SONAME" {print $2}')
[ "$soname" = "libthriftyol.so.1" ] || { echo "SONAME is '$soname', want libthriftyol.so.1"; exit 1; }

export LD_LIBRARY_PATH=$prefix/$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}

echo "== find_package(thriftyol)"
cmake_consumer "$prefix"

echo "== pkg-config thriftyol"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}
pc_consumer
echo "install layout, CMake package and pkg-config all work"
