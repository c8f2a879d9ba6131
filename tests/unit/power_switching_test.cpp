// Power saving: entering and leaving sleep, the app's wake-up, messages.
#include "tests/support/schedule_world.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_wifi.h"

using namespace schedule_world;

using PowerSleep = RouterTest;
using PowerWake = RouterTest;
using PowerChangeStatus = RouterTest;
using PowerStop = RouterTest;
using PowerWakeUp = RouterTest;
using PowerMessages = RouterTest;

namespace
{

const Lines NOTED_ASLEEP = {"set sys.is.pwr.save.mode=1", "commit"};
const Lines NOTED_AWAKE = {"set sys.is.pwr.save.mode=0", "commit"};

// Wi-Fi and LEDs on and set to be on, all loaded, 2 March 2026 (a Monday) at noon; the period is 23:00 to 07:00.
void awake()
{
    box.clock.set("2026-03-02 12:00:00");
    radios("1", "1", "1");
    configure({{"wl.guest.effective_time", "0"},
               {"nkgw.led.state", "3"},
               {"nkgw.wlan.listnum", "0"},
               {"sys.sched.led.type", "open"},
               {"sys.sched.led.closetype", ""},
               {"power.sleep.closetype.changed", "0"},
               {"sys.is.pwr.save.mode", "0"}});
    power_saving("0", "23:00", "07:00");
    set_time_check_power_info();
    set_time_check_wifi_info();
    set_time_check_led_info();
    forget();
}

void fall_asleep()
{
    awake();
    time_check_power_change_status(TIMER_CHECK_POWER_OFF);
    forget();
}

void handle(uint32_t op, std::string_view text = "")
{
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(op, text);
    EXPECT_EQ(time_check_power_msg_handle(&msg), 1);
}

// The seconds that the last wake-up line gives.
std::string wake_up_line()
{
    const Lines printed = lines();
    for (auto line = printed.rbegin(); line != printed.rend(); ++line)
        if (line->find("nimbix_wake_up_time") != std::string::npos)
            return *line;
    return "none";
}

// The seconds that a wake-up counts at each of these local times.
void expect_wake_up_times(const std::vector<std::pair<std::string, std::string>> &seconds_at)
{
    for (const auto &[local, seconds] : seconds_at) {
        box.clock.set(local);
        forget();
        update_nimbix_wake_up_time();
        EXPECT_EQ(wake_up_line(), "\t\t nimbix_wake_up_time: " + seconds) << local;
    }
}

} // namespace

// ---- sleep ----

TEST_F(PowerSleep, LedsGoOffThenWifiThenTheSleepIsNoted)
{
    awake();
    time_check_power_change_status(TIMER_CHECK_POWER_OFF);
    EXPECT_EQ(acts(), together({LEDS_GO_OFF, WIFI_GOES_OFF, NOTED_ASLEEP}));
}

TEST_F(PowerSleep, IsNotedEvenWhenNothingWasOn)
{
    awake();
    radios("1", "1", "0");
    box.store.set("nkgw.led.state", "0");
    time_check_power_change_status(TIMER_CHECK_POWER_OFF);
    EXPECT_EQ(acts(), NOTED_ASLEEP);
}

TEST_F(PowerSleep, AChangedLedSettingIsForgottenAndTheLedsGoOffAnew)
{
    awake();
    box.store.set("nkgw.led.state", "0");
    box.store.set("power.sleep.closetype.changed", "1");
    time_check_power_change_status(TIMER_CHECK_POWER_OFF);
    EXPECT_EQ(acts(), together({{"set power.sleep.closetype.changed=0", "set nkgw.led.state=3"},
                                LEDS_GO_OFF,
                                WIFI_GOES_OFF,
                                NOTED_ASLEEP}));
}

TEST_F(PowerSleep, OnlyExactlyOneIsAChangedLedSetting)
{
    awake();
    box.store.set("nkgw.led.state", "0");
    for (const char *changed : {"", "0", "2", "11", "yes"}) {
        box.store.set("power.sleep.closetype.changed", changed);
        forget();
        time_check_power_change_status(TIMER_CHECK_POWER_OFF);
        EXPECT_EQ(box.store.get("power.sleep.closetype.changed"), changed);
        EXPECT_EQ(box.store.get("nkgw.led.state"), "0");
    }
    box.store.unset("power.sleep.closetype.changed");
    time_check_power_change_status(TIMER_CHECK_POWER_OFF);
    EXPECT_FALSE(box.store.has("power.sleep.closetype.changed"));
}

TEST_F(PowerSleep, UnpoweredLedsAreOnlyNotedAsOff)
{
    awake();
    box.store.set("sys.sched.led.closetype", "unpowerClose");
    time_check_power_change_status(TIMER_CHECK_POWER_OFF);
    EXPECT_EQ(acts(), together({{"set nkgw.led.state=0", "commit"}, WIFI_GOES_OFF, NOTED_ASLEEP}));
}

TEST_F(PowerSleep, FailedCommitsDoNotStopIt)
{
    awake();
    box.faults.fail("CommitCfm", 1, 5, true);
    time_check_power_change_status(TIMER_CHECK_POWER_OFF);
    EXPECT_TRUE(asleep());
    EXPECT_FALSE(radio_is_on());
    EXPECT_FALSE(leds_are_on());
    EXPECT_EQ(box.journal.messages_to_netctrl(), Lines{});
}

// ---- waking ----

TEST_F(PowerWake, LedsComeOnThenWifiThenItIsNoted)
{
    fall_asleep();
    time_check_power_change_status(TIMER_CHECK_POWER_ON);
    EXPECT_EQ(acts(), together({LEDS_COME_ON, WIFI_COMES_ON, NOTED_AWAKE}));
}

TEST_F(PowerWake, InsideAWifiOffPeriodWifiStaysOff)
{
    fall_asleep();
    box.store.set("sys.sched.wifi.enable", "1");
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    set_time_check_wifi_info();
    forget();
    time_check_power_change_status(TIMER_CHECK_POWER_ON);
    EXPECT_EQ(acts(), together({LEDS_COME_ON, NOTED_AWAKE}));
}

TEST_F(PowerWake, TheRulesOfADisabledWifiScheduleDoNotHoldWifiOff)
{
    fall_asleep();
    box.store.set("sys.sched.wifi.enable", "0");
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    set_time_check_wifi_info();
    forget();
    time_check_power_change_status(TIMER_CHECK_POWER_ON);
    EXPECT_EQ(acts(), together({LEDS_COME_ON, WIFI_COMES_ON, NOTED_AWAKE}));
}

TEST_F(PowerWake, LedsThatAreSetToCloseStayOff)
{
    fall_asleep();
    box.store.set("sys.sched.led.type", "close");
    set_time_check_led_info();
    forget();
    time_check_power_change_status(TIMER_CHECK_POWER_ON);
    EXPECT_EQ(acts(), together({WIFI_COMES_ON, NOTED_AWAKE}));
}

TEST_F(PowerWake, TheFirstLedRuleAloneHoldsTheLedsOff)
{
    fall_asleep();
    box.store.set("sys.sched.led.type", "time");
    box.store.set("nkgw.led.listnum", "2");
    rule("nkgw.led", 1, "Sun 11:00", "13:00"); // not today's, but its days do not count
    rule("nkgw.led", 2, "Mon 18:00", "19:00");
    set_time_check_led_info();
    forget();
    time_check_power_change_status(TIMER_CHECK_POWER_ON);
    EXPECT_EQ(acts(), together({WIFI_COMES_ON, NOTED_AWAKE}));
    fall_asleep();
    box.store.set("sys.sched.led.type", "time");
    set_time_check_led_info();
    box.clock.set("2026-03-02 18:30:00");
    forget();
    time_check_power_change_status(TIMER_CHECK_POWER_ON);
    EXPECT_EQ(acts(), together({LEDS_COME_ON, WIFI_COMES_ON, NOTED_AWAKE}));
}

TEST_F(PowerChangeStatus, OtherNumbersDoNothing)
{
    awake();
    for (const uint32_t status : {2U, 3U, 0xffffffffU})
        time_check_power_change_status(status);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(PowerStop, WakesOnlyARouterThatSleeps)
{
    awake();
    radios("1", "1", "0");
    time_check_power_stop();
    EXPECT_EQ(acts(), Lines{});
    box.store.set("sys.is.pwr.save.mode", "1");
    forget();
    time_check_power_stop();
    EXPECT_EQ(acts(), together({WIFI_COMES_ON, NOTED_AWAKE}));
}

// ---- the app's wake-up ----

TEST_F(PowerWakeUp, CountsToTheEndOfAPeriodPastMidnight)
{
    awake();
    expect_wake_up_times({{"2026-03-02 22:59:59", "0"},
                          {"2026-03-02 23:00:00", "28800"},
                          {"2026-03-02 23:30:00", "27000"},
                          {"2026-03-02 23:59:59", "25201"},
                          {"2026-03-03 00:00:00", "25200"},
                          {"2026-03-03 06:00:00", "3600"},
                          {"2026-03-03 07:00:00", "0"},
                          {"2026-03-03 07:00:01", "0"},
                          {"2026-03-03 12:00:00", "0"}});
}

TEST_F(PowerWakeUp, CountsToTheEndOfAPeriodInsideADay)
{
    awake();
    power_saving("0", "01:00", "05:00");
    set_time_check_power_info();
    expect_wake_up_times({{"2026-03-02 00:59:00", "0"},
                          {"2026-03-02 01:00:00", "14400"},
                          {"2026-03-02 04:59:59", "1"},
                          {"2026-03-02 05:00:00", "0"},
                          {"2026-03-02 05:00:01", "0"}});
}

TEST_F(PowerWakeUp, SuspendsPowerSavingUntilThePeriodEnds)
{
    awake();
    box.clock.set("2026-03-02 23:30:00");
    handle(OP_DEFAULT, "nimbix_wake_up");
    EXPECT_EQ(wake_up_line(), "\t\t nimbix_wake_up_time: 27000");
    box.clock.set("2026-03-02 23:30:01");
    EXPECT_EQ(time_check_power(), 1);
    EXPECT_EQ(wake_up_line(), "\t\t nimbix_wake_up_time: 26999");
    box.clock.set("2026-03-03 06:59:59");
    time_check_power();
    EXPECT_EQ(acts(), Lines{});
    box.clock.set("2026-03-03 07:00:00");
    time_check_power(); // the count reaches 0; the driver runs again from the next tick on
    EXPECT_EQ(acts(), Lines{});
    box.clock.set("2026-03-03 23:00:00");
    time_check_power();
    EXPECT_TRUE(asleep());
}

TEST_F(PowerWakeUp, OutsideThePeriodSuspendsNothing)
{
    awake();
    handle(OP_DEFAULT, "nimbix_wake_up");
    EXPECT_EQ(wake_up_line(), "\t\t nimbix_wake_up_time: 0");
    box.clock.set("2026-03-02 23:00:00");
    time_check_power();
    EXPECT_TRUE(asleep());
}

TEST_F(PowerWakeUp, AnyOtherTextCancelsIt)
{
    for (const char *text : {"", "nimbix_wake_u", "nimbix_wake_up2", "NIMBIX_WAKE_UP"}) {
        awake();
        box.clock.set("2026-03-02 23:30:00");
        handle(OP_START, "nimbix_wake_up");
        time_check_power();
        EXPECT_FALSE(asleep());
        handle(OP_DEFAULT, text);
        time_check_power();
        EXPECT_TRUE(asleep()) << text;
        handle(OP_STOP);
    }
}

TEST_F(PowerWakeUp, DoesNotWakeByItself)
{
    awake();
    box.clock.set("2026-03-02 23:30:00");
    time_check_power();
    forget();
    handle(OP_DEFAULT, "nimbix_wake_up");
    time_check_power();
    EXPECT_EQ(acts(), Lines{});
    EXPECT_TRUE(asleep());
}

TEST_F(PowerWakeUp, WithStopWakesForTheRestOfThePeriod)
{
    awake();
    box.clock.set("2026-03-02 23:30:00");
    time_check_power();
    forget();
    handle(OP_STOP, "nimbix_wake_up");
    EXPECT_EQ(acts(), together({LEDS_COME_ON, WIFI_COMES_ON, NOTED_AWAKE}));
    for (const char *local : {"2026-03-02 23:30:01", "2026-03-03 03:00:00", "2026-03-03 07:00:00",
                              "2026-03-03 07:00:01", "2026-03-03 12:00:00"}) {
        box.clock.set(local);
        time_check_power();
    }
    EXPECT_EQ(acts(), Lines{});
    box.clock.set("2026-03-03 23:00:00");
    time_check_power();
    EXPECT_TRUE(asleep());
}

// A clock put back out of the period ends the suspension; the period then starts like any other.
TEST_F(PowerWakeUp, EndsWhenTheClockStepsOutOfThePeriod)
{
    awake();
    box.clock.set("2026-03-02 23:30:00");
    handle(OP_DEFAULT, "nimbix_wake_up");
    box.clock.set("2026-03-02 20:00:00");
    time_check_power();
    box.clock.set("2026-03-02 23:00:00");
    time_check_power();
    EXPECT_TRUE(asleep());
}

// ---- messages ----

TEST_F(PowerMessages, EveryMessagePrintsItsLineAndReloads)
{
    awake();
    box.store.set("sys.powersleep.max_speed", "9");
    handle(OP_ADD);
    const Lines printed = lines();
    ASSERT_EQ(printed.size(), 8U);
    EXPECT_EQ(printed[0], "SYS_SCHED_POWER mode function to be added...");
    EXPECT_EQ(printed[6], "\t\t max_speed:9");
}

TEST_F(PowerMessages, StopInsideThePeriodWakesAndTheDriverPutsToSleepAgain)
{
    awake();
    box.clock.set("2026-03-02 23:30:00");
    time_check_power();
    forget();
    handle(OP_STOP);
    EXPECT_EQ(acts(), together({LEDS_COME_ON, WIFI_COMES_ON, NOTED_AWAKE}));
    time_check_power();
    EXPECT_EQ(acts(), together({LEDS_GO_OFF, WIFI_GOES_OFF, NOTED_ASLEEP}));
}

TEST_F(PowerMessages, StopOutsideThePeriodForcesOneWakeUp)
{
    awake();
    radios("1", "1", "0");
    handle(OP_STOP);
    EXPECT_EQ(acts(), Lines{}); // not asleep
    time_check_power();
    EXPECT_EQ(acts(), together({WIFI_COMES_ON, NOTED_AWAKE}));
    radios("1", "1", "0");
    forget();
    time_check_power();
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(PowerMessages, StopWithPowerSavingSwitchedOffWakesForGood)
{
    awake();
    box.clock.set("2026-03-02 23:30:00");
    time_check_power();
    box.store.set("sys.powersleep.enable", "0");
    forget();
    handle(OP_STOP);
    EXPECT_EQ(acts(), together({LEDS_COME_ON, WIFI_COMES_ON, NOTED_AWAKE}));
    time_check_power();
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(PowerMessages, StartAndRestartPutToSleepAnew)
{
    for (const uint32_t op : {OP_START, OP_RESTART}) {
        awake();
        box.clock.set("2026-03-02 23:30:00");
        handle(op);
        time_check_power();
        radios("1", "1", "1"); // switched on by hand while asleep
        forget();
        time_check_power();
        EXPECT_EQ(acts(), Lines{});
        handle(op);
        time_check_power();
        EXPECT_EQ(acts(), together({WIFI_GOES_OFF, NOTED_ASLEEP}));
    }
}

TEST_F(PowerMessages, OtherOpsLeaveTheSleepAlone)
{
    awake();
    box.clock.set("2026-03-02 23:30:00");
    time_check_power();
    radios("1", "1", "1");
    forget();
    for (const uint32_t op : {OP_DEFAULT, OP_ADD, OP_DELETE, OP_UPDATE, OP_CLEAR}) {
        handle(op);
        time_check_power();
    }
    EXPECT_EQ(acts(), Lines{});
}
