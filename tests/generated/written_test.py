#!/usr/bin/env python3
"""written_test.py DESCRIBED: what is generated stands in the sources as it would be written now, and nothing else does."""

import contextlib
import io
import pathlib
import re
import shutil
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

import generate  # noqa: E402

DESCRIBED = sys.argv[1]
INPUTS = ("docs", "packaging/completion", "platform/config_keys.def", "platform/verdicts", "platform/common/arguments.cpp",
          "tools/tcctl/findings.def")


class Written(unittest.TestCase):
    def test_as_it_stands(self):
        self.assertEqual(generate.main(True, DESCRIBED, ROOT), 0)

    def test_no_other_file_stands_beside(self):
        files = set(generate.generated(DESCRIBED, ROOT))
        beside = {str(path.relative_to(ROOT)) for path in (ROOT / "packaging/completion").rglob("*") if path.is_file()}
        self.assertEqual(beside - files, set())

    def test_what_is_changed_by_hand_is_found_and_mended(self):
        with tempfile.TemporaryDirectory() as name:
            copy = pathlib.Path(name)
            for each in INPUTS:
                source = ROOT / each
                (copy / each).parent.mkdir(parents=True, exist_ok=True)
                (shutil.copytree if source.is_dir() else shutil.copy)(source, copy / each)
            for file in generate.generated(DESCRIBED, ROOT):
                with self.subTest(file=file), contextlib.redirect_stdout(io.StringIO()):
                    path = copy / file
                    text = path.read_text(encoding="utf-8")
                    self.assertEqual(generate.main(True, DESCRIBED, copy), 0)
                    path.write_text(self.spoilt(text), encoding="utf-8")
                    self.assertEqual(generate.main(True, DESCRIBED, copy), 1)
                    self.assertEqual(generate.main(False, DESCRIBED, copy), 0)
                    self.assertEqual(path.read_text(encoding="utf-8"), text)

    @staticmethod
    def spoilt(text):
        """A line more where the generator writes: in a man page that is a place, and all of any other file."""
        place = re.search(r'^\.\\" generated: .*\n', text, re.MULTILINE)
        end = place.end() if place else len(text)
        return text[:end] + "x\n" + text[end:]


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
