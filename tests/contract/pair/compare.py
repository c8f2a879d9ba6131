#!/usr/bin/env python3
"""compare.py [--seed N] [--rounds N | --seconds S] [--script FILE] FAMILY LEFT... -- RIGHT...: one and the same random
sequences of calls for two programs of pair.h; what they answer must be the same. --rounds sequences (1000), or as many as
--seconds are enough for, from --seed (1) on; a walk that was stopped goes on from the seed that its last line tells.

Where they differ, lines of the sequence are left out as long as they still differ, and what is left is printed with both
answers: as a script that repeats it, with --script.
"""

import argparse
import collections
import itertools
import shlex
import subprocess
import sys
import time

BATCH_S = 2.0  # for about so long a program plays before the time is looked at
MOST_FOUND = 3


class Side:
    def __init__(self, command, family):
        self.command = [*command, "--family", family]

    def start(self, seed, rounds, *more):
        words = [*self.command, "--seed", str(seed), "--rounds", str(rounds), *more]
        return subprocess.Popen(words, stdout=subprocess.PIPE, text=True)

    def play(self, script):
        """Its answers to a script, and what became of it."""
        done = subprocess.run([*self.command, "--script"], input="".join(line + "\n" for line in script),
                              capture_output=True, text=True, timeout=120, check=False)  # fmt: skip
        return done.stdout.splitlines() + ([f"status {done.returncode}"] if done.returncode else [])


def blocks(process):
    """(seed, lines) of each sequence; a program that ends in the middle gives what there is, and its status."""
    seed, lines = None, []
    for line in process.stdout:
        if line.startswith("= "):
            if seed is not None:
                yield seed, lines
            seed, lines = line[2:-1], []
        else:
            lines.append(line[:-1])
    status = process.wait()
    if seed != "end" or status != 0:
        yield seed, [*lines, f"status {status}"]


def script_of(side, seed):
    process = side.start(seed, 1, "--print")
    return next(blocks(process))[1]


def differs(script, left, right):
    return left.play(script) != right.play(script)


def shrunk(script, left, right):
    """The script without lines that it takes not."""
    size = max(len(script) // 2, 1)
    while True:
        at = 0
        while at < len(script):
            less = script[:at] + script[at + size :]
            if less and differs(less, left, right):
                script = less
            else:
                at += size
        if size == 1:
            return script
        size //= 2


def tell(script, left, right):
    print("\n".join(script))
    for side in (left, right):
        print(f"--- {shlex.join(side.command)}")
        print("\n".join(side.play(script)))


def compare_batch(seed, rounds, left, right, counts):
    """The first seed whose answers differ; None: there is none. `counts`: how often each step was played."""
    both = left.start(seed, rounds), right.start(seed, rounds)
    for mine, other in itertools.zip_longest(blocks(both[0]), blocks(both[1])):
        if mine != other:
            for process in both:
                process.kill()
                process.wait()
            return int((mine or other)[0])
        counts["sequences"] += 1
        counts.update({line.split(" ", 1)[0] for line in mine[1]})
    return None


def walk(options, left, right):
    """True: no difference was found."""
    counts = collections.Counter()
    end = time.monotonic() + options.seconds if options.seconds else None
    seed, last, found, batch = options.seed, options.seed + options.rounds, 0, 5
    while found < MOST_FOUND and (time.monotonic() < end if end else seed < last):
        rounds = batch if end else last - seed
        begin = time.monotonic()
        different = compare_batch(seed, rounds, left, right, counts)
        batch *= 2 if time.monotonic() - begin < BATCH_S else 1
        seed = seed + rounds if different is None else different + 1
        if different is not None:
            found += 1
            print(f"*** seed {different}: they differ in")
            script = script_of(left, different)
            tell(shrunk(script, left, right) if differs(script, left, right) else script, left, right)
    sequences = counts.pop("sequences", 0)
    steps = " ".join(f"{name}={number}" for name, number in sorted(counts.items()))
    print(f"{options.family}: {sequences} sequences from seed {options.seed} to {seed - 1} alike, {found} not; with {steps}")
    return found == 0 and sequences > 0


def main():
    split = sys.argv.index("--", 1)
    parser = argparse.ArgumentParser()
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--rounds", type=int, default=1000)
    parser.add_argument("--seconds", type=float)
    parser.add_argument("--script")
    parser.add_argument("family")
    parser.add_argument("left", nargs=argparse.REMAINDER)
    options = parser.parse_args(sys.argv[1:split])
    left, right = Side(options.left, options.family), Side(sys.argv[split + 1 :], options.family)
    if options.script is None:
        return 0 if walk(options, left, right) else 1
    with open(options.script, encoding="utf-8") as file:
        script = file.read().splitlines()
    tell(script, left, right)
    return 1 if differs(script, left, right) else 0


if __name__ == "__main__":
    sys.exit(main())
