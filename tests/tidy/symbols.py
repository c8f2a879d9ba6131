#!/usr/bin/env python3
"""Looks whether every call that leaves the daemon's objects is known to the virtual router.

Build flags change the names of libc calls, and a call that is not led to the virtual router reaches the host without
anybody noticing. So each undefined symbol must be wrapped, pure, or a call of the contract; any other is a finding.

    symbols.py --nm NM --wrapped wrap.list --pure pure.list --contract PLATFORM_FOLDER [--both-ways] OBJECT...

With --both-ways a line of the lists of which no object uses a symbol is a finding, too, unless it says "elsewhere: " and
which other build does: the model would have calls that nobody makes.
"""
import argparse
import fnmatch
import pathlib
import re
import subprocess
import sys


def words_of_list(path):
    lines = (line.split("#")[0].split() for line in pathlib.Path(path).read_text().splitlines())
    return [line for line in lines if line]


def never_used(path, symbols_of_line, used):
    """The lines of a list, but for those that other builds use, whose symbols are none of those in use."""
    for line in pathlib.Path(path).read_text().splitlines():
        words, _, remark = line.partition("#")
        if not words.split() or "elsewhere: " in remark:
            continue
        patterns = symbols_of_line(words.split())
        if not any(fnmatch.fnmatchcase(symbol, pattern) for pattern in patterns for symbol in used):
            yield f"{words.split()[0]} is in {pathlib.Path(path).name}, and no object uses it"


def contract_names(folder):
    text = "".join(header.read_text() for header in sorted(pathlib.Path(folder).glob("*.h")))
    code = re.sub(r"//.*", "", text)
    variables = re.findall(r"\bextern\s[^\"(;]*\b(\w+);", code)
    return set(re.findall(r"\b(\w+)\s*\(", code)).union(variables)


def symbols(nm, object_file):
    """The object's undefined and its own global symbols."""
    listing = subprocess.run([nm, "-P", object_file], capture_output=True, text=True, check=True).stdout
    undefined, defined = set(), set()
    for line in listing.splitlines():
        name, kind = line.split()[:2]
        if kind == "U":
            undefined.add(name)
        elif kind.isupper() or kind in "vw":
            defined.add(name)
    return undefined, defined


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for option in ("nm", "wrapped", "pure", "contract"):
        parser.add_argument("--" + option, required=True)
    parser.add_argument("--both-ways", action="store_true")
    parser.add_argument("objects", nargs="+")
    options = parser.parse_args()

    known = contract_names(options.contract)
    known.update(symbol for line in words_of_list(options.wrapped) for symbol in line[1:])
    pure = [line[0] for line in words_of_list(options.pure)]
    known.update(name for name in pure if not name.endswith("*"))
    prefixes = tuple(name[:-1] for name in pure if name.endswith("*"))

    tables = {name: symbols(options.nm, name) for name in options.objects}
    for _, defined in tables.values():
        known.update(defined)
    findings = [f"{pathlib.Path(name).name}: {symbol} is neither wrapped, pure nor contract"
                " (platform/sim/wrap.list, pure.list, platform/*.h)" for name, (undefined, _) in sorted(tables.items())
                for symbol in sorted(undefined) if symbol not in known and not symbol.startswith(prefixes)]
    if options.both_ways:
        used = set().union(*(undefined | defined for undefined, defined in tables.values()))
        findings += never_used(options.wrapped, lambda words: words[1:], used)
        findings += never_used(options.pure, lambda words: words[:1], used)
    for finding in findings:
        print(finding)
    print(f"{len(tables)} objects, {len(findings)} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
