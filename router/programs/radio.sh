# shellcheck shell=sh
# Sourced by the programs of radios: the band that TC_WL_RATE names, and hostapd by its control socket.
# shellcheck source=router/programs/router.sh
. "${TC_PACKAGE:-$(dirname "$0")}/router.sh"

case $TC_WL_RATE in
24) radios=$WIFI_24 guests=$GUEST_24 keys=wl2g ;;
5) radios=$WIFI_5 guests=$GUEST_5 keys=wl5g ;;
*) fail "no such band: $TC_WL_RATE" ;;
esac

# hostapd RADIO COMMAND
hostapd()
{
    hostapd_cli -p "$HOSTAPD_DIR" -s "$REPLY_DIR" -i "$1" "$2" 2>/dev/null
}

# order RADIO COMMAND: of which hostapd must say OK
order()
{
    case $(hostapd "$1" "$2") in
    *OK*) ;;
    *) fail "hostapd does not $2 $1" ;;
    esac
}

# state_of RADIO: in hostapd's words, or nothing when it does not answer
state_of()
{
    hostapd "$1" status | sed -n 's/^state=//p' | head -n 1
}

# for_each_radio FUNCTION: with the radio and its state, of those that this machine has
for_each_radio()
{
    need hostapd_cli
    there=
    for radio in $radios; do
        [ -e "$NET_DIR/$radio" ] || continue
        there=1
        state=$(state_of "$radio")
        [ -n "$state" ] || not_yet "hostapd does not answer for $radio"
        "$1" "$radio" "$state"
    done
    [ -n "$there" ] || not_here "there is no radio for this band (${radios:-none named})"
}

switch_on()
{
    case $2 in
    DISABLED | UNINITIALIZED) order "$1" enable ;;
    esac # all other states are on, or on the way there
}

switch_off()
{
    case $2 in
    DISABLED | UNINITIALIZED) ;;
    *) order "$1" disable ;;
    esac
}

# With its settings read anew.
switch_on_anew()
{
    case $2 in
    DISABLED | UNINITIALIZED) order "$1" enable ;;
    *) order "$1" reload ;;
    esac
}

# The guests' network of the band as its setting says. It is a BSS of the radio, and hostapd switches all of them at
# once; but one whose interface is down is not on the air.
apply_guests()
{
    for guest in $guests; do
        if is_on "$keys.ssid1.enable"; then
            open_guest "$guest"
        else
            close_guest "$guest"
        fi
    done
}

# hostapd does not see the interface of a network beside the first come up again, and leaves it silent. So the radio goes
# off and on, with a moment's break for all of its networks (decision 0215). One that is on its way (DFS) begins with all.
open_guest()
{
    [ -e "$NET_DIR/$1" ] || return 0
    ip link set "$1" up || fail "cannot open $1"
    [ "$(cat "$NET_DIR/$1/carrier" 2>/dev/null)" != 0 ] || for_each_radio switch_off_and_on
}

switch_off_and_on()
{
    [ "$2" = ENABLED ] || return 0
    order "$1" disable
    order "$1" enable
}

# The interface comes with the radio, a moment later; it is not there while the radio is off.
close_guest()
{
    if [ -e "$NET_DIR/$1" ]; then
        ip link set "$1" down || fail "cannot close $1"
    elif any_radio_is_on; then
        not_yet "$1 is not there yet"
    fi
}

any_radio_is_on()
{
    for radio in $radios; do
        case $(state_of "$radio") in
        '' | DISABLED | UNINITIALIZED) ;;
        *) return 0 ;;
        esac
    done
    return 1
}
