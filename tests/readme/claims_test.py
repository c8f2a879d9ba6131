#!/usr/bin/env python3
"""Whether a test runs each block of README.md: claims_test.py PROJECT

tests/readme/claims says which; the file that it names has to take the block from the page by tests/readme/block, so that
a changed command is the one that is run. A picture is no command.
"""

import pathlib
import re
import sys

PICTURES = {"mermaid"}


def blocks_of(page):
    """What stands behind each opening fence, and the line's number."""
    found = []
    fence = None
    for number, line in enumerate(page.splitlines(), 1):
        mark = re.match(r"[ \t>*+-]*(```+|~~~+)(.*)", line)
        if fence is None and mark:
            fence = mark[1]
            found.append((mark[2].strip(), number))
        elif mark and mark[1].startswith(fence) and not mark[2].strip():
            fence = None
        elif fence is None and re.match(r"(?: {4}|\t)\s*\S", line):
            found.append(("", number))  # commands without a fence
    return found


def claims_of(text):
    """Which file runs which block."""
    rows = [line.split() for line in text.splitlines() if line and not line.startswith("#")]
    return {" ".join(row[:2]): row[2] for row in rows}


def takes(text, kind, name):
    """Whether that program asks tests/readme/block for this one."""
    code = re.sub(r"^\s*(?:#|//).*", "", text, flags=re.MULTILINE)
    wanted = rf"(?i:(?:\b|_)block\b)\W+{re.escape(name)}\b"
    return re.search(wanted + rf"\W+{kind}\b" if kind != "sh" else wanted, code) is not None


def findings(page, claims, text_of):
    blocks = [block for block in blocks_of(page) if block[0] not in PICTURES]
    for block, number in blocks:
        if block not in claims:
            yield f"README.md:{number}: no test runs this block, \"{block}\" (tests/readme/claims)"
    for block, name in claims.items():
        here = [number for other, number in blocks if other == block]
        if len(here) != 1:
            yield f"tests/readme/claims: README.md has the block \"{block}\" {len(here)} times"
        if not takes(text_of(name), *block.split()):
            yield f"{name}: does not take the block \"{block}\" from README.md"


def look_for_what_is_planted(page, claims, text_of):
    """A test that can fail: a page that is right, with one thing wrong each."""
    first = page.index("```sh box")
    wrong = (
        (page + "\n```sh\nmake install\n```\n", "no test runs"),
        (page + "\n- ```sh more\n  make\n  ```\n", "no test runs"),
        (page + "\n~~~\nmake install\n~~~\n", "no test runs"),
        (page + "\n    make install\n", "no test runs"),
        (page[:first] + page[first:].replace("```sh box", "```sh crate", 1), "no test runs"),
        (page + "\n```sh box\n./run --night\n```\n", "2 times"),
        (page[:first] + page[page.index("```", first + 3) + 3 :], "0 times"),
    )
    for other, expected in wrong:
        assert any(expected in each for each in findings(other, claims, text_of)), expected
    assert any("does not take" in each for each in findings(page, claims, lambda name: "./run # block box"))


def main(project):
    page = (project / "README.md").read_text(encoding="utf-8")
    claims = claims_of((project / "tests" / "readme" / "claims").read_text(encoding="utf-8"))
    text_of = lambda name: (project / name).read_text(encoding="utf-8")  # noqa: E731
    found = list(findings(page, claims, text_of))
    if found:
        print("\n".join(found))
        return 1
    look_for_what_is_planted(page, claims, text_of)
    print(f"{len(claims)} blocks, each with its test")
    return 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
