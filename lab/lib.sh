# shellcheck shell=bash
# Sourced by every script of the lab: the box's clock, the lines of its story, and the ways into it.
#
# In the environment of all of them:
#   BOX_DIR             the box's folder: flash/ (survives a restart), log/, outer.pid, init.pid
#   BOX_LOG             its log/, under the name that it has where the script runs
#   BOX_CLOCK_RATE      how many times faster than outside the box's clock goes
#   BOX_CLOCK_START_MS  the box's wall clock when it was started, since 1970
#   BOX_CLOCK_ZERO_MS   its wall clock when /proc/uptime was 0; another number in each time namespace
export TZ=UTC0

die()
{
    echo "$*" >&2
    exit 1
}

# ---- the box's clock ----

uptime_ms()
{
    local up
    read -r up _ </proc/uptime
    echo $((10#${up/./} * 10))
}

# box_clock_ms: the box's wall clock, since 1970
box_clock_ms()
{
    echo $((BOX_CLOCK_ZERO_MS + BOX_CLOCK_RATE * $(uptime_ms)))
}

# box_uptime: for how long this boot has been up, by the box's clock, in seconds. In the box only.
box_uptime()
{
    echo $((BOX_CLOCK_RATE * $(uptime_ms) / 1000))
}

# box_time_of HH:MM: when the box's clock shows this next after its start, in ms since 1970
box_time_of()
{
    local day_ms=86400000 hour=${1%:*} minute=${1#*:} moment
    moment=$((BOX_CLOCK_START_MS / day_ms * day_ms + (10#$hour * 60 + 10#$minute) * 60000))
    echo $((moment < BOX_CLOCK_START_MS ? moment + day_ms : moment))
}

# at HH:MM COMMAND...: runs the command when the box's clock shows this
at()
{
    local wait_ms
    wait_ms=$((($(box_time_of "$1") - $(box_clock_ms)) / BOX_CLOCK_RATE))
    shift
    [[ $wait_ms -le 0 ]] || sleep "$((wait_ms / 1000)).$(printf %03d $((wait_ms % 1000)))"
    "$@"
}

# ---- its story ----

# line_at MS TEXT...: a line of what was at this time of the box's clock: the real seconds since the start, and its time
# of day
line_at()
{
    local ms=$1 tenths
    shift
    tenths=$(((ms - BOX_CLOCK_START_MS) / BOX_CLOCK_RATE / 100))
    printf '%4d.%d s  %(%H:%M)T  %s\n' $((tenths / 10)) $((tenths % 10)) $((ms / 1000)) "$*"
}

# tell TEXT...: a line of what is now
tell()
{
    line_at "$(box_clock_ms)" "$@" >>"$BOX_LOG/box.log"
}

# wait_for SECONDS COMMAND...: until the command succeeds; non-zero when it never did
wait_for()
{
    local end=$(($(uptime_ms) + $1 * 1000))
    shift
    until "$@"; do
        [[ $(uptime_ms) -lt $end ]] || return 1
        sleep 0.02
    done
}

# protect_machine EXCEPT...: makes what is mounted unwritable, but for these folders and what is mounted in them. In a
# mount namespace only.
protect_machine()
{
    local target options except
    while read -r _ _ _ _ target options _; do
        for except in "$@"; do
            [[ $target/ != "$except"/* ]] || continue 2
        done
        [[ ,$options, != *,ro,* ]] || continue
        mount -o "remount,bind,ro,${options#rw,}" "$(printf %b "$target")"
    done </proc/self/mountinfo
}

# ---- from outside: start and end ----

# start_box: a new box in BOX_DIR, which is emptied; KEEPER is the process that keeps it. The settings in the file
# BOX_SETTINGS, when there is one, take the place of the story's.
start_box()
{
    rm -rf "$BOX_DIR"
    mkdir -p "$BOX_DIR/log"
    : >"$BOX_DIR/log/box.log"
    [[ -z ${BOX_SETTINGS-} ]] || cp -- "$BOX_SETTINGS" "$BOX_DIR/settings"
    export BOX_DIR BOX_PROGRAMS
    setsid setpriv --pdeathsig KILL "$(dirname "${BASH_SOURCE[0]}")/box/outer" </dev/null &
    # shellcheck disable=SC2034 # for the caller
    KEEPER=$!
}

# end_box: everything in it ends at once; of its folder log/ alone is left
end_box()
{
    local rig
    rig=$(rig_pid) && kill -KILL "$rig"
    wait_for 10 box_is_gone || die "the box in $BOX_DIR does not end"
    rm -rf "$BOX_DIR"/{outer.pid,init.pid,flash,settings} "$BOX_DIR"/log/{ready,events.place}
}

box_is_gone()
{
    ! outer_pid >/dev/null
}

# ---- from outside: the processes that hold the box together, and the ways in ----

# outer_pid: what was started for BOX_DIR; non-zero when that does not run any more
outer_pid()
{
    local pid started
    read -r pid started 2>/dev/null <"$BOX_DIR/outer.pid" || return 1
    [[ $(process_start "$pid") == "$started" ]] && echo "$pid"
}

# process_start PID: when it started, in clock ticks; with the PID it names one process for ever
process_start()
{
    local stat
    { read -r stat <"/proc/$1/stat"; } 2>/dev/null || return 1
    read -r -a stat <<<"${stat##*) }"
    echo "${stat[19]}"
}

# child_named PID NAME: the child of PID whose first argument is NAME. The arguments of other processes are not looked at:
# that would wait for any of them that stands still.
child_named()
{
    local child name
    for child in $(pgrep --parent "$1"); do
        { IFS= read -r -d '' name <"/proc/$child/cmdline"; } 2>/dev/null || continue
        [[ $name != "$2" ]] || { echo "$child"; return; }
    done
    return 1
}

rig_pid()
{
    local outer
    outer=$(outer_pid) && pgrep --parent "$outer"
}

# init_pid: PID 1 of the box. Noted down, as finding it takes longer than most commands in the box.
init_pid()
{
    local pid started
    if read -r pid started 2>/dev/null <"$BOX_DIR/init.pid" && [[ $(process_start "$pid") == "$started" ]]; then
        echo "$pid"
        return
    fi
    pid=$(find_init) || return
    echo "$pid $(process_start "$pid")" >"$BOX_DIR/init.pid"
    echo "$pid"
}

find_init()
{
    local rig boot
    rig=$(rig_pid) && boot=$(child_named "$rig" box-boot) && pgrep --parent "$boot"
}

enter()
{
    local pid=$1
    shift
    nsenter --target "$pid" --user --preserve-credentials "$@"
}

# in_box COMMAND...: as a program of the router, with its clock
in_box()
{
    local pid
    pid=$(init_pid) || die "no box runs in $BOX_DIR"
    in_box_of "$pid" "$@"
}

# in_box_of PID COMMAND...: the same, of the box whose PID 1 this is
in_box_of()
{
    local pid=$1
    shift
    enter "$pid" --mount --pid --net --uts --ipc --time -- /run/box/lab/box/enter /run/box/environment "$@"
}

# in_rig COMMAND...: where the LAN client and the internet are made
in_rig()
{
    local pid
    pid=$(rig_pid) || die "no box runs in $BOX_DIR"
    enter "$pid" --mount --pid --net -- /run/rig/lab/box/enter /run/rig/environment "$@"
}
