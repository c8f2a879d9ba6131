"""The generated parts of the man pages. They stand between two lines; what else is in a page is written by hand (decision 0186).

    .\\" generated: WHAT
    .\\" end of generated

WHAT is "synopsis"; a command, an option ("--json") or a command's option ("check --json"), which makes the item's head
and, where no prose follows it, what its help says; "the rest", all that has no place of its own in the page; "keys", the
table of keys; or "docs/PAGE.md" and perhaps a section's title, which is that document as it stands.
"""

import re

import roff

PLACE = re.compile(r'^(\.\\" generated: (.+)\n)(?:.*\n)*?(\.\\" end of generated\n)', re.MULTILINE)
NO_PROSE = (".TP", ".RS", ".RE", ".SH", ".SS", ".PP", '.\\" generated')
OTHERS = ("docs/man/time_check.conf.5", "docs/man/time_check-messages.7", "docs/man/time_check-porting.7")

# ---- the command line ----


def value_text(value):
    if value.is_choice:
        return " | ".join(roff.bold(word) for word in value.words)
    return "=".join(roff.italic(part) for part in value.name.split("=")) + ("..." if value.many and not value.listed else "")


def option_text(option):
    names = ", ".join(map(roff.bold, option.names))
    return f"{names} {value_text(option.value)}" if option.value else names


def argument_texts(argument):
    """One for each of the ways to write it, such as "KEY VALUE | KEY=VALUE". Those after the first may be repeated."""
    ways = argument.name.split(" | ")
    texts = []
    for number, way in enumerate(ways):
        words = ["=".join(map(roff.italic, word.split("="))) for word in way.split()]
        many = argument.many and (number > 0 or len(ways) == 1)
        text = " ".join(words) + ("..." if many else "")
        texts.append(text if argument.required else f"[{text}]")
    return texts


def heads(command):
    """A command's name and arguments, in each way to write them."""
    arguments = [argument_texts(argument) for argument in command.arguments]
    ways = max(map(len, arguments), default=1)
    return [" ".join(text[min(way, len(text) - 1)] for text in arguments) for way in range(ways)]


def own_options(command):
    return [option for option in command.options if option.name not in ("--help", "--version")]


def synopsis(name, program):
    calls = []
    for command in program.commands or [program]:
        own = name.replace("-", " ") + (f" {command.name}" if program.commands else "")
        options = ["[" + option_text(option) + "]" for option in own_options(command)]
        if command.is_program:
            options = ["[" + roff.italic("OPTION") + "...]"]
        calls += [" ".join([roff.bold(own), *options, head]).rstrip() for head in heads(command)]
    calls.append(roff.bold(name.replace("-", " ")) + " " + " | ".join(roff.bold(name) for name in ("--help", "--version")))
    return "".join(f".HP\n{call}\n" for call in calls)


def items(program):
    """{what stands behind "generated:": (head, help)}, in the command line's order."""
    found = {}
    for command in program.commands:
        found[command.name] = (" | ".join(f"{roff.bold(command.name)} {head}".rstrip() for head in heads(command)), command.about)
        if not command.is_program:  # which has a page of its own
            found.update({f"{command.name} {option.name}": (option_text(option), option.about)
                          for option in own_options(command)})
    found.update({option.name: (option_text(option), option.about) for option in program.options})
    return found


def item(head, about):
    return f".TP\n{head}\n" + (roff.lines(roff.plain(roff.sentence(about))) if about else "")


def the_rest(all_items, placed):
    """What has no place yet: each command with its options below it."""
    text, open_for = "", None
    for name, (head, about) in all_items.items():
        owner = name.split(" ")[0] if " " in name else None
        if name in placed:
            continue
        if open_for and owner != open_for:
            text += ".RE\n"
            open_for = None
        if owner and owner != open_for:
            text += (item(all_items[owner][0], "") + "In addition:\n" if owner in placed else "") + ".RS\n"
            open_for = owner
        text += item(head, about)
    return text + (".RE\n" if open_for else "")


def program_page(text, name, program, path):
    all_items = items(program)
    placed = {found[2] for found in PLACE.finditer(text)}
    unknown = placed - set(all_items) - {"synopsis", "the rest"}
    if unknown or "the rest" not in placed:
        raise ValueError(f"{path}: the command line has no {unknown}" if unknown else f"{path} has no place for the rest")

    def written(found):
        if found[2] == "synopsis":
            body = synopsis(name, program)
        elif found[2] == "the rest":
            body = the_rest(all_items, placed)
        else:
            head, about = all_items[found[2]]
            following = text[found.end():]
            body = item(head, about if not following or following.startswith(NO_PROSE) else "")
        return found[1] + body + found[3]

    return PLACE.sub(written, text)


# ---- the table of keys ----


def key_name(key):
    return re.sub(r"%[du]", lambda _: "\\fIN\\fB", roff.bold(key.key)).replace("%s", "\\fINAME\\fB")


def key_type(key):
    ranges = {"TEXT": "at most {} bytes".format(key.range.removeprefix(".."))}
    asked = ranges.get(key.type, key.range) if key.range else ""
    return key.type.lower().replace("_", " ") + (f", {asked}" if asked else "")


def applied(key):
    """What to do after a change, word by word of the column `after`."""
    told = [f"post {roff.bold(word)} to {roff.bold('time_check')}" if word.startswith("time_check") else f"set {roff.bold(word)}"
            for word in key.after.split()]
    return ", ".join(told)


def key_item(key):
    readers = [f"{read.unit} ({read.when if isinstance(read.when, str) else ', '.join(read.when)}"
               + (f"; when missing: {roff.inline(read.missing)}" if read.missing else "") + ")" for read in key.reads]
    writers = ([key.writers] if key.writers else []) + [
        write.unit + (f" ({roff.inline(write.meaning)})" if write.meaning else "") for write in key.writes]
    facts = [("Type", roff.plain(key_type(key))), ("When missing", roff.plain(key.standard)),
             ("Kind", {"SECRET": "setting, never shown"}.get(key.kind, key.kind.lower())), ("Read by", "; ".join(readers)),
             ("Written by", "; ".join(writers)), ("After a change", applied(key)),
             *(("Beware", roff.inline(trap)) for trap in key.traps)]
    text = f".TP\n{key_name(key)}\n" + roff.lines(roff.inline(roff.sentence(key.meaning)))
    return text + "".join(".br\n" + roff.lines(roff.sentence(f"{what}: {said}")) for what, said in facts if said)


def key_sections(keys, source):
    """The table's own headings, "// ---- the LAN ----", with the keys below each."""
    text, rest = "", list(keys)
    for heading, body in re.findall(r"^// ---- (.*?) ----$(.*?)(?=^// ----|\Z)", source, re.DOTALL | re.MULTILINE):
        text += f".SS {roff.plain(heading[:1].upper() + heading[1:])}\n"
        for name in re.findall(r"^CONFIG_\w*KEY\((\w+),", body, re.MULTILINE):
            members = [key for key in rest if key.name == name or key.name.split("_", 1)[-1] == name]
            text += "".join(map(key_item, members))
            rest = [key for key in rest if key not in members]
    if rest:
        raise ValueError(f"keys below no heading: {[key.name for key in rest]}")
    return text


# ---- all pages ----


def other_page(text, root, keys):
    def written(found):
        what, _, title = found[2].partition(" ")
        if what == "keys":
            body = key_sections(keys, (root / "platform/config_keys.def").read_text(encoding="utf-8"))
        else:
            document = (root / what).read_text(encoding="utf-8")
            body = (roff.section(document, title) if title else roff.sections(document)).removeprefix(".PP\n")
        return found[1] + body + found[3]

    return PLACE.sub(written, text)


def pages(programs, keys, root):
    """{path: text}"""
    found = {}
    for name, program in programs.items():
        path = f"docs/man/{name}.{8 if name == 'time_check' else 1}"
        found[path] = program_page((root / path).read_text(encoding="utf-8"), name, program, path)
    for path in OTHERS:
        found[path] = other_page((root / path).read_text(encoding="utf-8"), root, keys)
    return found
