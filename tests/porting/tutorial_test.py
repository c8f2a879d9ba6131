#!/usr/bin/env python3
"""Follows docs/porting-tutorial.md as an integrator would: its files and nothing else, in a folder outside the tree, its
commands as they stand, and what they are to say. The ground that comes of it knows nothing of platform/linux
(decision 0201).

Usage: tutorial_test.py PROJECT FOLDER, FOLDER being emptied. CC and CXX choose the compilers.
"""

import os
import pathlib
import platform
import re
import shutil
import subprocess
import sys
import time

END = "end of block"


def blocks(page):
    """(line before, language, text, line number) of each, in order; the line before is "" where it belongs to no file."""
    found = []
    lines = page.splitlines()
    number = 0
    while number < len(lines):
        begin = re.fullmatch(r"```(\w*)", lines[number])
        if begin is None:
            number += 1
            continue
        end = lines.index("```", number + 1)
        before = lines[number - 1] if lines[number - 1].startswith("`") and lines[number - 1].endswith(":") else ""
        found.append((before, begin.group(1), "".join(line + "\n" for line in lines[number + 1 : end]), number + 1))
        number = end + 1
    return found


def put(folder, before, text):
    """A block into its file: a new one, at its end, or before a line."""
    name, where = re.fullmatch(r"`([^`]+)`(.*):", before).groups()
    path = folder / name
    assert path.resolve().is_relative_to(folder.resolve()), before
    place = re.fullmatch(r", before the line `(.+)`", where)
    if where == "":
        assert not path.exists(), f"{name} is there already"
        path.write_text(text)
    elif where == ", at its end":
        path.write_text(path.read_text() + "\n" + text)
    else:
        lines = path.read_text().splitlines(keepends=True)
        at = lines.index(place.group(1) + "\n")
        path.write_text("".join(lines[:at]) + text + "".join(lines[at:]))


class Shell:
    """One shell for all commands of the page, as a person has it."""

    def __init__(self, folder):
        self.process = subprocess.Popen(
            ["bash", "-euo", "pipefail"], cwd=folder, text=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)  # fmt: skip

    def run(self, commands):
        """What they say; a failure ends the test."""
        self.process.stdin.write(f"{{\n{commands}\n}} </dev/null\necho; echo '{END}'\n")
        self.process.stdin.flush()
        said = []
        for line in self.process.stdout:
            if line == END + "\n":
                return said
            print("    " + line, end="", flush=True)
            said.append(line.rstrip())
        raise SystemExit(f"status {self.process.wait()} of:\n{commands}")


def compare(said, wanted, line):
    """Each wanted line was said, in their order."""
    rest = iter(said)
    for each in wanted.splitlines():
        if each.rstrip() not in rest:
            raise SystemExit(f"line {line} of the page: nobody said: {each}")


def sdk(folder):
    """An SDK as far as cmake can see: compilers with names of their own. What stands before "gcc"."""
    folder.mkdir()
    for name, variable in (("gcc", "CC"), ("g++", "CXX")):
        (folder / f"mill-{name}").symlink_to(shutil.which(os.environ[variable]))
    return str(folder / "mill-")


def main(project, folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    page = (project / "docs" / "porting-tutorial.md").read_text(encoding="utf-8")
    own = {
        "/path/to/time_check": str(project),
        "/path/to/sdk/bin/mill-": sdk(folder / "sdk"),
        "processor=aarch64": f"processor={platform.machine()}",
    }
    for text, mine in own.items():
        assert page.count(text) == 1, text
        page = page.replace(text, mine)
    # Warnings of the Release build are errors here, which no other build of the tests optimises as far.
    os.environ.update(CFLAGS="-Wall -Wextra -Werror", CXXFLAGS="-Werror", CMAKE_BUILD_PARALLEL_LEVEL="2")
    shell = Shell(folder)
    said = []
    began = time.monotonic()
    for before, language, text, line in blocks(page):
        print(f"{time.monotonic() - began:5.1f} s  line {line}: {before or text.splitlines()[0]}", flush=True)
        if before:
            put(folder / "mill", before, text)
        elif language == "sh":
            said = shell.run(text)
        elif language == "text":
            compare(said, text, line)
        else:
            raise SystemExit(f"line {line}: a block of {language} without a file")
    written = [path for path in (folder / "mill").rglob("*.[ch]") if "CMakeFiles" not in path.parts]
    assert written
    for path in written:
        assert "platform/linux" not in path.read_text(), path
    for path in (folder / "mill" / "here").rglob("link.txt"):
        assert "platform_linux" not in path.read_text(), path
    return 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])))
