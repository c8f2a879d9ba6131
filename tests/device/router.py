"""What the stories have in common: they do things to the emulated router and wait for what it then shows."""

import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))

from machine import Machine
from onlooker import NotSeen, Onlooker  # noqa: E402, F401: the stories catch it


class Router(Onlooker):
    """The emulated router, started, with our programs running."""

    def __init__(self, console):
        self.observer = None  # who looks at it meanwhile (observer.py), once somebody does
        print("- the router is started", flush=True)
        began = time.monotonic()
        super().__init__(Machine(console))
        self._machine.wait_ready()
        print(f"  it has booted after {time.monotonic() - began:.1f} s", flush=True)
        self.expect("its commands answer", 10, "echo hi", "^hi$")
        self.expect("it is up", 120, "cat /run/log/router.log", "the router is up")

    def expect_restart(self, what, seconds):
        """Waits until the router has started once more; what was seen before is taken out of it first, which takes
        four seconds."""
        self.observer.take()
        self._machine.wait_restart(seconds)
        self.expect("it is up again", 60, "cat /run/log/router.log", "the router is up")
        self.observer.begin()
        print(f"  ok: {what}", flush=True)

    def restart_daemon(self):
        """Ends the daemon, whereupon the router starts it anew."""
        before = self.do("pidof time_check")
        self.do(f"kill {before}")
        self.expect("the daemon runs again", 30, "pidof time_check", rf"^(?!{before}$)\d+$")

    def set_daemon_clock(self, rate):
        """Starts the daemon anew, on a clock that goes so many times faster than the machine's."""
        self.do(f"echo {rate} >/run/clock_rate")
        self.restart_daemon()

    def set_clock(self, text):
        """The router's wall clock; the up-time goes on as it did."""
        self.do(f"date -s '{text}'")

    def show(self):
        """What is worth knowing when a story has failed."""
        _, seen = self._machine.run("tail -n 15 /run/log/*.log; ip -br address; cfm list")
        print(seen, file=sys.stderr)
