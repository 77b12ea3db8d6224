#!/usr/bin/env bash
# Compares what the library exports with the list that is kept beside this script.
# usage: exports.sh LIBRARY
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
nm -DC --defined-only "$1" | cut -d' ' -f3- | sort -u | diff -u "$here/exports.txt" - ||
    { echo "The exported interface has changed (- expected, + found)."; exit 1; }
