#!/usr/bin/env python3
"""terminal.py SECONDS PATTERN COMMAND...: runs the command on a terminal, presses Ctrl-C when it has shown what the
regular expression matches, and prints all that it wrote. Ends with the command's status; 99: the pattern never came, or
the command does not end.
"""

import os
import pty
import re
import select
import sys
import time

CTRL_C = b"\x03"
END_S = 30.0  # for the command, after Ctrl-C


def read_until(terminal, end, pattern=None):
    """What came until the pattern did, or all until the command's end; and whether that came in time."""
    written = b""
    while time.monotonic() < end:
        if not select.select([terminal], [], [], 0.1)[0]:
            continue
        try:
            piece = os.read(terminal, 65536)
        except OSError:  # nobody has the terminal open any more
            piece = b""
        if not piece:
            return written, pattern is None
        written += piece
        if pattern and re.search(pattern, written):
            return written, True
    return written, False


def main():
    seconds, pattern, *command = sys.argv[1:]
    child, terminal = pty.fork()
    if child == 0:
        os.execvp(command[0], command)
    written, is_shown = read_until(terminal, time.monotonic() + float(seconds), pattern.encode())
    os.write(terminal, CTRL_C)
    rest, has_ended = read_until(terminal, time.monotonic() + END_S)
    sys.stdout.buffer.write(written + rest)
    if not is_shown or not has_ended:
        sys.exit(99)
    sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))


if __name__ == "__main__":
    main()
