#!/usr/bin/env python3
"""The contract's headers, and what has to follow them when a call comes or goes: the table in docs/porting.md, the ground
that only links, the conformance kit, what is traced, and the contract's version.

Usage: contract_test.py GROUND_CHECK. With --accept before it the declarations are noted as those of the version that
platform/contract_version.h has.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
NOTED = ROOT / "tests" / "porting" / "contract.txt"

# What docs/porting.md has beside the contract: libc's own, which a ground may supply.
LIBC = {"popen", "pclose"}
# What the ground need not have, and the daemon's side calls; and what is the daemon's side itself.
OPTIONAL = {"program_begin", "status_publish"}
OWN = {"status_page", "status_field_changed", "status_row_acted"}


def text_of(name):
    return (ROOT / name).read_text(encoding="utf-8")


def declarations():
    """{header: [declaration]} of what has C linkage, without comments, in the order of the header."""
    found = {}
    for path in sorted((ROOT / "platform").glob("*.h")):
        text = re.sub(r"//.*", "", path.read_text(encoding="utf-8"))
        blocks = re.findall(r'extern "C" \{\n#endif\n(.*?)#ifdef __cplusplus\n\}', text, re.DOTALL)
        plain = re.sub(r"\s+", " ", " ".join(blocks))
        found[path.name] = [each.strip() for each in re.findall(r"(?:\{(?:[^{}]|\{[^{}]*\})*\}|[^;{}])+;", plain)]
    return found


def name_of(declaration):
    """Of a function; None: it declares something else."""
    match = re.match(r"(?!typedef|enum|struct \w+ \{|extern)[\w ]+[ *](\w+)\(", declaration)
    return match.group(1) if match else None


def rows():
    """The calls of each row of the page's table, in its order."""
    section = text_of("docs/porting.md").split("### Call by call")[1].split("\n### ")[0]
    firsts = re.findall(r"^\| (`.+?) \|", section, re.MULTILINE)
    return [re.findall(r"`(\w+)`", first) for first in firsts]


def compare(what, found, wanted):
    for name in sorted(wanted - found):
        yield f"{what}: {name} is missing"
    for name in sorted(found - wanted):
        yield f"{what}: {name} is no call of the contract"


def check_kit(program, table):
    """Each call has a check, and the checks come in the order of the page's rows."""
    listing = subprocess.run([program, "--list"], check=True, capture_output=True, text=True).stdout
    checks = [line.split("\t") for line in listing.splitlines()]
    place = {call: number for number, row in enumerate(table) for call in row}
    yield from compare("the kit's checks", {call for check in checks for call in check[2].split()}, set(place) - LIBC)
    last = 0
    for number, _, calls, promise in checks:
        here = place.get(calls.split()[0], last)
        if here < last:
            yield f"the kit's check {number} ({promise}) comes before the one that stands before it in docs/porting.md"
        last = here
    for _, header, calls, promise in checks:
        if calls.split()[0] not in {name_of(each) for each in declarations().get(header, [])}:
            yield f"the kit's check \"{promise}\": {calls} is not in {header}"


def version():
    return int(re.search(r"#define CONTRACT_VERSION (\d+)", text_of("platform/contract_version.h")).group(1))


def described():
    """The layouts of the status page and of the ledger are no matter of a ground, which copies or maps them whole."""
    lines = [
        f"{header}: {each}"
        for header, all_of_it in declarations().items()
        for each in all_of_it
        if header not in ("status.h", "ledger.h") or name_of(each) is not None
    ]
    return "\n".join([f"version {version()}", *lines, ""])


def check_version():
    changes = text_of("docs/contract-changes.md")
    if f"\n## Version {version()}\n" not in changes or f"GROUND_KEEPS_CONTRACT({version()});" not in changes:
        yield f"docs/contract-changes.md: nothing about version {version()}"
    noted = NOTED.read_text(encoding="utf-8")
    if noted == described():
        return
    if noted.splitlines()[0] == f"version {version()}":
        changed = sorted(set(described().splitlines()) ^ set(noted.splitlines()))
        yield "the contract has changed and its version has not (platform/contract_version.h): " + "; ".join(changed)
    else:
        yield "a new version: write it into docs/contract-changes.md, then contract_test.py --accept GROUND_CHECK"


def main(words):
    if words[0] == "--accept":
        NOTED.write_text(described(), encoding="utf-8")
        words = words[1:]
    calls = {name_of(each) for all_of_it in declarations().values() for each in all_of_it} - {None} - OWN
    table = rows()
    stub = set(re.findall(r"^(?:int|void|char \*|const char \*)\s*(\w+)\(", text_of("tests/porting/stub_ground.c"), re.MULTILINE))
    traced = set(re.findall(r"^[a-z][\w *]*\btrace_(\w+)\(", text_of("platform/trace/ground_trace.cpp"), re.MULTILINE))
    findings = [
        *compare("docs/porting.md", {call for row in table for call in row}, calls | LIBC),
        *compare("tests/porting/stub_ground.c", stub, calls - OPTIONAL),
        *compare("platform/trace/ground_trace.cpp", traced, calls),
        *check_kit(words[0], table),
        *check_version(),
    ]
    for finding in findings:
        print(finding)
    print(f"{len(calls)} calls, {len(findings)} findings")
    return 1 if findings or len(calls) < 30 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
