#!/usr/bin/env python3
"""lines.py BUILD BIN_FOLDER CASE: the hooks of DHCP clients with these clients, a cable, a provider's server and the daemon,
in namespaces of its own. Ends with status 0 when all is as it should be, with 77 when it cannot be shown here.

BUILD is installed into the namespaces, as an owner without packages does it. Nothing of the machine itself is changed:
/etc, /run, /var/lib and the folder of dhcpcd's hooks are copies of these namespaces' own.
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
import expect as expectation  # noqa: E402
from expect import SECONDS, expect  # noqa: E402

SKIPPED = 77
PREFIX = "/opt/a-router"
HOOKS = pathlib.Path(PREFIX, "libexec/time_check/hooks")
NORESP = pathlib.Path("/etc/dhcpc/noresp")
PLANTED = pathlib.Path("/tmp/planted")
HOSTILE = f"a'b\\\"c;>{PLANTED};$(>{PLANTED})`>{PLANTED}`|*"
SETTINGS = {"sys.workmode": "router", "wl2g.public.mode": "ap", "wl5g.public.mode": "ap", "wans.flag": "1",
            "wan1.connecttype": "0"}
# What a provider's server says: leases of ten seconds, and texts that no shell may read.
SERVER = f"""start 10.91.0.50
end 10.91.0.60
interface provider
lease_file /tmp/server.leases
pidfile /tmp/server.pid
min_lease 5
opt lease 10
opt subnet 255.255.255.0
opt router 10.91.0.1
opt hostname {HOSTILE}
opt domain {HOSTILE}
opt message {HOSTILE}
"""


def wait_for(what, holds, seconds=SECONDS):
    try:
        expectation.wait_for(what, holds, seconds)
    except SystemExit:
        show()
        raise


def show():
    """What is worth knowing when something was not seen."""
    for command in ("ip addr show dev wan1", f"grep . {NORESP}", "tail -n 20 /tmp/*.log", "tcctl why stoppage"):
        print(f"$ {command}\n{run('sh', '-c', command).stdout}")


def run(*words, **options):
    return subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)


def do(command):
    subprocess.run(["sh", "-euc", command], check=True)


def start(name, *words):
    """A program with its lines in a file, which ends with the namespaces."""
    with open(f"/tmp/{name}.log", "a", encoding="utf-8") as log:
        return subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd="/")


def end(process):
    process.terminate()
    process.wait()


def cfm(*words):
    return run("cfm", *words).stdout.strip()


# ---- the world: this machine's programs, the router's folders, the provider in a namespace ----

def make_folders(build):
    do("""mount -t sysfs sysfs /sys
        mount -t tmpfs tmpfs /run
        mount -t tmpfs tmpfs /mnt
        for folder in etc opt usr/lib/dhcpcd/dhcpcd-hooks; do
            [ -d "/$folder" ] || continue
            name=$(echo "$folder" | tr / _)
            mkdir -p "/mnt/$name/upper" "/mnt/$name/work"
            mount -t overlay overlay -o "lowerdir=/$folder,upperdir=/mnt/$name/upper,workdir=/mnt/$name/work" "/$folder"
        done
        # As an ordinary user's namespaces cannot write to a folder of root's below another.
        mkdir -p /mnt/dhcp /etc/dhcp
        cp -r /etc/dhcp/. /mnt/dhcp/
        mount --bind /mnt/dhcp /etc/dhcp
        mount -t tmpfs tmpfs /var/lib
        mkdir -p /var/lib/dhcp /var/lib/dhcpcd""")
    said = run("cmake", "--install", build, "--prefix", PREFIX, "--component", "router")
    expect(said.returncode == 0, "the hooks are installed" if said.returncode == 0 else said.stdout)
    do("mount -t tmpfs tmpfs /tmp")  # last: the build may lie below it


def make_network():
    do("""ip link set lo up
        ip netns add isp
        ip link add wan1 type veth peer name provider netns isp
        ip -n isp addr add 10.91.0.1/24 dev provider
        ip -n isp link set provider up
        ip link set wan1 up""")
    pathlib.Path("/tmp/server.conf").write_text(SERVER)


def start_daemon():
    for key, value in SETTINGS.items():
        cfm("set", key, value)
    start("time_check", "time_check")
    wait_for("the daemon runs", lambda: run("tcctl", "why", "stoppage").returncode == 0)


def start_server():
    return start("udhcpd", "ip", "netns", "exec", "isp", "busybox", "udhcpd", "-f", "-S", "/tmp/server.conf")


def cable(state):
    do(f"ip -n isp link set provider {state}")


def noted():
    return NORESP.read_text() if NORESP.exists() else None


def verdict():
    said = json.loads(run("tcctl", "why", "stoppage", "--json").stdout)
    return said["explanations"][0]["verdict"]


def has_fault(code):
    """The daemon times this fault, or has told of it."""
    return verdict() in ("fault_timed", "fault_lasts") and cfm("get", "wan_stoppage_err") == code


def has_no_fault():
    return verdict() in ("no_fault", "fault_gone", "online")


def address():
    return "inet 10.91.0." in run("ip", "-4", "addr", "show", "dev", "wan1").stdout


def nothing_was_run():
    expect(not PLANTED.exists(), "nothing of what the server says was run")


# ---- a client's life ----

def live(client):
    """No server, one that answers, none in the middle of a lease, one again; at last the cable."""
    wait_for("nobody answers: it is noted", lambda: noted() == "1\n")
    wait_for("the daemon finds a silent DHCP server", lambda: has_fault("4"))
    server = start_server()
    wait_for("a server answers: there is an address", address)
    wait_for("it is noted", lambda: noted() == "0\n")
    wait_for("the daemon finds no fault", has_no_fault)
    if client.lease is not None:
        wait_for("what the server says has come", lambda: str(PLANTED) in pathlib.Path(client.lease).read_text())
    nothing_was_run()
    end(server)
    wait_for("the lease ends and nobody answers: it is noted", lambda: not address() and noted() == "1\n")
    wait_for("the daemon finds a silent DHCP server", lambda: has_fault("4"))
    server = start_server()
    wait_for("a server answers again", lambda: address() and noted() == "0\n")
    wait_for("the daemon finds no fault", has_no_fault)
    cable("down")
    if client.stops_without_carrier:
        wait_for("the cable is pulled: the address is gone", lambda: not address())
        wait_for("the daemon finds no link", lambda: has_fault("1"))
    expect(noted() == "0\n", "without a cable no server is blamed")
    cable("up")
    wait_for("with a cable there is an address", address)
    nothing_was_run()


class Dhclient:
    """isc-dhcp-client, by its folder of exit hooks."""

    stops_without_carrier = False
    lease = "/tmp/dhclient.leases"

    def __init__(self):
        pathlib.Path("/etc/dhcp/dhclient-exit-hooks.d").mkdir(parents=True, exist_ok=True)
        shutil.copy(HOOKS / "dhclient", "/etc/dhcp/dhclient-exit-hooks.d/time_check")
        pathlib.Path("/etc/dhcp/dhclient.conf").write_text(
            "timeout 4;\nretry 3;\nrequest subnet-mask, routers, host-name, domain-name;\n")
        start("dhclient", "dhclient", "-4", "-d", "-v", "-lf", self.lease, "-pf", "/tmp/dhclient.pid", "wan1")


class Udhcpc:
    """busybox's client, by a script that calls the distribution's own."""

    stops_without_carrier = False
    lease = None

    def __init__(self):
        start("udhcpc", "udhcpc", "-f", "-i", "wan1", "-t", "2", "-T", "1", "-A", "3", "-s", str(HOOKS / "udhcpc"))


class Dhcpcd:
    """dhcpcd, by its folder of hooks; it never says that nobody answers."""

    stops_without_carrier = True
    lease = None

    def __init__(self):
        shutil.copy(HOOKS / "dhcpcd", "/usr/lib/dhcpcd/dhcpcd-hooks/80-time_check")
        pathlib.Path("/etc/time_check").mkdir(exist_ok=True)
        pathlib.Path("/etc/time_check/router.conf").write_text("LINE_PATIENCE=5\n")
        start("dhcpcd", "dhcpcd", "-B", "-4", "--noipv4ll", "wan1")


CLIENTS = {"dhclient": Dhclient, "udhcpc": Udhcpc, "dhcpcd": Dhcpcd}


def inside(build, binaries, case):
    os.environ["PATH"] = f"{binaries}:{os.environ['PATH']}"
    os.environ["TIME_CHECK_LEDS"] = "none"
    os.environ["TIME_CHECK_CONF_DIR"] = "/tmp/conf"
    make_folders(build)
    make_network()
    start_daemon()
    live(CLIENTS[case]())


def main():
    build, binaries, case = sys.argv[1:4]
    if len(sys.argv) == 5:
        inside(build, binaries, case)
        return
    root = os.getuid() == 0
    if case == "dhcpcd" and not root:  # it takes the rights of a user of its own, whom an ordinary user's namespaces lack
        print("skipped: dhcpcd needs root")
        sys.exit(SKIPPED)
    namespaces = ["unshare", *([] if root else ["--user", "--map-root-user"]), "--net", "--mount", "--pid", "--fork",
                  "--kill-child=KILL", "--mount-proc"]
    if subprocess.run([*namespaces, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
        print("skipped: no namespaces for this user")
        sys.exit(SKIPPED)
    sys.exit(subprocess.run([*namespaces, sys.executable, __file__, build, binaries, case, "inside"], check=False).returncode)


if __name__ == "__main__":
    main()
