#!/usr/bin/env python3
"""The table of the store's keys: the documents say what it says, and what is planted is found."""

import pathlib
import re
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

import config_keys  # noqa: E402
import keys_to_docs  # noqa: E402

ROW = 'CONFIG_KEY(A, "a.key", NUMBER, "0..1", "0", SETTING, "user", "", "one " "line")\n'
READ = '    CONFIG_READ(reboot, "start, message", "off", "")\n'


def keys_of(text):
    with tempfile.NamedTemporaryFile("w", suffix=".def") as file:
        file.write(text)
        file.flush()
        return config_keys.keys(file.name)


class Documents(unittest.TestCase):
    def test_say_what_the_table_says(self):
        self.assertEqual(keys_to_docs.main(True, ROOT), 0)

    def test_that_say_something_else_are_found(self):
        keys = config_keys.keys(ROOT / "platform/config_keys.def")
        text = keys_to_docs.with_tables((ROOT / "docs/configuration.md").read_text(encoding="utf-8"), keys)
        changed = text.replace("| 05:30 |", "| 05:31 |")
        self.assertNotEqual(changed, text)
        self.assertEqual(keys_to_docs.with_tables(changed, keys), text)


class Table(unittest.TestCase):
    def test_is_read_as_it_stands(self):
        key, = keys_of("// CONFIG_KEY(B)\n#define CONFIG_X(A) \\\n    CONFIG_Y(A)\n" + ROW + READ)
        self.assertEqual((key.name, key.key, key.meaning, key.reads[0].when),
                         ("A", "a.key", "one line", ["start", "message"]))

    def test_gives_the_members_of_families(self):
        row = ROW.replace("a.key", ".key")
        for macro, keys in (("CONFIG_WAN_KEY", ["wan%d.key"]), ("CONFIG_RADIO_KEY", ["wl2g.key", "wl5g.key"])):
            with self.subTest(macro=macro):
                self.assertEqual([key.key for key in keys_of(row.replace("CONFIG_KEY", macro) + READ)], keys)
        rule = row.replace("CONFIG_KEY", "CONFIG_RULE_KEY").replace('"", "one', '"one')
        self.assertEqual([(key.name, key.key, key.after) for key in keys_of(rule + READ)],
                         [("WIFI_A", "nkgw.wlan.key%u", "time_check_wifi"), ("LED_A", "nkgw.led.key%u", "time_check_led")])

    def test_refuses_what_is_no_row(self):
        for wrong in (ROW, ROW + READ + ROW + READ, ROW.replace("NUMBER", "NUMBRE") + READ, ROW + READ.replace("start", "x"),
                      ROW.replace("CONFIG_KEY", "CONFIG_KEYS") + READ, ROW + READ[:-3]):
            with self.subTest(wrong=wrong), self.assertRaises(ValueError):
                keys_of(wrong)

    def test_patterns_match_their_keys_alone(self):
        keys = {key.name: re.compile(key.pattern()) for key in config_keys.keys(ROOT / "platform/config_keys.def")}
        self.assertTrue(keys["WAN_ISONLN"].fullmatch("wan2_isonln"))
        self.assertFalse(keys["WAN_ISONLN"].fullmatch("wan_isonln"))
        self.assertTrue(keys["LED_TRIGGER"].fullmatch("led.usb:1.x.trigger"))
        self.assertFalse(keys["LED_TRIGGER"].fullmatch("led..trigge"))


def code_of(folder):
    files = [path for path in sorted((ROOT / folder).rglob("*")) if path.suffix in (".h", ".cpp")]
    return "\n".join(re.sub(r"//.*", "", path.read_text(encoding="utf-8")) for path in files)


def names_of(key):
    """What a source may call it."""
    if key.key.startswith("wan%d"):
        own = key.name.removeprefix("WAN_")
        return {"KEY_WAN1_" + own, "WAN_FIELD_" + own}
    if key.key.startswith(("nkgw.wlan.", "nkgw.led.")) and key.key != "nkgw.led.state":
        own = key.name.split("_", 1)[1]
        return {"RULES_KEY_" + own, "RULE_FIELD_" + own}
    return {"KEY_" + key.name}


class Sources(unittest.TestCase):
    def check_uses(self, folder, is_own):
        """The keys that a folder's sources name are those that the table gives to its units."""
        named = set(re.findall(r"\b(?:KEY|WAN_FIELD|RULES_KEY|RULE_FIELD)_\w+", code_of(folder)))
        for key in config_keys.keys(ROOT / "platform/config_keys.def"):
            with self.subTest(folder=folder, key=key.name):
                uses = any(is_own(use.unit) for use in [*key.reads, *key.writes])
                self.assertEqual(bool(named & names_of(key)), uses)

    def test_of_the_ground_use_the_keys_that_the_table_gives_them(self):
        self.check_uses("platform/linux", lambda unit: unit == "linux")

    def test_of_the_daemon_use_the_keys_that_the_table_gives_them(self):
        self.check_uses("time_check", lambda unit: unit != "linux")

    def test_spell_no_key(self):
        call = r'\w*(?:GetValue|SetValue|setting_text|setting_number|key_is|key_is_on|load_sched_rules)\(\s*"[^"]*"'
        patterns = [re.compile(key.pattern()) for key in config_keys.keys(ROOT / "platform/config_keys.def")]
        for folder in ("platform/linux", "time_check"):
            code = code_of(folder)
            self.assertEqual(re.findall(call, code), [])
            texts = set(re.findall(r'"([^"\n]*)"', code)) - {"time_check_debug"} # a module's name, too
            self.assertEqual([text for text in texts if any(pattern.fullmatch(text) for pattern in patterns)], [])


if __name__ == "__main__":
    unittest.main()
