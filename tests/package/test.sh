#!/usr/bin/env bash
# Installs the build tree, moves it, and builds and runs a small application against the moved tree.
# usage: test.sh BUILD_DIR CXX_COMPILER
set -euo pipefail
build=$1 cxx=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
lib=$(dirname "$(find "$work/moved" -name 'libcontents-recognition-api.so')")
export LD_LIBRARY_PATH=$lib PKG_CONFIG_PATH=$lib/pkgconfig

# Without a bus the out-parameter is untouched.
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$work/no-bus CRI_DLOG_THRESHOLD=S
expect() {
    local said
    said=$("$1")
    [ "$said" = "no answer untouched" ] || { echo "$1 said: $said"; exit 1; }
}

cmake -S "$here" -B "$work/cmake" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
cmake --build "$work/cmake" >/dev/null
expect "$work/cmake/consumer"

# shellcheck disable=SC2046
"$cxx" -std=c++11 "$here/consumer.cpp" -o "$work/consumer" \
    $(pkg-config --cflags --libs contents-recognition-api)
expect "$work/consumer"

[ "$(readelf -d "$lib/libcontents-recognition-api.so" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')" = \
    libcontents-recognition-api.so.1 ]
echo "installed package: found, linked and run through CMake and pkg-config"
