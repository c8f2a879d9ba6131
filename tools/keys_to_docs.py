#!/usr/bin/env python3
"""Writes the tables of keys in the documents from platform/config_keys.def.

Usage: keys_to_docs.py [--check] [ROOT]. A table stands between two lines:

    <!-- keys: read by reboot at start: meaning, when missing or empty -->
    <!-- end of keys -->

"read by" or "written by" some units, perhaps only what is read at some times, and the columns beside the key. With
--check nothing is written: what differs is shown, and the status is 1.
"""

import difflib
import pathlib
import re
import sys

import config_keys

TABLE = re.compile(r"(<!-- keys: (read|written) by ([\w, ]+?)(?: at ([\w, ]+))?: ([\w, ]+) -->\n).*?(<!-- end of keys -->)",
                   re.DOTALL)


def words(text):
    return [word.strip() for word in (text or "").split(",") if word.strip()]


def uses(key, access, units, whens):
    if access == "written":
        return [use for use in key.writes if use.unit in units]
    return [use for use in key.reads if use.unit in units and (not whens or set(whens) & set(use.when))]


def cell(key, use, column):
    if column == "meaning":
        return use.meaning or key.meaning
    if column.startswith("when missing"):
        return use.missing or (f"`{key.standard}`" if key.type == "INTERFACE" and key.standard else key.standard)
    if column.startswith("committed"):
        return "no" if key.kind == "PUBLISHED" else "yes"
    raise ValueError(f"no column {column}")


def table(keys, access, units, whens, columns):
    """Markdown. Neighbours about which the same is said share a line, and so do all units' uses of a key."""
    lines = []
    for key in keys:
        used = uses(key, access, units, whens)
        if used:
            name = "`" + re.sub("%u", "%d", key.key).replace("%s", "NAME") + "`"
            cells = [cell(key, used[0], column) for column in columns]
            if lines and lines[-1][1] == cells:
                lines[-1][0].append(name)
            else:
                lines.append(([name], cells))
    if not lines:
        raise ValueError(f"an empty table: {access} by {units} at {whens}")
    rows = [["key", *columns], *([", ".join(names), *cells] for names, cells in lines)]
    written = ["| " + " | ".join(row) + " |\n" for row in rows]
    return "".join([written[0], "|---" * len(rows[0]) + "|\n", *written[1:]])


def with_tables(text, keys):
    return TABLE.sub(lambda found: found[1] + table(keys, found[2], words(found[3]), words(found[4]), words(found[5])) +
                     found[6], text)


def main(check, root):
    keys = config_keys.keys(root / "platform/config_keys.def")
    tables = 0
    differing = False
    for path in sorted(root.glob("docs/*.md")):
        old = path.read_text(encoding="utf-8")
        tables += len(TABLE.findall(old))
        if len(TABLE.findall(old)) != old.count("<!-- keys:"):
            sys.exit(f"{path.name}: a table of keys begins that is none, or does not end")
        new = with_tables(old, keys)
        if check:
            differing |= new != old
            sys.stdout.writelines(difflib.unified_diff(old.splitlines(True), new.splitlines(True), str(path), "the keys"))
        elif new != old:
            path.write_text(new, encoding="utf-8")
    if differing:
        print("The documents say something else of keys than platform/config_keys.def. Write their tables anew:\n"
              "    tools/keys_to_docs.py")
    print(f"{tables} tables of {len(keys)} keys")
    return 1 if differing or tables == 0 else 0


if __name__ == "__main__":
    arguments = [argument for argument in sys.argv[1:] if argument != "--check"]
    here = pathlib.Path(__file__).resolve().parent.parent
    sys.exit(main("--check" in sys.argv, pathlib.Path(arguments[0]) if arguments else here))
