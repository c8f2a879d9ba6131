#!/usr/bin/env python3
"""Which sources of a folder clang-tidy has to look at; it takes seconds for each.

Usage: units_to_check.py FOLDER FOUND_CLEAN. Prints one path a line. With TIDY=all in the environment: all of them.
Otherwise those that differ, themselves or in a header that they include, from the commit that the work began with (the
branch that is followed, else the commit before the last), and have not been found clean as they are. FOUND_CLEAN is the
folder that keeps what was found clean; `units_to_check.py FOLDER FOUND_CLEAN --clean` notes that now all of it is.
"""

import hashlib
import os
import pathlib
import re
import subprocess
import sys


def git(*words):
    run = subprocess.run(["git", *words], capture_output=True, text=True, check=False)
    return run.stdout.split() if run.returncode == 0 else []


def closure(source, known):
    """The source and every header of the house that it includes, directly or not."""
    if source not in known:
        known[source] = {source}
        text = pathlib.Path(source).read_text(encoding="utf-8")
        for header in re.findall(r'^#include "([^"]+)"', text, re.MULTILINE):
            if pathlib.Path(header).is_file():
                known[source] |= closure(header, known)
    return known[source]


def digest(files):
    total = hashlib.sha256()
    for name in [".clang-tidy", *sorted(files)]:
        total.update(name.encode() + b"\0" + pathlib.Path(name).read_bytes())
    return total.hexdigest()


def changed_files():
    base = (git("merge-base", "HEAD", "@{upstream}") or git("rev-parse", "--verify", "--quiet", "HEAD~1") or ["HEAD"])[0]
    return set(git("diff", "--name-only", base)) | set(git("ls-files", "--others", "--exclude-standard"))


def main(folder, found_clean, *rest):
    sources = git("ls-files", "-co", "--exclude-standard", f"{folder}/*.cpp")
    if not sources:
        sys.exit(f"no sources in {folder}")
    known = {}
    stamps = pathlib.Path(found_clean)
    everything = os.environ.get("TIDY") == "all"
    changed = set() if everything else changed_files()
    wanted = [source for source in sources if everything or ".clang-tidy" in changed or closure(source, known) & changed]
    for source in wanted:
        stamp = stamps / digest(closure(source, known))
        if rest == ("--clean",):
            stamps.mkdir(parents=True, exist_ok=True)
            stamp.touch()
        elif everything or not stamp.exists():
            print(source)


if __name__ == "__main__":
    main(*sys.argv[1:])
