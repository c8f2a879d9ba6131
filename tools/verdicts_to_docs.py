#!/usr/bin/env python3
"""Writes docs/verdicts.md's tables from the files platform/verdicts/MODULE.def.

Usage: verdicts_to_docs.py [--check] [ROOT]. What it writes stands between two lines, a section a module:

    <!-- verdicts -->
    <!-- end of verdicts -->

With --check nothing is written: what differs is shown, and the status is 1.
"""

import difflib
import pathlib
import re
import sys
from dataclasses import dataclass

import config_keys

PAGE = "docs/verdicts.md"
PLACE = re.compile(r"(<!-- verdicts -->\n).*?(<!-- end of verdicts -->)", re.DOTALL)


@dataclass
class Verdict:
    name: str
    why: str


@dataclass
class Module:
    name: str
    about: str
    verdicts: list


def about(text):
    """The file's first paragraph of comment."""
    lines = re.match(r"(?:// .*\n)*", text).group(0).splitlines()
    return " ".join(line.removeprefix("// ") for line in lines)


def module(path):
    text = path.read_text(encoding="utf-8")
    verdicts = []
    for macro, row in config_keys.rows(text):
        if macro != "VERDICT" or len(row) != 2:
            raise ValueError(f"{path.name}: {macro} of {len(row)} is no VERDICT(name, sentence)")
        verdict = Verdict(*row)
        if not re.fullmatch(r"[a-z][a-z0-9_]*", verdict.name) or verdict.name in {known.name for known in verdicts}:
            raise ValueError(f"{path.name}: {verdict.name} is no name, or stands there twice")
        if not re.fullmatch(r"[A-Z][^|]*\.", verdict.why):
            raise ValueError(f"{path.name}: what is said of {verdict.name} is no sentence, or has a |")
        verdicts.append(verdict)
    if not verdicts or not about(text):
        raise ValueError(f"{path.name}: no verdicts, or no line at the top of what they are about")
    return Module(path.stem, about(text), verdicts)


def modules(folder):
    return [module(path) for path in sorted(folder.glob("*.def"))]


def section(one):
    rows = "".join(f"| `{verdict.name}` | {verdict.why} |\n" for verdict in one.verdicts)
    return f"\n## {one.name}\n\n{one.about}\n\n| verdict | what holds, and what would have to happen |\n|---|---|\n{rows}"


def with_sections(text, all_modules):
    return PLACE.sub(lambda found: found[1] + "".join(map(section, all_modules)) + "\n" + found[2], text)


def main(check, root):
    found = modules(root / "platform/verdicts")
    page = root / PAGE
    old = page.read_text(encoding="utf-8")
    if not found or len(PLACE.findall(old)) != 1:
        sys.exit(f"{PAGE}: no verdicts, or not one place for them")
    new = with_sections(old, found)
    if not check and new != old:
        page.write_text(new, encoding="utf-8")
    elif new != old:
        sys.stdout.writelines(difflib.unified_diff(old.splitlines(True), new.splitlines(True), PAGE, "the verdicts"))
        print("The page says something else than platform/verdicts. Write it anew:\n    tools/verdicts_to_docs.py")
    print(f"{sum(len(one.verdicts) for one in found)} verdicts of {len(found)} modules")
    return 1 if check and new != old else 0


if __name__ == "__main__":
    arguments = [argument for argument in sys.argv[1:] if argument != "--check"]
    here = pathlib.Path(__file__).resolve().parent.parent
    sys.exit(main("--check" in sys.argv, pathlib.Path(arguments[0]) if arguments else here))
