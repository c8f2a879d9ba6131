"""docs/proof.md from what is known."""

import os
import platform
import time

HEAD = """# What is proved, and how far

Written by `./test --proof [HOURS]`, which goes on where it stopped; do not edit it. Each row is a walk with random seeds
that a usual run of the tests takes a few steps of. A row is done when as much was tried as is asked of a release, and
something found is a mistake of the daemon, of a ground or of a test: its log says which, and how it is repeated.

Commit {of}, {day}, {machine}, {cores} processors.
"""


def number(value):
    return f"{value:,.0f}" if float(value).is_integer() else f"{value:,.3f}"


def hours(seconds):
    return f"{seconds / 3600:.2f} h"


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    return lines + ["| " + " | ".join(row) + " |" for row in rows]


def overview(state, stages):
    rows = []
    for stage in stages:
        known = state.of_stage(stage)
        done = state.done(stage)
        share = "yes" if done >= stage.asked else f"{done / stage.asked:.1%}"
        rows.append([stage.what, f"{number(stage.asked)} {stage.unit}", number(done), share, str(len(known["found"])),
                     hours(known["seconds"]), f"`{stage.repeat}`"])
    return table(["what", "asked", "tried", "done?", "found", "took", "a slice by hand"], rows)


def details(state, stages):
    lines = []
    for stage in stages:
        known = state.of_stage(stage)
        if not known["figures"]:
            continue
        lines += ["", f"## {stage.title}", "", stage.about, ""]
        lines += table(["figure", "number"], [[name, number(value)] for name, value in sorted(known["figures"].items())])
        lines += ["", *(f"- found: {what}" for what in known["found"])] if known["found"] else []
    return lines


def page_of(state, stages):
    head = HEAD.format(of=state.of, day=time.strftime("%Y-%m-%d"), machine=platform.machine(), cores=os.cpu_count())
    return "\n".join([head, *overview(state, stages), *details(state, stages)]) + "\n"
