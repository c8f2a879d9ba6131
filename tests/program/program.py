#!/usr/bin/env python3
"""program.py BIN_FOLDER CASE: the daemon as a program that somebody starts, signals and ends. In namespaces of its own. Ends
with status 0 when all is as it should be.
"""
import os
import pathlib
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from expect import SECONDS, expect, wait_for  # noqa: E402

SETTINGS = {"sys.workmode": "router", "wl2g.public.mode": "ap", "wl5g.public.mode": "ap", "wans.flag": "2",
            "wan1.connecttype": "0", "wan2.connecttype": "0"}
CHECKED = ("HUP", "INT", "PIPE", "TERM", "XFSZ")


def run(*words, **options):
    return subprocess.run(words, capture_output=True, text=True, check=False, **options)


def cfm(*words):
    return run("cfm", *words)


def left_in_the_kernel():
    rules = [line for line in run("ip", "rule").stdout.splitlines() if line.startswith("50")]
    return [line for line in run("iptables", "-S").stdout.splitlines() if "dns_drop" in line] + rules


def signal_sets(text):
    """SigBlk, SigIgn and SigCgt of a status file."""
    lines = dict(line.split(":", 1) for line in text.splitlines() if line.startswith("Sig"))
    return {name: int(lines[name], 16) for name in ("SigBlk", "SigIgn", "SigCgt")}


class Daemon:
    """A daemon with its lines in a file; further environment by name."""

    def __init__(self, work, wait=True, **environment):
        self.log = work / "log"
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(["time_check"], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                            env={**os.environ, **environment}, restore_signals=True)
        if wait:
            wait_for("the daemon takes messages", lambda: cfm("post", "time_check", "1?op=0").returncode == 0)

    def says(self, text):
        return text in self.log.read_text(errors="replace")

    def catches(self, number):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return signal_sets(status)["SigCgt"] & (1 << (number - 1)) != 0

    def is_quiet(self):
        """No command of it runs, and none has begun within half a second."""
        until = time.monotonic() + 0.5
        while time.monotonic() < until:
            if run("pgrep", "-P", str(self.process.pid)).stdout:
                return False
        return True

    def end(self, number=signal.SIGTERM, seconds=SECONDS):
        """Signals it; the seconds until it had ended with status 0."""
        begun = time.monotonic()
        self.process.send_signal(number)
        try:
            status = self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            sys.exit(f"NOT SEEN within {seconds} s: the end")
        if status != 0:
            sys.exit(f"NOT SO: it ends with status 0, and not {status}")
        return time.monotonic() - begun


def program_in_path(work, name, text):
    """A program that goes before the machine's."""
    path = work / "path" / name
    path.parent.mkdir(exist_ok=True)
    path.write_text("#!/bin/sh\n" + text)
    path.chmod(0o755)
    if not os.environ["PATH"].startswith(str(path.parent)):
        os.environ["PATH"] = f"{path.parent}:{os.environ['PATH']}"


def arguments(work):
    environment = {**os.environ, "TIME_CHECK_RUN_DIR": str(work / "unused")}

    def called(*words):
        return run("time_check", *words, env=environment, timeout=SECONDS)
    shown = called("--help")
    expect(shown.returncode == 0 and "Usage: time_check" in shown.stdout and not shown.stderr, "--help prints the usage")
    shown = called("--version")
    expect(shown.returncode == 0 and shown.stdout.startswith("time_check 0."), "--version prints the version")
    for words, wrong in ((["--nonsense"], "--nonsense"), (["start"], "start"), (["--help", "all"], "all"), ([""], "")):
        shown = called(*words)
        expect(shown.returncode == 2 and not shown.stdout and
               shown.stderr == f"time_check: unknown argument: {wrong} (try --help)\n", f"{words} is refused")
    expect(not (work / "unused").exists(), "no router was begun")


def rules_stand():
    return len([line for line in left_in_the_kernel() if "dns_drop" in line]) == 2


def ends_in_order(work):
    for number in (signal.SIGTERM, signal.SIGINT):
        daemon = Daemon(work)
        wait_for("the chain stands", rules_stand)
        wait_for("the check is past its start", daemon.is_quiet)
        others = ("to", "198.51.100.1", "iif", "lo", "lookup", "100", "prio", "5005")
        run("ip", "rule", "add", *others)
        run("iptables", "-A", "dns_drop", "-o", "wan2", "-j", "DROP")
        expect(len(left_in_the_kernel()) == 4, "chain and jump are there, and somebody else's rule")
        print(f"{number.name}: {daemon.end(number):.2f} s")
        left = left_in_the_kernel()
        expect(len(left) == 1 and left[0].startswith("5005:"), f"that is left after {number.name}, and nothing else: {left}")
        run("ip", "rule", "del", *others)


def takes_what_was_posted_before_its_end(work):
    daemon = Daemon(work)
    wait_for("the check is past its start", daemon.is_quiet)
    daemon.process.send_signal(signal.SIGSTOP)
    texts = [f"posted{number}" for number in range(8)]
    for text in texts:
        expect(cfm("post", "time_check", f"time_check_cpu?op=1,string_info={text}").returncode == 0, f"{text} is taken")
    daemon.process.send_signal(signal.SIGTERM)
    daemon.process.send_signal(signal.SIGCONT)
    expect(daemon.process.wait(SECONDS) == 0, "it ends in order")
    expect(all(daemon.says(text) for text in texts), "each is read before the end")
    expect(cfm("post", "time_check", "1?op=0").returncode != 0, "nothing is taken after it")


def ends_at_any_moment(work):
    seed = random.randrange(1 << 30)
    print(f"seed {seed}")
    moments = random.Random(seed)
    longest = 0.0
    for _ in range(50):
        daemon = Daemon(work, wait=False)
        while not daemon.catches(signal.SIGTERM):  # before its main begins nothing can
            time.sleep(0.001)
        time.sleep(moments.uniform(0, 0.4))
        longest = max(longest, daemon.end())
        if left_in_the_kernel():
            sys.exit(f"NOT SO: nothing is left: {left_in_the_kernel()}")
    expect(longest < 20, f"50 ends, and nothing is left; the longest took {longest:.2f} s")


def silent_name_server(work):
    """It takes queries and never answers."""
    server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    server.bind(("127.0.0.1", 53))
    (work / "resolv.conf").write_text("nameserver 127.0.0.1\n")
    subprocess.run(["mount", "--bind", work / "resolv.conf", "/etc/resolv.conf"], check=True)
    return server


def ends_during_a_look_up(work):
    server = silent_name_server(work)
    for command in ("ip link add wan1 type veth peer name inet1", "ip address add 10.91.0.2/24 dev wan1",
                    "ip link set wan1 up", "ip link set inet1 up"):
        subprocess.run(command.split(), check=True)
    cfm("set", "wans.flag", "1")
    daemon = Daemon(work)
    server.settimeout(SECONDS)
    expect(server.recv(512), "the check looks a name up")
    expect(daemon.end() < 3, "it ends meanwhile")
    expect(left_in_the_kernel() == [], "nothing is left")


def ends_during_a_command(work):
    """The main thread reads of a ps that hangs."""
    program_in_path(work, "ps", f"touch {work}/hangs\nsleep 600\n")
    daemon = Daemon(work)
    cfm("post", "time_check", "time_check_daemon?op=1,string_info=minidlna")
    wait_for("the watchdog's look hangs", (work / "hangs").exists)
    seconds = daemon.end()
    expect(5 < seconds < 15, f"it gives the command some seconds, and ends after {seconds:.1f} s")
    expect(daemon.says("command cut off: the program ends"), "a line says that it was ended")
    expect(left_in_the_kernel() == [], "nothing is left")
    wait_for("the command is gone", lambda: run("pgrep", "-f", "sleep 600").stdout == "")


def ends_during_a_command_of_the_check(work):
    """The one that makes the jump hangs: no later one may come while the chain is taken away, nor after it."""
    real = run("sh", "-c", "command -v iptables").stdout.strip()
    program_in_path(work, "iptables", f'echo "$*" >>{work}/calls\n[ "$1" != -A ] || '
                    f'{{ touch {work}/hangs; exec sleep 600; }}\nexec {real} "$@"\n')
    daemon = Daemon(work)
    wait_for("the check's command hangs", (work / "hangs").exists)
    seconds = daemon.end()
    expect(5 < seconds < 15, f"it gives the command some seconds, and ends after {seconds:.1f} s")
    calls = (work / "calls").read_text().splitlines()
    expect([call.split()[0] for call in calls] == [*"-D -F -X -N -A".split(), *"-D -F -X".split()], f"only the end's commands came: {calls}")
    expect(left_in_the_kernel() == [], "nothing is left")


def restarts_by_its_command(work):
    """The service manager that it tells to restart the machine ends it first, as every service."""
    zone = f"NOON{time.gmtime().tm_hour - 12}"  # far from midnight
    for key, value in (("enable", "1"), ("type", "0"), ("start_time", "12:00"), ("end_time", "14:00")):
        cfm("set", f"sys.schedulereboot.{key}", value)
    (work / "conf").mkdir()
    manager = Manager("@time_check_restarts")
    daemon = Daemon(work, TZ=zone, NOTIFY_SOCKET="@time_check_restarts", WATCHDOG_USEC="600000",
                    TIME_CHECK_REBOOT_COMMAND=f"echo told >>{work}/told")
    cfm("post", "time_check", "time_check_debug?op=1,debug_id=5")  # however short the machine has been up
    wait_for("it tells the manager to restart the machine", (work / "told").exists)
    while select_now(manager.socket):
        manager.hears()
    heard = [manager.hears() for _ in range(5)]
    expect(all(each == ["WATCHDOG=1"] for each in heard), "it lives while it waits for the machine's end")
    expect((work / "told").read_text() == "told\n", "and tells it once")
    seconds = daemon.end()
    expect(seconds < 3, f"asked to end, it does, and at once: {seconds:.2f} s")
    expect(not daemon.says("restart:"), "nothing has failed")
    cfm("set", "sys.schedulereboot.enable", "0")
    cfm("commit")
    shutil.rmtree(work / "run")  # as the machine's end does
    daemon = Daemon(work)
    wait_for("the next start is told of", lambda: "boot:" in run("tcctl", "events").stdout)
    shown = run("tcctl", "events").stdout
    expect("boot: the restart was ours (reboot, restarting)" in shown, f"it knows whose restart it was: {shown}")
    daemon.end()


def ends_before_it_serves(work):
    """It waits for its store."""
    (work / "run").mkdir(mode=0o755)
    daemon = Daemon(work, wait=False)
    wait_for("it waits", lambda: daemon.says("waiting until it can be opened"))
    daemon.process.send_signal(signal.SIGHUP)
    time.sleep(0.2)
    expect(daemon.process.poll() is None, "SIGHUP does not end it")
    expect(daemon.end() < 3, "SIGTERM does")


def ends_at_the_second_signal(work):
    """The end's own command hangs."""
    program_in_path(work, "iptables", f"[ ! -e {work}/hang ] || {{ touch {work}/hangs; sleep 600; }}\n")
    daemon = Daemon(work)
    wait_for("the check is past its start", lambda: daemon.says("renew config of wan_surf_check") and daemon.is_quiet())
    (work / "hang").touch()
    daemon.process.send_signal(signal.SIGTERM)
    wait_for("the end hangs", (work / "hangs").exists)
    daemon.process.send_signal(signal.SIGTERM)
    expect(daemon.process.wait(3) == -signal.SIGTERM, "the second signal ends it at once")


def reads_settings_again(work):
    cfm("set", "sys.schedulereboot.enable", "0")
    daemon = Daemon(work)
    passes = daemon.log.read_text(errors="replace").count("renew config of wan_surf_check")
    cfm("set", "sys.schedulereboot.enable", "1")
    cfm("set", "sys.schedulereboot.start_time", "3:17")
    before = len(daemon.log.read_text(errors="replace"))
    daemon.process.send_signal(signal.SIGHUP)

    def fresh():
        return daemon.log.read_text(errors="replace")[before:]
    wait_for("the reboot's schedule was read", lambda: "SYS_SCHED_REBOOT mode function" in fresh() and "3:17" in fresh(), 5)
    expect("debug_tag" not in fresh() and "ops_module" not in fresh(), "no debug switch was touched")
    wait_for("the check was renewed",
             lambda: daemon.log.read_text(errors="replace").count("renew config of wan_surf_check") > passes)
    for _ in range(20):
        daemon.process.send_signal(signal.SIGHUP)
        time.sleep(0.01)
    expect(cfm("post", "time_check", "1").returncode == 0 and daemon.process.poll() is None, "it goes on")
    expect(daemon.end() < 5, "and ends")


def outlives_a_reader_from_the_start(work):
    """Its lines' reader has gone before it took its name."""
    (work / "run").mkdir(mode=0o755)
    read_end, write_end = os.pipe()
    os.close(read_end)
    process = subprocess.Popen(["time_check"], stdout=write_end, stderr=write_end, restore_signals=True)
    time.sleep(1.5)
    expect(process.poll() is None, "it waits on")
    (work / "run").chmod(0o700)
    wait_for("it serves", lambda: cfm("post", "time_check", "1").returncode == 0)
    process.send_signal(signal.SIGTERM)
    expect(process.wait(SECONDS) == 0, "and ends")


def children_have_default_signals(work):
    program_in_path(work, "iptables", f"cat /proc/self/status >{work}/status.new\nenv >{work}/env\n"
                    f"mv {work}/status.new {work}/status\n")
    daemon = Daemon(work, NOTIFY_SOCKET=str(work / "nobody"), WATCHDOG_USEC="20000000")
    wait_for("a command has run", (work / "status").exists)
    ours = sum(1 << (getattr(signal, "SIG" + name) - 1) for name in CHECKED)
    sets = signal_sets((work / "status").read_text())
    expect(sets["SigBlk"] == 0 and sets["SigIgn"] & ours == 0, f"it has default signals: {sets}")
    environment = (work / "env").read_text()
    expect("NOTIFY_SOCKET" not in environment and "WATCHDOG" not in environment, "and is no service")
    sets = signal_sets(pathlib.Path(f"/proc/{daemon.process.pid}/status").read_text())
    ignored = (1 << (signal.SIGPIPE - 1)) | (1 << (signal.SIGXFSZ - 1))
    expect(sets["SigIgn"] & ignored == ignored, "the daemon ignores SIGPIPE and SIGXFSZ")
    daemon.end()


class Manager:
    """A service manager's socket, under a path or an abstract name."""

    def __init__(self, name):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind("\0" + name[1:] if name.startswith("@") else name)
        self.socket.settimeout(SECONDS)

    def hears(self):
        return self.socket.recv(4096).decode().splitlines()


def tells_the_service_manager(work):
    for name in (str(work / "notify"), "@time_check_test"):
        manager = Manager(name)
        daemon = Daemon(work, NOTIFY_SOCKET=name)
        heard = manager.hears()
        expect(heard[0] == "READY=1" and heard[1].startswith("STATUS="), f"it is ready: {heard}")
        expect(daemon.says("renew config"), "and has begun its work")
        before = time.monotonic_ns() // 1000
        daemon.process.send_signal(signal.SIGHUP)
        heard = manager.hears()
        moment = int(heard[1].removeprefix("MONOTONIC_USEC="))
        expect(heard[0] == "RELOADING=1" and before <= moment <= time.monotonic_ns() // 1000, f"it reads again: {heard}")
        heard = manager.hears()
        expect(heard[0] == "READY=1", f"and is ready again: {heard}")
        told = heard[1:]
        manager.socket.settimeout(2.5)
        try:
            for _ in range(4):  # the first looks at the WANs may still come
                heard = manager.hears()
                expect(heard[0].startswith("STATUS=") and heard != told, f"what it tells has changed: {heard}")
                told = heard
            sys.exit("NOT SO: it is quiet while nothing changes")
        except TimeoutError:
            print("ok: it is quiet while nothing changes")
        daemon.end()
        expect(manager.hears() == ["STOPPING=1"], "it ends")
    for name in ("relative", "/" + "x" * 200, "@", ""):
        Daemon(work, NOTIFY_SOCKET=name).end()


def tells_that_it_lives(work):
    """Also while its main thread pauses or waits for a command, and for its own process alone."""
    program_in_path(work, "ps", f"touch {work}/hangs\nsleep 600\n")
    manager = Manager("@time_check_lives")
    daemon = Daemon(work, NOTIFY_SOCKET="@time_check_lives", WATCHDOG_USEC="600000", WATCHDOG_PID="1")
    expect(manager.hears() != ["WATCHDOG=1"] and daemon.end() < 10 and manager.hears() == ["STOPPING=1"],
           "another's request is not its own")
    daemon = Daemon(work, NOTIFY_SOCKET="@time_check_lives", WATCHDOG_USEC="600000")
    cfm("post", "time_check", "time_check_daemon?op=1,string_info=minidlna")
    wait_for("the watchdog's look hangs", (work / "hangs").exists)
    while select_now(manager.socket):
        manager.hears()
    begun = time.monotonic()
    heard = [manager.hears() for _ in range(10)]
    seconds = time.monotonic() - begun
    expect(all(each == ["WATCHDOG=1"] for each in heard) and 2.5 < seconds < 10, f"ten signs of life in {seconds:.2f} s")
    daemon.process.kill()


def select_now(from_socket):
    from_socket.setblocking(False)
    try:
        from_socket.recv(1, socket.MSG_PEEK)
        return True
    except BlockingIOError:
        return False
    finally:
        from_socket.settimeout(SECONDS)


def tells_why_it_cannot_begin(work):
    manager = Manager("@time_check_begins")
    first = Daemon(work)
    second = run("time_check", env={**os.environ, "NOTIFY_SOCKET": "@time_check_begins"}, timeout=SECONDS)
    expect(second.returncode == 0 and "reg msg failed" in second.stdout, "it ends with status 0, as ever")
    expect(manager.hears() == ["ERRNO=98", "STATUS=cannot take the name time_check: another process holds the name"],
           "the manager hears why")
    first.end()
    expect(not select_now(manager.socket), "and never that it is ready")


def names_the_run_directory(work):
    folder = work / "run"
    folder.mkdir()
    folder.chmod(0o755)
    wanted = f"run directory {folder}: user 0's directory, mode 0755; wanted: user 0's directory, mode 0700"
    expect(wanted in cfm("get", "a.key").stderr, "the store names it")
    shown = run("timeout", "1", "cfm", "listen", "netctrl").stderr
    expect(wanted in shown, f"cfm listen names it: {shown}")
    daemon = Daemon(work, wait=False)
    wait_for("the daemon names it", lambda: daemon.says(wanted))
    daemon.end()
    folder.rmdir()
    folder.write_text("")
    expect(f"run directory {folder}: user 0's file" in cfm("get", "a.key").stderr, "so when it is a file")
    folder.unlink()
    os.environ["TIME_CHECK_RUN_DIR"] = f"{work}/no/parent"
    expect(f"run directory {work}/no/parent: No such file or directory" in cfm("get", "a.key").stderr, "so without its parent")


CASES = (arguments, ends_in_order, takes_what_was_posted_before_its_end, ends_at_any_moment, ends_during_a_look_up, ends_during_a_command,
         ends_during_a_command_of_the_check, restarts_by_its_command, ends_before_it_serves, ends_at_the_second_signal, reads_settings_again,
         outlives_a_reader_from_the_start, children_have_default_signals, tells_the_service_manager, tells_that_it_lives,
         tells_why_it_cannot_begin, names_the_run_directory)
WITHOUT_SETTINGS = (arguments, ends_before_it_serves, outlives_a_reader_from_the_start, names_the_run_directory)


def inside(name, work):
    case = {each.__name__: each for each in CASES}[name]
    subprocess.run("mount -t tmpfs tmpfs /run && mount -t sysfs sysfs /sys && ip link set lo up", shell=True, check=True)
    os.environ.update(TIME_CHECK_RUN_DIR=f"{work}/run", TIME_CHECK_CONF_DIR=f"{work}/conf")
    if case not in WITHOUT_SETTINGS:
        for key, value in SETTINGS.items():
            cfm("set", key, value)
    case(pathlib.Path(work))


def main():
    if sys.argv[1] == "inside":
        return inside(*sys.argv[2:])
    programs, case = sys.argv[1:]
    os.environ["PATH"] = f"{os.path.abspath(programs)}:/usr/sbin:/sbin:{os.environ['PATH']}"
    with tempfile.TemporaryDirectory() as work:
        return subprocess.run(["unshare", "--user", "--map-root-user", "--net", "--mount", "--pid", "--fork", "--kill-child=KILL",
                               "--mount-proc", sys.executable, __file__, "inside", case, work], check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
