#!/usr/bin/env python3
"""The verdicts: the page says what their files say, each file is a module's, and what is planted is found."""

import pathlib
import re
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

import verdicts_to_docs  # noqa: E402

FILE = '// What it is about,\n// in two lines.\n//\n// Not this.\n\nVERDICT(first, "One " "sentence.")\n#undef VERDICT\n'


def module_of(text):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "planted.def"
        path.write_text(text, encoding="utf-8")
        return verdicts_to_docs.module(path)


class Page(unittest.TestCase):
    def test_says_what_the_files_say(self):
        self.assertEqual(verdicts_to_docs.main(True, ROOT), 0)

    def test_that_says_something_else_is_found(self):
        modules = verdicts_to_docs.modules(ROOT / "platform/verdicts")
        text = (ROOT / verdicts_to_docs.PAGE).read_text(encoding="utf-8")
        changed = text.replace("| `outside_window` |", "| `outside_windows` |", 1)
        self.assertNotEqual(changed, text)
        self.assertEqual(verdicts_to_docs.with_sections(changed, modules), text)


class File(unittest.TestCase):
    def test_is_read_as_it_stands(self):
        module = module_of(FILE)
        self.assertEqual((module.name, module.about), ("planted", "What it is about, in two lines."))
        self.assertEqual([(verdict.name, verdict.why) for verdict in module.verdicts], [("first", "One sentence.")])

    def test_is_refused_when_a_row_is_none(self):
        row = 'VERDICT(first, "One " "sentence.")\n'
        for wrong in ("", row + row, row.replace("first", "First"), row.replace(".", ""), row.replace("One", "A |"),
                      row.replace("VERDICT", "VERDICTS"), row.replace('"One " ', '"One.", ')):
            with self.subTest(wrong=wrong), self.assertRaises(ValueError):
                module_of(FILE.replace(row, wrong))
        with self.assertRaises(ValueError):
            module_of(FILE[FILE.index("VERDICT"):])

    def test_makes_the_names_of_one_unit(self):
        included = re.findall(r'#\s*include "platform/verdicts/(\w+)\.def"',
                              "".join(path.read_text(encoding="utf-8") for path in sorted((ROOT / "time_check").glob("*.h"))))
        self.assertEqual(sorted(included), [path.stem for path in sorted((ROOT / "platform/verdicts").glob("*.def"))])


if __name__ == "__main__":
    unittest.main()
