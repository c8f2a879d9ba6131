#!/bin/sh
# observer.sh PROGRAM...: runs in the emulated router and prints what it looks like there. Each look is a line: "=", the
# up-time when it began, the time of day, the up-time when it ended, and the daemon's own clock where it has one. What
# is different from the look before follows it whole, by what the kernel, the store and netctrl show.
look()
{
    for file in /sys/class/net/wlan0/operstate /sys/class/leds/*lock/brightness; do
        read -r value <"$file" || value=
        echo "$file=$value"
    done
    if listed=$(cfm list); then
        echo "the store answers="
        echo "$listed" | grep -E '^(wan[12]_isonln|stoppage_flag)='
    fi
    taken=0
    while read -r _; do
        taken=$((taken + 1))
    done </run/log/netctrl.log
    echo "netctrl=$taken"
    for program in "$@"; do
        echo "$program=$(pidof "$program")"
    done
}

while :; do
    read -r began _ </proc/uptime
    day=$(date +%s)
    own=
    [ ! -e /run/daemon_clock ] || read -r own </run/daemon_clock
    now=$(look "$@")
    read -r ended _ </proc/uptime
    echo "= $began $day $ended $own"
    [ "$now" = "$before" ] || echo "$now"
    before=$now
    sleep 1.5 # each look takes some tenths of a second of the processor
done
