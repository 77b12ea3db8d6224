#!/usr/bin/env bash
# Compares what the library exports with the list that is kept beside this script, and sees that no
# thread has to register the end of an object, which ends the process when there is no memory.
# usage: exports.sh LIBRARY
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
nm -DC --defined-only "$1" | cut -d' ' -f3- | sort -u | diff -u "$here/exports.txt" - ||
    { echo "The exported interface has changed (- expected, + found)."; exit 1; }
if nm -D --undefined-only "$1" | grep __cxa_thread_atexit; then exit 1; fi
