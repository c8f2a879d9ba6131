"""Writes the report of bench/run from its results: report.py FOLDER. A figure that is missing shows as a dash."""
import collections
import glob
import os
import platform
import statistics
import subprocess
import sys

NONE = "–"


def read_lines(folder):
    """The results' lines by their first word."""
    lines = collections.defaultdict(list)
    for name in sorted(glob.glob(os.path.join(folder, "*"))):
        if os.path.isfile(name):
            with open(name, encoding="utf-8", errors="replace") as file:
                for line in file:
                    first, *rest = line.rstrip("\n").split("\t")
                    lines[first].append(rest)
    return lines


LINES = read_lines(sys.argv[1])
LABELS = list(dict.fromkeys(rest[0] for rest in LINES["state"]))
STATE_LABELS = LABELS[:7]


def numbers(first):
    """Lines "FIRST LABEL WHAT NUMBER" as {label: {what: number}}."""
    found = collections.defaultdict(dict)
    for label, what, number in LINES[first]:
        found[label][what] = float(number)
    return found


CALLS = collections.defaultdict(dict)
for _label, _what, _median, _mean in LINES["calls"]:
    CALLS[_label][_what] = (float(_median), float(_mean))
TICKS = numbers("ticks")
MEMORY = {label: float(kilobytes) for label, kilobytes in LINES["memory"] if kilobytes}
CFM = {what: float(number) for what, number in LINES["cfm"]}
PAIRS = {(what, other): tuple(map(float, (mine, mine_99, theirs, theirs_99, ratio, ratio_99)))
         for what, ours, mine, mine_99, other, theirs, theirs_99, ratio, ratio_99 in LINES["pair"]}


RIVALS = ("monit", "watchdog", "naive", "tuned", "once")


def cpu():
    """Microseconds of CPU a second in each of a program's windows, {label: (all, main thread)}."""
    at = collections.defaultdict(list)
    for label, _, time_us, used_us, main_ns in LINES["sample"]:
        at[label].append((int(time_us), int(used_us), int(main_ns) / 1000))
    windows = {}
    for label, samples in at.items():
        steps = list(zip(samples, samples[1:]))[label in RIVALS::2]
        windows[label] = tuple([(after[part] - before[part]) / (after[0] - before[0]) * 1e6 for before, after in steps]
                               for part in (1, 2))
    return windows


CPU = cpu()


def median(values):
    return statistics.median(values) if values else None


def pair_ratio(one, other):
    return median([a / b for a, b in zip(one, other) if b > 0])


def cpu_ratio(label, other, part=0):
    if label not in CPU or other not in CPU:
        return None
    return pair_ratio(CPU[label][part], CPU[other][part])


def mean_cpu_ratio(label, other):
    if label not in CPU or other not in CPU:
        return None
    return statistics.mean(CPU[label][0]) / statistics.mean(CPU[other][0])


def show(value, digits=2):
    if value is None:
        return NONE
    return f"{value:,.{digits}f}" if value % 1 else f"{value:,.0f}"


def show_ns(value):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if value >= size:
            return f"{value / size:,.2f} {unit}"
    return f"{value:,.1f} ns"


def show_ratio(value):
    if value is None:
        return NONE
    return f"1/{1 / value:,.0f}" if 0 < value < 0.1 else f"{value:.2f}"


def table(head, rows):
    print("|", " | ".join(head), "|")
    print("|" + "---|" * len(head))
    for row in rows:
        print("|", " | ".join(str(cell) for cell in row), "|")
    print()


# ---- the aims ----

def aim(what, ours, other, measured, text, met, stretch=""):
    return [what, ours, other, measured, text, stretch, NONE if met is None else "yes" if met else "**no**"]


def below(value, limit):
    return None if value is None else value <= limit


def cpu_aim(what, label, other, limit, text, stretch, part=0):
    ratio = cpu_ratio(label, other, part)
    sides = [show(median(CPU[name][part])) + " µs/s" if name in CPU else NONE for name in (label, other)]
    return aim(what, *sides, show_ratio(ratio), text, below(ratio, limit), stretch)


def pair_aim(what, key, limit, text, stretch, part=4):
    found = PAIRS.get(key)
    if found is None:
        return aim(what, NONE, NONE, NONE, text, None, stretch)
    side = part - 4
    return aim(what, show_ns(found[side]), show_ns(found[side + 2]), f"{found[part]:.2f}", text,
               below(found[part], limit), stretch)


def count_aim(what, number, limit, text, stretch=""):
    return aim(what, show(number), "", show(number), text, below(number, limit), stretch)


def tick_aim(what, key, limit, text, stretch=""):
    middle, mean = CALLS.get("online", {}).get(key, (None, None))
    return aim(what, f"{show(middle)}, {show(mean)} on average", "", show(middle), text, below(middle, limit), stretch)


def ratio_aim(what, ours, other, limit, text, unit, stretch=""):
    ratio = ours / other if ours is not None and other else None
    return aim(what, show(ours) + unit, show(other) + unit, show_ratio(ratio), text, below(ratio, limit), stretch)


def aims():
    raw_get = "LMDB get, own snapshot"
    rows = [
        cpu_aim("CPU of idle ticks, online, next to a program that only sleeps: the ticks' thread", "online", "sleeper", 1.5, "1.5",
                "1.15", 1),
        cpu_aim("CPU of idle ticks, the same with the probes of the WAN, both threads", "online", "sleeper", 1.5, "1.5", "1.15"),
        cpu_aim("CPU of idle ticks next to monit with four checks", "online", "monit", 1 / 50, "1/50", "1/80"),
        cpu_aim("CPU of idle ticks next to the naive shell loop", "online", "naive", 1 / 800, "1/800", "1/1300"),
        cpu_aim("CPU of idle ticks next to the tuned shell loop", "online", "tuned", 1 / 200, "1/200", "1/320"),
        cpu_aim("CPU of idle ticks next to the tuned shell loop that makes one pass for all values", "online", "once", 1 / 200, "1/200",
                "1/320"),
        tick_aim("system calls per idle tick, both threads", "calls", 6, "6", "3"),
        tick_aim("child processes per idle tick", "processes", 0, "0"),
        tick_aim("allocations per idle tick", "allocations", 0, "0"),
        tick_aim("files opened per idle tick", "opens", 0, "0"),
        pair_aim("GetValue next to a raw LMDB get, after a change", ("40 GetValue after a change", raw_get), 1.25, "1.25", "1.1"),
        pair_aim("GetValue while nothing changed", ("GetValue while nothing changed", raw_get), 0.5, "0.5", "0.3"),
        cpu_aim("CPU with 5,000 keys next to the fewest", "online, 5000 keys", "online", 1.1, "1.1", "1.05"),
        cpu_aim("CPU with 2,000 processes next to 20", "online, 2000 processes", "online", 1.1, "1.1", "1.05"),
    ]
    rows += [pair_aim(f"quiet check with {entries} ARP entries next to open, read, close, per open",
                      (f"quiet check, {entries} ARP entries", "open, read, close"), 1.5, "1.5", "1.2")
             for entries in (0, 10, 100, 1000)]
    rows += [
        count_aim("commit: syncs", CFM.get("commit syncs"), 2, "2"),
        ratio_aim("commit: bytes next to the contents", CFM.get("commit bytes"), CFM.get("contents bytes"), 1.1, "1.1", " bytes"),
        count_aim("commit of nothing new: syncs", CFM.get("commit of nothing new syncs"), 0, "0"),
        count_aim("commit of nothing new: bytes", CFM.get("commit of nothing new bytes"), 0, "0"),
        pair_aim("SetValue next to LMDB's put and commit", ("SetValue", "LMDB put and commit"), 1.2, "1.2", "1.1"),
        pair_aim("commit next to one write and two syncs done bare, on the disk", ("commit on the disk", "one write and two syncs"), 1.3,
                 "1.3", "1.1"),
        pair_aim("message round trip next to a raw datagram, median", ("message round trip", "bare datagram"), 1.3, "1.3", "1.1"),
        pair_aim("message round trip, 99th percentile", ("message round trip", "bare datagram"), 2, "2", "1.2", 5),
        pair_aim("cfm get next to an empty program of the same linkage", ("cfm get, start to exit", "empty program"), 1.2, "1.2",
                 "1.1"),
        count_aim("cfm, stripped: bytes", CFM.get("stripped bytes"), 150000, "150,000", "65,536"),
        pair_aim("tcctl status next to an empty program of the same linkage, which has the streams too",
                 ("tcctl status, start to exit", "empty program with streams"), 1.3, "1.3", "1.2"),
        ratio_aim("anonymous memory next to the program that only sleeps", MEMORY.get("online"), MEMORY.get("sleeper"), 2, "2", " kB",
                  "1.4"),
    ]
    for before, after, _ in LINES["anonymous"]:
        rows.append(count_aim("growth over a million ticks, kB", float(after) - float(before), 0, "0"))
    speed = median([float(number) for _, number, _ in LINES["sim"]])
    rows.append(aim("simulated seconds per second, all modules, both threads", show(speed, 0), "", show(speed, 0), "300,000",
                    None if speed is None else speed >= 300000, "1,000,000"))
    return rows


def write_aims():
    rows = aims()
    print("## Aims\n\nEvery ratio is the median of those of neighbouring turns, or of the same or neighbouring windows; both sides are medians.")
    print("An aim is an upper limit, but for the simulated seconds.\n")
    table(["what", "ours", "the other", "measured", "aim", "stretch", "met?"], rows)
    missed = [row[0] for row in rows if row[-1] == "**no**"]
    unknown = sum(row[-1] == NONE for row in rows)
    with open(os.path.join(os.path.dirname(__file__), "limits.md"), encoding="utf-8") as file:
        limits = dict(part.split("\n", 1) for part in file.read().split("\n## ")[1:])
    print(f"{len(rows) - len(missed) - unknown} of {len(rows)} are met." + (" What limits the others:\n" if missed else "\n"))
    for what in missed:
        explained = [text.strip() for prefix, text in limits.items() if what.startswith(prefix)]
        print(f"- **{what}.** " + (explained[0] if explained else "Not explained yet."))
    print()


# ---- the figures ----

def write_states():
    print("## An idle tick in each state\n")
    print("For each second at the real cadence, with the look at the WAN every 20 s: CPU time of both threads and of the ticks' thread;")
    print("system calls and files opened by strace, the median second and the average; child processes; allocations by a preloaded")
    print("counter. Instructions are those of the ticks alone, by callgrind.\n")
    rows = []
    for label in LABELS:
        calls, windows = CALLS.get(label, {}), CPU.get(label, ([], []))
        rows.append([label, show(median(windows[0]), 1), show(median(windows[1]), 1),
                     show(TICKS.get(label, {}).get("instructions"), 0)] +
                    [f"{show(calls[what][0])} ({show(calls[what][1])})" if what in calls else NONE for what in ("calls", "opens")] +
                    [show(calls[what][1]) if what in calls else NONE for what in ("processes", "allocations")])
    table(["state", "CPU, µs", "ticks' thread, µs", "instructions", "system calls", "files opened", "child processes", "allocations"],
          rows)
    for _, _, hot_ns in LINES["anonymous"]:
        print(f"Run a million times at once, with warm caches, an online tick takes {float(hot_ns) / 1000:.2f} µs.\n")
    print("The system calls by name, average of a second:\n")
    table(["state", "calls"], [rest for rest in LINES["names"] if rest[0] in STATE_LABELS])


def write_growth():
    print("## Growth\n\nNext to the smallest of its kind: CPU in the same windows, CPU in all of them, instructions.\n")
    rows = []
    for label in LABELS[7:]:
        base = "quiet-check window" if label.startswith("quiet") else "online"
        ours, others = TICKS.get(label, {}).get("instructions"), TICKS.get(base, {}).get("instructions")
        rows.append([label, base, show_ratio(cpu_ratio(label, base)), show_ratio(mean_cpu_ratio(label, base)),
                     show_ratio(ours / others if ours and others else None)])
    table(["state", "next to", "CPU", "CPU of all windows", "instructions"], rows)


def write_rivals():
    print("## Next to others, CPU at the real cadence\n")
    print("Microseconds a second with all child processes, by control group, 20 processes in each namespace, in windows of 20 s: the")
    print("states and the sleeper side by side, and in the windows between those the others, which stand still otherwise.\n")
    rows = [[label, show(median(CPU[label][0]), 1), f"{show(min(CPU[label][0]), 1)} to {show(max(CPU[label][0]), 1)}",
             show_ratio(cpu_ratio("online", label)), show(MEMORY.get(label), 0)]
            for label in ("online", "sleeper", *RIVALS) if label in CPU]
    table(["program", "median", "windows", "daemon's next to it", "anonymous memory, kB"], rows)


def write_pairs():
    print("## In turn with others\n\nMedian and 99th percentile of a call.\n")
    table(["what", "ours", "99 %", "the other", "", "99 %", "ratio", "ratio of 99 %"],
          [[what, show_ns(mine), show_ns(mine_99), other, show_ns(theirs), show_ns(theirs_99), f"{ratio:.2f}", f"{ratio_99:.2f}"]
           for (what, other), (mine, mine_99, theirs, theirs_99, ratio, ratio_99) in PAIRS.items()])
    one_way = [(other, found[0], found[2]) for (what, other), found in PAIRS.items() if what == "1000 messages one way"]
    for other, mine, theirs in one_way:
        print(f"- messages a second one way: {1e12 / mine:,.0f}; {other}: {1e12 / theirs:,.0f}")
    print()


def write_counts():
    print("## cfm in counts\n")
    table(["what", "number"], [[what, show(number)] for what, number in CFM.items()])


def write_proofs():
    print("## That the states are what they are called\n\nSeen from outside, in the store and in the system, in every one of the")
    print("measurements.\n")
    seen = collections.defaultdict(list)
    for label, proven, evidence in LINES["proof"]:
        seen[label].append((proven, evidence))
    table(["state", "seen", "evidence"],
          [[label, f"{sum(proven == 'yes' for proven, _ in looks)} of {len(looks)} times",
            next((evidence for proven, evidence in looks if proven == "no"), looks[0][1])] for label, looks in
           ((label, seen[label]) for label in LABELS) if looks])


def first_line(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.split("\n")[0]
    except (OSError, subprocess.CalledProcessError):
        return NONE


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = [line.split(":")[1].strip() for line in file if line.startswith("model name")]
    return names[0] if names else platform.machine()


def write_machine():
    print("# What it costs\n\nWritten by `bench/run`, which repeats it; `bench/README.md` says what is measured how.\n")
    packages = [first_line("dpkg-query", "-W", "-f", "${db:Status-Abbrev}${binary:Package} ${Version}", name)
                for name in ("monit", "watchdog", "busybox-static", "busybox", "dbus-daemon", "liblmdb0", "libc6")]
    print(f"Machine: {processor()}, {os.cpu_count()} processors, Linux {platform.release()}, {first_line('c++', '--version')}.")
    print(f"Load in the last 15 minutes: {os.getloadavg()[2]:.1f}, the benchmark's own included.")
    print("Beside it: " + ", ".join(name[3:] for name in packages if name.startswith("ii ")) + ".\n")


write_machine()
write_aims()
write_states()
write_growth()
write_rivals()
write_pairs()
write_counts()
write_proofs()
