#!/usr/bin/env python3
"""The house rules that a compiler does not check.

Usage: house_rules.py ROOT. Prints one line a finding and ends with status 1 when there is one.
"""

import pathlib
import re
import subprocess
import sys

import walls

# What the daemon may not use, and why.
DAEMON_BANS = {
    r"#include <(?:iostream|string|vector|chrono|thread|mutex|map|functional|memory|atomic)>": "the daemon does without the C++ library",
    r"\bstd::": "the daemon does without the C++ library",
    r"\b(?:malloc|calloc|realloc|strdup|new)\s*[(\[]": "the daemon does not allocate",
    r"\b(?:strcpy|strcat|sprintf|vsprintf|gets|strncpy)\s*\(": "use copy_text or snprintf",
    r"(?<![\w])(?:atoi|atol|strtol|strtoul)\s*\(": "use time_check_atoi, which gives the same on every machine",
    r"(?<!enum )\bclass\b|\btry\b|\bthrow\b|\bvirtual\b": "plain structures and functions",
    r"\bfopen\s*\(": "stdio allocates; use line_reader or open",
    r"\bclock_gettime\b|\bgettimeofday\b": "elapsed time comes from get_uptime, the calendar from time()",
}

# Where a ban is lifted: (file, what was found).
EXCEPTIONS = set()

SOURCE_ENDINGS = {".h", ".cpp", ".c", ".py", ".cmake", ".txt", ".sh"}
CODE_ENDINGS = {".h", ".cpp", ".c"}
LINE_LENGTH = 120
# Near the facts, so that what grows is noticed while it is small.
FUNCTION_LENGTH = 45
SOURCE_LENGTH = 450
TEST_LENGTH = 800


def tracked_files(root):
    names = subprocess.run(
        ["git", "-C", root, "ls-files", "--cached", "--others", "--exclude-standard"],
        check=True, capture_output=True, text=True).stdout.split("\n")
    return [name for name in names if name and (pathlib.Path(root) / name).is_file()]


def code_of(line):
    """The line without its // comment and the insides of its texts."""
    return re.sub(r'"(?:\\.|[^"\\])*"', '""', line).split("//")[0]


def check_daemon(name, number, line):
    if not re.fullmatch(r"time_check/.*\.(?:h|cpp)", name):
        return
    for pattern, why in DAEMON_BANS.items():
        found = re.search(pattern, line if line.startswith("#include") else code_of(line))
        if found and (name, found.group(0)) not in EXCEPTIONS:
            yield f"{name}:{number}: {found.group(0).strip()}: {why}"


def check_formats(name, number, line):
    """The Linux ground's log knows what the daemon needs of printf; a format with more would print nonsense."""
    if not re.fullmatch(r"time_check/.*\.(?:h|cpp)", name) or "scanf(" in line:
        return
    for literal in re.findall(r'"(?:\\.|[^"\\])*"', line.split(" // ")[0]):
        for conversion in re.findall(r"%(?:%|[-+ #0-9.]*[hlLjzt*]*[a-zA-Z*])", literal):
            if not re.fullmatch(r"%%|%[-+ #0-9.]{0,8}(?:l?l?[diuxX]|[scf])", conversion):
                yield f"{name}:{number}: {conversion}: the log knows no such conversion (platform/linux/log_lines.cpp)"


def check_shape(name, number, line):
    if pathlib.Path(name).suffix in CODE_ENDINGS and len(line) > LINE_LENGTH:
        yield f"{name}:{number}: longer than {LINE_LENGTH} characters"
    if re.search(r"\b(?:TO" r"DO|FIX" r"ME|X" r"XX)\b", line):
        yield f"{name}:{number}: unfinished work belongs into an issue"
    if line != line.rstrip():
        yield f"{name}:{number}: blanks at the end of the line"


def is_constant(declaration):
    """Whether what is declared never changes: with pointers, the pointer itself."""
    of_itself = re.split(r"[=;{\[]", declaration)[0].split("*")[-1]
    return re.search(r"\bconst(?:expr)?\b", of_itself) is not None


def check_statics(name, number, line):
    """What a function keeps from call to call is state of the unit, and is found where the unit's state stands. The
    formatter indents what is in a function, and gives each declaration a line of its own."""
    if not re.fullmatch(r"(?:time_check|platform/linux)/.*\.(?:h|cpp)", name):
        return
    found = re.match(r"\s.*?\b(?:static|thread_local)\b(.*)", code_of(line))
    if found and not is_constant(found.group(1)):
        yield f"{name}:{number}: a function's own static; state stands at the top of the unit or of its section"


def check_lengths(name, lines):
    limit = TEST_LENGTH if name.startswith("tests/") else SOURCE_LENGTH
    if len(lines) > limit:
        yield f"{name}: {len(lines)} lines, {limit} allowed; split it"
    begun = {} # by indentation: where the last body began
    for number, line in enumerate(lines, 1):
        indentation = len(line) - len(line.lstrip(" "))
        if line.strip() == "{" and not lines[number - 2].lstrip().startswith("namespace"):
            begun[indentation] = number
        elif line.strip() == "}" and indentation in begun:
            length = number - begun.pop(indentation) - 1
            if length > FUNCTION_LENGTH:
                yield f"{name}:{number - length - 1}: a function of {length} lines, {FUNCTION_LENGTH} allowed"


def findings_in(name, lines):
    if pathlib.Path(name).suffix in CODE_ENDINGS:
        yield from check_lengths(name, lines)
    for number, line in enumerate(lines, 1):
        for check in (walls.check_include, check_daemon, check_formats, check_statics, check_shape):
            yield from check(name, number, line)


def main(root):
    findings = []
    includes = set()
    checked = 0
    for name in tracked_files(root):
        path = pathlib.Path(root) / name
        if path.suffix not in SOURCE_ENDINGS and name not in {"run", "test"}:
            continue
        lines = path.read_text(encoding="utf-8").split("\n")
        checked += 1
        findings.extend(findings_in(name, lines))
        includes.update((name, walls.included(line)) for line in lines if walls.included(line))
    findings.extend(walls.unused_edges(includes))
    findings.extend(walls.check_circles(walls.UNITS))
    for finding in findings:
        print(finding)
    print(f"{checked} files, {len(findings)} findings")
    return 1 if findings or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
