#!/usr/bin/env bash
# Installs the build tree, moves it, and uses the moved tree as people who get the package do.
# usage: test.sh BUILD_DIR SIMULATOR C_COMPILER CXX_COMPILER BLACK_SCREEN_SAYS WHATS_ON_SAYS
# The last two are the patterns that the examples' output has when they run on the simulator.
set -euo pipefail
build=$1 simulator=$2 cc=$3 cxx=$4 black_screen_says=$5 whats_on_says=$6
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
work=$(mktemp -d)
moved=$work/moved
export CRI_DLOG_THRESHOLD=S

step=start
finish() {
    local status=$?
    [ $status -eq 0 ] || echo "installed package: FAILED at \"$step\""
    rm -rf "$work"
}
trap finish EXIT

complain() { echo "$*" >&2; return 1; }
absent() { if grep "$@"; then return 1; fi; }
quietly() { "$@" >"$work/log" 2>&1 || complain "$(cat "$work/log")"; }
installed() { find "$moved" -path "*/$1" | grep . || complain "$1 is not installed"; }

# Stripped as packages are: debug information names the sources, and nothing else may.
step="install and move"
quietly cmake --install "$build" --strip --prefix "$work/first"
mv "$work/first" "$moved"
library=$(installed libcontents-recognition-api.so)
lib=${library%/*}
export PKG_CONFIG_PATH=$lib/pkgconfig

step="no path of the machine that built it is left in a file"
absent -rF -e "$build" -e "$root/src/" -e "$work/first" "$moved"
absent -HnE '(^|[= ]|-[IL])/' "$PKG_CONFIG_PATH/contents-recognition-api.pc"

step="the library has its name for the loader"
readelf -d "$library" | grep 'SONAME.*\[libcontents-recognition-api\.so\.1\]' >/dev/null ||
    complain "$(readelf -d "$library")"

# Without LD_LIBRARY_PATH: each program is to find the libraries that lie in its tree.
for program in cri-simulator cri-monitor; do
    step="$program starts, and has its manual page and its completion"
    path=$(installed "bin/$program")
    quietly "$path" --version
    quietly installed "man1/$program.1"
    completion=$(installed "completions/$program")
    # shellcheck disable=SC2016
    quietly bash -c '. "$1" && complete -p "$2"' - "$completion" "$program"
done

step="every public header is installed with what it includes"
headers=$(installed contents-recognition-api/cri.h)
"$here/headers.sh" "${headers%/*}" "$cc" "$cxx"

# Without a bus the out-parameter is untouched.
consumer_runs() {
    local said
    said=$(DBUS_SYSTEM_BUS_ADDRESS=unix:path=$work/no-bus "$1")
    [ "$said" = "no answer untouched" ] || complain "$1 said: $said"
}

# Also without LD_LIBRARY_PATH: the library is to find the stand-ins beside itself.
step="find_package finds it, and an application builds and runs"
quietly cmake -S "$here" -B "$work/cmake" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$moved"
quietly cmake --build "$work/cmake"
consumer_runs "$work/cmake/consumer"

# GLib's own headers are not clean under every warning; ours are to be.
step="pkg-config describes it"
flags=$(pkg-config --cflags --libs contents-recognition-api |
    sed "s#-I#-isystem #g; s#-isystem $moved#-I$moved#g")
# shellcheck disable=SC2086
build_with() { "$@" -Wall -Wextra -Wpedantic -Werror $flags; }
export LD_LIBRARY_PATH=$lib

step="an application builds and runs with pkg-config's flags"
build_with "$cxx" -std=c++11 "$here/consumer.cpp" -o "$work/consumer"
consumer_runs "$work/consumer"

step="the examples build in the oldest standards, without a warning"
build_with "$cc" -std=c99 "$root/examples/black_screen.c" -o "$work/black_screen"
build_with "$cxx" -std=c++11 "$root/examples/whats_on.cpp" -o "$work/whats_on"

# Seven seconds see every kind of report; both at once, each in a world of its own.
example_says() {
    local said
    said=$("$simulator" run -- "$work/$1" 7 2>&1) || complain "$1 failed: $said"
    [[ $said =~ $2 ]] || complain "$1 said: $said"
}
step="the examples do on the simulator what they are there to show"
example_says black_screen "$black_screen_says" & first=$!
example_says whats_on "$whats_on_says" & second=$!
status=0
wait $first || status=1
wait $second || status=1
[ $status -eq 0 ]

echo "installed package: found, linked and run through CMake and pkg-config"
