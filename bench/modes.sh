# shellcheck shell=bash
# Sourced: the states of a router that are measured, and how they are seen from outside. MODE, WANS and INTERNET are of
# the world that this runs in.
# shellcheck disable=SC2034 # for those who source this
MODES="online fault ap wisp apclient power quiet"

lab_mode()
{
    grep -v '^#' "$BENCH/../lab/modes/$1.conf"
}

# settings_of MODE WANS: KEY=VALUE, one a line. The windows are open all day.
settings_of()
{
    case $1 in
    ap | wisp | apclient) lab_mode "$1" ;;
    *) lab_mode router | sed "s/^wans.flag=.*/wans.flag=$2/" ;;
    esac
    case $1 in
    power) printf 'sys.powersleep.%s\n' enable=1 type=0 start_time=00:00 end_time=23:59 ;;
    quiet) printf 'sys.schedulereboot.%s\n' enable=1 type=1 start_time=00:01 end_time=23:59 ;;
    esac
}

# evidence: what shows from outside that the daemon is in the world's mode, one word each
evidence()
{
    case $MODE in
    fault) echo wan1_isonln=0 stoppage_flag=1 wan_stoppage_err=1 process:dhttpd ;;
    ap) echo wan1_isonln=1 sys.workmode=ap gateway:pinged ;;
    wisp | apclient) echo wan1_isonln=1 only-link:uplink0 ;;
    power) echo wan1_isonln=1 sys.is.pwr.save.mode=1 ;;
    quiet) echo wan1_isonln=1 table:time_check_acct ;;
    *) echo wan1_isonln=1 wan1_check=1 stoppage_flag=0 ;;
    esac
    [[ $WANS == 1 ]] || echo wan2_isonln=1
}

echo_requests()
{
    awk '$1 == "Icmp:" { n++ } n == 1 { for (i = 1; i <= NF; i++) if ($i == "InEchos") column = i } n == 2 { print $column; exit }' \
        "/proc/$INTERNET/net/snmp"
}

# Since ECHO_REQUESTS_BEFORE, or from now on
gateway_is_pinged()
{
    local before=${ECHO_REQUESTS_BEFORE:-}
    if [[ -z $before ]]; then
        before=$(echo_requests)
        sleep 3.5
    fi
    [[ $(($(echo_requests) - before)) -ge 3 ]]
}

# is_seen WORD: a word of the evidence
is_seen()
{
    case $1 in
    process:*) pgrep -x "${1#*:}" >/dev/null ;;
    table:*) nft list table inet "${1#*:}" >/dev/null 2>&1 ;;
    only-link:*) [[ -e /sys/class/net/${1#*:} && ! -e /sys/class/net/wan1 ]] ;;
    gateway:pinged) gateway_is_pinged ;;
    *=*) [[ $(cfm get "${1%%=*}" 2>/dev/null) == "${1#*=}" ]] ;;
    esac
}

# prove LABEL: a line "proof LABEL yes|no EVIDENCE"
prove()
{
    local word proven=yes words=()
    for word in $(evidence); do
        is_seen "$word" || { proven=no; word="$word(not seen)"; }
        words+=("$word")
    done
    printf 'proof\t%s\t%s\t%s\n' "$1" "$proven" "${words[*]}"
}

# pause SECONDS: without a process, which the daemon would look at
pause()
{
    read -rt "$1" _ <>/mnt/pause || true
}

# add_hosts NUMBER: into the accounting, once the daemon has made its table
add_hosts()
{
    local i elements=
    [[ $1 -gt 0 ]] || return 0
    until nft list table inet time_check_acct >/dev/null 2>&1; do sleep 0.2; done
    for ((i = 1; i <= $1; i++)); do elements+="192.168.$((i / 250)).$((i % 250 + 1)) counter packets 3 bytes 384, "; done
    for set in up down; do nft add element inet time_check_acct "$set" "{ ${elements%, } }"; done
}
