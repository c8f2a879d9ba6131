#!/usr/bin/env python3
"""rights.py BIN_FOLDER CASE: what other users of the machine, and the processes themselves, may not do: each is tried, in
namespaces of its own. Ends with status 0 when all is refused that has to be, with 77 when it cannot be shown here.
"""
import ctypes
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from expect import SECONDS, expect, wait_for  # noqa: E402

SKIPPED = 77
PROJECT = pathlib.Path(__file__).resolve().parents[2]
OTHER = 1000  # of these namespaces
GROUP = 1001
SETTINGS = {"sys.workmode": "router", "wl2g.public.mode": "ap", "wl5g.public.mode": "ap", "wans.flag": "1", "wan1.connecttype": "0",
            "wl.wisp.pppoe_password": "the secret"}


def run(*words, **options):
    return subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)


def cfm(*words):
    return run("cfm", *words)


def as_other(act, *groups):
    """What the act ends with when another user does it: its error, or what it gives."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            os.setgroups(groups)
            os.setgid(OTHER)
            os.setuid(OTHER)
            said = f"gave {act()!r}"
        except OSError as error:
            said = type(error).__name__
        os.write(writer, said.encode())
        os._exit(0)
    os.close(writer)
    with os.fdopen(reader) as told:
        said = told.read()
    os.waitpid(child, 0)
    return said


def refused(what, act, *groups):
    said = as_other(act, *groups)
    expect(said == "PermissionError", f"another user cannot {what}" if said == "PermissionError" else f"refused: {what} ({said})")


def program_as_other(*words, groups=()):
    return run(*words, user=OTHER, group=OTHER, extra_groups=groups)


def send(path, text):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
        sender.sendto(text.encode(), str(path))


def bind(path):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as held:
        held.bind(str(path))


class Daemon:
    def __init__(self, work, wait=True, **environment):
        self.log = work / "log"
        self.environment = {**os.environ, **environment}
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(["time_check"], stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=self.environment)
        if wait:
            wait_for("the daemon takes messages", lambda: cfm("post", "time_check", "1?op=0").returncode == 0)

    def says(self, text):
        return text in self.log.read_text(errors="replace")

    def end(self):
        self.process.terminate()
        self.process.wait(SECONDS)


def set_up(folder):
    os.environ.update(TIME_CHECK_RUN_DIR=f"{folder}/run", TIME_CHECK_CONF_DIR=f"{folder}/conf")
    for key, value in SETTINGS.items():
        cfm("set", key, value)
    expect(cfm("commit").returncode == 0, "the settings are committed")


def files_below(folder):
    return [path for path in folder.rglob("*") if not path.is_dir()]


# ---- other users ----

def nothing_for_others(work):
    """The run directory and the settings: neither reading, writing, posting nor taking a name."""
    set_up(work)
    daemon = Daemon(work)
    run_folder = work / "run"
    found = files_below(run_folder) + files_below(work / "conf")
    expect(any(path.name == "bus.time_check" for path in found) and len(found) >= 5, "there are sockets and files")
    for path in found:
        if path.is_socket():
            refused(f"send to {path.name}", lambda path=path: send(path, "1?op=0"))
        else:
            refused(f"read {path.name}", path.read_bytes)
            refused(f"write {path.name}", lambda path=path: path.open("ab"))
        refused(f"remove {path.name}", path.unlink)
    refused("look into the run directory", lambda: list(run_folder.iterdir()))
    for name in ("bus.netctrl", "bus.time_check.new", "config.mdb"):
        refused(f"take the place of {name}", lambda name=name: bind(run_folder / name))
    refused("move the run directory", lambda: run_folder.rename(work / "mine"))
    for words in (("cfm", "get", "sys.workmode"), ("cfm", "set", "a.key", "1"), ("cfm", "list"), ("cfm", "commit"), ("cfm", "export", "-"),
                  ("cfm", "post", "time_check", "1?op=0"), ("cfm", "listen", "netctrl"), ("tcctl", "status"), ("tcctl", "why"),
                  ("tcctl", "events"), ("tcctl", "metrics"), ("time_check",), ("netctrl",)):
        done = program_as_other("timeout", "-k", "1", "2", *words)
        expect(done.returncode != 0 and "the secret" not in done.stdout and "router" not in done.stdout.replace("a router", ""),
               f"{' '.join(words)} gives another user nothing: {done.stdout.strip()[:100]}")
    pid = daemon.process.pid
    for name in ("environ", "mem", "maps"):
        refused(f"read the daemon's {name}", pathlib.Path(f"/proc/{pid}/{name}").read_bytes)
    refused("see what the daemon has open", lambda: os.listdir(f"/proc/{pid}/fd"))
    refused("signal the daemon", lambda: os.kill(pid, signal.SIGTERM))
    expect(cfm("get", "a.key").returncode != 0, "nothing was set")
    daemon.end()


def posts_of_others_are_dropped(work):
    """Where somebody has opened the run directory and the sockets in it, the sender still counts."""
    set_up(work)
    daemon = Daemon(work)
    (work / "run").chmod(0o777)
    name = work / "run/bus.time_check"
    name.chmod(0o777)
    for number in range(50):
        said = as_other(lambda number=number: send(name, f"time_check_cpu?op=1,string_info=foreign{number}"))
        expect(said.startswith("gave"), "another user's message gets as far as the socket")
    namespace = "import socket\ns = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)\ns.sendto(b'time_check_cpu?op=1,string_info=foreign_root', '{}')"
    program_as_other("unshare", "--user", "--map-root-user", sys.executable, "-c", namespace.format(name))
    (work / "run").chmod(0o700)
    wait_for("a message of root's own is read", lambda: cfm("post", "time_check", "time_check_cpu?op=1,string_info=own_one").returncode == 0)
    wait_for("and said", lambda: daemon.says("own_one"))
    expect(not daemon.says("string_info=foreign") and not daemon.says("[foreign"), "none of the others' is")
    daemon.end()


def a_group_reads_the_status(work):
    set_up(work)
    daemon = Daemon(work, TIME_CHECK_GROUP="readers")
    page = work / "run-status/status"
    wait_for("the page is there", page.exists)
    refused("read the status without being in the group", page.read_bytes)
    expect(as_other(page.read_bytes, GROUP).startswith("gave"), "who is in the group reads it")
    shown = program_as_other("tcctl", "status", groups=(GROUP,))
    # 1, once the daemon has seen that the WAN has no link here.
    expect(shown.returncode in (0, 1) and "\nwan1 " in shown.stdout, f"and so does tcctl for him: {shown.stdout[:60]!r}")
    for what, act in (("write it", lambda: page.open("r+b")), ("remove it", page.unlink), ("put one beside it", (page.parent / "x").touch),
                      ("put another in its place", lambda: (page.parent / "status").rename(page.parent / "old")),
                      ("open the folder to all", lambda: page.parent.chmod(0o777)), ("read settings", (work / "run/config.mdb").read_bytes),
                      ("post", lambda: send(work / "run/bus.time_check", "1?op=0"))):
        refused(what + ", though he is in the group", act, GROUP)
    for words in (("cfm", "get", "sys.workmode"), ("cfm", "post", "time_check", "1?op=0")):
        expect(program_as_other(*words, groups=(GROUP,)).returncode != 0, f"{' '.join(words)} fails for him")
    expect(b"the secret" not in page.read_bytes(), "the page has no password")
    daemon.end()


def names_cannot_be_taken_before(work):
    """Where others may write beside the run directory, what they put in its place is not taken."""
    open_folder = work / "open"
    open_folder.mkdir()
    open_folder.chmod(0o777)
    own = work / "roots"
    own.mkdir(mode=0o700)
    os.environ.update(TIME_CHECK_RUN_DIR=f"{open_folder}/run", TIME_CHECK_CONF_DIR=f"{work}/conf")
    place = open_folder / "run"
    for what, make in (("directory", lambda: place.mkdir(0o700)), ("link to a directory of root's", lambda: place.symlink_to(own)),
                       ("file", place.touch), ("link to nothing", lambda: place.symlink_to(work / "nothing"))):
        as_other(make)
        said = cfm("set", "a.key", "1")
        expect(said.returncode != 0 and "run directory" in said.stdout, f"another user's {what} is not taken: {said.stdout.strip()[-110:]}")
        expect(list(own.iterdir()) == [] and not (work / "nothing").exists(), "and nothing was made where it leads")
        daemon = Daemon(work, wait=False)
        wait_for("the daemon says so", lambda daemon=daemon: daemon.says("run directory"))
        daemon.end()
        place.rmdir() if place.is_dir() and not place.is_symlink() else place.unlink()
    own_link = open_folder / "own"
    own_link.symlink_to(own)
    os.environ["TIME_CHECK_RUN_DIR"] = str(own_link)
    expect(cfm("set", "a.key", "1").returncode == 0, "a link of one's own is followed")


def the_status_folder_cannot_be_taken_before(work):
    open_folder = work / "open"
    open_folder.mkdir()
    open_folder.chmod(0o777)
    victim = work / "victim"
    victim.mkdir(mode=0o700)
    place = open_folder / "run-status"
    set_up(open_folder)
    for what, make in (("directory", place.mkdir), ("link to a directory of root's", lambda: place.symlink_to(victim))):
        as_other(make)
        daemon = Daemon(work, TIME_CHECK_GROUP="readers")
        expect(daemon.says("cannot be written"), f"the daemon says that another user's {what} is none for its page")
        expect(victim.stat().st_gid == 0 and victim.stat().st_mode & 0o777 == 0o700, "nobody else's directory was given to the group")
        expect(not (place / "status").exists(), "and there is no page for him")
        daemon.end()
        place.unlink() if place.is_symlink() else place.rmdir()


# ---- what the processes may not ----

def system(name, *arguments):
    """A call of libc's, with its error as an exception."""
    if ctypes.CDLL(None, use_errno=True)[name](*arguments) != 0:
        raise OSError(ctypes.get_errno(), name)


def not_allowed(act):
    try:
        act()
    except PermissionError:
        return True
    except OSError:  # it got past the question whether it may
        return False
    return False


def raw_socket():
    socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP).close()


def low_port():
    with socket.socket() as low:
        low.bind(("127.0.0.1", 80))


def in_child(act):
    """For what cannot be undone."""
    child = os.fork()
    if child == 0:
        os._exit(1 if not_allowed(act) else 0)
    if os.waitpid(child, 0)[1] != 0:
        raise PermissionError


def link_up():
    if run("ip", "link", "set", "lo", "up").returncode != 0:
        raise PermissionError


def attempts(work):
    foreign = work / "foreign"  # another user's
    closed = work / "closed"
    return {"CAP_SYS_ADMIN": lambda: system("mount", b"none", str(work).encode(), b"tmpfs", 0, None),
            "CAP_SYS_BOOT": lambda: system("reboot", ctypes.c_int(0x7fffffff)),  # no such order: the right is asked for first
            "CAP_SYS_CHROOT": lambda: in_child(lambda: os.chroot("/")),
            "CAP_NET_ADMIN": link_up, "CAP_NET_RAW": raw_socket, "CAP_NET_BIND_SERVICE": low_port,
            "CAP_KILL": lambda: os.kill(int((work / "pid").read_text()), 0),
            "CAP_CHOWN": lambda: os.chown(work / "own", OTHER, OTHER), "CAP_FOWNER": lambda: foreign.chmod(0o604),
            "CAP_DAC_OVERRIDE": closed.read_bytes,
            "CAP_SETUID": lambda: in_child(lambda: os.setuid(OTHER)), "CAP_SETGID": lambda: in_child(lambda: os.setgid(OTHER))}


def probe(work, names):
    """In a process with a unit's rights: each right that it has works, each other one does not."""
    held = set(names.split())
    for right, act in attempts(pathlib.Path(work)).items():
        if right in ("CAP_DAC_OVERRIDE",) and "CAP_DAC_READ_SEARCH" in held:
            continue
        expect(not_allowed(act) == (right not in held), f"{right}: {'works' if right in held else 'is refused'}")


def rights_of(unit):
    """The capabilities that a unit's processes are left with; None: all."""
    lines = [line.partition("=")[2] for line in unit.read_text().splitlines() if line.startswith("CapabilityBoundingSet=")]
    return None if not lines else set(" ".join(lines).split())


def units_keep_to_their_rights(work):
    """docs/security.md says what each unit may; the unit says the same, and a process with these rights is tried."""
    table = re.findall(r"^\| `(\S+\.service)` \|(.*)$", (PROJECT / "docs/security.md").read_text(), re.MULTILINE)
    units = {path.name: path for folder in ("packaging/systemd", "router/systemd") for path in (PROJECT / folder).glob("*.service")}
    expect({name for name, _ in table} == set(units), "the table has a row for each unit")
    for name in ("foreign", "own", "closed"):
        (work / name).touch()
    os.chown(work / "foreign", OTHER, OTHER)
    (work / "closed").chmod(0)
    sleeper = subprocess.Popen(["sleep", "600"], user=OTHER)
    (work / "pid").write_text(str(sleeper.pid))
    for name, row in table:
        rights = rights_of(units[name])
        expect(rights is not None or "all capabilities" in row, f"{name}: its rights are counted up")
        told = set(re.findall(r"`(CAP_\w+)`", row))
        expect(told == (rights or set()), f"{name}: the table tells of {len(told)} capabilities, as the unit does")
        if rights is None:
            continue
        bounds = ",".join(["-all", *("+" + right[4:].lower() for right in sorted(rights))])
        tried = run("setpriv", "--bounding-set", bounds, "--inh-caps", "-all", "--no-new-privs", sys.executable, __file__, "probe", str(work),
                    " ".join(rights))
        print(tried.stdout, end="")
        expect(tried.returncode == 0, f"{name}: what it may works, and what it may not is refused")
        os.chown(work / "own", 0, 0)
    sleeper.kill()
    sleeper.wait()


CASES = (nothing_for_others, posts_of_others_are_dropped, a_group_reads_the_status, names_cannot_be_taken_before,
         the_status_folder_cannot_be_taken_before, units_keep_to_their_rights)


def inside(name, programs):
    """With programs, users and folders that other users can get at, or could."""
    subprocess.run("""mount -t tmpfs -o mode=755 tmpfs /mnt && mkdir /mnt/bin /mnt/etc /mnt/work
        mount -t tmpfs tmpfs /run && mount -t sysfs sysfs /sys && ip link set lo up""", shell=True, check=True)
    for program in ("time_check", "cfm", "tcctl", "netctrl"):
        shutil.copy(f"{programs}/{program}", "/mnt/bin")
    pathlib.Path("/mnt/etc/group").write_text(f"root:x:0:\nreaders:x:{GROUP}:\n")
    subprocess.run(["mount", "--bind", "/mnt/etc/group", "/etc/group"], check=True)
    os.environ["PATH"] = f"/mnt/bin:/usr/sbin:/sbin:{os.environ['PATH']}"
    {each.__name__: each for each in CASES}[name](pathlib.Path("/mnt/work"))


UNSHARE = ("unshare", "--net", "--mount", "--pid", "--fork", "--kill-child=KILL", "--mount-proc")
NEW_USERS = 0x10000000  # CLONE_NEWUSER


def call_with_all_users(words):
    """As root: in a namespace that has all users, without rights outside of it. Its map is written from outside."""
    asks, ready = os.pipe()
    waits, mapped = os.pipe()
    child = os.fork()
    if child == 0:
        system("unshare", NEW_USERS)
        os.write(ready, b"x")
        os.read(waits, 1)
        os.execvp(words[0], words)
    os.read(asks, 1)
    for name in ("uid_map", "gid_map"):
        pathlib.Path(f"/proc/{child}/{name}").write_text("0 0 65536\n")
    os.write(mapped, b"x")
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def main():
    if sys.argv[1] == "inside":
        return inside(*sys.argv[2:])
    if sys.argv[1] == "probe":
        return probe(*sys.argv[2:])
    programs, case = sys.argv[1:]
    words = [*UNSHARE, sys.executable, __file__, "inside", case, os.path.abspath(programs)]
    if os.getuid() == 0:
        return call_with_all_users(words)
    users = ["--user", "--map-root-user", "--map-auto"]  # those that /etc/subuid gives to this one
    if run("unshare", *users, "true").returncode != 0:
        print("skipped: this user gets no second one in a namespace (newuidmap, /etc/subuid)")
        return SKIPPED
    return subprocess.run([words[0], *users, *words[1:]], check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
