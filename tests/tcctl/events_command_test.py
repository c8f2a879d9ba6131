#!/usr/bin/env python3
"""events_command_test.py TCCTL PAGE_MAKER RULES RULES_TEST SCHEMA: tcctl's events and metrics as people and programs call
them, and the alert rules."""

import json
import os
import pathlib
import random
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

import jsonschema

TCCTL, MAKER, RULES, RULES_TEST, SCHEMA = sys.argv[1:6]
SLOTS = 255
SET, COMMIT, COMMAND, REBOOT, START = 1, 2, 5, 7, 11
REBOOT_MODULE, WIFI, WAN1, NOBODY = 1, 3, 66, 255
SWITCHING_OFF, UNRESOLVED, ARMED, RESTARTING = 5, 4, 5, 11
NOON = 1772625600  # 2026-03-04 12:00 UTC


def check_of(words):
    check = 2166136261
    for word in words:
        check = ((check ^ word) * 16777619) & 0xFFFFFFFF
    return check


class Ring:
    """A journal's file, written as the daemon writes it."""

    def __init__(self, path):
        self.path = path
        self.number = 0
        head = struct.pack("=8sIIIIII40s184x", b"tcjournl", 0x01020304, 1, 256, 256, SLOTS, 0, b"a-boot")
        path.with_suffix(".new").write_bytes(head + bytes(SLOTS * 256))
        path.with_suffix(".new").rename(path)

    def write(self, at, who, verdict, kind, text, failed=0, upcoming=0):
        self.number += 1
        record = struct.pack("=IIqqqqiiIIHBBBB2x192s", self.number, 0, at, at, 1, upcoming, at - NOON + 1000,
                             at - NOON + 1000, 0, 0, 1, who, verdict, kind, failed, text)
        check = check_of(struct.unpack("=64I", record))
        with open(self.path, "r+b") as file:
            file.seek(256 + self.number % SLOTS * 256)
            file.write(record[:4] + struct.pack("=I", check) + record[8:])


class Events(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.home = pathlib.Path(self.folder.name)
        self.run_dir = self.home / "run"
        self.run_dir.mkdir(mode=0o700)
        self.ring = Ring(self.run_dir / "journal")
        self.started = []

    def tearDown(self):
        for process in self.started:
            process.kill()
            process.communicate()
        self.folder.cleanup()

    def environment(self, **more):
        return {"TIME_CHECK_RUN_DIR": str(self.run_dir), "PATH": os.environ["PATH"], "TZ": "UTC0", **more}

    def call(self, *words, **more):
        return subprocess.run([TCCTL, *words], env=self.environment(**more), capture_output=True, text=True, timeout=30,
                              check=False)

    def start(self, *words):
        process = subprocess.Popen([TCCTL, *words], env=self.environment(), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        self.started.append(process)
        return process

    def follow(self, *words):
        """tcctl events --follow that has begun: it was seen asleep twice, with a look between."""
        process = self.start("events", "--follow", *words)
        looks = set()

        def has_begun():
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            if "State:\tS" in status:
                looks.add(re.search(r"^voluntary_ctxt_switches:\s+(\d+)$", status, re.MULTILINE)[1])
            return len(looks) > 1

        self.wait_for(has_begun)
        return process

    def wifi_goes_off(self, at):
        self.ring.write(at, WIFI, SWITCHING_OFF, SET, b"set wl2g.public.enable=0")
        self.ring.write(at, WIFI, SWITCHING_OFF, COMMIT, b"commit")
        self.ring.write(at, WIFI, SWITCHING_OFF, COMMAND, b"command cfm post netctrl 19?op=2,wl_rate=24")
        self.ring.write(at + 1, WIFI, SWITCHING_OFF, COMMAND, b"command cfm post netctrl 19?op=2,wl_rate=5")

    def wait_for(self, done, seconds=15):
        end = time.monotonic() + seconds
        while not done():
            self.assertLess(time.monotonic(), end, "it did not come")
            time.sleep(0.05)

    # ---- what is printed ----

    def test_a_night_in_words(self):
        self.ring.write(NOON, NOBODY, 255, START, b"started: first start, or after a power cut or crash")
        self.wifi_goes_off(NOON + 100)
        self.ring.write(NOON + 200, WAN1, UNRESOLVED, SET, b"set wan1_isonln=0")
        self.ring.write(NOON + 300, REBOOT_MODULE, ARMED, COMMAND, b"command date", upcoming=NOON + 400)
        self.ring.write(NOON + 400, REBOOT_MODULE, RESTARTING, REBOOT, b"reboot")
        self.assertEqual(self.call("events").stdout, """\
Wed 2026-03-04
-- 12:00:00 boot: first start, or after a power cut or crash --
12:01:40 wifi     Wi-Fi off, both bands: a period has started
12:03:20 wan1     offline: the names of the probe hosts could not be resolved, so that there is no internet to report
12:05:00 reboot   armed: the network was quiet for long enough; restarts at 12:06:40
12:06:40 reboot   restarts the router: armed
""")

    def test_json_has_its_fields(self):
        self.ring.write(NOON, WAN1, UNRESOLVED, SET, b"set wan1_isonln=0")
        told = json.loads(self.call("events", "--json", TZ="CET-1").stdout)
        self.assertEqual({key: told[key] for key in ("version", "at", "module", "event", "reason")},
                         {"version": 1, "at": "2026-03-04T13:00:00+01:00", "module": "wan1", "event": "wan_offline",
                          "reason": "unresolved"})
        self.assertEqual([act["act"] for act in told["details"]["acts"]], ["set wan1_isonln=0"])

    def test_json_is_what_its_schema_says(self):
        schema = jsonschema.Draft7Validator(json.loads(pathlib.Path(SCHEMA).read_text(encoding="utf-8")))
        dice = random.Random(3)
        texts = (b"set wan1_isonln=0", b"set nkgw.led.state=1", b"commit", b"netctrl 53?op=1", b"command killall httpd",
                 b"command cfm post netctrl 19?op=2,wl_rate=5", b"leds 0", b"reboot", b"exec /sbin/x y", b"\xff\x1b[2J",
                 b"started: after the daemon's restart of the machine", b"ended: SIGTERM", b"wan_lan_check 10.0.0.1 x")
        seen = set()
        for _ in range(20):
            self.ring = Ring(self.ring.path)
            for number in range(SLOTS):
                self.ring.write(NOON + 7 * number, dice.choice((*range(10), 64, 65, 66, 67, NOBODY)),
                                dice.choice((*range(20), 253, 254, 255)), dice.randrange(1, 13), dice.choice(texts),
                                dice.choice((0, 0, 1)), dice.choice((0, NOON)))
            for words in (["--all"], ["--raw"]):
                for line in self.call("events", "--json", *words).stdout.splitlines():
                    told = json.loads(line)
                    self.assertEqual([error.message for error in schema.iter_errors(told)], [])
                    seen.add(told["event"])
                    told["details"]["more"] = 1
                    self.assertFalse(schema.is_valid(told))
        self.assertGreater(len(seen), 15)

    def test_raw_and_selection(self):
        self.wifi_goes_off(NOON)
        self.ring.write(NOON + 60, WAN1, UNRESOLVED, SET, b"set wan1_isonln=0")
        self.assertEqual(len(self.call("events", "--raw").stdout.splitlines()), 6)
        self.assertEqual(len(self.call("events", "wan1").stdout.splitlines()), 2)
        self.assertEqual(len(self.call("events", "--event", "wifi_off,leds_on").stdout.splitlines()), 2)
        self.assertEqual(len(self.call("events", "--since", "2026-03-04 12:00:30").stdout.splitlines()), 2)
        self.assertEqual(self.call("events", "--since", "-5m").stdout, "")

    def test_what_was_before_the_restart_comes_first_and_once(self):
        self.ring.write(NOON, WAN1, UNRESOLVED, SET, b"set wan1_isonln=0")
        shutil.copy(self.ring.path, self.run_dir / "last_restart")
        self.assertEqual(len(self.call("events").stdout.splitlines()), 2)
        self.ring = Ring(self.ring.path)
        self.ring.write(NOON + 60, REBOOT_MODULE, RESTARTING, START,
                        b"started: after the daemon's restart of the machine")
        told = self.call("events").stdout.splitlines()
        self.assertEqual(len(told), 3)
        self.assertIn("the restart was ours", told[2])

    # ---- what it refuses ----

    def test_garbage_is_refused(self):
        dice = random.Random(1)
        self.wifi_goes_off(NOON)
        good = self.ring.path.read_bytes()
        for size in (0, 1, 255, 256, 300, 65535, 65536, 70000):
            self.ring.path.write_bytes(dice.randbytes(size))
            for words in (["events"], ["events", "--raw", "--json"], ["metrics"]):
                done = self.call(*words)
                self.assertEqual((done.returncode, done.stdout), (2, ""), words)
                self.assertIn("is damaged", done.stderr)
        for _ in range(300):  # a bit here and there: what is whole is told, and nothing else happens
            bad = bytearray(good)
            for _ in range(dice.choice((1, 10, 1000))):
                bad[dice.randrange(len(bad))] ^= 1 << dice.randrange(8)
            self.ring.path.write_bytes(bad)
            for words in (["events", "--json"], ["metrics"]):
                done = self.call(*words)
                self.assertIn(done.returncode, (0, 2), done.stderr)
                self.assertEqual(done.returncode == 2, done.stderr != "")

    def test_a_garbage_page_is_refused(self):
        (self.run_dir / "status").write_bytes(random.Random(2).randbytes(100000))
        self.wifi_goes_off(NOON)
        done = self.call("metrics")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("is no status page", done.stderr)

    def test_wrong_calls(self):
        for words in (["events", "wann1"], ["events", "--since", "25:00"], ["events", "--event", "wifi"],
                      ["events", "--exec", "true"], ["events", "--follow", "--state", "x"],
                      ["events", "--follow", "--rate", "0", "--exec", "true"], ["metrics", "--textfile", "/nowhere/x"]):
            done = self.call(*words)
            self.assertEqual((done.returncode, done.stdout), (2, ""), words)
            self.assertNotEqual(done.stderr, "")

    # ---- following ----

    def test_follows_over_a_replaced_ring_and_ends_with_its_reader(self):
        self.ring.path.unlink()
        process = self.follow("--json")
        self.ring = Ring(self.ring.path)
        self.ring.write(NOON, WAN1, UNRESOLVED, SET, b"set wan1_isonln=0")
        self.assertEqual(json.loads(process.stdout.readline())["event"], "wan_offline")
        self.ring = Ring(self.ring.path)
        self.ring.write(NOON + 60, NOBODY, 255, START, b"started: after a restart by others")
        self.assertEqual(json.loads(process.stdout.readline())["event"], "boot")
        process.stdout.close()
        self.assertEqual(process.wait(timeout=10), 0)

    # ---- programs ----

    def program(self, text):
        path = self.home / "alarm"
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)
        return str(path)

    def told(self):
        path = self.home / "told"
        return path.read_text().splitlines() if path.exists() else []

    def test_runs_a_program_with_the_event_and_no_shell(self):
        told = self.home / "told"
        program = self.program(f'printf "%s\\n" "$TC_EVENT|$TC_MODULE|$TC_REASON|$TC_AT|$TC_TEXT|$*" >>{told}; exit 3')
        process = self.follow("--exec", program, "an argument", "$(reboot)")
        self.ring.write(NOON, WAN1, UNRESOLVED, SET, b"set wan1_isonln=0")
        self.ring.write(NOON + 60, WIFI, SWITCHING_OFF, SET, b"set `touch x`;$(touch y)=\n\x1b\"' | sh")
        self.wait_for(lambda: len(self.told()) >= 2)
        first, second = self.told()[:2]
        self.assertTrue(first.startswith("wan_offline|wan1|unresolved|2026-03-04T12:00:00+00:00|offline: the names"))
        self.assertTrue(first.endswith("|an argument $(reboot)"))
        self.assertIn("set `touch x`;$(touch y)=\\n\\x1b\"' | sh", second)
        self.assertIsNone(process.poll(), "it survives a program that fails")

    def test_goes_on_where_it_was(self):
        told = self.home / "told"
        words = ["events", "--follow", "--state", str(self.home / "place"), "--event", "wan_offline,wan_online",
                 "--since", "2026-03-04", "--exec", self.program(f'echo "$TC_EVENT $TC_TIME" >>{told}')]
        self.ring.write(NOON, WAN1, UNRESOLVED, SET, b"set wan1_isonln=0")
        process = self.start(*words)
        self.wait_for(lambda: (self.home / "place").exists())
        process.send_signal(signal.SIGKILL)
        process.wait()
        self.ring.write(NOON + 60, WAN1, 7, SET, b"set wan1_isonln=1")
        self.wifi_goes_off(NOON + 70)
        self.start(*words)
        self.wait_for(lambda: len(self.told()) >= 2)
        time.sleep(1)
        self.assertEqual(self.told(), [f"wan_offline {NOON}", f"wan_online {NOON + 60}"])

    def test_ends_a_program_that_hangs_with_all_its_children(self):
        told = self.home / "told"
        self.follow("--timeout", "1", "--exec",
                    self.program(f"sleep 1000 & echo $! >>{told}; wait"))
        self.ring.write(NOON, WAN1, UNRESOLVED, SET, b"set wan1_isonln=0")
        self.wait_for(lambda: self.told() != [])
        child = pathlib.Path("/proc") / self.told()[0]
        self.wait_for(lambda: not child.exists() or "State:\tZ" in (child / "status").read_text())

    def test_drops_what_is_too_much_and_tells_how_many(self):
        told = self.home / "told"
        self.follow("--rate", "2", "--exec", self.program(f'echo "$TC_TIME $TC_DROPPED" >>{told}'))
        for i in range(5):
            self.ring.write(NOON + 60 * i, WAN1, UNRESOLVED, SET, b"set wan1_isonln=%d" % (i % 2))
        self.wait_for(lambda: len(self.told()) >= 2)
        time.sleep(5)
        self.assertEqual(self.told(), [f"{NOON} 0", f"{NOON + 60} 0"])

    # ---- metrics ----

    def metrics(self, *words):
        done = self.call("metrics", *words)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def test_promtool_takes_them(self):
        for verdict in (0, 5, 11, 200):
            (self.run_dir / "status").unlink(missing_ok=True)
            subprocess.run([MAKER, self.run_dir / "status", str(verdict), "1"], check=True)
            self.wifi_goes_off(NOON)
            text = self.metrics()
            self.assertTrue(text.endswith("\n# EOF\n"))
            done = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True,
                                  check=False)
            self.assertEqual((done.returncode, done.stderr), (0, ""), text)

    def test_metrics_without_a_daemon(self):
        self.ring.path.unlink()
        text = self.metrics()
        self.assertIn("\ntime_check_up 0\n", text)
        self.assertIn("\ntime_check_journal_records_total 0\n", text)

    def test_metrics_of_the_journal(self):
        self.wifi_goes_off(NOON)
        text = self.metrics()
        self.assertIn("\ntime_check_journal_records_total 4\n", text)
        self.assertIn('\ntime_check_journal_held_records{kind="command"} 2\n', text)
        self.assertIn('\ntime_check_last_event_timestamp_seconds{module="wifi",event="wifi_off"} %d\n' % NOON, text)
        self.assertIn("# TYPE time_check_journal_records counter\n", self.metrics("--openmetrics"))

    def test_the_text_file_is_whole_and_replaced(self):
        path = self.home / "time_check.prom"
        path.write_text("old")
        self.wifi_goes_off(NOON)
        self.metrics("--textfile", str(path))
        self.assertTrue(path.read_text().endswith("# EOF\n"))
        self.assertEqual([each.name for each in self.home.iterdir() if each.is_file()], ["time_check.prom"])

    def test_the_alert_rules(self):
        test = self.home / "rules_test.yml"
        test.write_text(pathlib.Path(RULES_TEST).read_text().replace("RULES", RULES))
        done = subprocess.run(["promtool", "test", "rules", str(test)], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
