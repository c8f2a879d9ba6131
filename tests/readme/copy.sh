# shellcheck shell=bash
# Sourced by the tests of README.md that build.

# copy_of PROJECT FOLDER: the folder, emptied, gets the project's sources
copy_of()
{
    rm -rf "$2"
    mkdir -p "$2"
    (cd "$1" && git ls-files -z -co --exclude-standard |
        while IFS= read -r -d '' file; do [[ ! -e $file ]] || printf '%s\0' "$file"; done |
        tar --null -T - -c) | tar -x -C "$2"
}
