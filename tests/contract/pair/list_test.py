#!/usr/bin/env python3
"""Every libc call that the virtual router takes over and every call of the contract is compared (the programs' --list) or
stands in not_compared with its reason. Usage: list_test.py PROGRAM...
"""

import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "tests" / "porting"))
from contract_test import OWN, declarations, name_of  # noqa: E402


def names_of(path):
    lines = (line.split("#")[0].split() for line in path.read_text(encoding="utf-8").splitlines())
    return [line for line in lines if line]


def main(programs):
    wrapped = {line[0] for line in names_of(ROOT / "platform" / "sim" / "wrap.list")}
    contract = {name_of(each) for all_of_it in declarations().values() for each in all_of_it} - {None} - OWN
    excused = {line[0]: line[1:] for line in names_of(pathlib.Path(__file__).parent / "not_compared")}
    compared = set()
    for program in programs:
        listing = subprocess.run([program, "--list"], check=True, capture_output=True, text=True).stdout
        compared.update(call for line in listing.splitlines() for call in line.split("\t")[2].split())
    calls = wrapped | contract
    findings = [f"{call}: compared by nothing; a step of tests/contract/pair, or a reason in not_compared"
                for call in sorted(calls - compared - excused.keys())]  # fmt: skip
    findings += [f"{call}: there is no such call" for call in sorted((compared | excused.keys()) - calls)]
    findings += [f"{call}: is compared, and stands in not_compared" for call in sorted(compared & excused.keys())]
    findings += [f"{call}: stands in not_compared without a reason" for call, why in excused.items() if len(why) < 3]
    print("\n".join([*findings, f"{len(calls)} calls, {len(compared)} compared, {len(excused)} not"]))
    return 1 if findings or len(wrapped) < 30 or len(contract) < 30 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
