"""Numbers by which sources refer to documents: "decision 0071", "compat 17", "compat 17, 18"."""

import pathlib
import re

from house_rules import tracked_files

# They hold such texts as examples.
THEMSELVES = {"tests/tidy/references.py", "tests/tidy/decisions_test.py", "tests/tidy/compatibility_test.py"}


def numbers_in(word, text):
    """(number, line) of each number that a text gives behind `word`, over the ends of comment lines, too."""
    for found in re.finditer(rf"\b{word}[\s/#]+(\d+(?:,[\s/#]+\d+)*)", text):
        for number in re.finditer(r"\d+", found[1]):
            yield number[0], text.count("\n", 0, found.start(1) + number.start()) + 1


def text_of(path):
    """None: not a text."""
    try:
        return path.read_text(encoding="utf-8")
    except UnicodeDecodeError:
        return None


def places(word, root):
    """Where sources refer to which number: {number: ["FILE:LINE", ...]}. Documents are no sources."""
    found = {}
    for name in tracked_files(root):
        if name.startswith("docs/") or name.endswith(".md") or name in THEMSELVES:
            continue
        for number, line in numbers_in(word, text_of(pathlib.Path(root) / name) or ""):
            found.setdefault(number, []).append(f"{name}:{line}")
    return found
