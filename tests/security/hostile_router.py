#!/usr/bin/env python3
"""hostile_router.py ROUTER_FOLDER [--runs N] [--seed S] [--shell SHELL]: the programs and hooks that a plain Linux router has
beside the daemon, each run by a real shell with values that want to be commands in every setting, argument, file and answer.

Hundreds of runs are one shell's: its tools are functions that note how they were called. What a tool was told, and what was
written, must be of the kinds listed here, and nothing that a value names may run.
"""
import argparse
import concurrent.futures
import os
import pathlib
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

TOOLS = ("cat", "sed", "grep", "head", "rm", "dirname", "readlink", "mkdir", "tr")
FRAGMENTS = ("'", '"', "\\", "`", "$(canary)", "`canary`", "${IFS}", ";canary;", "&canary&", "|canary", "\ncanary\n", "\r", "\t", " ",
             ">mark", "<mark", "!canary", "#", "*", "?", "[a-z]", "~root", "{a,b}", "\u00e4", "\x01", "%s%n", "-", "--help", "-n", "-e",
             "=", "canary", "br0", "wan1", "ppp0", "192.168.0.1", "../", "/", "..", "A" * 40, "\\n", "\\012", "\\c", "\ndhcp-script=/canary\n",
             '"; drop; "', "; flush ruleset;", "}", "include \"/canary\"", "\nLD_PRELOAD=/canary\n", "\\nDHTTPD_OPTIONS=--status\\n",
             "1", "0", "$((1))", "a[$(canary)]", "x,y", "nic-wan1", "call ../x", "DISABLED", "OK", "ENABLED", "FAIL")
PLAUSIBLE = {
    "lan.ifname": ("br0", ""), "lan.ip": ("192.168.0.1", "192.168.0.1/24", ""), "dhcps.en": ("0", "1"), "wans.flag": ("1", "2"),
    "sys.workmode": ("router", "ap", "client+ap"), "wan1.ifname": ("wan1", "eth0.7"), "wan2.ifname": ("wan2", ""), "wl.wisp.ifname": ("wlan0",),
    "wl.guest.dhcps_enable": ("0", "1"), "wl2g.ssid1.enable": ("0", "1"), "wl5g.ssid1.enable": ("0", "1"),
    "wl2g.public.enable": ("0", "1"), "wl5g.public.enable": ("0", "1"), "wan1.ppp.ifname": ("ppp0", ""), "wan2.ppp.ifname": ("ppp1",),
    "wan1.connecttype": ("0", "2"), "wan2.connecttype": ("0", "2"), "wan1_err_check": ("0", "2"), "wan2_err_check": ("0",),
    "wan1.pppoe.auth.changed": ("0", ""), "wan1.onln.beforestart": ("0", ""), "wan1.down.flag": ("0", ""), "reboot.flag": ("0", "")}
VERBS = ("dhcp-server-restart", "fault-page-start", "fault-page-stop", "guest-apply", "guest-restart", "media-server-start", "uplink-back",
         "uplink-lost", "upstream-back", "upstream-lost", "wan-offline", "wan-online", "wan-up", "wifi-restart", "wifi-start", "wifi-stop")
HOOKS = ("line", "dhclient", "dhcpcd", "udhcpc", "pppd-watch", "networkd-watch", "wlconf")
NAME = r"[A-Za-z0-9_][A-Za-z0-9_.:@+-]{0,14}"
ADDRESS = r"[0-9.]+/?[0-9]*"
# What a tool may be told: its words, each after a blank; the shell's functions mark the end of each.
CALLS = re.compile("|".join((
    rf"ip addr replace {ADDRESS} dev {NAME}", r"ip -4 route show (table wan[\w=,?-]* )?default", rf"ip -4 route del default dev {NAME}",
    r"ip -4 route (add|replace) default [^\0]*", rf"ip link set {NAME} (up|down)", r"nft (-f -|(list|delete) table (ip6?|inet) time_check_\w+)",
    r"systemctl (start|stop|restart|try-restart) [\w-]+", rf"networkctl (status|reconfigure) {NAME}",
    rf"ifup {NAME}", rf"ifdown --force {NAME}", rf"ifquery (--state )?{NAME}", rf"hostapd_cli -p \S+ -s \S+ -i {NAME} (status|enable|disable|reload)",
    r"cfm set (wan[12]\.(pppoe\.auth\.changed|onln\.beforestart|down\.flag)|reboot\.flag|wan[12]_err_check) [0-4]",
    r"(?s:wpa_cli -p \S+ -s \S+ -i .* (disconnect|reconnect|get_network 0 pairwise|set_network 0 pairwise (CCMP TKIP|CCMP|TKIP)))",
    r"(?s:setsid \S+ waiting .* \d+)", r"(?s:line dhcp .* (answers|silent|unknown|asking))", r"line wan [12] (refused|silent|unknown|connected)",
    r"(?s:script .*)")))
TEXTS = re.compile("|".join((
    rf"""table ip time_check_fault_page
delete table ip time_check_fault_page
table ip time_check_fault_page \{{
    chain prerouting \{{
        type nat hook prerouting priority -101; policy accept
        iifname != "{NAME}" accept
        tcp dport 80 fib daddr type != local dnat to [0-9.]+:8053
        (meta l4proto \{{ tcp, udp \}} th dport 53 dnat to [0-9.]+:8054)?
    \}}
\}}""", r"""table inet time_check_guest
delete table inet time_check_guest
table inet time_check_guest \{
    chain forward \{
        type filter hook forward priority -1; policy accept
        iifname "br1" drop
        oifname "br1" drop
    \}
\}""")))
FILES = {"dnsmasq.d/time_check-lan.conf": rf"no-dhcp-interface={NAME}\n", "dnsmasq.d/time_check-guest.conf": r"no-dhcp-interface=br1\n",
         "reply/dhttpd.env": rf"ADDRESS=[0-9.]+\nINTERFACE={NAME}\nPORT=8053\nLISTEN_6=(--listen=\[::\]:8053)?\nNAMES_PORT=8054\nNOWHERE=192\.0\.2\.1\n"
                             r"NOWHERE_6=(--address=/#/2001:db8::1)?\n",
         "noresp": r"[01]\n", "asking": r"\d+\n"}
PRELUDE = """
say() { printf '%s\\000' $# "$@" >>"$WORLD/calls"; }
canary() { : >"$WORLD/canary-has-run"; }
setting_of() { return 1; }
cfm() { if [ "$1" = get ]; then setting_of "$2"; else say cfm "$@"; fi; }
nft() { say nft "$@"; case "$*" in *'-f -') say text "$(cat)" ;; esac; return $status; }
for tool in ip systemctl networkctl ifup ifdown ifquery hostapd_cli wpa_cli setsid; do
    eval "$tool() { say $tool \\"\\$@\\"; printf '%s\\\\n' \\"\\$answer\\"; return \\$status; }"
done
journalctl() { :; }
dnsmasq() { :; }
sleep() { exit 0; }
"""
# What a run may leave for the next one to find.
BETWEEN = 'rm -f "$WORLD"/dnsmasq.d/* "$WORLD/reply/dhttpd.env" "$WORLD/noresp" "$WORLD/asking"\n'
RUNS_OF_A_SHELL = 100


class Dice(random.Random):
    def hostile(self):
        return "".join(self.choice(FRAGMENTS) for _ in range(self.randrange(6)))

    def value(self, plausible):
        return self.choice(plausible) if plausible and self.random() < 0.75 else self.hostile()


def word(text):
    """In another way than the programs' own."""
    return shlex.quote(text.replace("\0", ""))


class World:
    """A folder that is the whole machine of a shell."""

    def __init__(self, router):
        self.router = router
        self.folder = tempfile.TemporaryDirectory(prefix="hostile-")
        self.path = pathlib.Path(self.folder.name)
        for name in ("bin", "hooks", "net/wlan0", "net/wlan1", "net/br1", "net/wan1", "dnsmasq.d", "reply", "cwd", "netif/links",
                     "netif/leases", "proc/7", "ppp/peers"):
            (self.path / name).mkdir(parents=True)
        for tool in TOOLS:
            (self.path / "bin" / tool).symlink_to(shutil.which(tool))
        self.program("bin/canary", ': >"$WORLD/canary-has-run"')
        self.program("hooks/line", "printf '%s\\000' $(($# + 1)) line \"$@\" >>\"$WORLD/calls\"")
        self.program("hooks/script", "printf '%s\\000' $(($# + 1)) script \"$@\" >>\"$WORLD/calls\"")
        for name in ("dhclient", "dhcpcd"):
            text = (router / "hooks" / name).read_text()
            (self.path / "hooks" / name).write_text(text.replace("/usr/libexec/time_check/hooks/line", f"{self.path}/hooks/line"))

    def program(self, name, text):
        (self.path / name).write_text(f"#!/bin/sh\n{text}\n")
        (self.path / name).chmod(0o755)

    def environment(self):
        at = self.path
        return {"PATH": f"{at}/bin", "WORLD": f"{at}", "TC_PACKAGE": f"{self.router}/programs", "NET_DIR": f"{at}/net", "PPP_DIR": f"{at}/ppp",
                "HOSTAPD_DIR": f"{at}/hostapd", "REPLY_DIR": f"{at}/reply", "WPA_DIR": f"{at}/wpa", "DNSMASQ_DIR": f"{at}/dnsmasq.d",
                "TIME_CHECK_ROUTER_CONF": f"{at}/router.conf", "LINE_NORESP": f"{at}/noresp", "LINE_ASKING": f"{at}/asking",
                "NETWORKD_DIR": f"{at}/netif", "LOOKS_UNTIL_SILENT": "0", "PROC_DIR": f"{at}/proc", "UDHCPC_SCRIPT": f"{at}/hooks/script",
                "GUEST_24": "guest0", "LC_ALL": "C.UTF-8"}

    def run(self, shell, script):
        """What the tools were told, and what was written between the runs."""
        (self.path / "hooks/batch").write_text(script)
        (self.path / "calls").write_text("")
        done = subprocess.run([shutil.which(shell.split()[0]), *shell.split()[1:], self.path / "hooks/batch"], env=self.environment(), cwd=self.path / "cwd",
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, timeout=600)
        return (self.path / "calls").read_bytes(), done


def settings(dice):
    rows = "".join(f"{word(key)}) printf '%s\\n' {word(value)} ;; " for key, value in
                   ((key, dice.value(plausible)) for key, plausible in PLAUSIBLE.items()) if dice.random() < 0.9)
    return f"setting_of() {{ case $1 in {rows} *) return 1 ;; esac; }}\n"


def files(dice, world):
    """Files and links of the machine, by the shell that is to read them."""
    texts = {"net/wan1/ifindex": dice.value(("3", "")), "net/wan1/carrier": dice.value(("0", "1")), "netif/links/3": "ADMIN_STATE=" +
             dice.value(("configured", "configuring")), "proc/7/cmdline": dice.value(("pppd nic-wan2", "pppd call dsl", "pppoe -I wan1")),
             "ppp/peers/dsl": dice.value(("nic-wan1", "plugin rp-pppoe.so"))}
    return "".join(f"printf '%s\\n' {word(text)} >{world.path}/{name}\n" for name, text in texts.items())


def arguments(dice, name):
    interface = dice.value(("wan1", "ppp0"))
    if name == "line":
        return dice.choice((("dhcp", interface, dice.value(("answers", "silent", "unknown", "asking"))),
                            ("dialled", interface, dice.value(("connected", "refused", "silent", "unknown"))),
                            ("wan", dice.value(("1", "2")), dice.value(("refused", "silent"))), tuple(dice.hostile() for _ in range(3))))
    if name == "wlconf":
        return interface, dice.value(("down", "up", "start"))
    if name == "udhcpc":
        return (dice.value(("bound", "renew", "nak", "leasefail", "deconfig")),)
    return ("-",) if name == "pppd-watch" else ()


def variables(dice):
    plain = "".join(dice.choice("019azAZ_-=?,") for _ in range(dice.randrange(4)))  # as netctrl lets them through
    given = {"TC_WL_RATE": dice.choice(("24", "5", plain)), "TC_WAN_ID": dice.choice(("1", "2", plain)), "TC_TRY": dice.choice(("1", "2")),
             "interface": dice.value(("wan1",)), "reason": dice.value(("BOUND", "FAIL", "EXPIRE", "STOP", "CARRIER")), "new_host_name": dice.hostile(),
             "ifcarrier": dice.value(("up",)), "answer": dice.value(("OK", "state=ENABLED", "state=DISABLED", "Network File: /x",
                                                                    "default via 10.0.0.1 dev wan1 metric 10"))}
    return "".join(f"{name}={word(text)}\n" for name, text in given.items()) + f"status={dice.choice((0, 0, 0, 1, 4))}\n"


def lines_of_pppd(dice):
    return "".join(f"1.5 router pppd[{dice.value(('7', '8'))}]: {dice.value(('PAP authentication failed', 'Timeout waiting for PADO', 'started by '))}\n"
                   for _ in range(3))


def one_run(dice, world):
    name = dice.choice(VERBS + HOOKS)
    folder = world.router / ("programs" if name in VERBS else "path" if name == "wlconf" else "hooks")
    if name in ("dhclient", "dhcpcd"):
        folder = world.path / "hooks"
    words = " ".join(word(text) for text in arguments(dice, name))
    said = f"printf '%s' {word(lines_of_pppd(dice))} |" if name == "pppd-watch" else ""
    return (f"{settings(dice)}{files(dice, world)}{variables(dice)}TC_VERB={name}\nexport interface reason\n"
            f"{said} ( set -- {words}; . {folder}/{name} ) >/dev/null 2>&1\n", name)


def looks(world):
    """Notes what files hold after a run."""
    return "".join(f'[ ! -e "$WORLD/{name}" ] || say file {name} "$(cat "$WORLD/{name}"; echo .)"\n' for name in FILES)


def calls_of(told):
    words = told.split(b"\0")[:-1]
    while words:
        count = int(words[0])
        yield [text.decode("utf-8", "replace") for text in words[1:count + 1]]
        words = words[count + 1:]


def fault_of(call):
    """What is wrong with a call, or None."""
    if call[0] == "text":
        return None if TEXTS.fullmatch(call[1]) else "nft was told something else"
    if call[0] == "file":
        return None if re.fullmatch(FILES[call[1]], call[2][:-1]) else "a file holds something else"
    return None if CALLS.fullmatch(" ".join(call)) else "a tool was called in another way"


def batch(router, shell, seed, runs):
    dice = Dice(seed)
    world = World(router)
    given = [one_run(dice, world) for _ in range(runs)]
    script = PRELUDE + "".join(f"{BETWEEN}say run {number}\n{text}{looks(world)}" for number, (text, _) in enumerate(given)) + "say over\n"
    told, done = world.run(shell, script)
    number = 0
    calls = 0
    last = None
    for call in calls_of(told):
        last = call
        if call[0] == "run":
            number = int(call[1])
        elif call[0] != "over":
            calls += 1
            fault = fault_of(call)
            if fault:
                sys.exit(f"{given[number][1]}: {fault}: {call!r}\nseed {seed}, run {number}:\n{given[number][0]}")
    if last != ["over"]:
        sys.exit(f"{given[number][1]}: the shell has ended early with {done.returncode}, seed {seed}, run {number}:\n{given[number][0]}")
    if (world.path / "canary-has-run").exists() or list((world.path / "cwd").iterdir()):
        sys.exit(f"seed {seed}: something of a value has run or was written: {list((world.path / 'cwd').iterdir())}")
    return calls


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("router", type=pathlib.Path)
    parser.add_argument("--runs", type=int, default=2000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--shell", default="sh")
    asked = parser.parse_args()
    batches = -(-asked.runs // RUNS_OF_A_SHELL)
    with concurrent.futures.ProcessPoolExecutor(os.cpu_count()) as pool:
        calls = sum(pool.map(batch, *zip(*((asked.router.resolve(), asked.shell, asked.seed * 1000003 + number, RUNS_OF_A_SHELL)
                                           for number in range(batches)))))
    print(f"hostile values: {batches * RUNS_OF_A_SHELL} runs of the router's programs and hooks with {calls} calls, as they are, in "
          f"{asked.shell}, seed {asked.seed}")


if __name__ == "__main__":
    main()
