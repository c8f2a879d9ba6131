// platform/system.h: LEDs and the restart.
#include "platform/system.h"
#include "tests/contract/kit/kit.h"

static void leds_follow()
{
    NEEDS_ENTRY(leds);
    for (const int state : {1, 0, 2, 1, 3, 0}) {
        set_all_led(state);
        const int seen = kit_world.leds();
        NEEDS(seen >= 0, "the world's leds cannot tell");
        EXPECT_NUMBER(seen, state);
    }
}

static void other_led_states()
{
    NEEDS_ENTRY(leds);
    set_all_led(1);
    for (const int state : {4, -1, 99}) {
        set_all_led(state);
        EXPECT_NUMBER(kit_world.leds(), 1);
    }
}

static void restart()
{
    NEEDS_ENTRY(restarts);
    EXPECT_NUMBER(kit_world.restarts(), 0);
    tpi_systool_reboot();
    EXPECT_NUMBER(kit_world.restarts(), 1);
}

static constexpr const char *SYSTEM = "system.h";

static constexpr kit_check CHECKS[] = {
    {SYSTEM, "set_all_led", "every LED is off, on, blinking, or as the board drives it", leds_follow},
    {SYSTEM, "set_all_led", "other states do nothing", other_led_states},
    {SYSTEM, "tpi_systool_reboot", "the machine is asked to restart, once", restart},
};

const kit_list machine_checks = kit_list_of(CHECKS);
