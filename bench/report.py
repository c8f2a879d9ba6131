"""Writes the report of bench/run from its results: report.py FOLDER."""
import collections
import csv
import glob
import os
import platform
import statistics
import sys

folder = sys.argv[1]


def lines(part):
    for name in sorted(glob.glob(os.path.join(folder, part + "*"))):
        with open(name, encoding="utf-8") as file:
            for line in file:
                yield line.rstrip("\n").split("\t")[1:]


def grouped(part):
    groups = collections.defaultdict(dict)
    for label, what, number in lines(part):
        groups[label][what] = float(number)
    return groups


def store():
    repeated = collections.defaultdict(list)
    with open(os.path.join(folder, "store.csv"), encoding="utf-8") as file:
        for row in csv.reader(file):
            if len(row) > 4 and row[4] in ("ns", "us"):
                if not row[0].endswith(("_mean", "_median", "_stddev", "_cv")):
                    repeated[row[0]].append(float(row[3]))
    return repeated


def table(head, rows):
    print("|", " | ".join(head), "|")
    print("|" + "---|" * len(head))
    for row in rows:
        print("|", " | ".join(str(cell) for cell in row), "|")
    print()


def pair_ratio(one, other):
    return statistics.median(a / b for a, b in zip(one, other))


def write_idle():
    print("## An idle tick\n\nSystem calls (both threads and all they start), files opened and processes started, for each")
    print("second at the real cadence, by strace; instructions of the daemon by callgrind, and heap allocations, from")
    print("ticks that follow each other at once. 20 processes, if nothing else is said. Aims when online: at most 6")
    print("system calls, nothing opened, started or allocated.\n")
    idle, ticks = grouped("idle"), grouped("ticks")
    rows = []
    for label in list(idle) + [label for label in ticks if label not in idle]:
        seen, run = idle.get(label, {}), ticks.get(label, {})
        cells = [seen.get("calls"), seen.get("opens"), seen.get("processes"), run.get("instructions"), run.get("allocations")]
        rows.append([label] + ["" if cell is None else f"{cell:,.2f}".removesuffix(".00") for cell in cells])
    table(["state", "system calls", "files opened", "processes", "instructions", "allocations in all ticks"], rows)


def write_cadence():
    windows = collections.defaultdict(list)
    for label, number in lines("cadence"):
        windows[label].append(float(number) / 1000)
    print("## CPU time at the real cadence\n\nMicroseconds a second, own and of ended children, in windows of ten seconds side by side;")
    print("the ratio is the median of those of the windows. The shell loop reads 40 values, the ARP table, two counters and")
    print("looks for a process; the sleeper only sleeps.\n")
    table(["program", "median", "daemon's next to it", "aim"],
          [[label, f"{statistics.median(windows[label]):.0f}", f"{pair_ratio(windows['daemon'], windows[label]):.4f}", aim]
           for label, aim in (("daemon", ""), ("sleeper", "1.5"), ("shell", "1/800"))])


    print("The windows hold the probes of the WAN, and every call meets cold caches. How the time next to the sleeper divides")
    print("between these has not been measured.\n")


def write_store():
    times = store()
    print("## The store\n\nCPU nanoseconds, medians of five, in turn with the other side.\n")
    table(["what", "ours", "LMDB's own", "ratio", "aim"],
          [[one, f"{statistics.median(times[one]):,.0f}", f"{statistics.median(times[other]):,.0f}",
            f"{pair_ratio(times[one], times[other]):.2f}", aim]
           for one, other, aim in (("get_value", "lmdb_read", "0.5 while nothing changed"), ("get_missing_value", "lmdb_read", "0.5"),
                                   ("set_value", "lmdb_write", ""), ("commit", "lmdb_copy", ""))])


def write_shell():
    counts = {what: float(number) for what, number in lines("shell")}
    print("## cfm\n")
    ratios = (("cfm get, instructions", "cfm get", "empty program", "1.3"),
              ("commit, bytes next to the contents", "commit bytes", "contents", "1.1"))
    table(["what", "ours", "the other", "ratio", "aim"],
          [[what, f"{counts[one]:,.0f}", f"{counts[other]:,.0f}", f"{counts[one] / counts[other]:.2f}", aim]
           for what, one, other, aim in ratios])
    print(f"A commit syncs {counts['commit syncs']:.0f} times (aim: at most 2); one of nothing new syncs "
          f"{counts['commit of nothing new syncs']:.0f} times and writes {counts['commit of nothing new bytes']:.0f} bytes (aim: 0 and 0).")
    print("The empty program is linked as cfm is, with libstdc++ inside: so it has next to nothing to load, and what is left of a")
    print("cfm get is reading the command line, opening LMDB and one read.")


print("# What it costs\n\nWritten by `bench/run`; every number can be had again by it.\n")
print(f"Machine: {os.cpu_count()} processors, {platform.machine()}, Linux {platform.release()}, load {os.getloadavg()[0]:.1f}.\n")
write_idle()
write_cadence()
write_store()
write_shell()
