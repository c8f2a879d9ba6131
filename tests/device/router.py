"""What the stories have in common: they do things to the emulated router and wait for what it then shows."""

import re
import sys
import time

from machine import Machine


class NotSeen(Exception):
    """The router did not show in time what it must."""


class Router:
    """The emulated router, started, with our programs running."""

    def __init__(self, console):
        print("- the router is started", flush=True)
        began = time.monotonic()
        self._machine = Machine(console)
        self._machine.wait_ready()
        print(f"  it has booted after {time.monotonic() - began:.1f} s", flush=True)
        self.expect("its commands answer", 10, "echo hi", "^hi$")
        self.expect("it is up", 60, "cat /run/log/router.log", "the router is up")

    def end(self):
        self._machine.end()

    def step(self, text):
        """Says what comes next."""
        print(f"- {text}", flush=True)

    def do(self, command, seconds=60):
        """Runs a command that must succeed, and returns what it printed."""
        status, output = self._machine.run(command, seconds)
        if status != 0:
            raise NotSeen(f"{command}\n    gave {status} and printed: {output or 'nothing'}")
        return output

    def expect(self, what, seconds, command, pattern):
        """Waits until what the command prints matches the pattern; a line's begin and end are ^ and $."""
        self._wait(what, seconds, command, pattern, True)

    def expect_not(self, what, seconds, command, pattern):
        """Waits until what the command prints does not match the pattern."""
        self._wait(what, seconds, command, pattern, False)

    def _wait(self, what, seconds, command, pattern, wanted):
        deadline = time.monotonic() + seconds
        while True:
            _, seen = self._machine.run(command)
            if (re.search(pattern, seen, re.MULTILINE) is not None) == wanted:
                print(f"  ok: {what}", flush=True)
                return
            if time.monotonic() > deadline:
                word = "what matches" if wanted else "nothing that matches"
                raise NotSeen(
                    f"{what}\n    looked at: {command}\n    expected within {seconds} s: {word} {pattern}"
                    f"\n    saw: {seen or 'nothing'}"
                )
            time.sleep(0.3)

    def expect_restart(self, what, seconds):
        """Waits until the router has started once more."""
        self._machine.wait_restart(seconds)
        self.expect("it is up again", 60, "cat /run/log/router.log", "the router is up")
        print(f"  ok: {what}", flush=True)

    def expect_number(self, what, command, most):
        """What the command prints must be a number that is not larger."""
        seen = self.do(command)
        if not seen.isdecimal() or int(seen) > most:
            raise NotSeen(f"{what}\n    looked at: {command}\n    expected: at most {most}\n    saw: {seen}")
        print(f"  ok: {what}: {seen}, and may be {most}", flush=True)

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
