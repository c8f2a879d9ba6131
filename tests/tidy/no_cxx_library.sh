#!/bin/bash
# no_cxx_library.sh PROGRAM: fails when the program loads the C++ library.
set -eu
needed=$(readelf -d "$1" | grep NEEDED)
printf '%s\n' "$needed"
! grep -q 'stdc++' <<<"$needed"
