#!/bin/bash
# clang_tidy.sh CLANG_TIDY BUILD_FOLDER FOLDER: clang-tidy over the sources of a folder, two at a time; over all of them
# with TIDY=all in the environment, a share with TIDY=share, otherwise over those that changed (units_to_check.py).
set -euo pipefail
here=$(dirname "$0")
found_clean=$2/clang_tidy
mapfile -t sources < <(python3 "$here/units_to_check.py" "$3" "$found_clean")
echo "${#sources[@]} sources of $3 to look at"
[ "${#sources[@]}" -gt 0 ] || exit 0
# gcc's own flags mean nothing to clang
printf '%s\0' "${sources[@]}" |
    xargs -0 -n 1 -P 2 "$1" -p "$2" --quiet --extra-arg=-Wno-unknown-warning-option --extra-arg=-Wno-unused-command-line-argument
python3 "$here/units_to_check.py" "$3" "$found_clean" --clean
