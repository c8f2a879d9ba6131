#!/usr/bin/env python3
"""The house rules find what is planted: each forbidden line below in a file of the house, and nothing in its neighbour
that is allowed.
"""

import unittest

import house_rules
import walls

FORBIDDEN_INCLUDES = [
    ("time_check/time_check_led.cpp", "platform/linux/bus.h"),
    ("platform/linux/bus.cpp", "platform/sim/virtual_router.h"),
    ("platform/sim/store.cpp", "platform/linux/bus.h"),
    ("platform/system.h", "platform/sim/virtual_router.h"),
    ("tools/cfm/main.cpp", "platform/sim/virtual_router.h"),
    ("platform/system.h", "platform/network.h"),
    ("platform/linux/bus.cpp", "platform/verdicts/led.def"),
    ("platform/common/vos.cpp", "platform/linux/store_setting.h"),
    ("tools/cfm/main.cpp", "time_check/time_check.h"),
    ("router/netctrl/main.cpp", "platform/linux/store/environment.h"),
    ("tests/unit/clock_test.cpp", "platform/linux/bus.h"),
    ("tests/contract/bus_test.cpp", "time_check/time_check.h"),
    ("platform/linux/bus.cpp", "../sim/virtual_router.h"),
    ("somewhere/else.cpp", "platform/system.h"),
    # units of the daemon
    ("time_check/time_check_led.cpp", "time_check/time_check_reboot.h"),
    ("time_check/time_check_text.cpp", "time_check/time_check.h"),
    ("time_check/wan_surf_probe.cpp", "time_check/wan_surf_check.h"),
    ("time_check/time_check_new.cpp", "time_check/time_check_module.h"),
    ("time_check/time_check_new.cpp", "time_check/time_check_power.h"),
    ("time_check/time_check_led.cpp", "time_check/time_check_new.h"),
]

ALLOWED_INCLUDES = [
    ("time_check/time_check_led.cpp", "platform/system.h"),
    ("time_check/time_check_led.cpp", "time_check/time_check_led.h"),
    ("time_check/time_check_led.h", "platform/verdicts/led.def"),
    ("time_check/time_check_led.cpp", "time_check/time_check_power.h"),
    ("time_check/time_check_new.cpp", "time_check/time_check_dispatch.h"),
    ("time_check/time_check_module.cpp", "time_check/time_check_new.h"),
    ("platform/linux/bus.cpp", "platform/common/settings_line.h"),
    ("platform/sim/store.cpp", "platform/config_store.h"),
    ("tools/cfm/main.cpp", "platform/linux/bus.h"),
    ("tests/contract/bus_test.cpp", "platform/linux/bus.h"),
]

FORBIDDEN_LINES = [
    ("time_check/time_check_led.cpp", "    strcpy(a, b);"),
    ("time_check/time_check_led.cpp", '    LOG_INFO("%*d\\n", 5, 1);'),
    ("time_check/time_check_led.cpp", '    printf("%zu\\n", sizeof a);'),
    ("time_check/time_check_led.cpp", "    const int n = atoi(text);"),
    ("time_check/time_check_led.h", "#include <string>"),
    ("time_check/time_check_led.h", "class led;"),
    ("platform/linux/bus.cpp", "x" * 121),
    ("run", "echo "),
    # a function's own state
    ("time_check/time_check_led.cpp", "    static int number;"),
    ("time_check/time_check_led.h", "    static int number = 0; // const"),
    ("platform/linux/bus.cpp", "    static char text[256];"),
    ("platform/linux/store/text.cpp", "    static const char *text = \"const\";"),
    ("platform/linux/bus.cpp", "    static const char *texts[WORDS * 2];"),
    ("platform/linux/bus.cpp", "    static bool (*ask)(const char *name);"),
    ("platform/linux/bus.cpp", "    static thread_local int file = open_it();"),
    ("platform/linux/bus.cpp", "    thread_local int file;"),
    ("platform/linux/bus.cpp", "    [[maybe_unused]] static std::atomic<int> kept{-1};"),
    ("platform/linux/bus.cpp", "    static struct {"),
]

ALLOWED_LINES = [
    ("time_check/time_check_led.cpp", "static int number;"),
    ("time_check/time_check_led.cpp", "static thread_local int number;"),
    ("time_check/time_check_led.cpp", "    static constexpr int LAST[] = {1, 2};"),
    ("time_check/time_check_led.cpp", "    static const char plain[] = \"a * b\";"),
    ("time_check/time_check_led.cpp", "    static const char *const WHAT[WORDS * 2] = {};"),
    ("time_check/time_check_led.cpp", "    const int number = static_cast<int>(n); // static"),
    ("time_check/time_check_led.cpp", "    static_assert(sizeof(int) == 4);"),
    ("time_check/time_check_led.cpp", "    printf(\"static int number;\");"),
    ("platform/sim/store.cpp", "    static int number;"),
    ("tests/unit/led_test.cpp", "    static int number;"),
]


def function_of(lines):
    return ["void f()", "{", *["    g();"] * lines, "}"]


class Planted(unittest.TestCase):
    def test_forbidden_includes_are_named(self):
        for name, header in FORBIDDEN_INCLUDES:
            for line in (f'#include "{header}"', f'  #  include "{header}" // why not'):
                with self.subTest(name=name, line=line):
                    findings = list(house_rules.findings_in(name, [line]))
                    self.assertEqual(len(findings), 1, findings)
                    self.assertTrue(findings[0].startswith(f"{name}:1: "), findings)

    def test_allowed_includes_are_not(self):
        for name, header in ALLOWED_INCLUDES:
            with self.subTest(name=name, header=header):
                self.assertEqual(list(house_rules.findings_in(name, [f'#include "{header}"'])), [])

    def test_forbidden_lines_are_named(self):
        for name, line in FORBIDDEN_LINES:
            with self.subTest(name=name, line=line):
                self.assertEqual(len(list(house_rules.findings_in(name, [line]))), 1)

    def test_allowed_lines_are_not(self):
        for name, line in ALLOWED_LINES:
            with self.subTest(name=name, line=line):
                self.assertEqual(list(house_rules.findings_in(name, [line])), [])

    def test_long_functions_and_files_are_named(self):
        self.assertEqual(list(house_rules.findings_in("lab/a.cpp", function_of(house_rules.FUNCTION_LENGTH))), [])
        self.assertIn("lab/a.cpp:2: a function of 46 lines, 45 allowed",
                      list(house_rules.findings_in("lab/a.cpp", function_of(house_rules.FUNCTION_LENGTH + 1))))
        for name, limit in (("lab/a.cpp", house_rules.SOURCE_LENGTH), ("tests/a.cpp", house_rules.TEST_LENGTH)):
            self.assertEqual(list(house_rules.findings_in(name, [""] * limit)), [])
            self.assertEqual(len(list(house_rules.findings_in(name, [""] * (limit + 1)))), 1)

    def test_an_edge_that_nothing_uses_is_named(self):
        every = {(unit, other) for unit, others in walls.UNITS.items() for other in others}
        own_names = {"main": "time_check.cpp", "message": "time_check.h"}
        files = {unit: f"time_check/{own_names.get(unit, unit + '.h')}" for unit in
                 set(walls.UNITS) | {other for _, other in every}}
        includes = {(files[unit], files[other]) for unit, other in every}
        self.assertEqual(list(walls.unused_edges(includes)), [])
        self.assertEqual(len(list(walls.unused_edges(includes - {(files["led"], files["power"])}))), 1)

    def test_a_circle_of_units_is_named(self):
        self.assertEqual(list(walls.check_circles(walls.UNITS)), [])
        self.assertEqual(walls.reached_from("power", walls.UNITS) & {"led", "power", "wifi"}, walls.CIRCLE)
        for unit, other in (("dispatch", "module"), ("clock", "schedule"), ("common", "power")):
            with self.subTest(unit=unit, other=other):
                grown = {**walls.UNITS, unit: walls.UNITS[unit] | {other}}
                findings = list(walls.check_circles(grown))
                self.assertTrue(any(f"{unit} stands in a circle of " in finding for finding in findings), findings)


if __name__ == "__main__":
    unittest.main()
