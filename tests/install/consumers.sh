# Builds and runs the consumer of tests/install/consumer against an
# installed libthriftyol; sourced by check_install.sh and check_packages.sh.
#
# Needs: $src (the source tree) and $work (a scratch directory). When the
# library was built with sanitizers, $THRIFTYOL_SANITIZE names them, and the
# consumers are built with the same ones (they could not load it otherwise).

consumer_src() { echo "$src/tests/install/consumer"; }

san_flags=()
if [ -n "${THRIFTYOL_SANITIZE:-}" ]; then
  san_flags=("-fsanitize=$THRIFTYOL_SANITIZE")
fi

# cmake_consumer PREFIX_PATH [cmake options...]: configures and builds the
# consumer through find_package(thriftyol) in $work/cmake-consumer, checks
# that the package came from PREFIX_PATH and runs it (and mock_consumer
# when it was built).
cmake_consumer() {
  local prefix_path=$1
  shift
  local dir=$work/cmake-consumer
  cmake -S "$(consumer_src)" -B "$dir" -DCMAKE_PREFIX_PATH="$prefix_path" \
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
    -DCMAKE_CXX_FLAGS="${san_flags[*]}" "$@" >/dev/null
  local found
  found=$(sed -n 's/^thriftyol_DIR:PATH=//p' "$dir/CMakeCache.txt")
  case "$found" in
    "$prefix_path"/*) ;;
    *) echo "find_package(thriftyol) found '$found', not the package under $prefix_path"; return 1 ;;
  esac
  cmake --build "$dir" >/dev/null
  "$dir/consumer"
  if [ -x "$dir/mock_consumer" ]; then
    "$dir/mock_consumer" --gtest_brief=1
  fi
}

# pc_consumer [pkg-config options...]: builds the consumer with the flags of
# `pkg-config thriftyol` (from $PKG_CONFIG_PATH) and runs it.
pc_consumer() {
  local flags
  flags=$(pkg-config "$@" --cflags --libs thriftyol)
  # shellcheck disable=SC2086
  c++ -std=c++17 "${san_flags[@]}" -o "$work/pc-consumer" "$(consumer_src)/main.cpp" $flags
  "$work/pc-consumer"
}
