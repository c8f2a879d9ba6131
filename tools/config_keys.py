"""Reads platform/config_keys.def, which says what is known of every key of the configuration store.

keys(path) gives one Key a key or pattern, in the file's order; those of a family share their family's name.
"""

import pathlib
import re
from dataclasses import dataclass, field

TYPES = {"FLAG", "NUMBER", "TEXT", "WORD", "TIME", "WEEKLY_TIME", "DAYS", "INTERFACE", "ADDRESS"}
KINDS = {"SETTING", "SECRET", "STATE", "PUBLISHED"}
WHENS = {"start", "message", "renewal", "tick", "pass", "sample", "needed"}

WANS = 2
RULES = 20
FEW = 10 # values to choose from

# What a family's row stands for: the names and keys of its members, and the module that a change is told to.
FAMILIES = {
    "CONFIG_KEY": [("", "", None)],
    "CONFIG_WAN_KEY": [("WAN_", "wan%d", None)],
    "CONFIG_RADIO_KEY": [("WL2G_", "wl2g", None), ("WL5G_", "wl5g", None)],
    "CONFIG_RULES_KEY": [("WIFI_", "nkgw.wlan", "time_check_wifi"), ("LED_", "nkgw.led", "time_check_led")],
    "CONFIG_RULE_KEY": [("WIFI_", "nkgw.wlan", "time_check_wifi"), ("LED_", "nkgw.led", "time_check_led")],
}


@dataclass
class Read:
    unit: str
    when: list
    missing: str
    meaning: str


@dataclass
class Write:
    unit: str
    meaning: str


@dataclass
class Key:
    name: str
    key: str
    type: str
    range: str
    standard: str
    kind: str
    writers: str
    after: str
    meaning: str
    traps: list = field(default_factory=list)
    reads: list = field(default_factory=list)
    writes: list = field(default_factory=list)

    def pattern(self):
        """A regular expression for the keys that the key's own conversions stand for."""
        parts = re.split(r"(%[dus])", self.key)
        return "".join({"%d": "[1-9][0-9]*", "%u": "[1-9][0-9]*", "%s": ".+"}.get(part, re.escape(part)) for part in parts)

    def members(self):
        """The keys that people know of a pattern: of two WANs, of twenty rules. A name may be any: no key."""
        numbers = {"%d": range(1, WANS + 1), "%u": range(1, RULES + 1)}
        for conversion, several in numbers.items():
            if conversion in self.key:
                return [self.key.replace(conversion, str(number)) for number in several]
        return [] if "%s" in self.key else [self.key]

    def bounds(self):
        """(lowest, highest) of a number's range, None where there is none."""
        found = re.fullmatch(r"(-?\d+)?\.\.(\d+)?", self.range) if self.type == "NUMBER" else None
        return tuple(int(bound) if bound else None for bound in found.groups()) if found else (None, None)

    def choices(self):
        """The values that it may have, when they are few; else none."""
        if "|" in self.range or self.type == "WORD":
            return self.range.split("|")
        low, high = self.bounds()
        few = low is not None and high is not None and high - low < FEW
        return [str(number) for number in range(low, high + 1)] if few else []


def tokens(text):
    """Words, texts and signs, without comments and preprocessor lines."""
    text = re.sub(r"^[ \t]*#(?:\\\n|.)*", "", text, flags=re.MULTILINE)
    for match in re.finditer(r'//[^\n]*|"((?:\\.|[^"\\])*)"|(\w+)|(\S)', text):
        quoted, word, sign = match.groups()
        if quoted is not None:
            yield "text", quoted.replace('\\"', '"')
        elif word or sign:
            yield "word" if word else "sign", word or sign


def rows(text):
    """(macro, arguments) one after the other. Texts that follow each other are one."""
    macro, arguments = None, []
    for kind, token in tokens(text):
        if macro is None or (not arguments and token != "("):
            macro = token
        elif (kind, token) in (("sign", "("), ("sign", ",")):
            arguments.append("")
        elif (kind, token) == ("sign", ")"):
            yield macro, arguments
            macro, arguments = None, []
        else:
            arguments[-1] += token
    if macro is not None:
        raise ValueError(f"the row {macro} does not end")


def of_family(macro, row):
    """The keys that one row stands for."""
    name, own, type_, range_, standard, kind, writers, *after, meaning = row
    if type_ not in TYPES or kind not in KINDS or not meaning:
        raise ValueError(f"{name}: {type_}, {kind} or its meaning is none")
    for prefix, family, told in FAMILIES[macro]:
        key = family + own + ("%u" if macro == "CONFIG_RULE_KEY" else "")
        yield Key(prefix + name, key, type_, range_, standard, kind, writers, after[0] if told is None else told, meaning)


def add_detail(group, macro, row):
    """A row that says more of the keys above it."""
    for key in group:
        if macro == "CONFIG_TRAP":
            key.traps.append(*row)
        elif macro == "CONFIG_WRITE":
            key.writes.append(Write(*row))
        else:
            unit, when, missing, meaning = row
            whens = [word.strip() for word in when.split(",")]
            if not WHENS.issuperset(whens):
                raise ValueError(f"{key.name}: nothing is read at {when}")
            key.reads.append(Read(unit, whens, missing, meaning))


def keys(path):
    found, group = [], []
    for macro, row in rows(pathlib.Path(path).read_text(encoding="utf-8")):
        if macro in FAMILIES:
            group = list(of_family(macro, row))
            found += group
        elif macro in ("CONFIG_TRAP", "CONFIG_READ", "CONFIG_WRITE"):
            add_detail(group, macro, row)
        else:
            raise ValueError(f"{macro} is no row")
    unused = [key.name for key in found if not key.reads and not key.writes]
    if unused or len({key.name for key in found}) != len(found) or len({key.key for key in found}) != len(found):
        raise ValueError(f"a key stands there twice, or nobody uses it: {unused}")
    return found
