#!/usr/bin/env bash
# Compiles each public header alone, with every standard that it promises, and every warning on.
# usage: headers.sh INCLUDE_DIR C_COMPILER CXX_COMPILER
set -euo pipefail
include=$1 cc=$2 cxx=$3
warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only)
glib=$(pkg-config --cflags glib-2.0 | sed 's/-I/-isystem /g')

compile() {
    local compiler=$1 language=$2 standard=$3 header=$4
    # shellcheck disable=SC2086
    echo "#include \"$header\"" |
        "$compiler" "${warnings[@]}" -x "$language" -std="$standard" $glib -I "$include" - ||
        { echo "$header does not compile as $standard"; exit 1; }
}

for header in "$include"/*.h; do
    for standard in c++11 c++14 c++17 c++20; do compile "$cxx" c++ $standard "$header"; done
    case ${header##*/} in
        cri*.h) for standard in c99 c11 c17; do compile "$cc" c $standard "$header"; done ;;
    esac
done
