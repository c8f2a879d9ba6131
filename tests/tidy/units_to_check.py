#!/usr/bin/env python3
"""Which sources of a folder clang-tidy has to look at; it takes seconds for each.

Usage: units_to_check.py FOLDER FOUND_CLEAN. Prints one path a line:
- with TIDY=all in the environment all of them,
- with TIDY=share all but the tools, whose libraries' headers take half a minute for each, and of those a fifth, another
  one with each commit, and what changed,
- otherwise those that changed, themselves or in a header that they include, since the commit that the work began with (the
  branch that is followed, else the commit before the last), and have not been found clean as they are.
FOUND_CLEAN is the folder that keeps what was found clean; `units_to_check.py FOLDER FOUND_CLEAN --clean` notes that now
all of it is.
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


def share_of(folder, sources):
    if folder != "tools":
        return set(sources)
    turn = int(git("rev-parse", "HEAD")[0], 16)
    return {source for at, source in enumerate(sources) if (at + turn) % 5 == 0}


def main(folder, found_clean, *rest):
    sources = git("ls-files", "-co", "--exclude-standard", f"{folder}/*.cpp")
    if not sources:
        sys.exit(f"no sources in {folder}")
    known = {}
    stamps = pathlib.Path(found_clean)
    asked = {"all": set(sources), "share": share_of(folder, sources)}.get(os.environ.get("TIDY"), set())
    changed = changed_files()
    wanted = [source for source in sources if source in asked or ".clang-tidy" in changed or closure(source, known) & changed]
    for source in wanted:
        stamp = stamps / digest(closure(source, known))
        if rest == ("--clean",):
            stamps.mkdir(parents=True, exist_ok=True)
            stamp.touch()
        elif source in asked or not stamp.exists():
            print(source)


if __name__ == "__main__":
    main(*sys.argv[1:])
