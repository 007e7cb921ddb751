#!/usr/bin/env bash
# What a user of the library gets, in a scratch directory: `prefix` installs the build there,
# `packages` makes the Debian packages (cpack), checks their contents and unpacks them there.
# The tree must hold exactly the public headers, which compile, and the tools, which run; the
# application app.cpp is built with the README's snippets (find_package, pkg-config, mock) and run.
# Usage: check_install.sh prefix|packages BUILD SRC LIBDIR VERSION "TOOLS of this build"
set -euo pipefail
mode=$1 build=$2 src=$3 libdir=$4 upstream=${5:-}
read -r -a tools <<<"${6:-}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
san=${THRIFTYOL_SANITIZE:+-fsanitize=$THRIFTYOL_SANITIZE}

if [ "$mode" = prefix ]; then
  usr=$work/prefix
  cmake --install "$build" --prefix "$usr" >/dev/null
else
  (cd "$build" && cpack -G DEB -B "$work/debs" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; fail cpack; }
  arch=$(dpkg --print-architecture)
  version=$(dpkg-deb -f "$work"/debs/libthriftyol1_*.deb Version)
  [[ $version == "$upstream"-[0-9]* ]] || fail "version '$version', want $upstream-<revision>"
  packages=(libthriftyol1 libthriftyol-dev ${tools:+thriftyol-tools})
  deb() { echo "$work/debs/${1}_${version}_${arch}.deb"; }
  field() { dpkg-deb -f "$(deb "$1")" "$2"; }
  files() { dpkg-deb -c "$(deb "$1")" | awk '$1 !~ /^d/ {print substr($6, 2)}' | sort; }
  [ "$(ls "$work"/debs/*.deb | wc -l)" = ${#packages[@]} ] || fail "cpack made: $(ls "$work/debs")"
  all=$(for p in "${packages[@]}"; do files "$p"; done)
  ! grep -v '^/usr/' <<<"$all" || fail "the files above lie outside /usr"
  ! sort <<<"$all" | uniq -d | grep . || fail "the files above are in two packages"
  [ "$(files libthriftyol1)" = "$(printf "/usr/$libdir/%s\n" libthriftyol.so.1 libthriftyol.so.1.0.0)" ] \
    || fail "libthriftyol1 holds: $(files libthriftyol1)"
  for d in libthrift-0.17.0 libstdc++6 libc6; do
    grep -q "\\b$d\\b" <<<"$(field libthriftyol1 Depends)" || fail "libthriftyol1 needs $d"
  done
  dpkg-deb -e "$(deb libthriftyol1)" "$work/control"
  grep -qxF "libthriftyol 1 libthriftyol1 (>= $version)" "$work/control/shlibs" || fail shlibs
  [ -z "${tools[*]}" ] || [ "$(files thriftyol-tools)" = "$(printf '/usr/bin/%s\n' "${tools[@]}" | sort)" ] \
    || fail "thriftyol-tools holds: $(files thriftyol-tools)"
  grep -qx /usr/share/thriftyol/yol.lua <<<"$(files libthriftyol-dev)" || fail "libthriftyol-dev lacks the dissector"
  for p in "${packages[@]}"; do dpkg-deb -x "$(deb "$p")" "$work/root"; done
  usr=$work/root/usr
  for f in "$usr/$libdir/libthriftyol.so.1.0.0" "${tools[@]/#/$usr/bin/}"; do
    ! readelf -d "$f" | grep -E 'RPATH|RUNPATH' || fail "$f keeps a search path"
  done
fi

export LD_LIBRARY_PATH=$usr/$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
for tool in "${tools[@]}"; do
  "$usr/bin/$tool" --help >/dev/null || fail "$tool --help"
  grep -qF "$usr/$libdir/libthriftyol.so.1" <<<"$(ldd "$usr/bin/$tool")" || fail "$tool loads another library"
done
headers=$( (cd "$src/include" && find thriftyol -name '*.h'; cd "$build/generated" &&
  find thriftyol/types thriftyol/service thriftyol/testing/MockYolIf.h -name '*.h') | sort)
diff <(cd "$usr/include" && find . -type f | cut -c3- | sort) - <<<"$headers" \
  || fail "the installed headers (<) are not the public ones (>)"
grep -q '^local' "$usr/share/thriftyol/yol.lua" || fail "no Wireshark dissector in share/thriftyol"

cd "$work" && cp "$src/tests/install/app.cpp" .
readme=$src/README.md
{
  printf 'cmake_minimum_required(VERSION 3.16)\nproject(app CXX)\nadd_executable(app app.cpp)\n'
  printf 'add_executable(app_tests app.cpp)\ntarget_compile_definitions(app_tests PRIVATE WITH_MOCK)\n'
  sed -n '/^```cmake$/,/^```$/{/^```/d;p}' "$readme"
} >CMakeLists.txt
cmake -S . -B cmake-app -DCMAKE_PREFIX_PATH="$usr" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
  -DCMAKE_CXX_FLAGS="$san" >/dev/null
[[ $(sed -n 's/^thriftyol_DIR:PATH=//p' cmake-app/CMakeCache.txt) == "$usr"/* ]] || fail "found another thriftyol"
cmake --build cmake-app >/dev/null
cmake-app/app
cmake-app/app_tests --gtest_brief=1

export PKG_CONFIG_PATH=$usr/$libdir/pkgconfig
[ "$(realpath "$(pkg-config --variable=includedir thriftyol)")" = "$usr/include" ] \
  || fail "thriftyol.pc does not find its prefix from where it lies"
command=$(grep -x 'c++ -std=c++17 app.cpp \$(pkg-config .*)' "$readme") || fail "no pkg-config command in the README"
eval "$command $san -o pc-app"
./pc-app
for h in $headers; do echo "#include <$h>"; done >all.cpp
# shellcheck disable=SC2046
c++ -std=c++17 -fsyntax-only $(pkg-config --cflags thriftyol) all.cpp || fail "the headers do not compile"
echo "$mode: complete, and an application builds and runs against it"
