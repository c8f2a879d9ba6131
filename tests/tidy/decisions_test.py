#!/usr/bin/env python3
"""Decisions and the code that rests on them know each other, and what is planted is found."""

import pathlib
import re
import unittest

import house_rules
import references

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDER = "docs/decisions"

# Up to here numbers were given by topic.
LAST_BY_TOPIC = 146

HEAD = re.compile(r"# (?P<number>\d{4}) (?P<title>.+)\n\n"
                  r"(?:Accepted|Superseded by (?P<by>\d{4})), (?P<date>\d{4}-\d\d-\d\d)\."
                  r"(?P<no_code> Code: none \(.+\)\.)?\n\n")


def check_heads(texts):
    """texts: {file name: text}. Findings, and what the heads say: {number: match}."""
    findings, heads = [], {}
    for name, text in texts.items():
        head = HEAD.match(text)
        if head is None or not name.startswith(head["number"] + "-"):
            findings.append(f"{name}: needs its number and title, and when it was accepted or superseded")
        else:
            heads[head["number"]] = head
    for number, head in heads.items():
        if head["by"] is not None and head["by"] not in heads:
            findings.append(f"{number}: superseded by {head['by']}, which there is not")
    return findings, heads


def check_order(heads):
    newest = ""
    for number in sorted(number for number in heads if int(number) > LAST_BY_TOPIC):
        if heads[number]["date"] < newest:
            yield f"{number}: older than the one before it"
        newest = max(newest, heads[number]["date"])


def check_index(index, names, heads):
    listed = re.findall(r"^\| \[(\d{4})\]\((.+?)\) \| (.+) \|$", index, re.MULTILINE)
    for number, head in heads.items():
        name = next(name for name in names if name.startswith(number))
        if listed.count((number, name, head["title"])) != 1:
            yield f"{number}: not once in the index, with its file and title"
    if len(listed) != len(heads):
        yield f"the index has {len(listed)} lines for {len(heads)} decisions"


def check_places(heads, places):
    for number, where in places.items():
        if number not in heads:
            yield f"{where[0]}: there is no decision {number}"
        elif heads[number]["no_code"]:
            yield f"{where[0]}: decision {number} says that no code rests on it"
    for number, head in heads.items():
        if number not in places and not head["no_code"]:
            yield f"{number}: no code names it, and it does not say why"


class Decisions(unittest.TestCase):
    def test_and_code_know_each_other(self):
        texts = {path.name: path.read_text(encoding="utf-8") for path in (ROOT / FOLDER).glob("[0-9]*.md")}
        findings, heads = check_heads(texts)
        findings += check_order(heads)
        findings += check_index((ROOT / FOLDER / "README.md").read_text(encoding="utf-8"), texts, heads)
        findings += check_places(heads, references.places("decision", ROOT))
        self.assertEqual(findings, [])
        self.assertNotEqual(heads, {})

    def test_that_documents_name_are_there(self):
        for name in house_rules.tracked_files(ROOT):
            if name.endswith(".md"):
                for number, line in references.numbers_in("decision", (ROOT / name).read_text(encoding="utf-8")):
                    self.assertTrue(list((ROOT / FOLDER).glob(f"{number}-*.md")), f"{name}:{line}")


ONE = {"0147-one.md": "# 0147 One\n\nAccepted, 2026-12-01.\n\nText.\n"}
TWO = {"0148-two.md": "# 0148 Two\n\nSuperseded by 0147, 2026-12-02. Code: none (an example).\n\nText.\n"}
INDEX = "| [0147](0147-one.md) | One |\n| [0148](0148-two.md) | Two |\n"


class Planted(unittest.TestCase):
    def test_good_heads_are_taken(self):
        findings, heads = check_heads({**ONE, **TWO})
        self.assertEqual(findings, [])
        self.assertEqual(list(check_order(heads)), [])
        self.assertEqual(list(check_index(INDEX, {**ONE, **TWO}, heads)), [])
        self.assertEqual(list(check_places(heads, {"0147": ["a.cpp:1"]})), [])

    def test_wrong_heads_are_named(self):
        text = ONE["0147-one.md"]
        for wrong in (text.replace("Accepted", "Agreed"), text.replace("2026-12-01", "lately"),
                      text.replace("0147", "0148"), text.replace("Accepted, 2026-12-01.\n\n", ""),
                      text.replace("Accepted", "Superseded by 0148"), text.replace(".\n\nT", ". Code: none.\n\nT")):
            with self.subTest(wrong=wrong):
                self.assertEqual(len(check_heads({"0147-one.md": wrong})[0]), 1)

    def test_a_number_against_time_is_named(self):
        later = {"0147-one.md": ONE["0147-one.md"].replace("2026-12-01", "2026-12-03")}
        self.assertEqual(len(list(check_order(check_heads({**later, **TWO})[1]))), 1)

    def test_what_the_index_lacks_or_has_too_much_is_named(self):
        heads = check_heads({**ONE, **TWO})[1]
        for wrong in (INDEX[:INDEX.index("\n") + 1], INDEX.replace("| One", "| Won"), INDEX + INDEX):
            self.assertNotEqual(list(check_index(wrong, {**ONE, **TWO}, heads)), [])

    def test_places_without_decisions_and_the_other_way_round_are_named(self):
        heads = check_heads({**ONE, **TWO})[1]
        for places in ({}, {"0147": ["a:1"], "0149": ["a:2"]}, {"0147": ["a:1"], "0148": ["a:2"]}):
            with self.subTest(places=places):
                self.assertEqual(len(list(check_places(heads, places))), 1)

    def test_numbers_are_found_as_comments_have_them(self):
        text = "// a (decision 0001)\n# decision 0002, 0003\n// decision\n// 0004\n// decisions 0005, decision 6"
        self.assertEqual(list(references.numbers_in("decision", text)),
                         [("0001", 1), ("0002", 2), ("0003", 2), ("0004", 4), ("6", 5)])


if __name__ == "__main__":
    unittest.main()
