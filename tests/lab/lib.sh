# shellcheck shell=bash
# Sourced by the stories of tests/lab. A story starts a box of its own, does things to it and waits for what the kernel,
# the store and the bus then show.
#
# In the environment: BOX_PROGRAMS (the bin/ of the build under test) and STORY_DIR (a folder for the box).
set -Eeuo pipefail
trap 'echo "  FAILED in line $LINENO: $BASH_COMMAND"' ERR
PROJECT=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
. "$PROJECT/lab/lib.sh"
BOX_PROGRAMS=$(readlink -f "${BOX_PROGRAMS:-$PROJECT/build/default/bin}")
BOX_DIR=$(readlink -m "${STORY_DIR:-$PROJECT/build/lab/$(basename "$0")}")
BY_HAND="BOX_PROGRAMS=$BOX_PROGRAMS $(readlink -f "$0")${*:+ $*}"
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
    close_box "$status"
    exit "$status"
}

# close_box STATUS: ends it, and shows what is worth knowing when the story has failed
close_box()
{
    outer_pid >/dev/null && end_box
    [[ $1 -ne 0 && $1 -ne $SKIPPED ]] || return 0
    echo "---- the story of the box ($BOX_DIR/log)"
    cat "$BOX_DIR/log/box.log"
    echo "---- the daemon's last lines"
    tail -n 20 "$BOX_DIR/log/time_check.log"
    echo "---- by hand: $BY_HAND"
} 2>/dev/null

# step TEXT...: what the story does next, after how many real seconds
step()
{
    echo "- [$SECONDS s] $*"
}

# expect WHAT SECONDS COMMAND...: fails unless the command succeeds within that real time; what it prints is what was seen
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

# expect_not WHAT COMMAND...: fails when the command succeeds
expect_not()
{
    local what=$1 seen
    shift
    if ! seen=$("$@" 2>&1); then
        echo "  ok: not so: $what"
        return
    fi
    echo "  SEEN: $what"
    echo "    looked at: $*"
    echo "    saw: ${seen:-that this is so}"
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

# prints EXPECTED COMMAND...: whether the command succeeds and prints that
prints()
{
    local expected=$1
    shift
    [[ $("$@" 2>/dev/null) == "$expected" ]]
}

# boot_id: names this life of the router, by its PID 1 as the machine sees it
boot_id()
{
    local pid started
    pid=$(init_pid) && started=$(process_start "$pid") && echo "$pid started at $started"
}

has_restarted_since()
{
    local id
    id=$(boot_id) || return
    echo "PID 1 is process $id"
    [[ $id != "$1" ]] && box_is_up
}

# received_bytes IFNAME: as the box's kernel counts them
received_bytes()
{
    in_box cat "/sys/class/net/$1/statistics/rx_bytes"
}

# receives IFNAME: whether bytes come in
receives()
{
    local before after
    before=$(received_bytes "$1")
    sleep 0.1
    after=$(received_bytes "$1")
    echo "$((after - before)) bytes"
    [[ $after -gt $before ]]
}

# clock_is_past HH:MM: whether the box's clock shows this or later; not for stories past midnight
clock_is_past()
{
    local now
    now=$(in_box date +%H:%M)
    echo "the clock shows $now"
    ! [[ $now < $1 ]]
}

# up_for MINUTES: whether this boot of the box has been up for so long by the box's clock
up_for()
{
    in_box bash -c '. "$BOX_LAB/lib.sh"; echo "up for $(box_uptime) s"; [[ $(box_uptime) -ge $(($1 * 60)) ]]' - "$1"
}

# ---- what the box's kernel, store and programs show ----

setting()
{
    in_box cfm get "$1"
}

interface_state()
{
    in_box cat "/sys/class/net/$1/operstate"
}

led()
{
    in_box cat "/sys/class/leds/$1/brightness"
}

pid_in_box()
{
    in_box pgrep -x "$1"
}

# was_posted TEXT: whether netctrl has received exactly this since forget_posts
was_posted()
{
    local posts
    posts=$(tail --lines="+$((posts_seen + 1))" "$BOX_DIR/log/netctrl.log")
    echo "netctrl has received: ${posts:-nothing}"
    grep --quiet --fixed-strings "$1: " <<<"$posts"
}

forget_posts()
{
    posts_seen=$(wc -l <"$BOX_DIR/log/netctrl.log")
}
posts_seen=0

# is EXPECTED COMMAND...: whether the command prints that; prints it, too
is()
{
    local expected=$1 seen
    shift
    seen=$("$@" 2>&1) || :
    echo "$*: ${seen:-nothing}"
    [[ $seen == "$expected" ]]
}

# test_setting KEY VALUE
test_setting()
{
    is "$2" setting "$1"
}

# ended PROGRAM
ended()
{
    ! pid_in_box "$1"
}

# seconds_since EPOCH: of the box's clock
seconds_since()
{
    echo $(($(box_now) - $1))
}

# box_now: the box's clock, since 1970
box_now()
{
    in_box date +%s
}

# minutes_from_now MINUTES: as the box's clock will show it
minutes_from_now()
{
    in_box date -d "+$1 minutes" +%H:%M
}

# lan_address_is PREFIX: of the address that br0 has first
lan_address_is()
{
    local addresses
    addresses=$(in_box ip -4 -o addr show dev br0)
    echo "$addresses"
    [[ ${addresses%%$'\n'*} == *" inet $1"* ]]
}

# guest_is STATE: its interfaces of both bands
guest_is()
{
    is "$1" interface_state guest0 && is "$1" interface_state guest1
}

# radios_are STATE: both of them
radios_are()
{
    is "$1" interface_state wlan0 && is "$1" interface_state wlan1
}

# leds_are BRIGHTNESS: both of them
leds_are()
{
    is "$1" led power && is "$1" led wan
}

# in_mode MODE: a new box, whose daemon watches the upstream
in_mode()
{
    step "mode $1"
    export BOX_MODE=$1
    new_box
    forget_posts
    expect "the internet is there" 40 test_setting wan1_isonln 1
    [[ $1 != ap ]] || return 0
    in_box cfm set time_check_debug on
    expect "the daemon has seen the uplink" 60 looks_at_the_uplink
    in_box cfm set time_check_debug off
}

# looks_at_the_uplink: its first ticks, a minute after the start, only count down
looks_at_the_uplink()
{
    [[ $(grep --count --text 'Begin to check wifi connect!' "$BOX_DIR/log/time_check.log") -ge 10 ]]
}

# policy_rules: the rules by which the probes leave through their WAN
policy_rules()
{
    in_box ip rule | grep -E '^50'
}

# dns_chain: the rule that leads to it, and what is in it
dns_chain()
{
    in_box iptables -S | grep dns_drop
}
readonly EMPTY_DNS_CHAIN='-N dns_drop
-A OUTPUT -p udp -m udp --dport 53 -m state --state NEW -j dns_drop'

# rules_of WAN PRIORITY: what policy_rules prints for one WAN
rules_of()
{
    local i
    for i in 1 2 3; do
        printf '%d:\tfrom all to 198.51.100.%d iif lo lookup %s\n' $(($2 + i - 1)) "$i" "$1"
    done
}

TWO_WANS_RULES=$(rules_of wan1 5000 && rules_of wan2 5003)

# both_wans_are_well: online, one set of rules, nothing dropped
both_wans_are_well()
{
    expect "wan1 is online" 40 test_setting wan1_isonln 1
    expect "wan2 is online" 40 test_setting wan2_isonln 1
    expect_text "one set of policy rules" "$TWO_WANS_RULES" policy_rules
    expect_text "one chain, empty" "$EMPTY_DNS_CHAIN" dns_chain
}

# runs_anew PROGRAM PID: whether the program runs, and not as this process
runs_anew()
{
    local pid
    pid=$(pid_in_box "$1") || return
    echo "$1 runs as process $pid, before as $2"
    [[ $pid != "$2" ]]
}

# kill_daemon: SIGKILL, in the middle of whatever it does; the box starts another. What was posted before is forgotten.
kill_daemon()
{
    local pid
    pid=$(pid_in_box time_check)
    forget_posts
    in_box killall -KILL time_check
    expect "the daemon was killed, another runs" 20 runs_anew time_check "$pid"
}

# post TEXT: a message for the daemon; returns when that has dealt with it, and thus is past its start: the line of a
# message behind it shows that
post()
{
    local mark=$((1000 + ++marks))
    wait_for 10 in_box cfm post time_check "$1" 2>/dev/null
    wait_for 10 in_box cfm post time_check "time_check_debug?debug_id=$mark" 2>/dev/null # there may be room for one at a time
    wait_for 10 grep --quiet --text "key = debug_id,value = $mark" "$BOX_DIR/log/time_check.log"
}
marks=0
