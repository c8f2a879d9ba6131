"""Prints what the daemon costs next to an earlier build, from the results of bench/run --against: against.py FOLDER.
Exit status 1 when something grew beyond its limit."""
import collections
import glob
import os
import statistics
import sys

COUNTS_MAY_GROW = 1.03
TIMES_MAY_GROW = 1.05


def read_lines(folder, which):
    """The build's result lines by their first word."""
    lines = collections.defaultdict(list)
    for name in sorted(glob.glob(os.path.join(glob.escape(folder), which + ".*"))):
        with open(name, encoding="utf-8", errors="replace") as file:
            for line in file:
                first, *rest = line.rstrip("\n").split("\t")
                lines[first].append(rest)
    return lines


def counted(lines):
    """{(state, what): number}"""
    found = {(label, what): float(number) for label, what, number in lines["ticks"]}
    for label, what, middle, _ in lines["calls"]:
        found[label, {"calls": "system calls", "opens": "files opened"}.get(what, what)] = float(middle)
    return found


def windows(lines):
    """{state: microseconds of CPU a second in each window}"""
    at = collections.defaultdict(list)
    for label, _, time_us, used_us, _ in lines["sample"]:
        at[label].append((int(time_us), int(used_us)))
    return {label: [(after[1] - before[1]) / (after[0] - before[0]) * 1e6 for before, after in zip(them, them[1:])]
            for label, them in at.items()}


def turns(lines):
    """{what: nanoseconds in each turn}"""
    found = collections.defaultdict(list)
    for what, _, mine, _, other, *_ in lines["pair"]:
        found[f"{what} (beside {other})"].append(float(mine))
    for _, _, tick in lines["anonymous"]:
        found["a tick, run at once"].append(float(tick))
    return found


def row(what, before, now, ratio, limit, unit=""):
    """Whether it keeps the limit."""
    kept = ratio is not None and ratio <= limit
    shown = "-" if ratio is None else f"{ratio:.3f}"
    print(f"{what:58} {before:12,.1f} {now:12,.1f} {unit:5} {shown:>7}  {'' if kept else 'GREW'}")
    return kept


def main(folder):
    sides = [read_lines(folder, which) for which in ("before", "now")]
    kept = []
    print(f"{'':58} {'before':>12} {'now':>12} {'':5} {'ratio':>7}")
    before, now = map(counted, sides)
    for key in sorted(before.keys() | now.keys()):
        was, is_now = before.get(key), now.get(key)
        if was is None or is_now is None:
            kept.append(False)
            print(f"{', '.join(key):58} not measured")
            continue
        kept.append(row(", ".join(key), was, is_now, is_now / was if was else 1.0 if not is_now else None, COUNTS_MAY_GROW))
    for read, unit in ((windows, "us/s"), (turns, "ns")):
        before, now = map(read, sides)
        for key in sorted(before.keys() & now.keys()):
            pairs = list(zip(before[key], now[key]))
            ratio = statistics.median(mine / theirs for theirs, mine in pairs)
            what = f"{key}, CPU at the real cadence" if unit == "us/s" else key
            kept.append(row(what, statistics.median(before[key]), statistics.median(now[key]), ratio, TIMES_MAY_GROW, unit))
    if len(kept) < 10:
        print("against.py: most results are missing", file=sys.stderr)
        return 1
    return 0 if all(kept) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
