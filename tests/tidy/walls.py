"""Who may include whom: by folder, and inside the daemon by unit. What is not listed is not allowed.

The two tables are the documentation of the house's walls. A new edge is a decision: write it here, with its reason where
it leads upwards.
"""

import re

KEYS = r"platform/config_keys\.def"
VERDICTS = r"platform/verdicts/[a-z_]+\.def"
CONTRACT = r"platform/[a-z_]+\.h"
COMMON = r"platform/common/[a-z_]+\.h"
LINUX = r"platform/linux/[a-z_/]+\.h"
SIM = r"platform/sim/[a-z_/]+\.h"
DAEMON = r"time_check/[a-z_]+\.h"

# A folder's sources may include what one of its patterns matches whole. The longest folder that a file lies in counts.
FOLDERS = {
    "platform/": (KEYS,),
    "platform/common/": (CONTRACT, COMMON, KEYS),
    "platform/linux/": (CONTRACT, COMMON, LINUX),
    "platform/trace/": (CONTRACT, r"platform/common/secrets\.h", r"platform/trace/[a-z_]+\.h"),
    "platform/sim/": (CONTRACT, COMMON, SIM, KEYS),
    "time_check/": (CONTRACT, DAEMON, VERDICTS),
    "tools/": (CONTRACT, KEYS, r"platform/linux/(bus|bus_copy|printable|run_directory|store/admin)\.h", r"tools/.*"),
    # Settings are judged by the daemon's own readers and the store's, never by a second one (decision 0153).
    "tools/tcctl/": (CONTRACT, COMMON, KEYS, VERDICTS,
                     r"platform/linux/(bus|printable|run_directory|store/admin|store/text)\.h",
                     r"time_check/time_check_(clock|schedule|text)\.h", r"tools/.*"),
    # It carries the virtual router, and reads schedules as the daemon in there does. How words are taken is the same
    # call for all programs.
    "tools/preview/": (CONTRACT, KEYS, VERDICTS, SIM, r"platform/linux/store/text\.h",
                       r"time_check/time_check_schedule\.h",
                       r"tools/(command_line|html|text_file)\.h", r"tools/replay/program\.h", r"tools/(preview|tcctl)/.*"),
    # As the preview. What a trace is (trace.h) knows nobody, so that what writes one on a router needs nothing of it.
    "tools/replay/": (CONTRACT, VERDICTS, SIM, r"tools/(command_line|text_file)\.h", r"tools/(replay|tcctl)/.*"),
    # It reads the machine with the ground's own units, and the daemon's page and journal with tcctl's.
    "tools/record/": (CONTRACT, COMMON, KEYS,
                      r"platform/linux/(bus|bus_copy|counted_hosts|kernel_file|process|directory|run_directory)\.h",
                      r"platform/linux/store/(admin|text)\.h",
                      r"tools/replay/trace\.h", r"tools/(record|tcctl)/.*", r"tools/(command_line|key_table)\.h"),
    # One virtual router after the other; when traffic counts, and what a zone and a setting are, the preview knows.
    "tools/fleet/": (CONTRACT, KEYS, SIM, r"tools/(command_line|text_file)\.h", r"tools/(fleet|preview|tcctl)/.*"),
    "lab/": (CONTRACT, r"platform/linux/(bus|printable)\.h", r"lab/.*"),
    # What a plain Linux router has beside the daemon: it meets the daemon on the bus alone.
    "router/": (CONTRACT, r"platform/linux/(bus|printable|run_directory)\.h", r"router/.*"),
    # The page that a household reads is made of the daemon's own; it is read and put into words as tcctl does.
    "router/dhttpd/": (r"platform/common/status_file\.h", r"tools/(html|tcctl/(explain|page|times|verdicts))\.h",
                       r"router/(call\.h|dhttpd/.*)"),
    "bench/": (CONTRACT, LINUX, r"platform/sim/virtual_router\.h", DAEMON, r"bench/.*"),
    "tests/": (CONTRACT, COMMON, LINUX, SIM, DAEMON, r"tests/.*"),
    "tests/contract/": (CONTRACT, COMMON, LINUX, SIM, r"tests/(contract|support)/.*"),
    "tests/contract/kit/": (CONTRACT, r"tests/contract/kit/.*"), # it goes to who has a ground of his own
    "tests/fuzz/": (CONTRACT, COMMON, LINUX, SIM, DAEMON, r"(tools|router)/.*", r"tests/(fuzz|support)/.*"),
    "tests/dhttpd/": (COMMON, r"router/.*", r"tests/(dhttpd|support)/.*"),
    "tests/fleet/": (SIM, r"tools/fleet/.*", r"tests/(fleet|support)/.*"),
    "tests/netctrl/": (r"router/.*", r"tests/(netctrl|support)/.*"),
    "tests/porting/": (CONTRACT,),
    "tests/preview/": (SIM, r"tools/preview/.*", r"tests/(preview|support)/.*"),
    "tests/record/": (r"tools/record/.*",),
    "tests/replay/": (SIM, r"tools/replay/.*", r"tests/(replay|support)/.*"),
    "tests/scenario/": (CONTRACT, r"platform/common/journal\.h", SIM, DAEMON, KEYS, r"tests/support/.*", r"tests/scenario/journals\.def"), # journals.def is data of a test
    "tests/security/": (CONTRACT, SIM, DAEMON, KEYS, r"tests/(fuzz|support)/.*"), # every key gets a value
    "tests/sim/": (CONTRACT, COMMON, SIM, DAEMON, r"tests/support/.*"),
    "tests/support/": (CONTRACT, COMMON, SIM, DAEMON, r"tests/support/.*"),
    # What tcctl says is compared with what the daemon does.
    "tests/tcctl/": (CONTRACT, COMMON, SIM, DAEMON, r"tools/.*", r"tests/support/.*"),
    "tests/tools/": (CONTRACT, KEYS, r"tools/.*", r"tests/(support|tools)/.*"),
    "tests/unit/": (CONTRACT, COMMON, SIM, DAEMON, VERDICTS, r"tests/support/.*", r"tests/unit/watched_rows/.*"),
}

# Which unit of the daemon may know which others. "time_check_" is left out; main is time_check.cpp and message its header,
# which says what a message is and knows nobody. What a module needs to be one: its id, the message, and its way to it;
# the table (module) alone knows the modules.
MODULE = {"dispatch", "ids", "message", "status"}
# A unit that is not listed is a new module which needs no more than these; the table may know it.
PLAIN_MODULE = MODULE | {"clock", "log", "setting", "text"}
UNITS = {
    "main": {"dispatch", "ids", "log", "message", "module", "text", "wan_surf_check"},
    "module": {"ap_connect", "cpu", "daemon", "debug", "dispatch", "ids", "led", "log", "power", "reboot", "status",
               "stoppage_check", "wifi", "wifi_connect", "wl_guest"},
    "ap_connect": MODULE | {"uplink"},
    "clock": {"text"},
    "common": {"message", "setting"},
    "cpu": MODULE | {"fractions", "log", "text", "watchdog"},
    "daemon": MODULE | {"log", "text", "watchdog"},
    "debug": MODULE | {"log"},
    "dispatch": {"ids", "log", "message", "status"},
    "fractions": set(),
    "ids": set(),
    "led": MODULE | {"clock", "common", "power", "schedule", "text"}, # power saving takes precedence over the schedules
    "log": set(),
    "message": set(),
    "power": MODULE | {"clock", "common", "debug", "led", "log", "quiet", "schedule", "setting", "wifi"}, # and asks them what they want when it wakes the router
    "quiet": {"fractions", "log", "status", "text"},
    "reboot": MODULE | {"clock", "debug", "fractions", "log", "quiet", "schedule", "text"},
    "schedule": {"clock", "log", "status", "text"},
    "status": {"text"},
    "setting": set(),
    "stoppage_check": {"message", "clock", "setting", "status", "text", "wan_keys"},
    "text": set(),
    "uplink": {"status", "text"},
    "watched": {"cpu", "daemon"},
    "watchdog": {"log", "status"},
    "wifi": MODULE | {"clock", "common", "debug", "log", "power", "schedule", "text"},
    "wifi_client": {"log", "status", "text"},
    "wifi_connect": MODULE | {"common", "log", "text", "uplink", "wifi_client"},
    "wl_guest": MODULE | {"clock", "common", "log", "text"},
    "wan_keys": {"text"},
    "wan_surf_check": {"setting", "status", "text", "wan_keys", "wan_surf_probe"},
    "wan_surf_probe": {"text", "wan_keys"},
}

# Units that may know each other, all of those here and none else: power saving goes before the schedules of Wi-Fi and
# LEDs, which therefore ask whether it is its time; and it asks them, when it wakes the router, what they want
# (decision 0140).
CIRCLE = {"led", "power", "wifi"}


def unit_of(path):
    """The daemon's unit that a file belongs to; None: it is none of the daemon's."""
    match = re.fullmatch(r"time_check/(.+)\.(?:h|cpp)", path)
    if not match:
        return None
    name = match.group(1)
    if name == "time_check":
        return "message" if path.endswith(".h") else "main"
    return name.removeprefix("time_check_")


def may_know(unit, other):
    return other in UNITS.get(unit, PLAIN_MODULE) or (unit == "module" and other not in UNITS)


def folder_of(path):
    """The longest listed folder that a file lies in, or None."""
    return max((folder for folder in FOLDERS if path.startswith(folder)), key=len, default=None)


def included(line):
    match = re.match(r'\s*#\s*include\s*"([^"]+)"', line)
    return match.group(1) if match else None


def check_include(name, number, line):
    """One finding at the most: a line that says which wall the include breaks."""
    header = included(line)
    folder = folder_of(name)
    if header is None:
        return
    if folder is None or not any(re.fullmatch(pattern, header) for pattern in FOLDERS[folder]):
        yield f"{name}:{number}: {folder or 'what lies here'} may not include {header}"
        return
    unit, other = unit_of(name), unit_of(header)
    if unit is not None and other is not None and unit != other and not may_know(unit, other):
        yield f"{name}:{number}: the unit {unit} may not know {other} (tests/tidy/walls.py)"


def unused_edges(includes):
    """Edges that are allowed and that nothing uses: (file, header) pairs in."""
    used = {(unit_of(name), unit_of(header)) for name, header in includes}
    for unit, others in UNITS.items():
        for other in sorted(others - {unit}):
            if (unit, other) not in used:
                yield f"tests/tidy/walls.py: {unit} is allowed to know {other}, and does not"


def reached_from(unit, edges):
    """Every unit that a unit knows, of itself or through others."""
    reached, waiting = set(), [unit]
    while waiting:
        for other in edges.get(waiting.pop(), set()) - reached:
            reached.add(other)
            waiting.append(other)
    return reached


def check_circles(edges):
    """Units that reach themselves, beyond those that may."""
    for unit in sorted(edges):
        round_trip = {other for other in reached_from(unit, edges) if unit in reached_from(other, edges)}
        if round_trip and not round_trip <= CIRCLE:
            yield f"tests/tidy/walls.py: {unit} stands in a circle of {', '.join(sorted(round_trip))}"
