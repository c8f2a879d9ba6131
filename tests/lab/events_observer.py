#!/usr/bin/env python3
"""Runs in the box and prints what changes there, by what the kernel and the store show, a JSON object a line.

`before` is the last look that did not show it, `at` the look that did, seconds since 1970 by the box's clock. The first
line says from when on it looked.
"""

import glob
import json
import os
import pathlib
import subprocess
import sys
import time

KEYS = ("wan1_isonln", "wan2_isonln", "stoppage_flag", "sys.is.pwr.save.mode")
PROGRAMS = ("dhttpd", "minidlnad", "httpd")
PAUSE_S = 0.03  # of the machine's time


def text(path):
    try:
        return pathlib.Path(path).read_text().strip()
    except OSError:
        return ""


def processes():
    found = {f"program {name}": "" for name in PROGRAMS}
    for path in glob.glob("/proc/[0-9]*/comm"):
        name = text(path)
        if name in PROGRAMS and not found[f"program {name}"]:
            found[f"program {name}"] = path.split("/")[2]
    return found


def routes():
    state = {"route wan1": "", "route wan2": ""}
    for line in text("/proc/net/route").splitlines()[1:]:
        fields = line.split()
        if fields[1] == "00000000" and fields[0] in ("wan1", "wan2"):
            state[f"route {fields[0]}"] = "default"
    return state


def settings():
    """The keys; {} when the look at the store was given up, which says nothing: its deadline is the box's, and short."""
    listed = subprocess.run(["cfm", "list"], capture_output=True, text=True, check=False)
    if listed.returncode != 0:
        return {}
    state = {f"key {key}": "" for key in KEYS}
    for line in listed.stdout.splitlines():
        key, _, value = line.partition("=")
        if key in KEYS:
            state[f"key {key}"] = value
    return state


def look():
    state = settings()
    for radio in ("wlan0", "wlan1", "guest0", "guest1"):
        state[f"radio {radio}"] = text(f"/sys/class/net/{radio}/operstate")
    for wan in ("wan1", "wan2"):
        state[f"cable {wan}"] = text(f"/sys/class/net/{wan}/carrier")
    for led in ("power", "wan"):
        state[f"LED {led}"] = text(f"/sys/class/leds/{led}/brightness")
    return state | routes() | processes()


def tell(**what):
    print(json.dumps(what), flush=True)


def main():
    rate = float(os.environ["BOX_CLOCK_RATE"])
    seen = look()
    before = time.time()
    tell(what="looks", at=before)
    while True:
        time.sleep(PAUSE_S * rate)
        began = time.time()
        now = look()
        at = time.time()
        for what, state in now.items():
            if state != seen.get(what, state):
                tell(what=what, old=seen[what], new=state, before=before, at=at)
        seen, before = seen | now, began
        tell(what="looked", at=began)


if __name__ == "__main__":
    sys.exit(main())
