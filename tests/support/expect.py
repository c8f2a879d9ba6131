"""For tests that are programs: each thing that is to be seen is said, and the first that is not ends the test."""

import sys
import time

SECONDS = 60  # for what must happen in the end, on however busy a machine


def expect(holds, what):
    if not holds:
        sys.exit(f"NOT SO: {what}")
    print(f"ok: {what}", flush=True)


def wait_for(what, holds, seconds=SECONDS):
    deadline = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > deadline:
            sys.exit(f"NOT SEEN within {seconds} s: {what}")
        time.sleep(0.005)
    print(f"ok: {what}", flush=True)
