#!/usr/bin/env python3
"""The ledger of what is frozen (docs/compatibility.md) and the daemon know each other: its numbers, the tests that it
names, the given names, and every body that is printed. What is planted is found.
"""

import pathlib
import re
import unittest

import house_rules
import references

ROOT = pathlib.Path(__file__).resolve().parents[2]
LEDGER = "docs/compatibility.md"

# Which argument is the body, and what kind of line it makes.
PRINTERS = {
    "LOG_ERROR": ("red", 0), "LOG_ERROR_OF": ("red", 1), "LOG_PROGRESS": ("red", 0), "LOG_PROGRESS_OF": ("red", 1),
    "LOG_INFO": ("green", 0), "LOG_INFO_OF": ("green", 1),
    "LOG_DEBUG": ("debug", 1), "LOG_DEBUG_OF": ("debug", 2), "LOG_DUMP_OF": ("debug", 1),
    "LOG_TRACE": ("trace", 1),
    "printf": ("console", 0), "puts": ("console", 0),
    "time_check_link_bounce_when_due": ("console", 2), # hands its text to puts
}
TEXT = r'"(?:\\.|[^"\\])*"'


def rows(ledger):
    """(number, test) of each row."""
    return re.findall(r"^\| (\d+) \|.*\| (`[\w.]+`|none \(.+\)) \|$", ledger, re.MULTILINE)


def check_rows(ledger, places, tests):
    found = rows(ledger)
    if len(dict(found)) != len(found):
        yield f"{LEDGER}: a number stands twice"
    for number, test in found:
        if number not in places:
            yield f"{LEDGER}: no code names compat {number}"
        if test.startswith("`") and test.strip("`") not in tests:
            yield f"{LEDGER}: compat {number}: there is no test {test}"
    for number, where in places.items():
        if number not in dict(found):
            yield f"{where[0]}: the ledger has no {number}"


def arguments(text, begin):
    """The arguments of a call whose first begins at `begin`."""
    depth, last, found = 0, begin, []
    for token in re.finditer(rf"{TEXT}|[(){{}}\[\],]", text[begin:]):
        if token[0] in "([{":
            depth += 1
        elif token[0] in ")]}" and depth > 0:
            depth -= 1
        elif token[0] in "),":
            if depth == 0:
                found.append(text[last:begin + token.start()].strip())
                last = begin + token.end()
                if token[0] == ")":
                    return found
    return found


def printed(source):
    """(kind, body) of each line that a source prints, as it writes the body."""
    source = re.sub(r"//.*", "", source) # no text of the daemon has two slashes in a row but those of its files
    for call in re.finditer(rf"\b({'|'.join(PRINTERS)})\(", source):
        kind, index = PRINTERS[call[1]]
        given = arguments(source, call.end())
        texts = re.findall(TEXT, given[index]) if len(given) > index else []
        if texts and given[index].startswith('"'):
            body = "".join(text[1:-1] for text in texts)
            yield kind, body + ("" if kind != "console" or call[1] == "printf" else "\\n")


def listed(ledger):
    return {(kind, body.replace("\\|", "|"))
            for kind, body in re.findall(r"^\| (red|green|debug|trace|console) \| `(.+)` \|$", ledger, re.MULTILINE)}


def check_bodies(ledger, bodies):
    for kind, body in sorted(bodies - listed(ledger)):
        yield f"{LEDGER}: lacks the {kind} line {body!r}"
    for kind, body in sorted(listed(ledger) - bodies):
        yield f"{LEDGER}: nothing prints the {kind} line {body!r}"


def check_names(ledger, headers):
    """headers: the code of the daemon's headers."""
    section = ledger.partition("\n## Given names\n")[2].partition("\n## ")[0].partition("\n\n")[2]
    functions = section.partition("**Functions.**")[2].partition("\n\n")[0]
    for name in re.findall(r"`(\w+)`", section):
        if not re.search(rf"\b{name}\b", headers):
            yield f"{LEDGER}: no header of the daemon has {name}"
    for name in re.findall(r"`(\w+)`", functions):
        if not re.search(rf"\b{name}\(", headers):
            yield f"{LEDGER}: no header of the daemon declares {name}()"


def check_comments(name, text):
    """What is so on purpose has a number, so that it can be told from what may be changed."""
    for number, line in enumerate(text.split("\n"), 1):
        comment = line.partition("//")[2]
        if re.search(r"\b(?:on purpose|deliberate)", comment, re.IGNORECASE):
            yield f"{name}:{number}: what is frozen has a number of the ledger"


def sources_of_the_daemon():
    for path in sorted((ROOT / "time_check").iterdir()):
        if path.suffix in {".h", ".cpp"}:
            yield path.relative_to(ROOT).as_posix(), path.read_text(encoding="utf-8")


def names_of_tests():
    names = set()
    for name in house_rules.tracked_files(ROOT):
        if name.startswith("tests/") and name.endswith((".cpp", ".h")):
            text = (ROOT / name).read_text(encoding="utf-8")
            names.update(".".join(found) for found in re.findall(r"\bTEST(?:_[FP])?\(\s*(\w+),\s*(\w+)\s*\)", text))
    return names


class Ledger(unittest.TestCase):
    def setUp(self):
        self.ledger = (ROOT / LEDGER).read_text(encoding="utf-8")

    def test_and_code_know_each_other(self):
        self.assertGreater(len(rows(self.ledger)), 50)
        self.assertEqual(list(check_rows(self.ledger, references.places("compat", ROOT), names_of_tests())), [])

    def test_has_every_line_that_is_printed(self):
        bodies = {line for name, text in sources_of_the_daemon() if not name.startswith("time_check/time_check_log.")
                  for line in printed(text)}
        self.assertGreater(len(bodies), 80)
        self.assertEqual(list(check_bodies(self.ledger, bodies)), [])

    def test_has_given_names_that_are_declared(self):
        headers = "".join(re.sub(r"//.*", "", text) for name, text in sources_of_the_daemon() if name.endswith(".h"))
        self.assertGreater(self.ledger.count("`time_check_"), 50)
        self.assertEqual(list(check_names(self.ledger, headers)), [])

    def test_is_what_comments_refer_to(self):
        self.assertEqual([finding for name, text in sources_of_the_daemon() for finding in check_comments(name, text)],
                         [])


ROWS = "| 1 | a | b | `Suite.One` |\n| 2 | a | b | none (nobody sees it) |\n"
SOURCE = r'''
    LOG_ERROR("a %d\n", f(1, "x")); LOG_ERROR_OF("name", "b, c\n"); // printf("no\n")
    LOG_INFO_OF(function, "i\n"); LOG_DEBUG_OF(MODULE, function, "d" "e\n", 1); LOG_TRACE(DEBUG_INFO,
        "f\n"); puts("g"); puts(line); snprintf(text, sizeof text, "h");
'''
PRINTED = {("red", r"a %d\n"), ("red", r"b, c\n"), ("green", r"i\n"), ("debug", r"de\n"), ("trace", r"f\n"), ("console", r"g\n")}


class Planted(unittest.TestCase):
    def test_rows_without_code_or_test_and_code_without_rows_are_named(self):
        places = {"1": ["a:1"], "2": ["a:2"]}
        self.assertEqual(list(check_rows(ROWS, places, {"Suite.One"})), [])
        for ledger, found, tests in ((ROWS, {"1": ["a:1"]}, {"Suite.One"}), (ROWS, places, set()),
                                     (ROWS, {**places, "3": ["a:3"]}, {"Suite.One"}),
                                     (ROWS.replace("| 2 |", "| 1 |"), places, {"Suite.One"})):
            with self.subTest(ledger=ledger, found=found, tests=tests):
                self.assertNotEqual(list(check_rows(ledger, found, tests)), [])

    def test_bodies_are_found_and_compared(self):
        self.assertEqual(set(printed(SOURCE)), PRINTED)
        ledger = "".join(f"| {kind} | `{body}` |\n" for kind, body in PRINTED)
        self.assertEqual(list(check_bodies(ledger, PRINTED)), [])
        self.assertEqual(len(list(check_bodies(ledger.replace("a %d", "a %i"), PRINTED))), 2)

    def test_names_that_no_header_has_are_named(self):
        ledger = "\n## Given names\n\nThese in `platform/`.\n\n**Functions.** `f`, `g`\n\n**Types.** `t`\n\n## x\n`y`\n"
        self.assertEqual(list(check_names(ledger, "t f(); int g(int);")), [])
        for headers in ("t f(); int h();", "u f(); int g();", "t f(); int g;"):
            with self.subTest(headers=headers):
                self.assertNotEqual(list(check_names(ledger, headers)), [])

    def test_comments_without_a_number_are_named(self):
        self.assertEqual(list(check_comments("a", "x; // as the first (compat 1)")), [])
        self.assertEqual(len(list(check_comments("a", "x; // kept on purpose\n// Deliberately so."))), 2)


if __name__ == "__main__":
    unittest.main()
