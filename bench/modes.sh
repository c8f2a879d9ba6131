# shellcheck shell=bash
# Sourced: the states of a router that are measured, inside a world.
# shellcheck disable=SC2034 # for those who source this
MODES="online fault ap wisp apclient power quiet"

# minutes OFFSET: the time of day so many minutes from now
minutes()
{
    date -d "$1 minutes" +%H:%M
}

lab_mode()
{
    grep -v '^#' "$BENCH/../lab/modes/$1.conf"
}

# settings_of MODE: KEY=VALUE, one a line. The windows are open for half an hour, so the machine must be up for as long.
settings_of()
{
    case $1 in
    ap | wisp | apclient) lab_mode "$1" ;;
    *)
        lab_mode router | grep -v '^wans.flag'
        echo wans.flag=1
        ;;
    esac
    # Ticks that follow each other at once are over before the reachability thread has found out.
    if [[ $1 != fault ]]; then echo wan1_isonln=1; fi
    case $1 in
    power) printf 'sys.powersleep.%s\n' enable=1 type=1 "start_time=$(minutes -5)" "end_time=$(minutes 25)" ;;
    quiet) printf 'sys.schedulereboot.%s\n' enable=1 type=1 "start_time=$(minutes -5)" "end_time=$(minutes 25)" ;;
    esac
}

# set_mode MODE: brings the world into the state
set_mode()
{
    local setting
    while read -r setting; do cfm set "${setting%%=*}" "${setting#*=}"; done < <(settings_of "$1")
    if [[ $1 == fault ]]; then ip link set wan1 down; fi
}
