# shellcheck shell=sh
# shellcheck disable=SC2034 # what is set here is for the programs
# Sourced by the programs: what this router consists of, and the ways to it. Interfaces and services are named in
# /etc/time_check/router.conf (docs/netctrl.md lists the names), else as below.
config=${TIME_CHECK_ROUTER_CONF:-/etc/time_check/router.conf}
# shellcheck source=/dev/null
[ ! -r "$config" ] || . "$config"

: "${WIFI_24=wlan0}" "${WIFI_5=wlan1}" "${GUEST_24=}" "${GUEST_5=}" "${GUEST_BRIDGE=br1}"
: "${HOSTAPD_DIR=/run/hostapd}" "${WPA_DIR=/run/wpa_supplicant}" "${DNSMASQ_DIR=/etc/dnsmasq.d}"
: "${DNSMASQ_SERVICE=dnsmasq}" "${MEDIA_SERVICE=minidlna}" "${FAULT_PAGE_SERVICE=time_check-dhttpd}"
: "${FAULT_NAMES_SERVICE=time_check-fault-names}" "${FAULT_PAGE_PORT=8053}" "${FAULT_PAGE_NAMES_PORT=8054}"
: "${FAULT_PAGE_NOWHERE=192.0.2.1}" "${FAULT_PAGE_NOWHERE_6=2001:db8::1}" "${LINE_PATIENCE=40}"
: "${REPLY_DIR=${TIME_CHECK_RUN_DIR:-/run/time_check}}" "${NET_DIR=/sys/class/net}" "${IPV6_DIR=/proc/sys/net/ipv6/conf}"
: "${FAULT_PAGE_ENV=$REPLY_DIR/dhttpd.env}"

# ---- how it went: exit statuses as netctrl knows them ----

# not_here TEXT...: this machine has nothing that could do it; said once
not_here()
{
    [ "${TC_LAST_STATUS-}" = 69 ] || echo "${TC_VERB-}: $*"
    exit 69
}

# not_yet TEXT...: netctrl runs the program again later; said at the first of these tries
not_yet()
{
    [ "${TC_TRY:-1}" != 1 ] || echo "${TC_VERB-}: $*"
    exit 75
}

# fail TEXT...
fail()
{
    echo "${TC_VERB-}: $*" >&2
    exit 1
}

has()
{
    command -v "$1" >/dev/null
}

need()
{
    has "$1" || not_here "there is no $1"
}

# ---- settings of time_check ----

# setting KEY [DEFAULT]
setting()
{
    setting=$(cfm get "$1" 2>/dev/null) || setting=
    printf '%s\n' "${setting:-${2-}}" # echo would make line ends of what a value holds
}

is_on()
{
    [ "$(setting "$1")" = 1 ]
}

# The bridge of the LAN, and its configured address.
lan()
{
    printf '%s\n' "${LAN:-$(setting lan.ifname br0)}"
}

lan_address()
{
    address=${LAN_ADDRESS:-$(setting lan.ip)}
    case $address in
    '' | */*) printf '%s\n' "$address" ;;
    *) printf '%s\n' "$address/24" ;;
    esac
}

# speaks_6 INTERFACE: whether it has IPv6, which then has an address of the link at least
speaks_6()
{
    [ "$(cat "$IPV6_DIR/$1/disable_ipv6" 2>/dev/null)" = 0 ]
}

# has_address_6 INTERFACE: whether others of the link can have a way by IPv6 to elsewhere
has_address_6()
{
    ip -6 addr show dev "$1" scope global 2>/dev/null | grep -q inet6
}

# wan NUMBER: its interface
wan()
{
    case $1 in
    1) printf '%s\n' "${WAN1:-$(setting wan1.ifname wan1)}" ;;
    2) printf '%s\n' "${WAN2:-$(setting wan2.ifname wan2)}" ;;
    *) setting "wan$1.ifname" "wan$1" ;;
    esac
}

# The interface of a WISP's uplink.
uplink()
{
    printf '%s\n' "${UPLINK:-$(setting wl.wisp.ifname "$(wan 1)")}"
}

# A setting may hold any text. What goes into files of other programs or beside their options has to be what it is called:
# a second line would be an option of its own (decision 0225).

# must_be_interface NAME
must_be_interface()
{
    case $1 in
    '' | [!A-Za-z0-9_]* | *[!A-Za-z0-9_.:@+-]* | ????????????????*) fail "there can be no such interface: $(shown "$1")" ;;
    esac
}

# must_be_address ADDRESS[/BITS]
must_be_address()
{
    case $1 in
    '' | [!0-9]* | *[!0-9./]* | */*/* | */) fail "there can be no such address: $(shown "$1")" ;;
    esac
}

# shown TEXT: for a line of the log
shown()
{
    printf %.60s "$1" | LC_ALL=C tr -c '[:print:]' '?'
}

# ---- interfaces, by who looks after them ----

# restart_interface NAME: has it ask for its address again
restart_interface()
{
    must_be_interface "$1"
    if is_networkds "$1"; then
        networkctl reconfigure "$1" || fail "networkctl reconfigure $1"
    elif has ifup && ifquery "$1" >/dev/null 2>&1; then
        ifdown --force "$1" || :
        ifup "$1" || fail "ifup $1"
    else
        not_here "neither systemd-networkd nor ifupdown looks after $1"
    fi
}

# is_networkds NAME: whether systemd-networkd looks after the interface
is_networkds()
{
    has networkctl && networkctl status "$1" 2>/dev/null | grep -q 'Network File: /'
}

# ---- services ----

# service ACT NAME
service()
{
    need systemctl
    service_status=0
    service_said=$(systemctl "$1" "$2" 2>&1) || service_status=$?
    case $service_status in
    0) ;;
    4 | 5) not_here "there is no service $2" ;; # systemctl: no such unit
    *) fail "systemctl $1 $2 has ended with $service_status: $service_said" ;;
    esac
}

# dnsmasq_dhcp NAME INTERFACE on|off: whether dnsmasq gives out addresses there. It reads its files at a start only.
dnsmasq_dhcp()
{
    must_be_interface "$2"
    [ -d "$DNSMASQ_DIR" ] || not_here "there is no $DNSMASQ_DIR"
    dnsmasq_file=$DNSMASQ_DIR/time_check-$1.conf
    if [ "$3" = on ]; then
        [ -e "$dnsmasq_file" ] || return 0
        rm -f "$dnsmasq_file"
    else
        [ "$(cat "$dnsmasq_file" 2>/dev/null)" != "no-dhcp-interface=$2" ] || return 0
        echo "no-dhcp-interface=$2" >"$dnsmasq_file" || fail "cannot write $dnsmasq_file"
    fi
    service try-restart "$DNSMASQ_SERVICE"
}
