"""The emulated Debian machine as stories see it, and how they are told one after the other in it."""

import contextlib
import datetime
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(PROJECT / "lab" / "vm"), str(PROJECT / "tests" / "support")]
sys.dont_write_bytecode = True

from machine import BUILD, Machine, MachineError  # noqa: E402
from onlooker import NotSeen, Onlooker  # noqa: E402

OUTSIDE = "/media/outside"
BEGIN = datetime.datetime(2027, 3, 2, 2, 50, tzinfo=datetime.timezone.utc)
IDLE_START = 40  # seconds; a start that takes longer is that of a busy machine
SERVICE_LOG = "journalctl --no-pager -u time_check -o cat"


class Debian(Onlooker):
    """The machine, started. outside: the image of what it is shown; lan: the tap device of this machine that its only
    network card is, if it has one."""

    def __init__(self, outside, lan=None):
        print("- the machine is started", flush=True)
        began = time.monotonic()
        console = os.environ.get("DEBIAN_CONSOLE", f"file:{BUILD}/console-{os.getpid()}.log")
        super().__init__(Machine(console, outside, BEGIN, lan))
        self._machine.wait_ready(900)
        took = time.monotonic() - began
        self.patience = max(1, took / IDLE_START)
        print(f"  it takes commands after {took:.1f} s", flush=True)

    def expect_restart(self, what, seconds):
        """Waits until the machine has started once more."""
        self._machine.wait_restart(seconds * self.patience)
        print(f"  ok: {what}", flush=True)

    def show(self):
        """What is worth knowing when a story has failed."""
        _, seen = self._machine.run(f"systemctl status --no-pager time_check; {SERVICE_LOG} | tail -n 30; tcctl status; tcctl events", 60)
        print(seen, file=sys.stderr)


def told(stories):
    """Stories by their names, in the order in which they are told."""
    return {story.__name__: story for story in stories}


def wanted_names(stories, usage):
    """Those of the command line, or all."""
    names = sys.argv[1:] or list(stories)
    if any(name not in stories for name in names):
        sys.exit(f"{usage}\nStories: {' '.join(stories)}")
    return [name for name in stories if name in names]


def tell(stories, names, machine):
    """Tells the stories in the machine, and ends it."""
    try:
        for name in names:
            began = time.monotonic()
            machine.step(f"{name}: {stories[name].__doc__}")
            stories[name](machine)
            print(f"  {name}: {time.monotonic() - began:.0f} s", flush=True)
    except NotSeen:
        machine.show()
        raise
    finally:
        machine.end()


@contextlib.contextmanager
def not_seen_ends():
    """A story that is not seen ends the program."""
    try:
        yield
    except (NotSeen, MachineError) as error:
        sys.exit(f"  NOT SEEN: {error}")


def need(*programs):
    """Ends the program when the emulator or one of these programs of this machine is missing."""
    missing = [program for program in ("qemu-system-x86_64", *programs) if shutil.which(program) is None]
    if missing:
        sys.exit(f"there is no {missing[0]} (lab/packages)")


def packages(*names):
    """The files of these packages, in the order of their names. Ends the program when one is missing."""
    folder = pathlib.Path(os.environ.get("DEBIAN_PACKAGES", PROJECT / "build" / "packages" / "amd64"))
    files = []
    for name in names:
        found = list(folder.glob(f"{name}_*_amd64.deb"))
        if len(found) != 1:
            sys.exit(f"there are {len(found)} packages {name} in {folder}, not one (packaging/debian/build {folder})")
        files += found
    return files


@contextlib.contextmanager
def shown(lay_out):
    """The image of a disk with what lay_out(FOLDER) puts there."""
    with tempfile.TemporaryDirectory() as folder:
        outside = f"{folder}/outside.img"
        pathlib.Path(folder, "outside").mkdir()
        lay_out(pathlib.Path(folder, "outside"))
        subprocess.run([PROJECT / "lab" / "vm" / "image", outside, f"{folder}/outside"], check=True)
        yield outside
