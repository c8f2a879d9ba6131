#!/usr/bin/env python3
"""schema_test.py PROGRAMS: what the programs print is what its schema says; and the schema of settings says of a value
what cfm says of it. The schemas of tcctl events, status and why are tested where these are."""

import copy
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

import config_keys  # noqa: E402

PROGRAMS = pathlib.Path(sys.argv[1]).resolve()
VALUES = ["", "0", "1", "2", "3", "4", "5", "6", "7", "20", "21", "-1", "-0", "007", "1000000", "99999999999999999", "1x", "on",
          "x", "aes", "tkip+aes", "router", "client+ap", "wisp", "AP", "dhcp", "open", "unpowerClose", "2:5", "02:00", "23:59",
          "24:00", "12:60", "3am", "1:2:3", " 1:00", "Mon 23:00", "Mon..Fri 23:00", "Mon..Thu,Sun 7:00", "Mon-Fri 23:00",
          "Mon, 7:00", "Mon  7:00", "1;1;1;1;1;0;0", "1;1;1", "1;1;1;1;1;0;2", "br0", "eth0.100", "a/b", "..", ".", "a:b",
          "sixteen_letters_", "fifteen_letters", "192.168.1.1", "192.168.1", "256.1.1.1", "001.2.3.4", "1.2.3.4.5", "a b",
          "x" * 31, "x" * 32, "x" * 255, "x" * 256]


def schema(name):
    validator = jsonschema.Draft7Validator(json.loads((ROOT / "docs/schema" / (name + ".json")).read_text(encoding="utf-8")))
    validator.check_schema(validator.schema)
    return validator


class Case(unittest.TestCase):
    def setUp(self):
        self.place = tempfile.TemporaryDirectory()
        self.folder = pathlib.Path(self.place.name)
        (self.folder / "conf").mkdir()
        self.environment = {"PATH": os.environ["PATH"], "TZ": "UTC0", "TIME_CHECK_RUN_DIR": str(self.folder / "run"),
                            "TIME_CHECK_CONF_DIR": str(self.folder / "conf")}

    def tearDown(self):
        self.place.cleanup()

    def call(self, program, *words):
        done = subprocess.run([PROGRAMS / program, *words], env=self.environment, capture_output=True, text=True, timeout=120)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        return done

    def check(self, name, told):
        """Right as it is, and wrong once anything in it is gone, more, or of another type."""
        validator = schema(name)
        self.assertEqual([error.message for error in validator.iter_errors(told)], [])
        for path in self.objects(told, []):
            changed = copy.deepcopy(told)
            member = self.at(changed, path)
            member["more"] = 1
            self.assertFalse(validator.is_valid(changed), path)
            del member["more"]
            for each in [] if name == "tcctl-replay" else list(member):
                value = member.pop(each)
                self.assertFalse(validator.is_valid(changed), (path, each))
                member[each] = 0.5  # no member is a fraction
                self.assertFalse(validator.is_valid(changed), (path, each))
                member[each] = value

    def objects(self, told, path):
        """Where objects stand: of a list's only the first."""
        if isinstance(told, dict) and path[-1:] != ["hosts"]:
            yield path
        inner = told.items() if isinstance(told, dict) else list(enumerate(told))[:1] if isinstance(told, list) else []
        for name, value in inner:
            yield from self.objects(value, [*path, name])

    @staticmethod
    def at(told, path):
        for name in path:
            told = told[name]
        return told


class Outputs(Case):
    def test_of_check(self):
        found = set()
        for file in sorted((ROOT / "tests/tools/traps").iterdir()):
            told = json.loads(self.call("tcctl", "check", "--json", file).stdout)
            self.assertTrue(told)
            self.check("tcctl-check", told)
            found |= {each["id"] for each in told}
        self.assertGreater(len(found), 40)
        self.call("cfm", "set", "a=b", "sys.powersleep.type=9")
        self.check("tcctl-check", json.loads(self.call("tcctl", "check", "--json").stdout))

    def test_of_keys(self):
        told = json.loads(self.call("tcctl", "keys", "--json").stdout)
        self.assertEqual(len(told), len(config_keys.keys(ROOT / "platform/config_keys.def")))
        for each in told:
            self.check("tcctl-keys", [each])

    def test_of_preview(self):
        for zone, start in (("CET-1CEST,M3.5.0,M10.5.0/3", "2026-03-26 12:00:00"), ("UTC0", "2026-12-01 00:00:00")):
            for file in (ROOT / "docs/preview.conf", ROOT / "tests/tools/traps/every_trap.conf"):
                told = json.loads(self.call("tcctl", "preview", file, "--from", start, "--tz", zone, "--format", "json").stdout)
                self.check("tcctl-preview", told)

    def test_of_fleet(self):
        for words in (["--routers", "8"], ["--routers", "8", "--shard", "2/3"]):
            told = json.loads(self.call("tcctl", "fleet", *words, "--format", "json").stdout)
            self.assertEqual([error.message for error in schema("tcctl-fleet").iter_errors(told)], [])
        small = {name: value for name, value in told.items() if name not in ("restarts", "name_queries", "echo_requests")}
        small["restarts"] = {**told["restarts"], "a_second": [0], "a_minute": [0]}
        for name in ("name_queries", "echo_requests"):
            small[name] = {**told[name], "hosts": {host: {**of, "a_second": [0]} for host, of in told[name]["hosts"].items()}}
        self.check("tcctl-fleet", small)

    def test_of_replay(self):
        traces = sorted((ROOT / "tests/traces").glob("*.trace"))
        self.assertTrue(traces)
        for trace in traces:
            told = json.loads(self.call("tcctl", "replay", "--json", trace).stdout)
            self.check("tcctl-replay", told)
            for member in ("version", "acts", "ends", "runs"):
                self.assertFalse(schema("tcctl-replay").is_valid({name: told[name] for name in told if name != member}))


class Settings(Case):
    def key_of(self, key):
        return key.members()[0] if key.members() else key.key.replace("%s", "usb")

    def test_are_judged_as_cfm_judges_them(self):
        keys = [self.key_of(key) for key in config_keys.keys(ROOT / "platform/config_keys.def")]
        validator = schema("settings")
        file = self.folder / "settings"
        refused = 0
        for value in VALUES:
            file.write_text("".join(f"{key}={value}\n" for key in keys), encoding="utf-8")
            said = self.call("cfm", "import", file).stderr
            warned = set(re.findall(r"^cfm: ([^\s=:]+)[=:]", said, re.MULTILINE))  # a secret without its value
            wrong = {error.path[0] for error in validator.iter_errors({key: value for key in keys})}
            self.assertEqual(wrong, warned, f"the value {value}")
            refused += len(wrong)
        self.assertGreater(refused, len(keys))

    def test_of_the_example_are_right_as_cfm_lists_them(self):
        self.call("cfm", "import", ROOT / "docs/preview.conf")
        told = json.loads(self.call("cfm", "list", "--json", "--settings").stdout)
        self.assertGreater(len(told), 5)
        self.assertEqual([error.message for error in schema("settings").iter_errors(told)], [])
        self.assertTrue(schema("settings").is_valid({"another.program": "any"}))
        for wrong in ({"wan2.connecttype": "6"}, {"another.program": 1}, {"nkgw.led.offtime.list20": "3am"}, []):
            self.assertFalse(schema("settings").is_valid(wrong), wrong)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
