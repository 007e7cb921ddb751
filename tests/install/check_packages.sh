#!/usr/bin/env bash
# Makes the Debian packages of a build with cpack in a scratch directory,
# checks their names, control fields and contents, unpacks them into a
# scratch root (dpkg-deb -x) and builds consumers against that root as a
# user of the packages would: through find_package (with a test on the
# GoogleMock handler) and through pkg-config. Runs the tools from the root.
# Installs nothing outside the scratch directory.
#
# Usage: check_packages.sh BUILD_DIR SOURCE_DIR VERSION "TOOLS"
#   VERSION  the library's version (1.0.0); the packages' is VERSION-<revision>
#   TOOLS    the tools this build has, separated by blanks (may be empty)
set -euo pipefail
build=$1
src=$2
upstream=$3
read -r -a tools <<<"${4:-}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# shellcheck source=consumers.sh
. "$src/tests/install/consumers.sh"

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

echo "== cpack -G DEB"
(cd "$build" && cpack -G DEB -B "$work/debs" >"$work/cpack.log" 2>&1) \
  || { cat "$work/cpack.log"; fail "cpack failed"; }

arch=$(dpkg --print-architecture)
runtime_deb=$(ls "$work"/debs/libthriftyol1_*.deb 2>/dev/null) || fail "cpack made no libthriftyol1"
version=$(dpkg-deb -f "$runtime_deb" Version)
case "$version" in
  "$upstream"-[0-9]*) ;;
  *) fail "libthriftyol1's version is '$version', want $upstream-<revision>" ;;
esac
packages=(libthriftyol1 libthriftyol-dev)
if [ ${#tools[@]} -gt 0 ]; then
  packages+=(thriftyol-tools)
fi
made=$(cd "$work/debs" && ls -1 -- *.deb | sort)
want=$(for p in "${packages[@]}"; do echo "${p}_${version}_${arch}.deb"; done | sort)
[ "$made" = "$want" ] || fail "cpack made [$(echo $made)], want [$(echo $want)]"

deb() { echo "$work/debs/${1}_${version}_${arch}.deb"; }
field() { dpkg-deb -f "$(deb "$1")" "$2"; }
# The files and links of a package, as absolute paths (no directories).
files() { dpkg-deb -c "$(deb "$1")" | awk '$1 !~ /^d/ {print substr($6, 2)}' | sort; }

for p in "${packages[@]}"; do
  [ "$(field "$p" Package)" = "$p" ] || fail "$p: Package is '$(field "$p" Package)'"
  [ "$(field "$p" Version)" = "$version" ] || fail "$p: Version is '$(field "$p" Version)'"
  [ "$(field "$p" Architecture)" = "$arch" ] || fail "$p: Architecture is '$(field "$p" Architecture)'"
  for f in Maintainer Section Description; do
    [ -n "$(field "$p" "$f")" ] || fail "$p: no $f"
  done
  if files "$p" | grep -v '^/usr/'; then
    fail "$p: the files above lie outside /usr"
  fi
done

echo "== libthriftyol1: the library alone"
runtime=$(files libthriftyol1)
lib=$(grep '/libthriftyol\.so\.1$' <<<"$runtime") || fail "libthriftyol1 has no libthriftyol.so.1"
libdir=$(dirname "$lib")
[ "$runtime" = "$(printf '%s\n' "$libdir/libthriftyol.so.1" "$libdir/libthriftyol.so.1.0.0")" ] \
  || fail "libthriftyol1 holds:"$'\n'"$runtime"
depends=$(field libthriftyol1 Depends)
for d in libthrift-0.17.0 libstdc++6 libc6; do
  grep -q "\\b$d\\b" <<<"$depends" || fail "libthriftyol1 does not depend on $d: '$depends'"
done
dpkg-deb -e "$(deb libthriftyol1)" "$work/control-runtime"
grep -qxF "libthriftyol 1 libthriftyol1 (>= $version)" "$work/control-runtime/shlibs" \
  || fail "libthriftyol1's shlibs file: $(cat "$work/control-runtime/shlibs" 2>/dev/null)"
grep -q 'ldconfig' "$work/control-runtime/postinst" || fail "libthriftyol1 does not run ldconfig"

echo "== libthriftyol-dev: headers, link, CMake package, pkg-config, mock"
dev=$(files libthriftyol-dev)
for f in /usr/include/thriftyol/types/yol_types.h \
         /usr/include/thriftyol/types/yol_constants.h \
         /usr/include/thriftyol/service/Yol.h \
         /usr/include/thriftyol/support/wire.h \
         /usr/include/thriftyol/testing/MockYolIf.h \
         "$libdir/libthriftyol.so" \
         "$libdir/cmake/thriftyol/thriftyolConfig.cmake" \
         "$libdir/cmake/thriftyol/thriftyolConfigVersion.cmake" \
         "$libdir/cmake/thriftyol/thriftyolTargets.cmake" \
         "$libdir/pkgconfig/thriftyol.pc"; do
  grep -qxF "$f" <<<"$dev" || fail "libthriftyol-dev lacks $f"
done
if grep -E '\.so\.|/json/|_samples|\.cpp$' <<<"$dev"; then
  fail "libthriftyol-dev holds the files above, which belong elsewhere or nowhere"
fi
[ "$(field libthriftyol-dev Depends)" = "libthriftyol1 (= $version), libthrift-dev, libboost-dev" ] \
  || fail "libthriftyol-dev: Depends is '$(field libthriftyol-dev Depends)'"

if [ ${#tools[@]} -gt 0 ]; then
  echo "== thriftyol-tools: ${tools[*]}"
  [ "$(files thriftyol-tools)" = "$(printf '/usr/bin/%s\n' "${tools[@]}" | sort)" ] \
    || fail "thriftyol-tools holds:"$'\n'"$(files thriftyol-tools)"
  grep -qF "libthriftyol1 (= $version)" <<<"$(field thriftyol-tools Depends)" \
    || fail "thriftyol-tools: Depends is '$(field thriftyol-tools Depends)'"
fi

all=$(for p in "${packages[@]}"; do files "$p"; done | sort)
if uniq -d <<<"$all" | grep .; then
  fail "the files above are in two packages"
fi

echo "== unpacked into a scratch root"
root=$work/root
for p in "${packages[@]}"; do
  dpkg-deb -x "$(deb "$p")" "$root"
done
# Nothing may lead back into the build tree.
binaries=("$root$libdir/libthriftyol.so.1.0.0")
for tool in "${tools[@]}"; do
  binaries+=("$root/usr/bin/$tool")
done
for f in "${binaries[@]}"; do
  if readelf -d "$f" | grep -E 'RPATH|RUNPATH'; then
    fail "$f keeps a search path"
  fi
done
export LD_LIBRARY_PATH=$root$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
for tool in "${tools[@]}"; do
  "$root/usr/bin/$tool" --help >/dev/null || fail "$tool --help failed from the unpacked root"
  # ldd's whole output first: with pipefail, a grep -q that stops at the
  # first match can fail the pipeline through ldd's broken pipe.
  loaded=$(ldd "$root/usr/bin/$tool")
  grep -qF "$root$libdir/libthriftyol.so.1" <<<"$loaded" \
    || fail "$tool does not load the unpacked libthriftyol.so.1:"$'\n'"$loaded"
done

echo "== find_package(thriftyol), with the GoogleMock handler"
cmake_consumer "$root/usr" -DCONSUMER_MOCK=ON

echo "== pkg-config thriftyol, as the file lies"
export PKG_CONFIG_PATH=$root$libdir/pkgconfig
pc_consumer
echo "== pkg-config thriftyol, prefix given"
pc_consumer --define-variable=prefix="$root/usr"
includedir=$(pkg-config --variable=includedir thriftyol)
[ "$(realpath "$includedir")" = "$root/usr/include" ] \
  || fail "the pkg-config file does not find its prefix from where it lies: includedir=$includedir"

echo "the packages are complete, and a consumer builds against their contents"
