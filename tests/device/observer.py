"""What changes in the emulated router, as an observer in it sees that, against what tcctl events tells of its daemon.
"""

import base64
import datetime
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
TCCTL = pathlib.Path(os.environ.get("DEVICE_TCCTL", HERE.parents[1] / "build" / "default" / "bin" / "tcctl"))
SEEN = "/run/observed"
KEYS = ("wan1_isonln", "wan2_isonln", "stoppage_flag")

sys.path.insert(0, str(HERE.parent / "lab"))

import events_compare  # noqa: E402

# All is compared by the router's up-time, which no story sets; a restart begins the next stretch of it.
LIFE_S = 1_000_000

# The observer's clock has whole seconds and is read some tenths of a second after the up-time; what differs by more
# was set.
JUMP_S = 1.5

# The journal has whole seconds of both, and the observer of one.
WHOLE_S = 2

# Of the machine's time, between the daemon's reading the one and the other: it may have to wait for its turn, in which a
# faster clock goes on.
TURN_S = 0.2


def named(what):
    """As the observer of the box calls it (tests/lab/events_observer.py)."""
    if what.startswith("/sys/class/net/"):
        return f"radio {what.split('/')[4]}"
    if what.startswith("/sys/class/leds/"):
        return f"LED {what.split('/')[4]}"
    return f"key {what}" if what in KEYS else f"program {what}"


class Look:
    """From when to when it was by the up-time, the clock it showed, and what it saw (None: as before)."""

    def __init__(self, line, life):
        began, day, ended, *own = (float(word) for word in line.split()[1:])
        self.began = LIFE_S * life + began
        self.ended = LIFE_S * life + ended
        self.life = life
        self.rate = own[0] if own else 1  # of the daemon's clock,
        self.ahead = own[1] / 1000 if own else day - began  # and how far that is ahead of its own up-time
        self.state = None

    def add(self, line):
        what, _, value = line.partition("=")
        self.state = self.state or {}
        if what == "the store answers":
            self.state |= dict.fromkeys(KEYS, "")  # if they are there, they follow
        else:
            self.state[what] = value


def looks_of(text, life):
    looks = []
    for line in text.splitlines():
        if line.startswith("= "):
            looks.append(Look(line, life))
        elif looks:
            looks[-1].add(line)
    return looks


def taken_by(line):
    """How many seconds a program of netctrl's took. Its line comes afterwards, and the next message may have waited for it."""
    took = re.search(r": exit \d+, (\d+\.\d+) s", line)
    return float(took.group(1)) if took else 0


def seen_in(looks, messages):
    """What a life's looks saw, in the words of the box's observer. `messages` are the lines of netctrl's log."""
    yield {"what": "looks", "at": looks[0].began}
    state = looks[0].state
    for last, look in zip(looks, looks[1:]):
        span = {"before": last.began, "at": look.ended}
        for what, value in (look.state or {}).items():
            old = state.get(what, value)
            if what == "netctrl":
                for i in range(int(old), int(value)):
                    asked = span["before"] - sum(taken_by(line) for line in messages[max(0, i - 1):i + 1])
                    yield {"what": "message", "old": "", "new": messages[i].split(": ")[0], "before": asked, "at": span["at"]}
            elif old != value:
                yield {"what": named(what), "old": old, "new": value, **span}
        state = state | (look.state or {})
        yield {"what": "looked", "at": look.began}


class Clock:
    """What the daemon's clock showed over some looks, until it was set."""

    def __init__(self, look, since):
        self.since = since
        self.until = LIFE_S * (look.life + 1)
        self.rate = look.rate
        self.life = look.life
        self.ahead = [look.ahead, look.ahead]  # at least and at most

    def goes_on(self, look):
        if (look.life, look.rate) != (self.life, self.rate) or abs(look.ahead - self.ahead[1]) > JUMP_S:
            return False
        self.ahead = [min(self.ahead[0], look.ahead), max(self.ahead[1], look.ahead)]
        return True

    def moment_of(self, calendar, uptime):
        """By the router's up-time; None: this clock did not show these two together."""
        at = LIFE_S * self.life + uptime / self.rate
        apart = WHOLE_S + TURN_S * (self.rate - 1)
        is_shown = self.ahead[1] - apart < calendar - uptime < self.ahead[0] + apart
        return at if is_shown and self.since - 1 < at < self.until else None


def clocks_of(looks):
    """In order. Nobody saw when between two looks a clock was set, so that there both hold."""
    clocks = []
    last = None
    for look in looks:
        if not clocks or not clocks[-1].goes_on(look):
            is_set = last is not None and last.life == look.life
            if is_set:
                clocks[-1].until = look.ended
            clocks.append(Clock(look, last.began if is_set else LIFE_S * look.life))
        last = look
    return clocks


def told_of(event, clocks):
    """As events_compare has it; None: the router's clock did not show that time."""
    at, *others = (datetime.datetime.fromisoformat(text).timestamp()
                   for text in [event["at"], *(act["last"] for act in event["details"]["acts"])])
    for clock in clocks:
        moment = clock.moment_of(at, event["details"]["uptime"])
        if moment is not None:
            last = moment + (max(others) - at) / clock.rate
            return events_compare.told_of(event, moment, min(last, clock.until))
    return None


def shown(moment):
    return f"start {moment // LIFE_S + 1:.0f}, up {moment % LIFE_S:.1f} s"


class Observer:
    """Looks at a router (router.py) while its stories happen, in each of its lives (decision 0182)."""

    def __init__(self, router, programs):
        self._router = router
        self._programs = " ".join(programs)
        self._lives = 0
        self._looks = []
        self._seen = []
        self._told = []
        self.begin()

    def begin(self):
        """With a life of the router."""
        text = base64.b64encode((HERE / "observer.sh").read_bytes()).decode()
        self._router.do(f"echo {text} | base64 -d >/run/observer; "
                        f"sh /run/observer {self._programs} >{SEEN} 2>&1 </dev/null &")
        self._router.expect("an observer looks", 20, f"cat {SEEN}", "^netctrl=")

    def take(self):
        """What it has seen in this life, which is about to end, up to a look that begins now or later."""
        up = self._router.do("cut -d ' ' -f 1 /proc/uptime")
        self._router.expect("the observer has looked", 20, f"awk '$1 == \"=\" && $2 > {up}' {SEEN}", "^=")
        text = self._router.do(f"cat {SEEN}")
        messages = self._router.do("cat /run/log/netctrl.log").splitlines()
        looks = looks_of(text, self._lives)
        self._lives += 1
        self._looks += looks
        self._seen += seen_in(looks, messages)

    def take_told(self):
        """What the daemon has told by now; its journal holds the last acts alone."""
        with tempfile.TemporaryDirectory() as folder:
            for name in self._router.do("cd /run/time_check && ls journal last_restart 2>/dev/null || :").split():
                taken = self._router.do(f"base64 -w 0 /run/time_check/{name}")
                pathlib.Path(folder, name).write_bytes(base64.b64decode(taken))
            done = subprocess.run([TCCTL, "events", "--json", "--all"], check=True, capture_output=True, text=True,
                                   env={**os.environ, "TIME_CHECK_RUN_DIR": folder})
        self._told += [line for line in done.stdout.splitlines() if line not in self._told]

    def compare(self, kinds):
        """Whether both agree, and these kinds of events were among them."""
        self.take()
        self.take_told()
        clocks = clocks_of(self._looks)
        told, faults = [], []
        for event in map(json.loads, self._told):
            changes = told_of(event, clocks)
            told += changes or []
            if changes is None:
                faults.append(f"at no time of the router's: {event['at']} {event['module']} {event['text']}")
        changes, stretches = events_compare.changes_in(self._seen)
        faults += events_compare.faults_of(changes, stretches, told, 1, kinds, shown)
        if faults:
            print("\n".join(faults))
            print("\n".join(self._told), *self._seen, sep="\n", file=sys.stderr)
        return not faults
