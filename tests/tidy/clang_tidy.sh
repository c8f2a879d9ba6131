#!/bin/bash
# clang_tidy.sh CLANG_TIDY BUILD_FOLDER FOLDER: clang-tidy over every source of a folder, two at a time.
set -euo pipefail
mapfile -t sources < <(git ls-files -co --exclude-standard "$3/*.cpp")
[ "${#sources[@]}" -gt 0 ] || { echo "no sources in $3"; exit 1; }
# gcc's own flags mean nothing to clang
printf '%s\0' "${sources[@]}" |
    xargs -0 -n 4 -P 2 "$1" -p "$2" --quiet --extra-arg=-Wno-unknown-warning-option --extra-arg=-Wno-unused-command-line-argument
