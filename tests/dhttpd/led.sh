# shellcheck shell=bash
# Sourced by the stories of led clients, which a test starts as: STORY PROJECT BUILT_PROGRAMS. The programs fault-page-start
# and fault-page-stop with nftables and dnsmasq as they are, in a network of the test's own: a bridge, and a client in a
# namespace behind it. Only systemctl is the test's: it runs what the units run.
set -euo pipefail
if [[ ${LED_INSIDE-} != yes ]]; then
    exec env LED_INSIDE=yes unshare --user --map-root-user --mount --net --pid --mount-proc --fork --kill-child "$0" "$@"
fi
project=$1
programs=$2
export PATH=$PATH:/usr/sbin:/sbin
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder"/{bin,run-status,run,web}

die()
{
    echo "NOT SO: $*" >&2
    exit 1
}

# expect WHAT WANTED FOUND
expect()
{
    [[ $3 == *"$2"* ]] || die "$1: $2 is not in: $3"
    echo "ok: $1"
}

# ---- the house ----

unshare --net sleep 300 &
other=$!
until [[ $(readlink /proc/$other/ns/net) != "$(readlink /proc/self/ns/net)" ]]; do sleep 0.05; done

client()
{
    nsenter --target "$other" --net "$@"
}

ip link set lo up
ip link add br7 type bridge
ip addr add 192.168.7.1/24 dev br7
ip link set br7 up
ip link add port1 type veth peer name lan1 netns "$other"
ip link set port1 master br7 up
client ip link set lo up
client ip addr add 192.168.7.2/24 dev lan1
client ip link set lan1 up
client ip route add default via 192.168.7.1
printf 'LAN=br7\nLAN_ADDRESS=192.168.7.1/24\n' >"$folder/router.conf"
echo "the router's own page" >"$folder/web/index.html"
busybox httpd -p 192.168.7.1:80 -h "$folder/web"
dnsmasq --keep-in-foreground --conf-file=/dev/null --pid-file= --no-hosts --no-resolv --user= --group= \
    --host-record=printer.lan,192.168.7.9 >/dev/null 2>&1 &
mkfifo "$folder/says"
"$programs/page_holder" "$folder/run-status/status" <"$folder/says" >/dev/null &
exec 3>"$folder/says"
echo 'fault=4 verdict=8 since=700 wan1=2' >&3

cat >"$folder/bin/systemctl" <<SYSTEMCTL
#!/bin/bash
set -a
. "$folder/dhttpd.env"
[[ \$1 != stop ]] || exec kill \$(<"$folder/time_check-dhttpd.pid") \$(<"$folder/time_check-fault-names.pid")
! kill -0 \$(<"$folder/\$2.pid") || exit 0
line=\$(sed ':more; /\\\\\$/ { N; s/\\\\\\n//; b more }' "$project/router/systemd/\$2.service" | sed -n 's/^ExecStart=//p')
eval "exec setsid \${line//\/usr\/libexec\/time_check/$programs}" </dev/null >"$folder/\$2.log" 2>&1 3>&- &
echo \$! >"$folder/\$2.pid"
SYSTEMCTL
printf '#!/bin/sh\nexit 1\n' >"$folder/bin/cfm"
chmod +x "$folder"/bin/*

# verb NAME
verb()
{
    PATH=$folder/bin:$PATH TIME_CHECK_RUN_DIR=$folder/run TC_VERB=$1 TC_PACKAGE=$project/router/programs \
        TIME_CHECK_ROUTER_CONF=$folder/router.conf FAULT_PAGE_ENV=$folder/dhttpd.env sh "$project/router/programs/$1" ||
        die "$1 has ended with $?"
}

address_of()
{
    client timeout 20 busybox nslookup -type="$2" "$1" 192.168.7.1 2>&1 || true
}

answers()
{
    client timeout 1 busybox nslookup -type=a www.example.org 192.168.7.1 | grep -q 192.0.2.1
}

page()
{
    client curl -s -i -m 10 "$@" || echo "curl: $?"
}
