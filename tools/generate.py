#!/usr/bin/env python3
"""Writes what is made of the table of keys and of the programs' own command lines: completion, the generated parts of
the man pages, JSON schemas, and the tables of the documents.

Usage: generate.py [--check] DESCRIBED [ROOT]. DESCRIBED is the folder of the describing programs (tools/describe);
`cmake --build --preset default --target generated` builds these, and calls it. With --check nothing is written: what
differs is shown, and the status is 1.
"""

import difflib
import pathlib
import sys

import command_line
import complete_bash
import complete_fish
import complete_zsh
import config_keys
import keys_to_docs
import man_pages
import schemas
import verdicts_to_docs

UNINSTALLED = "tcctl-replay"  # tcctl-preview by another name


def completions(programs, keys):
    """{path: text}"""
    words = {name: key.choices() for key in keys for name in key.members()}
    files = {}
    for name in sorted(set(programs) - {UNINSTALLED}):
        for shell, file, module in (("bash", name, complete_bash), ("zsh", "_" + name, complete_zsh),
                                    ("fish", name + ".fish", complete_fish)):
            files[f"packaging/completion/{shell}/{file}"] = module.script(name, programs[name], words)
    return files


def generated(described, root):
    programs = command_line.programs(described, root)
    keys = config_keys.keys(root / "platform/config_keys.def")
    return {**completions(programs, keys), **man_pages.pages(programs, keys, root),
            **schemas.files(programs["tcctl"].words, keys, root)}


def differs(path, text, check):
    old = path.read_text(encoding="utf-8") if path.exists() else ""
    if old == text:
        return False
    if check:
        sys.stdout.writelines(difflib.unified_diff(old.splitlines(True), text.splitlines(True), str(path), "generated"))
    else:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
    return True


def main(check, described, root):
    files = generated(described, root)
    changed = [name for name, text in files.items() if differs(root / name, text, check)]
    status = keys_to_docs.main(check, root) | verdicts_to_docs.main(check, root)
    print(f"{len(files)} generated files, {len(changed)} {'differ' if check else 'written'}")
    if check and (changed or status):
        print("What is generated is another than what stands there. Write it anew:\n"
              "    cmake --build --preset default --target generated")
    return 1 if check and (changed or status) else 0


if __name__ == "__main__":
    arguments = [argument for argument in sys.argv[1:] if argument != "--check"]
    if not arguments or len(arguments) > 2:
        sys.exit(__doc__)
    here = pathlib.Path(__file__).resolve().parent.parent
    try:
        sys.exit(main("--check" in sys.argv, arguments[0], pathlib.Path(arguments[1]) if arguments[1:] else here))
    except ValueError as error:
        sys.exit(f"generate.py: {error}")
