# shellcheck shell=bash
# Sourced by the stories of tests/lab. A story starts a box of its own, does things to it and waits for what the kernel,
# the store and the bus then show.
#
# In the environment: BOX_PROGRAMS (the bin/ of the build under test) and STORY_DIR (a folder for the box).
set -euo pipefail
PROJECT=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
. "$PROJECT/lab/lib.sh"
BOX_PROGRAMS=$(readlink -f "${BOX_PROGRAMS:-$PROJECT/build/default/bin}")
BOX_DIR=$(readlink -m "${STORY_DIR:-$PROJECT/build/lab/$(basename "$0")}")
readonly SKIPPED=77 # what ctest takes for a skipped test

# new_box: starts one and waits until its daemon runs; what it starts with is in BOX_* (lab/box/outer)
new_box()
{
    if ! unshare --user --map-root-user --net true 2>/dev/null; then
        echo "skipped: this kernel does not let this user make namespaces"
        exit "$SKIPPED"
    fi
    trap clean_up EXIT
    start_box
    expect "the box is up" 30 box_is_up
}

box_is_up()
{
    [[ -e $BOX_DIR/log/ready ]]
}

clean_up()
{
    local status=$?
    trap '' INT TERM
    outer_pid >/dev/null && end_box
    if [[ $status -ne 0 ]]; then
        echo "---- the story of the box ($BOX_DIR/log)"
        cat "$BOX_DIR/log/box.log"
        echo "---- the daemon's last lines"
        tail -n 20 "$BOX_DIR/log/time_check.log" 2>/dev/null
        echo "---- by hand: BOX_PROGRAMS=$BOX_PROGRAMS $0"
    fi
    exit "$status"
}

# step TEXT...: what the story does next
step()
{
    echo "- $*"
}

# expect WHAT SECONDS COMMAND...: fails unless the command succeeds within that real time
expect()
{
    local what=$1 seconds=$2 seen
    shift 2
    if wait_for "$seconds" "$@" >/dev/null 2>&1; then
        echo "  ok: $what"
        return
    fi
    seen=$("$@" 2>&1) || :
    echo "  NOT SEEN within $seconds s: $what"
    echo "    looked at: $*"
    echo "    saw: ${seen:-nothing}"
    exit 1
}

# expect_text WHAT EXPECTED COMMAND...: fails unless the command prints exactly this, within ten seconds
expect_text()
{
    local what=$1 expected=$2 seen
    shift 2
    if wait_for 10 prints "$expected" "$@"; then
        echo "  ok: $what"
        return
    fi
    seen=$("$@" 2>&1) || :
    echo "  NOT AS EXPECTED: $what"
    echo "    looked at: $*"
    diff <(echo "$expected") <(echo "$seen") | sed 's/^</    expected:/; s/^>/    saw:     /' || :
    exit 1
}

prints()
{
    local expected=$1
    shift
    [[ $("$@" 2>/dev/null) == "$expected" ]]
}

# boot_id: names this life of the router, by the namespace of its processes
boot_id()
{
    local pid
    pid=$(init_pid) && readlink "/proc/$pid/ns/pid"
}

has_restarted_since()
{
    local id
    id=$(boot_id) && [[ $id != "$1" ]] && box_is_up
}

# box_minutes: the box's clock as minutes since the midnight before its start
box_minutes()
{
    in_box sh -c 'echo $(($(date +%s) / 60))'
}
