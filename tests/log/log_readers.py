#!/usr/bin/env python3
"""log_readers.py BIN_FOLDER CASE: the daemon as a process, and whoever reads its log: one that ends, stops, is slow, or must
not be deceived. In namespaces of its own. Ends with status 0 when all is as it should be.
"""
import os
import pathlib
import pty
import re
import resource
import select
import signal
import socket
import subprocess
import sys
import tempfile
import termios

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from expect import SECONDS, expect, wait_for  # noqa: E402

OWN_COLOURS = re.compile(rb"\033\[(?:1;31m|1;32m|m|0m|0;3[123]m)")
LOST = re.compile(rb"^time_check: (\d+) lines of the log were lost$", re.M)
LINES_A_MESSAGE = 2  # of mark(); the reachability thread has some, too
CFM_SETTINGS = ("sys.workmode=router", "wl2g.public.mode=ap", "wl5g.public.mode=ap", "wans.flag=1", "wan1.connecttype=0")


def cfm(*words):
    return subprocess.run(["cfm", *words], capture_output=True, check=False)


def setting(key):
    return cfm("get", key).stdout.decode().strip()


class Daemon:
    """Runs with its output where the case wants it."""

    def __init__(self, stdout, stderr=None, program="time_check"):
        for each in CFM_SETTINGS:
            cfm("set", *each.split("=", 1))
        self.process = subprocess.Popen([program], stdin=subprocess.DEVNULL, stdout=stdout,
                                        stderr=stdout if stderr is None else stderr, restore_signals=True)
        self.marks = 0
        wait_for("the daemon is reached", lambda: cfm("post", "time_check", "1?op=0").returncode == 0)

    def mark(self):
        """A message that changes nothing and prints one line with a number of its own."""
        self.marks += 1
        return cfm("post", "time_check", f"time_check_debug?debug_id={1000 + self.marks}").returncode == 0

    def marks_until(self, enough, most=4000):
        while not enough() and self.marks < most:
            if not self.mark():
                sys.exit(f"NOT SO: message {self.marks} is taken")
        expect(enough(), f"{self.marks} messages were taken, all that are needed")

    def commands(self):
        """The processes that it has started and that run still: all that are younger, in this namespace of its own."""
        return [name for name in os.listdir("/proc") if name.isdigit() and int(name) > self.process.pid]

    def goes_on(self):
        """Both threads do: more messages are taken than the queue holds, and the reachability thread starts anew."""
        before = self.marks
        self.marks_until(lambda: self.marks >= before + 40)
        cfm("set", "surf_check_renew_flag", "1")
        wait_for("the reachability thread goes on", lambda: setting("surf_check_renew_flag") != "1")
        expect(self.process.poll() is None, "the daemon lives")


def marks_in(log):
    return {int(number) - 1000 for number in re.findall(rb"key = debug_id,value = (\d+)$", log, re.M)}


def lost_in(log):
    return sum(int(number) for number in LOST.findall(log))


def foreign_bytes(log):
    """What is left of the log that no terminal should be shown."""
    text = OWN_COLOURS.sub(b"", log).replace(b"\n", b"").replace(b"\t", b"").decode("utf-8", "backslashreplace")
    return [c for c in text if ord(c) < 0x20 or 0x7f <= ord(c) < 0xa0 or c == "\\"]


def expect_whole_lines(log):
    broken = [line for line in OWN_COLOURS.sub(b"", log).split(b"\n") if line.count(b"TIMER_CHECK >>") > 1]
    expect(not broken, f"no lines are glued: {broken[:3]}")


class Collector:
    """Reads a descriptor without ever holding up the test."""

    def __init__(self, descriptor):
        self.descriptor = descriptor
        self.log = b""

    def read(self):
        while select.select([self.descriptor], [], [], 0)[0]:
            piece = os.read(self.descriptor, 65536)
            if not piece:
                break
            self.log += piece.replace(b"\r\n", b"\n")
        return self.log


def expect_resumed(daemon, collector):
    """Reads the rest: what was lost is counted, and newer lines come."""
    wait_for("what waited is read", lambda: collector.read() and not select.select([collector.descriptor], [], [], 0.2)[0])
    daemon.mark()
    last = daemon.marks
    wait_for("the next message's line comes", lambda: last in marks_in(collector.read()))
    missing = last - len(marks_in(collector.log))
    lost = lost_in(collector.log)
    expect(missing > 0, f"{missing} messages' lines were lost")
    expect(missing <= lost < LINES_A_MESSAGE * missing + 60, f"the log says that {lost} lines were lost")
    expect_whole_lines(collector.log)


def reader_ends(_work):
    read_end, write_end = os.pipe()
    daemon = Daemon(write_end)
    os.close(write_end)
    os.close(read_end)
    daemon.goes_on()


def reader_stops(work):
    """A process that reads a FIFO is stopped and goes on."""
    fifo, copy = work / "fifo", work / "copy"
    os.mkfifo(fifo)
    with open(copy, "wb") as to:
        reader = subprocess.Popen(["cat", fifo], stdout=to)
    with open(fifo, "wb") as write_end:
        daemon = Daemon(write_end)
    daemon.mark()
    wait_for("the reader reads", lambda: 1 in marks_in(copy.read_bytes()))
    reader.send_signal(signal.SIGSTOP)
    daemon.marks_until(lambda: daemon.marks > 1200)  # more than a pipe holds
    daemon.goes_on()
    reader.send_signal(signal.SIGCONT)

    def says_what_was_lost():
        daemon.mark()
        return lost_in(copy.read_bytes()) > 0
    wait_for("the count of lost lines comes", says_what_was_lost)
    wait_for("the newest line comes", lambda: daemon.marks in marks_in(copy.read_bytes()))
    log = copy.read_bytes()
    missing, lost = daemon.marks - len(marks_in(log)), lost_in(log)
    expect(0 < missing <= lost < LINES_A_MESSAGE * missing + 60, f"{missing} messages' lines are missing, {lost} lines are said to be lost")
    expect_whole_lines(log)


def terminal_stops(_work):
    """A terminal under flow control, and on again."""
    ours, theirs = pty.openpty()
    daemon = Daemon(theirs)
    collector = Collector(ours)
    daemon.mark()
    wait_for("the terminal shows lines", lambda: 1 in marks_in(collector.read()))
    termios.tcflow(theirs, termios.TCOOFF)
    before = daemon.marks
    daemon.marks_until(lambda: daemon.marks > before + 200)
    daemon.goes_on()
    termios.tcflow(theirs, termios.TCOON)
    expect_resumed(daemon, collector)


def terminal_is_not_read(_work):
    """A terminal takes what it has room for, which is seldom whole lines."""
    ours, theirs = pty.openpty()
    daemon = Daemon(theirs)
    collector = Collector(ours)
    daemon.marks_until(lambda: daemon.marks > 600)
    daemon.goes_on()
    expect_resumed(daemon, collector)


def socket_is_not_read(_work):
    ours, theirs = socket.socketpair()
    theirs.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)
    daemon = Daemon(theirs)
    collector = Collector(ours.fileno())
    daemon.marks_until(lambda: daemon.marks > 600)
    daemon.goes_on()
    expect_resumed(daemon, collector)


def errors_are_not_read(work):
    """Only standard error stops: the lines of the ground itself."""
    read_end, write_end = os.pipe()
    os.set_blocking(write_end, False)
    try:
        while True:
            os.write(write_end, b"full" * 1024)
    except BlockingIOError:
        os.set_blocking(write_end, True)
    with open(work / "log", "wb") as log:
        daemon = Daemon(log, stderr=write_end)
    over_long = "1?" + "x" * 4000
    address = f"{os.environ['TIME_CHECK_RUN_DIR']}/bus.time_check"
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
        sender.sendto((over_long * 2).encode(), address)
    daemon.goes_on()
    wait_for("standard output goes on", lambda: daemon.marks in marks_in((work / "log").read_bytes()))
    os.close(read_end)


def live_reader_misses_nothing(_work):
    read_end, write_end = os.pipe()
    daemon = Daemon(write_end)
    collector = Collector(read_end)

    def enough():
        collector.read()
        return daemon.marks >= 1500
    daemon.marks_until(enough)
    wait_for("all lines are there", lambda: len(marks_in(collector.read())) == daemon.marks)
    expect(lost_in(collector.log) == 0, "no line was lost")


def file_may_not_grow(work):
    """ulimit -f: a log file that is full costs lines, and later ones are counted."""
    filler = 8 << 20  # larger than the store's files, which have the same limit
    with open(work / "log", "wb") as log:
        log.truncate(filler)

    def lines():
        return (work / "log").read_bytes()[filler:]
    with open(work / "log", "ab") as log:
        daemon = Daemon(log)
    daemon.mark()
    wait_for("the file has the line", lambda: 1 in marks_in(lines()))
    unlimited = resource.prlimit(daemon.process.pid, resource.RLIMIT_FSIZE)
    limit = 0

    def limit_holds():
        """For the daemon, and no command that began without it is left; nor was a line faster than the limit."""
        nonlocal limit
        limit = (work / "log").stat().st_size + 70  # in the middle of a line
        resource.prlimit(daemon.process.pid, resource.RLIMIT_FSIZE, (limit, resource.RLIM_INFINITY))
        return not daemon.commands() and (work / "log").stat().st_size < limit
    wait_for("the file is limited", limit_holds)
    daemon.goes_on()
    expect((work / "log").stat().st_size <= limit, "the file has not grown beyond its limit")
    resource.prlimit(daemon.process.pid, resource.RLIMIT_FSIZE, unlimited)

    def says_what_was_lost():
        daemon.mark()
        return lost_in(lines()) > 0
    wait_for("lines go on, lost ones are counted", says_what_was_lost)
    wait_for("the newest line comes", lambda: daemon.marks in marks_in(lines()))
    expect_whole_lines(lines())


def foreign_text(work):
    """Line ends and escape sequences of messages."""
    with open(work / "log", "wb") as log:
        daemon = Daemon(log)
    forged = "1?a\nFAKE LINE\033[2J\033]0;title\007\r\177\u009b31m\u0085=1"
    cfm("post", "time_check", forged)
    subprocess.run(["cfm", b"post", b"time_check", b"1?raw\x9b\x85\xc0\xaf\xe0\x82\x9b\xff=1"], check=True)
    cfm("post", "time_check", "1?\u00fcml\u00e4ut\u20ac\U0001f4e1=sch\u00f6n")
    daemon.mark()
    wait_for("all lines are there", lambda: daemon.marks in marks_in((work / "log").read_bytes()))
    log = (work / "log").read_bytes()
    expect(not re.search(rb"^FAKE", log, re.M), "no line of the log is forged")
    expect(b"FAKE LINE" in log, "what can be read of it is there")
    expect(foreign_bytes(log) == [], f"nothing foreign is raw: {foreign_bytes(log)[:8]}")
    expect("key = \u00fcml\u00e4ut\u20ac\U0001f4e1,value = sch\u00f6n\n".encode() in log, "other letters stay as they are")


def listener_is_not_deceived(_work):
    """cfm listen, list and get: the sender's text, its name, and stored values."""
    ours, theirs = pty.openpty()
    listener = subprocess.Popen(["cfm", "listen", "netctrl"], stdout=theirs, stderr=theirs)
    evil = "19?\033[2J\r\u009b1m\nsecond \u00fc"
    wait_for("somebody listens", lambda: cfm("post", "netctrl", "first").returncode == 0)
    rename = ("import ctypes,os,sys,time;ctypes.CDLL(None).prctl(15,b'\\033[2J\\r\\n\\xc2\\x9bevil',0,0,0);"
              "import socket;s=socket.socket(socket.AF_UNIX,socket.SOCK_DGRAM);"
              "s.connect(os.environ['TIME_CHECK_RUN_DIR']+'/bus.netctrl');"
              f"s.send({evil.encode()!r});time.sleep({SECONDS})")
    sender = subprocess.Popen([sys.executable, "-c", rename])
    collector = Collector(ours)
    wait_for("the message is shown", lambda: b"second" in collector.read())
    sender.kill()
    listener.kill()
    cfm("set", "a.value", evil)
    subprocess.run(["cfm", b"set", b"a.raw", b"\x9b1m \xff"], check=True)
    subprocess.run(["cfm", "list", "a."], stdout=theirs, check=True)
    subprocess.run(["cfm", "export"], stdout=theirs, check=True)
    subprocess.run(["cfm", "get", "a.value"], stdout=theirs, check=True)
    subprocess.run(["cfm", "get", "no\033[2J\u009b.key"], stdout=theirs, stderr=theirs, check=False)
    subprocess.run(["cfm", "post", "no\n\033body", "x"], stdout=theirs, stderr=theirs, check=False)
    wait_for("all is shown", lambda: b"not a name" in collector.read())
    shown = collector.log.replace(b"\\x", b"").replace(b"\\n", b"").replace(b"\\r", b"")
    expect(foreign_bytes(shown) == [], f"nothing foreign is raw: {foreign_bytes(shown)[:8]}")
    expect("second \u00fc".encode() in shown, "other letters stay as they are")
    expect(cfm("get", "a.value").stdout == evil.encode() + b"\n", "a program gets the value as it is")
    exported = cfm("export").stdout
    cfm("unset", "a.raw")
    subprocess.run(["cfm", "import", "-"], input=exported, check=True)
    expect(cfm("get", "a.raw").stdout == b"\x9b1m \xff\n", "what was exported is imported as it was")
    expect(cfm("export").stdout == exported, "and is exported alike")


def same_as_plain(work):
    """The daemon prints through its own printf, byte for byte, what it prints through libc's."""
    logs = []
    for program in ("time_check", "time_check_with_plain_printf"):
        cfm("set", "time_check_debug", "on")
        log_file = work / program
        with open(log_file, "wb") as log:
            daemon = Daemon(log, stderr=subprocess.DEVNULL, program=program)
        for module in range(1, 10):
            cfm("post", "time_check", f"time_check_debug?debug_id={module}")
        cfm("post", "time_check", "0")
        for module in (1, 2, 3, 4, 9):
            cfm("post", "time_check", f"{module}?op=1,relate_module_id=19,string_info=\u00fcbung")
        for module in (5, 6):
            for target in ("all", "nobody"):
                cfm("post", "time_check", f"{module}?op=1,string_info={target}")
        daemon.mark()
        wait_for("all lines are there", lambda: 1 in marks_in(log_file.read_bytes()))
        daemon.process.kill()
        daemon.process.wait()
        logs.append(log_file.read_bytes())
    ours, plain = (timeless(log) for log in logs)
    expect(len(plain) > 60 and ours == plain, f"{len(plain)} lines are the same, {ours ^ plain} are not")
    expect(any(b"\033[0;33m[time_check:" in line for line in plain), "lines with colours as arguments are among them")


def timeless(log):
    """The lines that are about neither a time nor a reading; their order depends on the clock and the other thread."""
    lines = re.sub(rb"(?<=\n)\033\[0m", b"", log).split(b"\n")
    return {line for line in lines if not re.search(rb"time:|second|cpu|up_time|utime|stime|totle_|EXE_", line)}


CASES = (reader_ends, reader_stops, terminal_stops, terminal_is_not_read, socket_is_not_read, errors_are_not_read,
         live_reader_misses_nothing, file_may_not_grow, foreign_text, listener_is_not_deceived, same_as_plain)


def inside(case, work):
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    subprocess.run("mount -t tmpfs tmpfs /run && ip link set lo up", shell=True, check=True)
    os.environ.update(TIME_CHECK_RUN_DIR=f"{work}/run", TIME_CHECK_CONF_DIR=f"{work}/conf")
    {each.__name__: each for each in CASES}[case](pathlib.Path(work))


def main():
    if sys.argv[1] == "inside":
        return inside(*sys.argv[2:])
    programs, case = sys.argv[1:]
    os.environ["PATH"] = f"{os.path.abspath(programs)}:{os.environ['PATH']}"
    with tempfile.TemporaryDirectory() as work:
        return subprocess.run(["unshare", "--user", "--map-root-user", "--net", "--mount", "--pid", "--fork", "--kill-child=KILL",
                               "--mount-proc", sys.executable, __file__, "inside", case, work], check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
