#!/usr/bin/env python3
"""commands_test.py TCCTL PAGE_MAKER SCHEMAS CFM: tcctl's status and why as people and programs call them."""

import fcntl
import json
import os
import pathlib
import pty
import re
import subprocess
import sys
import tempfile
import unittest

import jsonschema

TCCTL, MAKER, SCHEMAS, CFM = sys.argv[1:5]
MODULES = ["reboot", "power", "wifi", "led", "guest", "cpu", "daemon", "uplink", "ap", "stoppage", "wan1", "wan2"]
MOST_VERDICTS = 18


def schema(name):
    return json.loads((pathlib.Path(SCHEMAS) / f"tcctl-{name}.json").read_text())


class Commands(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.run_dir = pathlib.Path(self.folder.name) / "run"
        self.run_dir.mkdir()
        self.page = self.run_dir / "status"
        self.writer = None

    def tearDown(self):
        if self.writer is not None:
            self.writer.close()
        self.folder.cleanup()

    def make(self, verdict=0, age=0, lives=True):
        self.page.unlink(missing_ok=True)
        subprocess.run([MAKER, self.page, str(verdict), str(age)], check=True)
        if self.writer is not None:
            self.writer.close()
        self.writer = open(self.page, "r+b")
        if lives:  # a daemon holds a lock on it
            fcntl.lockf(self.writer, fcntl.LOCK_EX)

    def environment(self, **more):
        return {"TIME_CHECK_RUN_DIR": str(self.run_dir), "PATH": os.environ["PATH"], "TZ": "UTC0", **more}

    def call(self, *words, **more):
        return subprocess.run([TCCTL, *words], env=self.environment(**more), capture_output=True, text=True, timeout=20)

    def is_readable(self, text):
        for line in text.splitlines():
            self.assertLessEqual(len(line), 80, line)
            self.assertEqual(line, line.rstrip())
            self.assertRegex(line, r"^[ -~]*$")
        self.assertTrue(text.endswith("\n"))

    # ---- what is printed ----

    def test_each_verdict_is_readable_at_80_columns(self):
        for verdict in range(MOST_VERDICTS):
            self.make(verdict)
            for words in [["status"], ["status", "cpu", "daemon"]] + [["why", module] for module in MODULES]:
                done = self.call(*words)
                self.assertIn(done.returncode, (0, 1), done.stderr)
                self.assertEqual(done.stderr, "")
                self.is_readable(done.stdout)

    def test_json_is_what_its_schema_says(self):
        for verdict in (*range(MOST_VERDICTS), 255):
            self.make(verdict)
            told = json.loads(self.call("status", "--json").stdout)
            jsonschema.validate(told, schema("status"))
            self.assertEqual([module["module"] for module in told["modules"]], MODULES)
            for module in MODULES:
                jsonschema.validate(json.loads(self.call("why", module, "--json").stdout), schema("why"))

    def cfm(self, *words):
        subprocess.run([CFM, *words], env=self.store_environment(), check=True)

    def store_environment(self):
        conf = self.run_dir.parent / "conf"
        conf.mkdir(exist_ok=True)
        self.run_dir.chmod(0o700)
        return self.environment(TIME_CHECK_CONF_DIR=str(conf))

    def uncommitted(self):
        """What a line and what JSON says of it."""
        where = {"TIME_CHECK_CONF_DIR": self.store_environment()["TIME_CHECK_CONF_DIR"]}
        told = json.loads(self.call("status", "--json", **where).stdout)
        jsonschema.validate(told, schema("status"))
        lines = " ".join(self.call("status", **where).stdout.split())
        found = re.search(r"(settings|(\d+) settings?( not)?) (not )?committed", lines)
        return found and found[0], told["uncommitted"]

    def test_a_committed_file_that_was_replaced(self):
        self.make()
        for number in "1", "2":
            self.cfm("set", "lan.ip", f"192.168.{number}.1")
            self.cfm("commit")
        self.assertEqual(self.uncommitted(), ("settings committed", 0))
        conf = self.run_dir.parent / "conf"
        (conf / "config.txt.previous").rename(conf / "config.txt")
        self.assertEqual(self.uncommitted(), ("1 setting not committed", 1))

    def test_what_is_not_committed(self):
        self.make()
        self.assertEqual(self.uncommitted(), (None, None))
        self.assertFalse((self.run_dir / "config.mdb").exists(), "a look makes no store")
        self.cfm("set", "lan.ip", "192.168.7.1")
        self.assertEqual(self.uncommitted(), ("1 setting not committed", 1))
        self.cfm("set", "lan.mask", "255.255.255.0")
        self.assertEqual(self.uncommitted(), ("2 settings not committed", 2))
        self.cfm("commit")
        self.assertEqual(self.uncommitted(), ("settings committed", 0))
        self.cfm("set", "wan1_isonln", "1")  # which is published and never committed
        self.assertEqual(self.uncommitted(), ("settings committed", 0))
        self.assertEqual(self.uncommitted(), ("settings committed", 0), "as the first look noted it")
        self.cfm("set", "lan.ip", "192.168.8.1")
        self.cfm("unset", "lan.mask")
        self.cfm("set", "sys.schedulereboot.enable", "1")
        self.assertEqual(self.uncommitted(), ("3 settings not committed", 3))
        differing = subprocess.run([CFM, "diff"], env=self.store_environment(), capture_output=True, text=True)
        self.assertEqual(len({line[1:].split("=")[0] for line in differing.stdout.splitlines()}), 3)

    def test_the_exit_code_says_whether_all_is_well(self):
        for verdict in range(MOST_VERDICTS):
            self.make(verdict)
            for words in [[], *[[module] for module in MODULES]]:
                done = self.call("status", "--json", *words)
                self.assertEqual(done.returncode, 0 if json.loads(done.stdout)["well"] else 1)
        self.make(0)
        self.assertEqual(self.call("status", "reboot").returncode, 0)
        self.make(1)
        self.assertEqual(self.call("status", "reboot").returncode, 1)  # a type without behaviour

    def test_a_program_alone(self):
        self.make(4)
        done = self.call("why", "cpu", "httpd")
        self.assertEqual(done.returncode, 0)
        self.assertTrue(done.stdout.startswith("cpu httpd: over limit\n"), done.stdout)
        self.assertIn("for long enough: NO, 7 of 32 samples in a row\n", done.stdout)
        self.assertNotIn("httpd", self.call("why", "daemon", "minidlna").stdout)
        self.assertEqual(self.call("why", "cpu", "minidlna").returncode, 2)
        self.assertEqual(self.call("why", "reboot", "httpd").returncode, 2)

    def test_other_names(self):
        self.make(0)
        for one, other in (("sleep", "power"), ("fault", "stoppage"), ("wifi_connect", "uplink"), ("ap_connect", "ap")):
            self.assertEqual(self.call("why", one).stdout, self.call("why", other).stdout)

    def test_watching_goes_on(self):
        self.make(0)
        watching = subprocess.Popen([TCCTL, "status", "--watch", "--json"], env=self.environment(), text=True,
                                    stdout=subprocess.PIPE)
        try:
            for _ in range(2):
                jsonschema.validate(json.loads(watching.stdout.readline()), schema("status"))
        finally:
            watching.terminate()
            watching.communicate(timeout=10)

    # ---- colour ----

    def on_a_terminal(self, **more):
        ours, theirs = pty.openpty()
        with subprocess.Popen([TCCTL, "status"], env=self.environment(**more), stdout=theirs, stderr=theirs):
            os.close(theirs)
            text = b""
            while True:
                try:
                    part = os.read(ours, 4096)
                except OSError:
                    break
                if not part:
                    break
                text += part
        os.close(ours)
        return text.decode()

    def test_colour_only_for_terminals_that_want_it(self):
        self.make(1)
        painted = self.on_a_terminal()
        self.assertIn("\033[31m", painted)
        plain = re.sub("\033\\[[0-9]*m", "", painted).replace("\r\n", "\n")
        self.is_readable(plain)
        self.assertNotIn("\033", self.on_a_terminal(NO_COLOR="1"))

    # ---- no daemon ----

    def refuses(self, text, *words):
        done = self.call(*(words or ("status",)))
        self.assertEqual(done.returncode, 2)
        self.assertIn(text, done.stderr)
        self.assertEqual(len(done.stderr.splitlines()), 1)
        return done.stdout

    def test_a_dead_daemons_last_second_is_shown(self):
        self.make(0, lives=False)
        for words in (["status"], ["why", "reboot"]):
            self.assertIn("reboot", self.refuses("the daemon is dead since ", *words))

    def test_a_daemon_that_does_not_look(self):
        self.make(0, age=36)
        for words in (["status"], ["why", "reboot"]):
            done = self.call(*words)
            self.assertEqual(done.returncode, 2)
            self.assertRegex(done.stderr, r"has not looked for (3[6-9]|[4-9][0-9]) s\n$")
            self.assertIn("reboot", done.stdout)
        self.make(0, age=5)
        self.assertNotEqual(self.call("status").returncode, 2)

    def test_no_page(self):
        self.assertEqual(self.refuses("no daemon has run here"), "")
        self.assertEqual(self.refuses("no daemon has run here", "why", "wan1"), "")

    def test_what_is_no_page(self):
        self.make(0)
        whole = self.page.read_bytes()
        changed = {
            "another version": whole[:12] + bytes([9]) + whole[13:],
            "other byte order": whole[:8] + whole[11:7:-1] + whole[12:],
            "no status page": b"\0" * len(whole),
            "no status page, or": whole[:16] + bytes([1]) + whole[17:],
            "or is damaged": b"",
            "is no status page": os.urandom(len(whole)),
        }
        for text, content in changed.items():
            with self.subTest(text):
                self.page.write_bytes(content)
                self.assertEqual(self.refuses(text), "")
        self.page.unlink()
        self.page.mkdir()
        self.assertEqual(self.refuses("no status page"), "")

    def test_the_page_of_a_group(self):
        self.make(0)
        readers = pathlib.Path(str(self.run_dir) + "-status")
        readers.mkdir()
        self.page.rename(readers / "status")
        self.assertEqual(self.call("why", "reboot").returncode, 0)

    # ---- called wrongly ----

    def test_wrong_calls(self):
        self.make(0)
        self.refuses("no module wfi (did you mean wifi?)", "why", "wfi")
        self.refuses("no module wfi (did you mean wifi?)", "status", "reboot", "wfi")
        self.assertEqual(self.call("why").returncode, 2)
        self.assertEqual(self.call("status", "--nonsense").returncode, 2)

    def test_nobody_to_print_to(self):
        self.make(0)
        with open("/dev/full", "w", encoding="ascii") as full:
            for words in (["status"], ["status", "--watch"], ["why", "reboot"]):
                done = subprocess.run([TCCTL, *words], env=self.environment(), stdout=full, stderr=subprocess.PIPE,
                                      text=True, timeout=20)
                self.assertEqual(done.returncode, 2)
                self.assertIn("cannot write", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
