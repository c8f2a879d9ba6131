"""What the stories in emulated machines have in common: they do things there and wait for what is then seen."""

import re
import time


class NotSeen(Exception):
    """The machine did not show in time what it must."""


class Onlooker:
    """Stands before a machine (lab/emulated.py) that takes commands. patience is how many times as long things may take
    as on an idle machine, for which all seconds are meant."""

    def __init__(self, machine):
        self._machine = machine
        self.patience = 1

    def end(self):
        """Ends the machine at once."""
        self._machine.end()

    def step(self, text):
        """Says what comes next."""
        print(f"- {text}", flush=True)

    def do(self, command, seconds=60):
        """Runs a command that must succeed, and returns what it printed."""
        status, output = self._machine.run(command, seconds * self.patience)
        if status != 0:
            raise NotSeen(f"{command}\n    gave {status} and printed: {output or 'nothing'}")
        return output

    def expect(self, what, seconds, command, pattern):
        """Waits until what the command prints matches the pattern; a line's begin and end are ^ and $."""
        self._wait(what, seconds, command, self._seen_by(command), pattern, True)

    def expect_not(self, what, seconds, command, pattern):
        """Waits until what the command prints does not match the pattern."""
        self._wait(what, seconds, command, self._seen_by(command), pattern, False)

    def expect_outside(self, what, seconds, look, pattern):
        """Waits until the text that look() returns, who looks from outside of the machine, matches the pattern."""
        self._wait(what, seconds, look.__doc__, look, pattern, True)

    def _seen_by(self, command):
        return lambda: self._machine.run(command, 60 * self.patience)[1]

    def _wait(self, what, seconds, where, look, pattern, wanted):
        seconds = round(seconds * self.patience)
        deadline = time.monotonic() + seconds
        while True:
            seen = look()
            if (re.search(pattern, seen, re.MULTILINE) is not None) == wanted:
                print(f"  ok: {what}", flush=True)
                return
            if time.monotonic() > deadline:
                word = "what matches" if wanted else "nothing that matches"
                raise NotSeen(
                    f"{what}\n    looked at: {where}\n    expected within {seconds} s: {word} {pattern}"
                    f"\n    saw: {seen or 'nothing'}"
                )
            time.sleep(0.3)

    def expect_number(self, what, command, most):
        """What the command prints must be a number that is not larger."""
        seen = self.do(command)
        if not seen.isdecimal() or int(seen) > most:
            raise NotSeen(f"{what}\n    looked at: {command}\n    expected: at most {most}\n    saw: {seen}")
        print(f"  ok: {what}: {seen}, and may be {most}", flush=True)
