"""The command lines of the programs for people, as their describing twins tell them (tools/describe, decision 0185).

programs(folder, root) gives one Command a program, by its name; folder holds the describing programs.
"""

import functools
import json
import pathlib
import re
import subprocess
from dataclasses import dataclass, field

# What an argument or a value is, by the name that the command line gives it.
KINDS = {
    "FILE": "file",
    "TRACE": "file",
    "KEY": "key",
    "PREFIX": "key",
    "PATTERN": "key",
    "KEY=VALUE": "setting",
    "KEY VALUE | KEY=VALUE": "setting",
    "--exec": "program",
}
BUS_NAMES = ["netctrl", "time_check"]


@dataclass
class Argument:
    name: str  # LEVEL, or the argument's own name
    about: str
    kind: str = ""  # file, key, setting, program; "" for anything
    words: list = field(default_factory=list)  # when it is one of these
    is_choice: bool = False  # which the command line itself says
    required: bool = False
    many: bool = False
    listed: bool = False  # of a value: several with commas between


@dataclass
class Option:
    names: list  # -h, --help
    about: str
    value: Argument  # None: a flag

    @property
    def name(self):
        return self.names[-1]


@dataclass
class Command:
    name: str
    about: str
    options: list
    arguments: list
    commands: list
    is_program: bool = False  # a command of tcctl that starts a program of its own
    words: dict = field(default_factory=dict)  # of a program: what it knows while it runs (tools/describe/words.h)


def argument_of(described, own_name, command, known):
    """own_name is what the value or argument is called; what its validators say stands behind a colon."""
    name, _, asked = own_name.partition(":")
    chosen = re.search(r"\{([^}]*)\}", asked)
    words = chosen[1].split(",") if chosen else known.get(f"{command} {name}", known.get(name, []))
    if name == "NAME":
        words = BUS_NAMES
    kind = KINDS.get(described["names"][-1] if described["names"] else name, KINDS.get(name, ""))
    return Argument(name, described["about"], kind, words, bool(chosen), described["required"], described["many"],
                    described["listed"])


def command_of(described, known):
    name = described["name"]
    options = [Option(each["names"], each["about"], argument_of(each, each["value"], name, known) if each["value"] else None)
               for each in described["options"]]
    for option in options:
        if option.name == "--help":
            option.about = "print help, and end"
        elif option.name == "--version":
            option.about = "print the version, and end"
    arguments = [argument_of(each, each["argument"], name, known) for each in described["arguments"]]
    commands = [command_of(each, known) for each in described["commands"]]
    return Command(name, described["about"], options, arguments, commands, described["rest"])


@functools.cache
def said(program, name):
    return subprocess.run([name], executable=program, check=True, capture_output=True, text=True).stdout


def told(folder, program, name):
    described = json.loads(said(pathlib.Path(folder) / program, name))
    command = command_of(described, described["words"])
    command.words = described["words"]
    return command


def daemon(root):
    """time_check's own line, from the sentence that its --help prints."""
    text = (root / "platform/common/arguments.cpp").read_text(encoding="utf-8")
    options = re.search(r"Usage: time_check \[([^\]]*)\]", text)[1].split(" | ")
    about = {"--help": "print help, and end", "--version": "print the version, and end"}
    return Command("time_check", "", [Option([name], about[name], None) for name in options], [], [])


def programs(folder, root):
    found = {path.name: told(folder, path.name, path.name) for path in sorted(pathlib.Path(folder).iterdir())}
    found["tcctl-replay"] = told(folder, "tcctl-preview", "tcctl-replay")  # which looks at its own name
    found["time_check"] = daemon(root)
    for command in found["tcctl"].commands:
        if command.is_program:
            if f"tcctl-{command.name}" not in found:
                raise ValueError(f"tcctl {command.name} starts tcctl-{command.name}, which tools/describe/CMakeLists.txt does not "
                                 "list; its main has to call take_words (tools/command_line.h)")
            own = found[f"tcctl-{command.name}"]
            command.options, command.arguments = own.options, own.arguments
    return found
