#!/usr/bin/env python3
"""The man pages: two formatters have nothing to say against them, and what they are about is whole."""

import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

import command_line  # noqa: E402
import config_keys  # noqa: E402
import man_pages  # noqa: E402

PAGES = sorted((ROOT / "docs/man").iterdir())
PLACES = 'A\n.\\" generated: {}\n.\\" end of generated\n{}'


def shown(path):
    """The page as a terminal shows it, in one line."""
    text = subprocess.run(["mandoc", "-T", "ascii", path], check=True, capture_output=True, text=True).stdout
    return " ".join(re.sub(".\b", "", text).split())


class Pages(unittest.TestCase):
    def test_are_clean(self):
        self.assertGreaterEqual(len(PAGES), 9)
        for page in PAGES:
            for call in (["mandoc", "-T", "lint", "-W", "warning"], ["groff", "-ww", "-man", "-z"]):
                with self.subTest(page=page.name, call=call[0]):
                    done = subprocess.run([*call, page], capture_output=True, text=True)
                    self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))

    def test_that_are_not_clean_are_found(self):
        text = (ROOT / "docs/man/cfm.1").read_text(encoding="utf-8").replace(".SH SYNOPSIS", ".SH SYNOPSIS\n.PPP\n.PP\n.PP")
        done = subprocess.run(["mandoc", "-T", "lint", "-W", "warning"], input=text, capture_output=True, text=True)
        self.assertNotEqual(done.returncode, 0)

    def test_are_all_generated_in_part(self):
        for page in PAGES:
            if page.name in ("time_check-dhttpd.8", "time_check-netctrl.8"):
                continue  # it takes its words by itself
            with self.subTest(page=page.name):
                self.assertRegex(page.read_text(encoding="utf-8"), man_pages.PLACE)

    def test_name_each_option_of_netctrl(self):
        options = set(re.findall(r'\{"([\w-]+)", \w+_argument', (ROOT / "router/netctrl/main.cpp").read_text(encoding="utf-8")))
        self.assertIn("dry-run", options)
        page = shown(ROOT / "docs/man/time_check-netctrl.8")
        self.assertEqual({option for option in options if "--" + option not in page}, set())

    def test_lead_to_pages_that_are_there(self):
        own = {page.name for page in PAGES}
        for page in PAGES:
            for name, section in re.findall(r"^\.BR (\S+) \((\d)\)", page.read_text(encoding="utf-8"), re.MULTILINE):
                file = name.replace("\\-", "-") + "." + section
                with self.subTest(page=page.name, leads_to=file):
                    self.assertTrue(file in own or file in ("diff.1", "reboot.2"))

    def test_name_each_variable_that_the_daemon_reads(self):
        sources = [path for folder in ("time_check", "platform/common", "platform/linux")
                   for path in (ROOT / folder).rglob("*.cpp")]
        read = {name for path in sources for name in re.findall(r'getenv\("(\w+)"\)', path.read_text(encoding="utf-8"))}
        self.assertIn("TIME_CHECK_GROUP", read)
        page = shown(ROOT / "docs/man/time_check.8")
        self.assertEqual({name for name in read if name not in page}, set())
        documents = "".join((ROOT / name).read_text(encoding="utf-8") for name in ("docs/porting.md", "docs/configuration.md"))
        told = set(re.findall(r"^\| `(TIME_CHECK_\w+)` \| .*\| .* \|$", documents, re.MULTILINE))
        self.assertEqual({name for name in read if name.startswith("TIME_CHECK_")} - told, set())

    def test_have_every_key(self):
        page = shown(ROOT / "docs/man/time_check.conf.5")
        for key in config_keys.keys(ROOT / "platform/config_keys.def"):
            with self.subTest(key=key.key):
                self.assertIn(re.sub("%[du]", "N", key.key).replace("%s", "NAME") + " ", page)

    def test_have_every_sentence_of_the_messages(self):
        page = shown(ROOT / "docs/man/time_check-messages.7")
        for words in ("SIGHUP", "19?op=9", "53?op=2", "nimbix_wake_up", "Nothing is answered.", "bus: 20 more such messages"):
            self.assertIn(words, page)


class Places(unittest.TestCase):
    def program(self):
        option = command_line.Option(["--json"], "print an object", None)
        level = command_line.Option(["--level"], "how much", command_line.Argument("LEVEL", "", "", ["a", "b"], True))
        check = command_line.Command("check", "look for it", [option, level], [command_line.Argument("FILE", "", "file")], [])
        return command_line.Command("tool", "", [], [], [check])

    def page(self, text):
        return man_pages.program_page(text, "tool", self.program(), "page")

    def test_keep_the_prose_and_take_the_help_where_there_is_none(self):
        rest = PLACES.format("the rest", "")
        prose = self.page(PLACES.format("check --json", "By hand.\n") + rest)
        self.assertIn(".TP\n\\fB\\-\\-json\\fR\n.\\\" end of generated\nBy hand.\n", prose)
        bare = self.page(PLACES.format("check --json", ".TP\n") + rest)
        self.assertIn(".TP\n\\fB\\-\\-json\\fR\nPrint an object.\n.\\\" end of generated\n.TP\n", bare)

    def test_are_made_for_what_has_none(self):
        page = self.page(PLACES.format("the rest", ""))
        self.assertIn("\\fBcheck\\fR [\\fIFILE\\fR]\nLook for it.\n.RS\n.TP\n\\fB\\-\\-json\\fR\nPrint an object.\n", page)
        self.assertIn("\\fB\\-\\-level\\fR \\fBa\\fR | \\fBb\\fR\nHow much.\n.RE\n", page)

    def test_of_what_is_gone_are_refused(self):
        with self.assertRaises(ValueError):
            self.page(PLACES.format("check --jsn", "") + PLACES.format("the rest", ""))
        with self.assertRaises(ValueError):
            self.page(PLACES.format("check", ""))


if __name__ == "__main__":
    unittest.main(verbosity=1)
