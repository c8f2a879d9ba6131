#!/usr/bin/env python3
"""Which changes changes.py finds in a source."""

import sys
import unittest

sys.dont_write_bytecode = True

import changes  # noqa: E402

SOURCE = '''\
#include <stdio.h> // 1 < 2
#define LIMIT 7
// if (a < b && c) f(3);
static int looks(const char *text)
{
    char room[16];
    if (text[0] == 'a' && !is_known(text))
        forget(text);
    print("1 < 2: %d\\n", static_cast<int>(LIMIT));
    int found = 0;
    for (int i = 1; i < LIMIT; i++)
        found += rows[i].count;
    state.found = found;
    set("wan2.connecttype", true);
    return found;
}
'''


def made(kind):
    return [(change.old, change.new) for change in changes.changes_of(SOURCE) if change.kind == kind]


class Changes(unittest.TestCase):
    def test_operators_are_of_the_code_alone_and_no_brackets_of_a_type(self):
        found = made("operator")
        for old, new in [("==", "!="), ("&&", "||"), ("!", ""), ("<", "<="), ("<", ">="), ("++", "--"), ("+=", "-=")]:
            self.assertIn((old, new), found)
        self.assertEqual(found.count(("<", "<=")), 1)

    def test_constants_go_up_and_down_by_one_but_not_the_room_of_a_text(self):
        self.assertEqual(made("constant"), [("0", "1"), ("0", "1"), ("1", "0"), ("1", "2")])

    def test_keys_and_truth_are_others(self):
        self.assertEqual(made("key"), [('"wan2.connecttype"', '"wan2.connecttypex"')])
        self.assertEqual(made("word"), [("true", "false")])

    def test_statements_are_dropped_and_declarations_stay(self):
        self.assertEqual([old for old, _ in made("dropped")],
                         ["forget(text);", 'print("1 < 2: %d\\n", static_cast<int>(LIMIT));', "found += rows[i].count;",
                          "state.found = found;", 'set("wan2.connecttype", true);'])

    def test_a_change_is_of_its_place_alone(self):
        change = next(change for change in changes.changes_of(SOURCE) if change.kind == "key")
        text = changes.changed(SOURCE, change)
        self.assertEqual(text.replace("connecttypex", "connecttype"), SOURCE)
        self.assertEqual(changes.line_of(SOURCE, change),
                         (14, 'set("wan2.connecttype", true);', 'set("wan2.connecttypex", true);'))


if __name__ == "__main__":
    unittest.main()
