#!/usr/bin/env python3
"""netctrl.py BIN_FOLDER CASE: netctrl as a program, with a run directory and verbs' programs of the test's own. Ends with
status 0 when all is as it should be.
"""
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from expect import SECONDS, expect, wait_for  # noqa: E402

ON, OFF, ON_5G = "19?op=1,wl_rate=24", "19?op=2,wl_rate=24", "19?op=1,wl_rate=5"
# Notes its beginning and its end, and does what the test has put beside it.
NOTER = """#!/bin/sh
echo "begin $TC_MESSAGE" >>"$NOTES"
[ ! -e "$ACT" ] || . "$ACT"
echo "end $TC_MESSAGE" >>"$NOTES"
"""


class World:
    """Folders, and netctrl in them."""

    def __init__(self, binary, folder):
        self.binary, self.folder = binary, folder
        self.run, self.owner, self.package = folder / "run", folder / "owner", folder / "package"
        self.notes, self.act, self.log = folder / "notes", folder / "act", folder / "log"
        for each in (self.owner, self.package):
            each.mkdir()
        self.notes.touch()
        self.log.touch()
        verbs = subprocess.run([binary, "--list-verbs"], capture_output=True, text=True, check=True).stdout
        for verb in {line.split()[1] for line in verbs.splitlines()}:
            self.program(self.package / verb, NOTER)
        self.processes = []
        self.environment = {**os.environ, "TIME_CHECK_RUN_DIR": str(self.run), "NOTES": str(self.notes),
                            "ACT": str(self.act), "TIME_CHECK_NETCTRL_OWNER": str(self.owner),
                            "TIME_CHECK_NETCTRL_PACKAGE": str(self.package)}

    @staticmethod
    def program(path, text):
        path.write_text(text)
        path.chmod(0o755)

    def acts(self, shell):
        """What each program does between its notes from now on."""
        self.act.write_text(shell)

    def start(self, *options, **environment):
        with open(self.log, "ab") as log:
            process = subprocess.Popen([self.binary, *options], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                       env={**self.environment, **environment})
        self.processes.append(process)
        wait_for("netctrl has the name", lambda: self.can_post(process))
        return process

    def can_post(self, process):
        if process.poll() is not None:
            sys.exit(f"NOT SO: netctrl runs; it ended with {process.returncode}: {self.log.read_text()}")
        try:
            self.post("0?op=0")
            return True
        except (FileNotFoundError, ConnectionRefusedError):
            return False

    def call(self, *options):
        return subprocess.run([self.binary, *options], capture_output=True, text=True, check=False,
                              env=self.environment, timeout=SECONDS)

    def post(self, *messages):
        """The longest that a message has waited for room, in seconds."""
        longest = 0.0
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.connect(str(self.run / "bus.netctrl"))
            for message in messages:
                begun = time.monotonic()
                sender.send(message.encode())
                longest = max(longest, time.monotonic() - begun)
        return longest

    def noted(self):
        return self.notes.read_text().splitlines()

    def lines(self, pattern=""):
        return [line for line in self.log.read_text().splitlines() if re.search(pattern, line)]

    def wait_for_line(self, pattern, number=1):
        wait_for(f"{number} line(s) with {pattern!r}", lambda: len(self.lines(pattern)) >= number)

    def wait_for_notes(self, *notes):
        wait_for(f"the programs did {notes}", lambda: self.noted() == list(notes))

    def end_all(self):
        for process in self.processes:
            if process.poll() is None:
                process.kill()
                process.wait()


# ---- cases ----

def arguments(world):
    expect(world.call("--help").returncode == 0 and "--dry-run" in world.call("--help").stdout, "--help says what there is")
    expect(re.fullmatch(r"netctrl \d+\.\d+\.\d+\n", world.call("--version").stdout), "--version")
    manual = pathlib.Path(__file__).parents[2].joinpath("docs/man/time_check-netctrl.8").read_text().replace("\\-", "-")
    options = set(re.findall(r"--[a-z-]+", world.call("--help").stdout))
    expect(options == set(re.findall(r"--[a-z-]+", manual)), "the manual page has the same options")
    for words in (["--nonsense"], ["--limit"], ["--limit", "0"], ["--limit", "1x"], ["--limit", "nan"], ["19?op=9"],
                  ["--dry-run", "19?op=99"], ["--list-verbs", "--dry-run", "19?op=9"]):
        ended = world.call(*words)
        expect(ended.returncode == 2 and ended.stderr and not ended.stdout, f"{words} is an error")
    verbs = world.call("--list-verbs").stdout.splitlines()
    expect(f"{ON} wifi-start wifi-24 {world.package}/wifi-start" in [" ".join(line.split()) for line in verbs],
           "--list-verbs shows message, verb, subject and program")
    world.start()
    second = world.call()
    expect(second.returncode == 1 and "another process holds the name" in second.stderr, "there is one netctrl")


def runs_programs(world):
    world.program(world.package / "guest-restart", '#!/bin/sh\nenv | grep ^TC_ | sort >>"$NOTES"\nread -r _ || echo eof >>"$NOTES"\nexit 3\n')
    world.start(TC_FOREIGN="1")
    world.post("19?index=1,op=3,wl_rate=5")
    wait_for("the program saw its message, and nothing to read", lambda: world.noted() == [
        "TC_INDEX=1", "TC_MESSAGE=19?op=3,wl_rate=5,index=1", f"TC_PACKAGE={world.package}", "TC_SUBJECT=wifi-5", "TC_TRY=1", "TC_VERB=guest-restart",
        "TC_WL_RATE=5", "eof"])
    world.wait_for_line(r"^19\?op=3,wl_rate=5,index=1: guest-restart: exit 3, \d+\.\d{3} s$")
    world.post("19?op=3,wl_rate=5,index=1")
    wait_for("it is told how it ended before", lambda: "TC_LAST_STATUS=3" in world.noted())
    world.program(world.package / "guest-apply", "#!/nowhere/sh\n")
    world.post("19?op=9")
    world.wait_for_line(r"^netctrl: cannot run .*/guest-apply: No such file or directory$")
    world.wait_for_line(r"^19\?op=9: guest-apply: exit 126, ")


def one_at_a_time_for_a_subject(world):
    world.acts('while [ ! -e "$NOTES.go" ]; do sleep 0.01; done')
    world.start()
    world.post(ON, ON_5G)
    wait_for("both bands are at it", lambda: sorted(world.noted()) == [f"begin {ON}", f"begin {ON_5G}"])
    world.post(ON, ON, OFF)
    time.sleep(0.3)
    expect(len(world.noted()) == 2, "nothing else runs for the band meanwhile")
    pathlib.Path(f"{world.notes}.go").touch()
    wait_for("what came last was done last, once", lambda: [note for note in world.noted() if "=24" in note] == [
        f"begin {ON}", f"end {ON}", f"begin {OFF}", f"end {OFF}"])
    world.wait_for_line(r"^19\?op=2,wl_rate=24: wifi-stop: exit 0, .*; 2 others were needless$")


def burst(world):
    world.acts("sleep 0.1")  # each of ten thousand in turn would take a quarter of an hour
    world.start()
    messages = []
    for i in range(1250):
        wanted = 1 + i % 2
        messages += [f"19?op={wanted},wl_rate=24", f"19?op={3 - wanted},wl_rate=5", f"52?op={14 + wanted},wan_id=1",
                     f"53?op={3 - wanted}", "19?op=3,wl_rate=24,index=1", f"52?op={17 - wanted},wan_id=2",
                     f"nonsense {i}", "51?op=6"]
    longest = world.post(*messages)
    expect(len(messages) == 10_000, "10,000 messages were sent")
    expect(longest < 2, f"none waited for as long as a sender does before it gives up: {longest:.3f} s")
    last = {"wifi": OFF, "5g": ON_5G, "wan1": "52?op=16,wan_id=1", "wan2": "52?op=15,wan_id=2", "page": "53?op=1",
            "guest": "19?op=3,wl_rate=24,index=1", "media": "51?op=6"}
    of = {"wifi": r"^end 19\?op=.,wl_rate=24$", "5g": r"^end 19\?op=.,wl_rate=5$", "wan1": "^end 52.*=1$",
          "wan2": "^end 52.*=2$", "page": "^end 53", "guest": "^end 19.*index", "media": "^end 51"}
    state = world.run / "netctrl.state"
    wait_for("all is done", lambda: state.read_text() == "netctrl wants 1\n")
    for subject, pattern in of.items():
        done = [note for note in world.noted() if re.search(pattern, note)]
        expect(done and done[-1] == f"end {last[subject]}", f"the last for {subject} was done last, of {len(done)}")
    expect(len(world.noted()) < 10_000, "most were needless")
    expect(len(world.lines(": not understood$")) == 64, "64 strange messages were told")


def limit(world):
    world.program(world.package / "wifi-start", '#!/bin/sh\ntrap "" TERM\n(trap "" TERM; sleep 600) &\necho $! $$ >>"$NOTES"\nwait\nwait\n')
    world.start("--limit", "0.3")
    world.post(ON)
    world.wait_for_line(r"^19\?op=1,wl_rate=24: wifi-start: ended by netctrl after 2\.\d+ s; again in 1 s$")
    pids = world.noted()[0].split()
    wait_for("nothing of it is left", lambda: not any(os.path.exists(f"/proc/{pid}/exe") for pid in pids))
    world.post(OFF)
    world.wait_for_line(r"^19\?op=2,wl_rate=24: wifi-stop: exit 0")


def tries_again(world):
    world.acts('[ "$TC_TRY" -ge 3 ] || exit 75')
    world.start()
    world.post(ON)
    wait_for("it was tried a third time", lambda: world.noted() == [f"begin {ON}"] * 3 + [f"end {ON}"])
    world.wait_for_line(r"wifi-start: exit 75, .*; again in 1 s$")
    world.wait_for_line(r"wifi-start: exit 75, .*; again in 2 s$")
    world.wait_for_line(r"wifi-start: exit 0, ")


def killed_and_back(world):
    """Whenever it is killed, what was wanted is done by the next."""
    world.acts("exit 75")
    netctrl = world.start()
    world.post(ON, "52?op=16,wan_id=1")
    world.wait_for_line("exit 75", 2)
    netctrl.kill()
    netctrl.wait()
    expect((world.run / "netctrl.state").read_text() == f"netctrl wants 1\n52?op=16,wan_id=1\n{ON}\n", "it is kept")
    expect((world.run / "netctrl.state").stat().st_mode & 0o777 == 0o600, "for nobody else")
    world.acts("exec sleep 600")
    world.notes.write_text("")
    netctrl = world.start()
    wait_for("both are at it", lambda: sorted(world.noted()) == [f"begin {ON}", "begin 52?op=16,wan_id=1"])
    netctrl.kill()
    netctrl.wait()
    world.act.unlink()
    world.notes.write_text("")
    world.start()
    wait_for("what ran when it was killed is done", lambda: sorted(world.noted()) == sorted(
        f"{word} {message}" for word in ("begin", "end") for message in (ON, "52?op=16,wan_id=1")))
    world.end_all()
    (world.run / "netctrl.state").write_text("garbage\0\n" * 1000)
    world.start()
    world.wait_for_line("netctrl.state: not understood: garbage")


def ends_in_order(world):
    world.acts("sleep 0.5")
    netctrl = world.start()
    world.post(ON)
    wait_for("it runs", lambda: world.noted() == [f"begin {ON}"])
    world.post(OFF)  # which waits
    netctrl.send_signal(signal.SIGTERM)
    expect(netctrl.wait(SECONDS) == 0, "it ends with 0")
    expect(world.noted() == [f"begin {ON}", f"end {ON}"], "what ran has ended before")
    expect((world.run / "netctrl.state").read_text() == f"netctrl wants 1\n{OFF}\n", "what waited is kept")
    expect(not (world.run / "bus.netctrl").exists(), "its name is free")
    netctrl = world.start()
    wait_for("and done by the next", lambda: world.noted()[-1] == f"end {OFF}")
    world.acts('echo $$ >>"$NOTES"; sleep 600')
    world.post(ON)
    wait_for("a long one runs", lambda: world.noted()[-1].isdigit())
    netctrl.send_signal(signal.SIGINT)
    time.sleep(0.1)
    netctrl.send_signal(signal.SIGINT)
    expect(netctrl.wait(4) == 0, "a second signal ends it at once")
    pid = world.noted()[-1]
    wait_for("with what it ran", lambda: not os.path.exists(f"/proc/{pid}/exe"))


def says_once(world):
    world.acts("exit 69")
    world.start()
    for tries in (1, 2, 3):
        world.post(ON, "77?op=1", "\x1b[2J")
        wait_for("it is tried each time", lambda number=tries: len(world.noted()) == number)
    (world.package / "wifi-stop").unlink()
    world.post(OFF)
    world.wait_for_line("^19.*wifi-stop: there is no program for it$")
    world.post(OFF)
    world.act.unlink()
    world.post(ON)
    world.wait_for_line("wifi-start: exit 0")
    for pattern in ("exit 69", r"^77\?op=1: not understood$", r"^\?\[2J: not understood$", "there is no program"):
        expect(len(world.lines(pattern)) == 1, f"{pattern!r} is said once")


def dry_run(world):
    ended = world.call("--dry-run", ON, "53?op=2")
    expect(ended.returncode == 0 and ended.stdout.splitlines() == [
        f"{ON}: wifi-start: would run {world.package}/wifi-start with TC_VERB=wifi-start TC_MESSAGE={ON} "
        "TC_SUBJECT=wifi-24 TC_WL_RATE=24",
        f"53?op=2: fault-page-stop: would run {world.package}/fault-page-stop with TC_VERB=fault-page-stop "
        "TC_MESSAGE=53?op=2 TC_SUBJECT=fault-page"], "it says what it would run")
    world.start("--dry-run")
    world.post(ON)
    world.wait_for_line(f"^{re.escape(ON)}: wifi-start: would run ")
    expect(world.noted() == [] and not (world.run / "netctrl.state").exists(), "it runs and keeps nothing")


def owner_goes_first(world):
    world.program(world.owner / "wifi-start", '#!/bin/sh\necho owner >>"$NOTES"\n')
    (world.owner / "wifi-stop").symlink_to("/dev/null")
    (world.owner / "guest-apply").write_text("#!/bin/sh\n")  # not executable
    world.start()
    world.post(ON)
    wait_for("the owner's program ran", lambda: world.noted() == ["owner"])
    world.post(OFF, "19?op=9")
    world.wait_for_line(f"^{re.escape(OFF)}: wifi-stop: switched off$")
    world.wait_for_line("cannot run .*/owner/guest-apply: Permission denied")
    expect(world.noted() == ["owner"], "and nothing else")


def name_taken_anew(world):
    world.start()
    shutil.rmtree(world.run)
    wait_for("it takes its name again", lambda: (world.run / "bus.netctrl").exists())
    wait_for("it listens", lambda: world.can_post(world.processes[0]))
    world.post(ON)
    world.wait_for_notes(f"begin {ON}", f"end {ON}")
    wait_for("what is wanted is kept there", lambda: (world.run / "netctrl.state").read_text() == "netctrl wants 1\n")


def tells_its_manager(world):
    path = world.folder / "manager"
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
        manager.bind(str(path))
        manager.settimeout(SECONDS)
        world.program(world.package / "wifi-start", '#!/bin/sh\necho "${NOTIFY_SOCKET-none}" >>"$NOTES"\n')
        world.start(NOTIFY_SOCKET=str(path))
        expect(manager.recv(100) == b"READY=1", "it says that it is ready")
        world.post(ON)
        world.wait_for_notes("none")


def main():
    binary, case = pathlib.Path(sys.argv[1]) / "netctrl", sys.argv[2]
    with tempfile.TemporaryDirectory(prefix="netctrl-") as folder:
        world = World(binary, pathlib.Path(folder))
        try:
            globals()[case](world)
        except BaseException:
            print("---- its lines:", world.log.read_text(errors="replace"), "---- notes:", world.notes.read_text(), sep="\n")
            raise
        finally:
            world.end_all()


if __name__ == "__main__":
    main()
