#!/bin/sh
# relinked.sh NINJA BUILD ARCHIVE PROGRAM...: each program is linked again when the daemon in the archive has changed. An
# order-only input ("||") is made in time for the first link and starts no other.
set -eu
ninja=$1 build=$2 archive=$3
shift 3
bad=0
for program; do
    inputs=$("$ninja" -C "$build" -t query "$program" | sed -n '/^ *input:/,/^ *outputs:/p')
    if ! printf '%s\n' "$inputs" | grep -v '||' | grep -qF "$archive"; then
        echo "$program is not linked again when $archive changes:"
        printf '%s\n' "$inputs"
        bad=1
    fi
done
exit "$bad"
