# shellcheck shell=bash disable=SC2034
# What the other scripts share: installing what is missing, building a preset, running its tests.

# What the project builds and runs with, as Debian's packages.
BUILD_PACKAGES="g++ cmake ninja-build pkg-config libglib2.0-dev libjsoncpp-dev dbus-daemon"
TOOL_PACKAGES="libcli11-dev libcairo2-dev libpango1.0-dev"
TEST_PACKAGES="libgtest-dev libgmock-dev python3-jsonschema"
CHECK_PACKAGES="clang clang-format libclang-rt-dev valgrind shellcheck git"

say() { printf '\n== %s\n' "$*"; }

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'ok installed'; }

# Installs those of the named packages that are missing.
need() {
    local missing=() package root=()
    for package in "$@"; do installed "$package" || missing+=("$package"); done
    [ ${#missing[@]} -eq 0 ] && return
    say "Installing with apt-get: ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        echo "(through sudo, which may ask for your password)"
        root=(sudo)
    fi
    "${root[@]}" apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
        --no-install-recommends "${missing[@]}"
}

# Runs a command; quiet unless it fails.
quietly() {
    local log
    log=$(mktemp)
    if "$@" >"$log" 2>&1; then
        rm -f "$log"
    else
        cat "$log"
        rm -f "$log"
        return 1
    fi
}

build() {
    quietly cmake --preset "$1" && quietly cmake --build --preset "$1"
}

# Builds a preset and runs its tests: the short ones or the long ones. More at a time than there are
# cores, because most of them wait: for a service that keeps silent, or for nothing to happen.
suite() {
    local preset=$1 log=build/$1/$2-tests.log choice=-LE
    [ "$2" = short ] || choice=-L
    build "$preset"
    ctest --preset "$preset" $choice long -j$((2 * $(nproc))) --quiet -O "$log" ||
        { cat "$log"; return 1; }
    grep -E 'tests passed' "$log"
}
