// Switching the LEDs.
#include "tests/support/schedule_world.h"
#include "time_check/time_check_common.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"

using namespace schedule_world;

using SwitchesLed = RouterTest;

TEST_F(SwitchesLed, AMissingStateIsOff)
{
    box.store.unset("nkgw.led.state");
    EXPECT_EQ(time_check_get_led_sta(), 0);
}

TEST_F(SwitchesLed, AnyStateButZeroIsOn)
{
    box.store.set("nkgw.led.state", "0");
    EXPECT_EQ(time_check_get_led_sta(), 0);
    for (const std::string &state : {std::string(""), std::string("1"), std::string("2"), std::string("3"),
                                     std::string("00"), std::string("off"), std::string(1000, '0')}) {
        box.store.set("nkgw.led.state", state);
        EXPECT_EQ(time_check_get_led_sta(), 3) << state;
    }
}

TEST_F(SwitchesLed, AnUnreadableStoreIsOff)
{
    box.store.set("nkgw.led.state", "3");
    box.faults.fail("GetValue");
    EXPECT_EQ(time_check_get_led_sta(), 0);
}

TEST_F(SwitchesLed, OffIsStoredCommittedAndSet)
{
    box.store.set("nkgw.led.state", "3");
    EXPECT_EQ(time_check_set_led_status(0), 1);
    EXPECT_EQ(acts(), (Lines{"set nkgw.led.state=0", "commit", "leds 0"}));
}

TEST_F(SwitchesLed, AutomaticIsStoredCommittedAndSet)
{
    box.store.set("nkgw.led.state", "0");
    EXPECT_EQ(time_check_set_led_status(3), 1);
    EXPECT_EQ(acts(), (Lines{"set nkgw.led.state=3", "commit", "leds 3"}));
}

TEST_F(SwitchesLed, TheStateThatIsStoredIsNotSetAgain)
{
    box.store.set("nkgw.led.state", "0");
    EXPECT_EQ(time_check_set_led_status(0), 1);
    box.store.set("nkgw.led.state", "3");
    EXPECT_EQ(time_check_set_led_status(3), 1);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(SwitchesLed, AutomaticIsNotSetOverOnOrBlinking)
{
    box.store.set("nkgw.led.state", "1");
    time_check_set_led_status(3);
    box.store.set("nkgw.led.state", "2");
    time_check_set_led_status(3);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(SwitchesLed, OnAndBlinkingAlwaysGoAhead)
{
    box.store.set("nkgw.led.state", "1");
    time_check_set_led_status(1);
    time_check_set_led_status(2);
    time_check_set_led_status(2);
    EXPECT_EQ(acts(), (Lines{"set nkgw.led.state=1", "commit", "leds 1", "set nkgw.led.state=2", "commit", "leds 2",
                             "set nkgw.led.state=2", "commit", "leds 2"}));
}

TEST_F(SwitchesLed, StatesOfFourAndMoreDoNothing)
{
    for (const uint32_t state : {4U, 5U, 255U, 0x80000000U, 0xffffffffU})
        EXPECT_EQ(time_check_set_led_status(state), 1);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(SwitchesLed, AFailedCommitStillSetsTheLeds)
{
    box.store.set("nkgw.led.state", "3");
    box.faults.fail("CommitCfm");
    time_check_set_led_status(0);
    EXPECT_EQ(acts(), (Lines{"set nkgw.led.state=0", "commit failed", "leds 0"}));
}

struct CloseCase {
    const char *close_type;
    const char *type;
    const char *power_saving;
    uint32_t state;
    bool sets_leds;
};

class SwitchesLedClose : public RouterTest, public testing::WithParamInterface<CloseCase>
{
};

TEST_P(SwitchesLedClose, UnpoweredLedsAreOnlyNoted)
{
    const CloseCase &c = GetParam();
    box.store.set("sys.sched.led.closetype", c.close_type);
    box.store.set("sys.sched.led.type", c.type);
    box.store.set("sys.powersleep.enable", c.power_saving);
    box.store.set("nkgw.led.state", c.state == 0 ? "3" : "0");
    time_check_set_led_status(c.state);
    const std::string state = std::to_string(c.state);
    Lines expected = {"set nkgw.led.state=" + state, "commit"};
    if (c.sets_leds)
        expected.push_back("leds " + state);
    EXPECT_EQ(acts(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SwitchesLedClose,
    testing::Values(CloseCase{"unpowerClose", "time", "0", 0, false}, CloseCase{"unpowerClose", "open", "1", 0, false},
                    CloseCase{"unpowerClose", "time", "1", 0, false}, CloseCase{"unpowerClose", "open", "0", 0, true},
                    CloseCase{"unpowerClose", "close", "2", 0, true}, CloseCase{"unpowerClose", "Time", "01", 0, true},
                    CloseCase{"unpowerclose", "time", "1", 0, true}, CloseCase{"", "time", "1", 0, true},
                    CloseCase{"unpowerCloseAndMore", "time", "1", 0, true},
                    CloseCase{"unpowerClose", "time", "1", 3, true}, CloseCase{"unpowerClose", "time", "1", 1, true}));

TEST_F(SwitchesLed, ThePowerSavingPeriodCountsOnlyWithAValidClock)
{
    power_saving("0", "23:00", "07:00");
    set_time_check_power_info();
    box.clock.set("2026-03-02 23:30:00");
    EXPECT_EQ(time_check_ledclose_power_flag(), 1);
    box.clock.set("2026-03-02 12:00:00");
    EXPECT_EQ(time_check_ledclose_power_flag(), 0);
    box.clock.set("2001-01-01 00:00:00");
    EXPECT_EQ(time_check_ledclose_power_flag(), 1);
    box.clock.set("2000-12-31 23:59:59");
    EXPECT_EQ(time_check_ledclose_power_flag(), 0);
}
