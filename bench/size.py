"""Measures what bench/size prints: size.py PROGRAMS, the folder with the mipsel builds; the image is made of them."""

import collections
import contextlib
import dataclasses
import pathlib
import re
import statistics
import subprocess
import sys
import time

PROJECT = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(PROJECT / "lab" / "mips"), str(PROJECT / "tests" / "device")]
sys.dont_write_bytecode = True

from machine import BUILD  # noqa: E402
from router import Router  # noqa: E402

TOOLS = "mipsel-linux-gnu-"
ROOT = BUILD / "root"
CLOCK_RATE = 20
SETTLE_S = 4  # from a program's start until it is looked at
NAMES = {"time_check": "time_check, after the hour", "monit": "monit", "crond": "busybox crond"}
FILE_MOST = 96 * 1024
PRIVATE_DIRTY_MOST_KIB = 512
ALLOCATORS = ("malloc", "calloc", "realloc", "strdup", "asprintf")

# Everything that the daemon does again and again: two schedules that switch, a LAN client to be measured (any byte is
# "busy" here, so that no restart comes of it), reachability, and a network that answers.
BUSY_HOUR = """
ip addr add 10.91.0.2/24 dev wan1; ip route add default via 10.91.0.1
ip netns exec isp ip route add 10.77.0.0/24 via 10.91.0.2
ip netns exec lan ip route add default via 10.77.0.1
ip netns exec lan /bin/busybox ping 198.51.100.1 >/dev/null 2>&1 </dev/null &
for what in wlan led; do
    cfm set nkgw.$what.listnum 1
    cfm set nkgw.$what.offtime.list1 12:20
    cfm set nkgw.$what.ontime.list1 12:40
done
cfm set sys.sched.led.type time
cfm set sys.schedulereboot.enable 1
cfm set sys.schedulereboot.type 1
cfm set sys.schedulereboot.start_time 12:10
cfm set sys.schedulereboot.end_time 12:50
cfm set sys.schedulereboot.max_speed 0
date -s '2026-03-02 12:00:00'
"""

TABLE = (PROJECT / "time_check" / "time_check_module.cpp").read_text(encoding="utf-8")
MODULES = [name for name in re.findall(r'\.name = "time_check_(\w+)"', TABLE) if name not in ("debug", "cpu")]

# The CPU watchdog gets one message: each has it sample often for a while, with pauses in real time.
MESSAGES = f"""
cfm post time_check 'time_check_cpu?op=1'
while sleep 0.3; do
    for module in {' '.join(MODULES)}; do
        cfm post time_check "time_check_$module?op=1"
        sleep 0.2
    done
done >/dev/null 2>&1 </dev/null &
"""

NEIGHBOURS = """
mkdir -p /run/monit /run/cron
cat >/run/monit/monitrc <<END
set daemon 1
set pidfile /run/monit/pid
set idfile /run/monit/id
set statefile /run/monit/state
set log /run/log/monit.log
check process hostapd with pidfile /run/wifi/home.pid
END
chmod 700 /run/monit/monitrc
echo '* * * * * true' >/run/cron/root
monit -I -c /run/monit/monitrc >/dev/null 2>&1 </dev/null &
crond -f -c /run/cron >/dev/null 2>&1 </dev/null &
"""


# ---- files ----


def sections(file):
    """Bytes by section."""
    listing = subprocess.run([f"{TOOLS}size", "-A", file], check=True, capture_output=True, text=True).stdout
    return {words[0]: int(words[1]) for words in map(str.split, listing.splitlines()) if words and words[0][0] == "."}


def bytes_of(found, *names):
    return sum(size for section, size in found.items() if section in names)


def file_sizes(path):
    file = ROOT / path.lstrip("/")
    found = sections(file)
    return [
        f"{file.stat().st_size:,}",
        f"{bytes_of(found, '.text', '.MIPS.stubs', '.plt', '.init', '.fini'):,}",
        f"{bytes_of(found, '.rodata', '.data.rel.ro', '.eh_frame'):,}",
        f"{bytes_of(found, '.data', '.sdata', '.got', '.got.plt'):,}",
        f"{bytes_of(found, '.bss', '.sbss'):,}",
    ]


def functions_of(file, *options):
    """Addresses and names of its functions, lowest first; with -D --synthetic a program's ways into the libraries."""
    command = [f"{TOOLS}nm", "--numeric-sort", *options, file]
    listing = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    found = re.findall(r"^(\w+) [tT] (.*)$", listing, re.MULTILINE)
    return [(int(address, 16), name) for address, name in found]


# ---- the emulated router ----


@dataclasses.dataclass
class Mapping:
    begin: int
    end: int
    rights: str
    name: str
    rss: int = 0  # this and the following in KiB
    pss: int = 0
    private_dirty: int = 0


def mappings_of(router, program):
    """What the process has mapped, without the faster clock, which is ours."""
    found = []
    for line in router.do(f"cat /proc/$(pidof {program} | cut -d ' ' -f 1)/smaps").splitlines():
        head = re.match(r"(\w+)-(\w+) (\S+) \S+ \S+ \S+ *(.*)", line)
        value = re.match(r"(Rss|Pss|Private_Dirty): +(\d+) kB", line)
        if head:
            found.append(Mapping(int(head[1], 16), int(head[2], 16), head[3], head[4]))
        elif value:
            setattr(found[-1], value[1].lower(), int(value[2]))
    return [mapping for mapping in found if "libbox_clock" not in mapping.name]


def total(mappings, what):
    return sum(getattr(mapping, what) for mapping in mappings)


def heap(mappings):
    """The main heap's, and those that the C library makes for other threads: their rest is reserved without rights."""
    size = total([mapping for mapping in mappings if mapping.name == "[heap]"], "private_dirty")
    for mapping, following in zip(mappings, mappings[1:]):
        if mapping.name == "" and mapping.rights == "rw-p" and mapping.begin % (1 << 20) == 0:
            if following.rights == "---p" and following.begin == mapping.end:
                size += mapping.private_dirty
    return size


def main_stack(mappings):
    return total([mapping for mapping in mappings if mapping.name == "[stack]"], "private_dirty")


def thread_stacks(mappings):
    """Of the threads beside the first: above a page without rights; what the C library keeps for a thread included."""
    sizes = []
    for guard, mapping in zip(mappings, mappings[1:]):
        if guard.rights == "---p" and guard.end - guard.begin == 4096 and mapping.begin == guard.end:
            if mapping.name == "" and mapping.end - mapping.begin > 1 << 20:
                sizes.append(mapping.private_dirty)
    return sizes


def first_ms(router, program):
    """The processor time that all its threads have had."""
    command = f"cat /proc/$(pidof {program} | cut -d ' ' -f 1)/task/*/schedstat"
    return round(sum(int(line.split()[0]) for line in router.do(command).splitlines()) / 1e6)


# ---- what the kernel's probes count ----


class Probes:
    """The kernel writes down when the daemon comes to a function."""

    FOLDER = "/sys/kernel/tracing"

    def __init__(self, router, program):
        self._router = router
        own = {name: address for address, name in functions_of(program)}
        imported = {name: address for address, name in functions_of(program, "-D", "--synthetic")}
        events = [self._event("main", own["main"]), self._event("slept", own["__wrap_sleep"])]
        for name in ALLOCATORS:
            if f"{name}@plt" in imported:
                events.append(self._event(name, imported[f"{name}@plt"]) + " from=%r31:x32")
        router.do(f"mount -t tracefs tracefs {self.FOLDER}; cd {self.FOLDER}; echo 8192 >buffer_size_kb")
        for event in events:
            router.do(f"echo '{event}' >>{self.FOLDER}/uprobe_events")
        router.do(f"echo 'filename == \"/usr/bin/time_check\"' >{self.FOLDER}/events/sched/sched_process_exec/filter")

    @staticmethod
    def _event(name, address):
        return f"p:{name} /usr/bin/time_check:{address - 0x400000:#x}"  # the program is for a fixed address

    def switch(self, on, *events):
        for event in events:
            self._router.do(f"echo {on} >{self.FOLDER}/events/{event}/enable")

    def clear(self):
        self._router.do(f"echo >{self.FOLDER}/trace")

    def first_seconds(self):
        """When each event happened first after the daemon's last start."""
        text = self._router.do(f"cat {self.FOLDER}/trace")
        seen = {}
        for moment, event in re.findall(r" (\d+\.\d+): (\w+):", text):
            if event == "sched_process_exec":
                seen = {}
            seen.setdefault(event, float(moment))
        return seen

    def count(self, event):
        profile = self._router.do(f"cat {self.FOLDER}/uprobe_profile")
        return int(re.search(rf" {event} +(\d+)", profile)[1])

    def requests(self, functions):
        """How often which of the daemon's functions asked for memory."""
        callers = collections.Counter()
        for place in re.findall(r" from=(0x\w+)", self._router.do(f"cat {self.FOLDER}/trace", 300)):
            callers[next(name for begin, name in reversed(functions) if begin <= int(place, 16))] += 1
        return callers


# ---- the measurements ----


@dataclasses.dataclass
class Findings:
    main_ms: float  # from the start of the program
    tick_ms: float
    rows: list = dataclasses.field(default_factory=list)  # of memory
    ticks: int = 0
    messages: int = 0
    mapped: dict = dataclasses.field(default_factory=dict)  # by program
    requests: collections.Counter = dataclasses.field(default_factory=collections.Counter)  # for memory, by function


def measure_start(router, probes):
    """Milliseconds from exec to main and to the first sleep of the loop, the median of five starts."""
    events = ("sched/sched_process_exec", "uprobes/main", "uprobes/slept")
    starts = []
    for _ in range(5):
        probes.clear()
        probes.switch(1, *events)
        router.restart_daemon()
        time.sleep(SETTLE_S)
        probes.switch(0, *events)
        seen = probes.first_seconds()
        starts.append([1000 * (seen[event] - seen["sched_process_exec"]) for event in ("main", "slept")])
    return [statistics.median(column) for column in zip(*starts)]


def pass_an_hour(router, probes):
    """An hour of the daemon's faster clock, with messages. Returns ticks and messages."""
    router.do(BUSY_HOUR)
    router.set_daemon_clock(CLOCK_RATE)
    time.sleep(5)
    probes.clear()
    handled = "grep -c 'key = op' /run/log/time_check.log; true"
    before = probes.count("slept"), int(router.do(handled))
    probes.switch(1, "uprobes")
    router.do(MESSAGES)
    router.do(f"sleep {3600 // CLOCK_RATE}", 300)
    after = probes.count("slept"), int(router.do(handled))
    probes.switch(0, "uprobes")
    return [late - early for early, late in zip(before, after)]


def memory_row(name, mappings, processor):
    stacks = " + ".join(str(size) for size in [main_stack(mappings), *thread_stacks(mappings)])
    sums = [total(mappings, what) for what in ("rss", "pss", "private_dirty")]
    return [name, *sums, heap(mappings), stacks, processor]


def measure(router, program):
    router.expect("the daemon has read its settings", 20, "cat /run/log/time_check.log", "wan_ifnames")
    probes = Probes(router, program)
    found = Findings(*measure_start(router, probes))
    found.rows = [memory_row("time_check, started", mappings_of(router, "time_check"), first_ms(router, "time_check"))]
    router.do(NEIGHBOURS)
    time.sleep(SETTLE_S)
    neighbours_ms = [first_ms(router, name) for name in ("monit", "crond")]
    router.step("an hour passes on the daemon's clock")
    found.ticks, found.messages = pass_an_hour(router, probes)
    found.mapped = {name: mappings_of(router, name) for name in ("time_check", "monit", "crond")}
    for (name, mappings), milliseconds in zip(found.mapped.items(), ["", *neighbours_ms]):
        found.rows.append(memory_row(NAMES[name], mappings, milliseconds))
    found.requests = probes.requests(functions_of(program, "--demangle"))
    return found


# ---- the report ----


def table(title, head, rows):
    print(f"\n{title}\n\n| {' | '.join(head)} |\n|{'---|' * len(head)}")
    for row in rows:
        print("|", " | ".join(str(cell) for cell in row), "|")


def file_rows(mapped):
    users = collections.defaultdict(dict)
    for program, mappings in mapped.items():
        for mapping in mappings:
            if mapping.name.startswith("/usr/"):
                users[mapping.name][program] = True
    return [[pathlib.Path(file).name, ", ".join(programs), *file_sizes(file)] for file, programs in users.items()]


def verdict(what, value, most):
    print(f"- {what}: {value:,}, and may be {most:,}: {'kept' if value <= most else 'EXCEEDED'}")
    return value <= most


def report(found, daemon):
    """Prints everything. False: a limit is exceeded. The daemon's functions, without its ground's."""
    table("Bytes of the files, which are stripped, and of what is in them",
          ["file", "used by", "bytes", "code", "constants", "data", "zeroed data"], file_rows(found.mapped))
    table(f"KiB of memory, and milliseconds of processor time in the first {SETTLE_S} seconds",
          ["process", "resident", "its share", "private dirty", "heap", "stack of each thread", "ms"], found.rows)
    print(f"\nStart: {found.main_ms:.0f} ms until main, {found.tick_ms:.0f} ms until the first tick is done.")
    print(f"The hour: {found.ticks} ticks and {found.messages} messages, its clock {CLOCK_RATE} times as fast.")
    table("Requests for heap memory by the daemon's program in the hour", ["function", "requests"],
          found.requests.most_common())
    print()
    mapped = found.mapped["time_check"]
    return all([
        verdict("the daemon's file, bytes", (ROOT / "usr/bin/time_check").stat().st_size, FILE_MOST),
        verdict("private dirty memory after the hour, KiB", total(mapped, "private_dirty"), PRIVATE_DIRTY_MOST_KIB),
        verdict("libraries of C++ that are loaded", sum("libstdc++" in mapping.name for mapping in mapped), 0),
        verdict("the daemon's own requests for heap memory in the hour",
                sum(number for caller, number in found.requests.items() if caller in daemon), 0),
    ])  # fmt: skip


def main():
    program = pathlib.Path(sys.argv[1], "time_check")
    with contextlib.redirect_stdout(sys.stderr):
        router = Router(f"file:{BUILD}/console-size.log")
        found = measure(router, program)
        router.end()
    daemon = functions_of(program.parents[1] / "time_check/libdaemon_objects.a", "--demangle")
    sys.exit(0 if report(found, {name for _, name in daemon}) else 1)


if __name__ == "__main__":
    main()
