#!/usr/bin/env python3
"""ledger.py BIN_FOLDER CASE: what a daemon has made outside is taken back when it ends and by the next one when it was
killed, and what is somebody else's is left alone. In namespaces of its own. Ends with status 0 when all is as it should be.

The case "walk" kills daemons at steps of their lives. LEDGER_ROUNDS (how many; default 2), LEDGER_SECONDS (for how long
instead), LEDGER_FIRST (the first round's number, from which all chance comes; default random) in the environment; with
LEDGER_EACH=yes round N kills at step N. A round is told by its number again. The last line has the figures.
"""
import os
import pathlib
import random
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from expect import SECONDS, expect, wait_for  # noqa: E402
import program  # noqa: E402

SETTINGS = {**program.SETTINGS, "wans.flag": "1", "sys.sched.led.type": "close", "nkgw.led.state": "3"}
RESOLV_CONF = pathlib.Path("/etc/resolv.conf")
BESIDE = pathlib.Path("/etc/resolv.conf.time_check")
AS_FOUND = "# as found\nnameserver 127.0.0.1\nnameserver 127.0.0.1\noptions attempts:1\n"
REWRITTEN = "# by a DHCP client\nnameserver 127.0.0.1\n"
RATE = 10  # of the box's clock, so that the passes of the check come soon


def sh(text):
    subprocess.run(text, shell=True, check=True)


class NameServer(threading.Thread):
    """Answers with an address for each name, or that there is no such name."""

    def __init__(self):
        super().__init__(daemon=True)
        self.answers = False
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 53))
        self.start()

    def run(self):
        while True:
            query, sender = self.socket.recvfrom(512)
            end = query.index(b"\0", 12) + 5
            if self.answers:
                address = bytes((198, 51, 100, sum(query[12:end]) % 250 + 1))
                body = query[12:end] + b"\xc0\x0c" + struct.pack("!HHIH", 1, 1, 1, 4) + address
                reply = query[:2] + struct.pack("!HHHHH", 0x8180, 1, 1, 0, 0) + body
            else:
                reply = query[:2] + struct.pack("!HHHHH", 0x8183, 1, 0, 0, 0) + query[12:end]
            self.socket.sendto(reply, sender)


class World:
    """The machine around the daemon."""

    def __init__(self, work):
        self.work = work
        self.leds = work / "leds"
        self.names = NameServer()
        for command in ("ip link add wan1 type veth peer name inet1", "ip address add 10.91.0.2/24 dev wan1",
                        "ip link set wan1 up", "ip link set inet1 up"):
            subprocess.run(command.split(), check=True)
        sh(f"mkdir {work}/etc && cp -a --no-preserve=ownership /etc/passwd /etc/group /etc/nsswitch.conf /etc/hosts /etc/iproute2 /etc/alternatives {work}/etc 2>/dev/null; "
           f"mkdir -p {work}/etc/iproute2; echo '101 wan1\n102 wan2' >>{work}/etc/iproute2/rt_tables; "
           f"mount -t tmpfs none /mnt && cp -a {work}/etc/. /mnt && mount --bind /mnt /etc")
        sh("iptables -N others && iptables -A others -p udp --dport 5353 -j DROP && iptables -A OUTPUT -j others && "
           "ip rule add to 203.0.113.9 lookup 100 prio 5004")
        os.environ["TIME_CHECK_LED_DIR"] = str(self.leds)
        os.environ["TIME_CHECK_LEDS"] = "power wan"

    def make(self):
        """Files as they are before the first daemon, and no state of an earlier one."""
        for folder in (self.work / "run", self.leds):
            shutil.rmtree(folder, ignore_errors=True)
        for name, trigger in (("power", "none [heartbeat] timer"), ("wan", "[none] timer"), ("disk", "[none] timer")):
            (self.leds / name).mkdir(parents=True)
            for attribute, text in (("trigger", trigger), ("brightness", "3"), ("max_brightness", "9")):
                (self.leds / name / attribute).write_text(text + "\n")
        RESOLV_CONF.unlink(missing_ok=True)
        RESOLV_CONF.write_text(AS_FOUND)
        self.names.answers = False
        for key, value in SETTINGS.items():
            program.cfm("set", key, value)

    def show_triggers(self):
        """As the kernel does: all there are, the one in force in brackets. Between two lives."""
        for name in ("power", "wan", "disk"):
            force = self.led(name)[0]
            text = " ".join(f"[{each}]" if each == force else each for each in ("none", "heartbeat", "timer"))
            (self.leds / name / "trigger").write_text(text + "\n")

    def led(self, name):
        trigger = (self.leds / name / "trigger").read_text()
        inside = trigger[trigger.find("[") + 1:trigger.find("]")] if "[" in trigger else trigger
        return inside.strip(), (self.leds / name / "brightness").read_text().strip()

    def outside(self):
        """What somebody else sees; an LED's brightness is its trigger's where it has one."""
        leds = {name: (led[0], led[1] if led[0] == "none" else "") for name in ("power", "wan", "disk") for led in (self.led(name),)}
        return {"chains": program.run("iptables", "-S").stdout, "rules": program.run("ip", "rule").stdout,
                "resolv.conf": RESOLV_CONF.read_text(), "beside": BESIDE.exists(), "leds": leds}


class Life:
    """A daemon's, on a clock that goes faster, until it is ended or killed at a step."""

    def __init__(self, world, step=0):
        world.names.answers = False
        world.show_triggers()
        self.log = world.work / "log"
        self.log.touch()
        self.begun_at = self.log.stat().st_size
        preload = f"{os.environ['LEDGER_BIN']}/libbox_clock.so"
        zero = 1772505000000 - RATE * time.clock_gettime_ns(time.CLOCK_BOOTTIME) // 1000000  # a night in March
        words = ("env", f"LD_PRELOAD={preload}", f"BOX_CLOCK_RATE={RATE}", f"BOX_CLOCK_ZERO_MS={zero}", "TZ=UTC0",
                 f"TIME_CHECK_COMMAND_DEADLINE_S={600 * RATE}", "time_check")
        with open(self.log, "ab") as log:
            self.tracer = subprocess.Popen(("killed_at", str(step), *words), stdout=subprocess.PIPE, stderr=log, text=True)
        self.pid = int(self.tracer.stdout.readline())

    def says(self, text):
        return text in self.log.read_text(errors="replace")[self.begun_at:]

    def is_over(self):
        return self.tracer.poll() is not None

    def wait(self):
        """How many steps it did."""
        status = self.tracer.wait(SECONDS)
        lines = self.tracer.stdout.read().splitlines()
        if status != 0:
            sys.exit(f"NOT SO: it ends in order, or was killed: {status}\n{self.log.read_text(errors='replace')[-3000:]}")
        return int(lines[-1])

    def signal(self, number):
        if not self.is_over():
            os.kill(self.pid, number)


def until(holds, *lives):
    """Waits for it, or for the end of a life; without a word."""
    deadline = time.monotonic() + SECONDS
    while not holds() and not any(life.is_over() for life in lives):
        if time.monotonic() > deadline:
            return False
        time.sleep(0.03)
    return True


def rules():
    return [line for line in program.run("ip", "rule").stdout.splitlines() if line.startswith("500") and "5004" not in line]


def live(world, life, leds_go_off=True):
    """Until it has made all that it can make, or is dead. One that follows a daemon that was killed after it had stored that
    the LEDs are off, and before it switched them, takes them for dark."""
    def seen(what, holds):
        if not until(holds, life):
            sys.exit(f"NOT SEEN: {what}\n{(world.work / 'log').read_text(errors='replace')[-3000:]}")
    seen("the check's start is over", lambda: life.says("the dns server is failed"))
    seen("LEDs off", lambda: not leds_go_off or world.led("power") == world.led("wan") == ("none", "0"))
    seen("the name servers turned", lambda: RESOLV_CONF.read_text() != AS_FOUND)
    world.names.answers = True
    seen("policy rules", lambda: len(rules()) == 3)


def differences(found, wanted):
    return {key: (found[key], wanted[key]) for key in wanted if found[key] != wanted[key]}


def ends_in_order(world):
    """Also after it was killed: what was there before comes back, and the LEDs follow their setting again meanwhile."""
    world.make()
    before = world.outside()
    for killed in (False, True):
        life = Life(world)
        live(world, life)
        print(f"ok: it has made {differences(world.outside(), before).keys()}")
        if killed:
            life.signal(signal.SIGKILL)
            life.wait()
            expect(world.led("power") == ("none", "0"), "killed, it leaves the LEDs")
            life = Life(world)
            live(world, life)
        life.signal(signal.SIGTERM)
        life.wait()
        expect(differences(world.outside(), before) == {}, f"all is as before: {differences(world.outside(), before)}")
    life = Life(world)
    wait_for("the next one sets the LEDs again, as they are to be off",
             lambda: [world.led(name) for name in ("power", "wan")] == [("none", "0")] * 2)
    life.signal(signal.SIGTERM)
    life.wait()
    expect(differences(world.outside(), before) == {}, "and puts them back again")


def leaves_what_is_others(world):
    """What somebody else changes while it runs, or after it was killed, stays."""
    for killed in (False, True):
        for in_place in (False, True):
            world.make()
            life = Life(world)
            live(world, life)
            if killed:
                life.signal(signal.SIGKILL)
                life.wait()
            if not in_place:
                RESOLV_CONF.unlink()
            RESOLV_CONF.write_text(REWRITTEN)
            (world.leds / "power" / "trigger").write_text("none heartbeat [timer]\n")
            (world.leds / "wan" / "brightness").write_text("1\n")
            sh("ip rule add to 203.0.113.8 lookup 100 prio 5001")
            if killed:
                sh("iptables -F dns_drop && iptables -A dns_drop -p tcp -j ACCEPT")
                before = RESOLV_CONF.stat()
                life = Life(world)
                until(lambda life=life: life.says("the dns server is failed"), life)
            else:
                before = RESOLV_CONF.stat()
            life.signal(signal.SIGTERM)
            life.wait()
            after = RESOLV_CONF.stat()
            expect(RESOLV_CONF.read_text() == REWRITTEN and before.st_mtime_ns == after.st_mtime_ns, "the DHCP client's file stays")
            expect(world.led("power")[0] == "timer" and world.led("wan") == ("none", "1"), f"LEDs that somebody switched stay: "
                   f"{world.led('power')}, {world.led('wan')}")
            expect(killed or "to 203.0.113.8" in program.run("ip", "rule").stdout, "a rule of the same priority stays")
            expect("dns_drop" not in program.run("iptables", "-S").stdout, "the chain is gone")
            program.run("ip", "rule", "del", "to", "203.0.113.8")


def trusts_no_other_file(world):
    """Short, long, of another version or machine start, a link, a folder: made anew, and nothing is done by it."""
    path = world.work / "run" / "ledger"
    victim = world.work / "victim"
    world.make()
    life = Life(world)
    live(world, life)
    life.signal(signal.SIGKILL)
    life.wait()
    good = bytearray(path.read_bytes())
    expect(path.stat().st_mode & 0o777 == 0o600, "it is closed to others")
    other_version = bytes([good[0] + 1]) + good[1:]
    other_start = good[:4] + b"00000000" + good[12:]
    for what, text in (("empty", b""), ("short", good[:-1]), ("long", good + b"\0"), ("another version", other_version),
                       ("another start", bytes(other_start)), ("garbage", random.Random(1).randbytes(len(good)))):
        path.write_bytes(text)
        life = Life(world)
        expect(until(lambda: path.exists() and path.stat().st_size == len(good) and path.read_bytes()[:44] == good[:44], life) and
               not life.is_over(), f"{what}: made anew")
        life.signal(signal.SIGTERM)
        life.wait()
    victim.write_bytes(bytes(good))
    path.unlink()
    path.symlink_to(victim)
    life = Life(world)
    until(lambda: not path.is_symlink(), life)
    life.signal(signal.SIGTERM)
    life.wait()
    expect(victim.read_bytes() == bytes(good), "where a link leads nothing is written")
    path.unlink()
    path.mkdir()
    life = Life(world)
    live(world, life)
    life.signal(signal.SIGTERM)
    life.wait()
    expect("ledger:" in life.log.read_text() and rules() == [], "without a file a line says so, and it ends in order all the same")
    path.rmdir()


def ends_commands_of_a_killed_one(world):
    """That is waited for; what was begun to go on lives, and so does another process with the number."""
    world.make()
    program.program_in_path(world.work, "ps", f"echo $$ >{world.work}/hangs\nsleep 600\n")
    for reused in (False, True):
        (world.work / "hangs").unlink(missing_ok=True)
        life = Life(world)
        until(lambda: program.cfm("post", "time_check", "time_check_daemon?op=1,string_info=minidlna").returncode == 0, life)
        until(lambda: (world.work / "hangs").exists() and (world.work / "hangs").read_text() != "", life)
        life.signal(signal.SIGKILL)
        life.wait()
        wait_for("its command lives on", lambda: program.run("pgrep", "-f", "sleep 600").stdout != "")
        if reused:  # as if it had been noted before that process began
            path = world.work / "run" / "ledger"
            text = path.read_bytes()
            path.write_bytes(text[:-4] + struct.pack("i", 1))
        life = Life(world)
        if reused:
            wait_for("the next one is past that", lambda life=life: life.says("the dns server is failed"))
            expect(program.run("pgrep", "-f", "sleep 600").stdout != "", "another process with its number is left alone")
        else:
            wait_for("the next one ends it", lambda: program.run("pgrep", "-f", "sleep 600").stdout == "")
        life.signal(signal.SIGTERM)
        life.wait()


class Walk:
    """Rounds in which a daemon is killed at a step of its life, often the next one, too, and a third one ends in order."""

    def __init__(self, world):
        self.world = world
        self.rounds = self.kills = self.most = 0

    def life(self, step, chance, is_first=False):
        life = Life(self.world, step)
        live(self.world, life, is_first)
        if chance.random() < 0.5:
            self.world.names.answers = False
        life.signal(signal.SIGTERM)
        steps = life.wait()
        self.most = max(self.most, steps)
        self.kills += steps == step and step != 0

    def round(self, number):
        chance = random.Random(number)
        self.world.make()
        before = self.world.outside()
        is_each = os.environ.get("LEDGER_EACH") == "yes"
        self.life(number if is_each else chance.randint(1, self.most), chance, True)
        if chance.random() < 0.5:
            self.life(chance.randint(1, self.most), chance)
        self.life(0, chance)
        found = differences(self.world.outside(), before)
        if found:
            sys.exit(f"NOT SO: round {number}: all is as before: {found}")
        self.rounds += 1

    def run(self):
        first = int(os.environ.get("LEDGER_FIRST", random.randrange(1 << 20)))
        seconds = float(os.environ.get("LEDGER_SECONDS", 0))
        rounds = int(os.environ.get("LEDGER_ROUNDS", 0 if seconds else 2))
        print(f"first round {first}", flush=True)
        deadline = time.monotonic() + seconds
        self.world.make()
        self.life(0, random.Random(0))
        number = first
        while number - first < rounds or time.monotonic() < deadline:
            self.round(number)
            number += 1
        print(f"rounds {first} to {number - 1}: {self.kills} kills at steps of lives of up to {self.most} steps; all was as before each time")


def walk(world):
    Walk(world).run()


CASES = (ends_in_order, leaves_what_is_others, trusts_no_other_file, ends_commands_of_a_killed_one, walk)


def inside(name, work):
    case = {each.__name__: each for each in CASES}[name]
    sh("mount -t tmpfs tmpfs /run && mount -t sysfs sysfs /sys && ip link set lo up")
    os.environ.update(TIME_CHECK_RUN_DIR=f"{work}/run", TIME_CHECK_CONF_DIR=f"{work}/conf")
    case(World(pathlib.Path(work)))


def main():
    if sys.argv[1] == "inside":
        return inside(*sys.argv[2:])
    programs, case = sys.argv[1:]
    os.environ["LEDGER_BIN"] = os.path.abspath(programs)
    os.environ["PATH"] = f"{os.path.abspath(programs)}:/usr/sbin:/sbin:{os.environ['PATH']}"
    with tempfile.TemporaryDirectory() as work:
        return subprocess.run(["unshare", "--user", "--map-root-user", "--net", "--mount", "--pid", "--fork", "--kill-child=KILL",
                               "--mount-proc", sys.executable, __file__, "inside", case, work], check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
