# shellcheck shell=sh
# Sourced by the programs of radios: what the band that TC_WL_RATE names has in the box.
# shellcheck disable=SC2034 # for the caller
case $TC_WL_RATE in
24) band='2.4 GHz' keys=wl2g radio=wlan0 guest=guest0 ;;
5) band='5 GHz' keys=wl5g radio=wlan1 guest=guest1 ;;
esac

# is_on KEY
is_on()
{
    [ "$(cfm get "$1" 2>/dev/null)" = 1 ]
}

# switch IFNAME up|down WHAT STATE: and says so
switch()
{
    ip link set "$1" "$2" && echo "$3 $4"
}
