# shellcheck shell=bash disable=SC2034 # for who sources it
# Sourced by the tests of README.md that start a box, after tests/lab/lib.sh.
BLOCK=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")")/block
FOLDER=$BOX_DIR.folder

# page_folder: where the page's commands find a ./run which has a box of its own, with the programs of this build
page_folder()
{
    rm -rf "$FOLDER"
    mkdir -p "$FOLDER"
    printf '#!/bin/bash\nexec "%s" --dir "%s" --programs "%s" "$@"\n' "$PROJECT/run" "$BOX_DIR" "$BOX_PROGRAMS" \
        >"$FOLDER/run"
    chmod +x "$FOLDER/run"
}
