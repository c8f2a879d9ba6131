#!/usr/bin/env python3
"""The house rules that a compiler does not check.

Usage: house_rules.py ROOT. Prints one line a finding and ends with status 1 when there is one.
"""

import pathlib
import re
import subprocess
import sys

# Who may include whom, by folder: system headers apart, only what starts with one of these.
INCLUDES = {
    "time_check/": ("platform/", "time_check/"),
    "platform/common/": ("platform/",),
    "platform/linux/": ("platform/",),
    "platform/sim/": ("platform/",),
    "platform/": ("platform/",),
    "tools/": ("platform/", "tools/"),
    "lab/": ("platform/", "lab/"),
}

# What the daemon may not use, and why.
DAEMON_BANS = {
    r"#include <(?:iostream|string|vector|chrono|thread|mutex|map|functional|memory|atomic)>": "the daemon does without the C++ library",
    r"\bstd::": "the daemon does without the C++ library",
    r"\b(?:malloc|calloc|realloc|strdup|new)\s*[(\[]": "the daemon does not allocate",
    r"\b(?:strcpy|strcat|sprintf|vsprintf|gets|strncpy)\s*\(": "use copy_text or snprintf",
    r"(?<![\w])(?:atoi|atol|strtol|strtoul)\s*\(": "use time_check_atoi, which gives the same on every machine",
    r"\bclass\b|\btry\b|\bthrow\b|\bvirtual\b": "plain structures and functions",
    r"\bfopen\s*\(": "stdio allocates; use line_reader or open",
    r"\bclock_gettime\b|\bgettimeofday\b": "elapsed time comes from get_uptime, the calendar from time()",
}

# Where a ban is lifted: (file, what was found).
EXCEPTIONS = set()

SOURCE_ENDINGS = {".h", ".cpp", ".c", ".py", ".cmake", ".txt", ".sh"}
LINE_LENGTH = 120
FILE_LENGTH = 1500


def tracked_files(root):
    names = subprocess.run(
        ["git", "-C", root, "ls-files", "--cached", "--others", "--exclude-standard"],
        check=True, capture_output=True, text=True).stdout.split("\n")
    return [name for name in names if name and (pathlib.Path(root) / name).is_file()]


def code_of(line):
    """The line without its // comment and the insides of its texts."""
    return re.sub(r'"(?:\\.|[^"\\])*"', '""', line).split("//")[0]


def check_includes(name, number, line):
    match = re.match(r'#include "([^"]+)"', line)
    if not match:
        return
    for folder, allowed in INCLUDES.items():
        if name.startswith(folder):
            if not match.group(1).startswith(allowed):
                yield f"{name}:{number}: {folder} may not include {match.group(1)}"
            return
    if match.group(1).startswith("time_check/") and not name.startswith(("tests/", "bench/")):
        yield f"{name}:{number}: only the daemon, tests and benches include {match.group(1)}"


def check_daemon(name, number, line):
    if not re.fullmatch(r"time_check/.*\.(?:h|cpp)", name):
        return
    for pattern, why in DAEMON_BANS.items():
        found = re.search(pattern, line if line.startswith("#include") else code_of(line))
        if found and (name, found.group(0)) not in EXCEPTIONS:
            yield f"{name}:{number}: {found.group(0).strip()}: {why}"


def check_shape(name, number, line):
    if pathlib.Path(name).suffix in {".h", ".cpp", ".c"} and len(line) > LINE_LENGTH:
        yield f"{name}:{number}: longer than {LINE_LENGTH} characters"
    if re.search(r"\b(?:TO" r"DO|FIX" r"ME|X" r"XX)\b", line):
        yield f"{name}:{number}: unfinished work belongs into an issue"
    if line != line.rstrip():
        yield f"{name}:{number}: blanks at the end of the line"


def main(root):
    findings = []
    checked = 0
    for name in tracked_files(root):
        path = pathlib.Path(root) / name
        if path.suffix not in SOURCE_ENDINGS and name not in {"run", "test"}:
            continue
        lines = path.read_text(encoding="utf-8").split("\n")
        checked += 1
        if path.suffix in {".h", ".cpp"} and len(lines) > FILE_LENGTH:
            findings.append(f"{name}: {len(lines)} lines; split it")
        for number, line in enumerate(lines, 1):
            for check in (check_includes, check_daemon, check_shape):
                findings.extend(check(name, number, line))
    for finding in findings:
        print(finding)
    print(f"{checked} files, {len(findings)} findings")
    return 1 if findings or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
