#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a consumer against it,
# once through find_package(thriftyol) and once through pkg-config.
# Usage: check_install.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null

for f in lib/libthriftyol.so.1 \
         include/thriftyol/types/yol_types.h \
         include/thriftyol/types/yol_constants.h \
         include/thriftyol/service/Yol.h \
         lib/cmake/thriftyol/thriftyolConfig.cmake \
         lib/pkgconfig/thriftyol.pc; do
  [ -e "$prefix/$f" ] || { echo "missing from the install: $f"; exit 1; }
done
soname=$(objdump -p "$prefix/lib/libthriftyol.so.1" | awk '$1 == "SONAME" {print $2}')
[ "$soname" = "libthriftyol.so.1" ] || { echo "SONAME is '$soname', want libthriftyol.so.1"; exit 1; }

export LD_LIBRARY_PATH=$prefix/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}

echo "== find_package(thriftyol)"
cmake -S "$src/tests/install/consumer" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-consumer" >/dev/null
"$work/cmake-consumer/consumer"

echo "== pkg-config thriftyol"
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}
# shellcheck disable=SC2046
c++ -std=c++17 -o "$work/pc-consumer" "$src/tests/install/consumer/main.cpp" $(pkg-config --cflags --libs thriftyol)
"$work/pc-consumer"
echo "install layout, CMake package and pkg-config all work"
