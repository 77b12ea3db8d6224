# shellcheck shell=bash disable=SC2034
# What demo and test share: installing what is missing, and building a preset.

# What the project builds and runs with, as Debian's packages.
BUILD_PACKAGES="g++ cmake ninja-build pkg-config libglib2.0-dev libjsoncpp-dev dbus-daemon"
TOOL_PACKAGES="libcli11-dev libcairo2-dev libpango1.0-dev"
TEST_PACKAGES="clang clang-format libclang-rt-dev libgtest-dev libgmock-dev valgrind
    git python3-jsonschema"

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

# Configures and builds a preset; quiet unless something is wrong.
build() {
    local log
    log=$(mktemp)
    if cmake --preset "$1" >"$log" 2>&1 && cmake --build --preset "$1" >>"$log" 2>&1; then
        rm -f "$log"
    else
        cat "$log"
        rm -f "$log"
        return 1
    fi
}
