#!/usr/bin/env python3
"""Whether a program said each line of a text, numbers apart: said.py SAID <TEXT"""

import pathlib
import re
import sys


def pattern_of(line):
    """Times and counts are another run's."""
    return re.compile(r"\s*" + re.sub(r"\d+(?:\\\.\d+)?", r"[0-9.]+", re.escape(line.strip())).replace(r"\ ", r"\s+"))


def main(said):
    shown = re.sub(r"\x1b\[[0-9;]*[A-Za-z]", "\r", pathlib.Path(said).read_text(encoding="utf-8"))
    lines = [line.strip() for line in re.split(r"[\r\n]+", shown)]
    wanted = [line for line in sys.stdin.read().splitlines() if line.strip()]
    missing = [line for line in wanted if not any(pattern_of(line).fullmatch(each) for each in lines)]
    for line in missing:
        print(f"nobody said: {line}")
    if missing:
        print("What was said:", *lines, sep="\n")
    return 1 if missing or not wanted else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
