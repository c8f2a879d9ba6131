"""Small changes of C++ sources, of the kind that a slip of the hand makes: what can be changed, and into what.

Lexical on purpose: what does not compile afterwards is no change, and is left out by who tries it.
"""

import dataclasses
import re

# Told apart in a source, the first that fits. What is not code is never changed.
TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      |(?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
      |(?P<text>"(?:\\.|[^"\\\n])*")
      |(?P<letter>'(?:\\.|[^'\\\n])+')
      |(?P<number>\b\d[\w.']*)
      |(?P<word>[A-Za-z_]\w*)
      |(?P<operator><=>|<<=|>>=|->|\+\+|--|<<|>>|[<>=!+\-*/%&|^]=|&&|\|\||::|[^\s\w])
      |(?P<blank>\s+)""",
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

OTHER_OPERATORS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
    "&&": ("||",), "||": ("&&",), "!": ("",), "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("*",),
    "+=": ("-=",), "-=": ("+=",), "++": ("--",), "--": ("++",), "&": ("|",), "|": ("&",),
}
OTHER_WORDS = {"true": "false", "false": "true", "break": "continue", "continue": "break"}
# `<` and `>` around a type, or `*` and `&` that declare, are left alone as far as that shows.
BEFORE_A_TYPE = re.compile(r"(?:_cast|template|array|span|atomic|include)\s*$")
# The room of a text is not what a test can see.
ROOM = re.compile(r"\bchar\s+\w+\[$")
KEY = re.compile(r'"[a-z0-9%]+(?:[._][a-z0-9%]+)+"')
WHOLE_NUMBER = re.compile(r"\d+")
# A line that is one call or one assignment; without it the rest still is a function.
STATEMENT = re.compile(r"^[ \t]+(?!return\b|else\b|case\b|using\b|static\b|const\b|struct\b|goto\b|delete\b)"
                       r"(?:[\w:.>\[\]()*-]+(?:->|\.|::))?\w[\w.\[\]>-]*(?:\([^;{}]*\)|\s*[-+|&]?=[^=;{}][^;{}]*|\+\+|--);[ \t]*(?://.*)?$")
DECLARATION = re.compile(r"^[ \t]+(?:[a-z_]\w*(?:::\w+)*\s*[*&]?\s+[*&]?)+\w+(?:\[[^\]]*\])?\s*(?:=|;|\()")


@dataclasses.dataclass(frozen=True)
class Change:
    """At these places of the text stands `old`, and is to be `new`."""

    begin: int
    end: int
    old: str
    new: str
    kind: str


def tokens(text):
    at = 0
    while at < len(text):
        found = TOKEN.match(text, at)
        yield found.lastgroup, found.group(), at
        at = found.end()


def _of_number(old):
    if WHOLE_NUMBER.fullmatch(old):
        yield str(int(old) + 1)
        if int(old) > 0:
            yield str(int(old) - 1)


def _others(kind, old):
    """What may stand there instead, and what kind of change that is."""
    if kind == "number":
        return "constant", _of_number(old)
    if kind == "word" and old in OTHER_WORDS:
        return "word", (OTHER_WORDS[old],)
    if kind == "text" and KEY.fullmatch(old):
        return "key", (old[:-1] + 'x"',)
    if kind == "operator":
        return "operator", OTHER_OPERATORS.get(old, ())
    return "", ()


def changes_of(text):
    """All changes, in the order of their places."""
    found = []
    for kind, old, at in tokens(text):
        if old in "<>" and BEFORE_A_TYPE.search(text[max(0, at - 20):at]):
            continue
        if kind == "number" and ROOM.search(text[max(0, at - 60):at]):
            continue
        name, others = _others(kind, old)
        found += [Change(at, at + len(old), old, new, name) for new in others]
    at = 0
    for line in text.splitlines(keepends=True):
        if STATEMENT.match(line.rstrip("\n")) and not DECLARATION.match(line):
            code = line.strip()
            begin = at + line.index(code)
            found.append(Change(begin, begin + len(code), code, ";", "dropped"))
        at += len(line)
    return sorted(found, key=lambda change: (change.begin, change.end, change.new))


def changed(text, change):
    return text[:change.begin] + change.new + text[change.end:]


def line_of(text, change):
    """The number of its line, from 1, and the line before and after."""
    begin = text.rfind("\n", 0, change.begin) + 1
    end = text.find("\n", change.end)
    before = text[begin:end]
    after = text[begin:change.begin] + change.new + text[change.end:end]
    return text.count("\n", 0, begin) + 1, before.strip(), after.strip()
