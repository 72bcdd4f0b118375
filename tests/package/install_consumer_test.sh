#!/usr/bin/env bash
# Installs the built tree into a fresh prefix, then builds and runs a small
# host program against it twice: through find_package(deflash CONFIG) and
# through pkg-config. Both must print the version and the buffer size.
#   install_consumer_test.sh <build dir> <consumer source dir> <work dir> <c++ compiler>
set -euo pipefail
build=$1 consumer=$2 work=$3 cxx=$4
expected="2.2.0.4 2.2.0.4 20480"

rm -rf "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" > "$work.install.log" 2>&1 ||
  { cat "$work.install.log"; exit 1; }

check() {  # check <how> <program>
  local got
  got=$("$2")
  if [ "$got" != "$expected" ]; then
    echo "consumer via $1 printed '$got', expected '$expected'" >&2
    exit 1
  fi
  echo "consumer via $1: $got"
}

# CMake package.
cmake -S "$consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=Release > "$work/cmake.log" 2>&1 ||
  { cat "$work/cmake.log"; exit 1; }
cmake --build "$work/cmake-build" > "$work/build.log" 2>&1 || { cat "$work/build.log"; exit 1; }
check find_package "$work/cmake-build/deflash_consumer"

# pkg-config: the .pc file finds the prefix from its own place.
pc_dir=$(dirname "$(find "$prefix" -name deflash.pc)")
flags=$(PKG_CONFIG_PATH=$pc_dir pkg-config --cflags --libs deflash)
version=$(PKG_CONFIG_PATH=$pc_dir pkg-config --modversion deflash)
[ "$version" = "2.2.0.4" ] || { echo "pkg-config version '$version'" >&2; exit 1; }
# shellcheck disable=SC2086  # the flags are words
"$cxx" -std=c++17 "$consumer/consumer.cc" $flags -o "$work/pkg-config-consumer"
LD_LIBRARY_PATH=$(PKG_CONFIG_PATH=$pc_dir pkg-config --variable=libdir deflash) \
  check pkg-config "$work/pkg-config-consumer"

# The installed library carries its version in its names.
lib_dir=$(PKG_CONFIG_PATH=$pc_dir pkg-config --variable=libdir deflash)
for name in libdeflash.so libdeflash.so.2 libdeflash.so.2.2.0.4; do
  [ -e "$lib_dir/$name" ] || { echo "missing $lib_dir/$name" >&2; exit 1; }
done
[ -x "$prefix/bin/deflash" ] || { echo "missing $prefix/bin/deflash" >&2; exit 1; }
echo "installed tree at $prefix works"
