#!/bin/bash
# fits_in_flash.sh STRIP PROGRAM LIMIT: fails when the stripped program is larger than so many bytes.
set -eu
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
"$1" -o "$stripped" "$2"
size=$(stat --format %s "$stripped")
echo "${2##*/}: $size bytes stripped, $3 allowed"
if [ "$size" -gt "$3" ]; then
    echo "It is $((size - $3)) bytes too large; its largest parts:"
    "${1%strip}nm" --size-sort --print-size --demangle "$2" | grep -i ' [trd] ' | tail -n 20
    exit 1
fi
