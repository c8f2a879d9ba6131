// The Wi-Fi schedule: the first load, switching at the edges, switching by hand, messages.
#include "tests/support/schedule_world.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_wifi.h"

using namespace schedule_world;

using WifiFirstLoad = RouterTest;
using WifiSchedule = RouterTest;
using WifiIsInWifiTime = RouterTest;
using WifiButton = RouterTest;
using WifiMessages = RouterTest;

namespace
{

// Both radios on, and a loaded rule: Mondays 09:00 to 17:00. 2 March 2026 is a Monday.
void monday_rule()
{
    radios("1", "1", "1");
    box.store.set("wl.guest.effective_time", "0");
    box.store.set("sys.sched.wifi.enable", "1");
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    set_time_check_wifi_info();
    forget();
}

// Looks at the rules at a local time.
void look_at(const std::string &local)
{
    box.clock.set(local);
    time_check_wifi_for_day(box.clock.wall());
}

void reload()
{
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(OP_UPDATE);
    EXPECT_EQ(time_check_wifi_msg_handle(&msg), 1);
}

void press_button(const char *uptime)
{
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(OP_DEFAULT, uptime);
    EXPECT_EQ(time_check_wifi_msg_handle(&msg), 1);
}

} // namespace

// ---- the first load ----

TEST_F(WifiFirstLoad, BandsThatAgreeAreLeftAlone)
{
    radios("1", "1", "1");
    EXPECT_EQ(set_time_check_wifi_info(), 0);
    EXPECT_EQ(acts(), Lines{});
    EXPECT_EQ(lines(), Lines{"wl2g_op:0 wl5g_op:0 "});
}

TEST_F(WifiFirstLoad, AnEnabledBandThatIsOffIsSetAndRestarted)
{
    radios("1", "1", "1");
    box.store.set("wl2g.ssid0.enable", "0");
    set_time_check_wifi_info();
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=1", "set wl2g.ssid0.enable=1", "commit",
                             "command cfm post netctrl 19?op=3,wl_rate=24"}));
    EXPECT_EQ(lines(), Lines{"wl2g_op:3 wl5g_op:0 "});
}

TEST_F(WifiFirstLoad, ADisabledBandThatIsOnIsClearedAndStopped)
{
    radios("1", "0", "1");
    set_time_check_wifi_info();
    EXPECT_EQ(acts(), (Lines{"set wl5g.public.enable=0", "set wl5g.ssid0.enable=0", "commit",
                             "command cfm post netctrl 19?op=2,wl_rate=5"}));
    EXPECT_EQ(lines(), Lines{"wl2g_op:0 wl5g_op:2 "});
}

TEST_F(WifiFirstLoad, BothBandsAreToldOfAfterOneCommitAndWithoutAPause)
{
    radios("1", "0", "1");
    box.store.set("wl2g.public.enable", "0");
    const int before = box.clock.uptime();
    set_time_check_wifi_info();
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=1", "set wl2g.ssid0.enable=1", "set wl5g.public.enable=0",
                             "set wl5g.ssid0.enable=0", "commit", "command cfm post netctrl 19?op=3,wl_rate=24",
                             "command cfm post netctrl 19?op=2,wl_rate=5"}));
    EXPECT_EQ(box.clock.uptime(), before);
}

TEST_F(WifiFirstLoad, ValuesAreComparedAsTexts)
{
    radios("01", "", "1");
    box.store.set("wl5g.public.enable", "");
    box.store.unset("wl5g.ssid0.enable");
    set_time_check_wifi_info();
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=0", "set wl2g.ssid0.enable=0", "commit",
                             "command cfm post netctrl 19?op=2,wl_rate=24"}));
}

TEST_F(WifiFirstLoad, LongValuesAreComparedByTheirFirst15Characters)
{
    radios("1", "1", "1");
    box.store.set("wl2g.enable", std::string(1000, 'x'));
    box.store.set("wl2g.public.enable", std::string(15, 'x'));
    box.store.set("wl2g.ssid0.enable", std::string(20, 'x'));
    set_time_check_wifi_info();
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiFirstLoad, AfterAFailedCommitNobodyIsToldAndTheValuesStay)
{
    radios("1", "1", "1");
    box.store.set("wl2g.ssid0.enable", "0");
    box.faults.fail("CommitCfm");
    set_time_check_wifi_info();
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=1", "set wl2g.ssid0.enable=1", "commit failed"}));
    EXPECT_EQ(box.store.get("wl2g.ssid0.enable"), "1");
}

TEST_F(WifiFirstLoad, OnlyTheFirstLoadTouchesTheBands)
{
    radios("1", "1", "1");
    set_time_check_wifi_info();
    box.store.set("wl2g.ssid0.enable", "0");
    forget();
    set_time_check_wifi_info();
    EXPECT_EQ(acts(), Lines{});
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(WifiFirstLoad, WifiThatIsOffIsNotTheSchedulesToSwitchOffButOnAfterThePeriod)
{
    radios("0", "0", "0");
    box.store.set("nkgw.wlan.listnum", "0");
    set_time_check_wifi_info();
    EXPECT_EQ(lines(), (Lines{"wl2g_op:0 wl5g_op:0 ", "wifi is off , set TIME_CHECK_WIFI_START_FLAG"}));

    radios("1", "1", "0");
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    reload();
    forget();
    look_at("2026-03-03 12:00:00");
    EXPECT_TRUE(radio_is_on());
}

TEST_F(WifiFirstLoad, TurnOnWorksOnceAndOnlyBeforeTheFirstLoad)
{
    radios("1", "1", "0");
    box.store.set("wl.guest.effective_time", "0");
    time_check_first_turn_on_wifi();
    EXPECT_EQ(acts(), WIFI_COMES_ON);
    radios("1", "1", "0");
    box.journal.clear();
    time_check_first_turn_on_wifi();
    set_time_check_wifi_info(); // its bands are no longer reconciled either
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiFirstLoad, TurnOnDoesNothingAfterALoad)
{
    radios("1", "1", "1");
    set_time_check_wifi_info();
    radios("1", "1", "0");
    box.journal.clear();
    time_check_first_turn_on_wifi();
    EXPECT_EQ(acts(), Lines{});
}

// ---- switching at the edges ----

TEST_F(WifiSchedule, GoesOffWhenThePeriodStartsAndComesOnWhenItEnds)
{
    monday_rule();
    look_at("2026-03-02 08:59:59");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-02 09:00:00");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
    look_at("2026-03-02 12:00:00");
    look_at("2026-03-02 17:00:00");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-02 17:00:01");
    EXPECT_EQ(acts(), WIFI_COMES_ON);
    look_at("2026-03-03 12:00:00");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiSchedule, WithoutRulesNothingIsSwitched)
{
    monday_rule();
    look_at("2026-03-02 12:00:00");
    box.store.set("nkgw.wlan.listnum", "0");
    reload();
    forget();
    look_at("2026-03-02 18:00:00");
    look_at("2026-03-03 12:00:00");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiSchedule, SwitchesAlthoughItIsDisabled)
{
    monday_rule();
    box.store.set("sys.sched.wifi.enable", "0");
    reload();
    look_at("2026-03-02 12:00:00");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
    EXPECT_EQ(time_check_wifi_is_in_wifi_time(), 0);
}

TEST_F(WifiSchedule, WifiTurnedOnInsideAPeriodStaysOnUntilTheNext)
{
    monday_rule();
    look_at("2026-03-02 09:00:00");
    radios("1", "1", "1");
    forget();
    look_at("2026-03-02 09:00:02");
    look_at("2026-03-02 16:00:00");
    look_at("2026-03-02 18:00:00");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-09 09:00:00");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
}

TEST_F(WifiSchedule, WifiTurnedOffOutsideAPeriodStaysOffUntilOneHasEnded)
{
    monday_rule();
    look_at("2026-03-02 08:00:00");
    radios("1", "1", "0");
    forget();
    look_at("2026-03-02 08:00:02");
    look_at("2026-03-02 12:00:00");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-02 18:00:00");
    EXPECT_EQ(acts(), WIFI_COMES_ON);
}

TEST_F(WifiSchedule, StandsStillWhileTheClockIsNotSet)
{
    monday_rule();
    look_at("2000-12-25 12:00:00"); // a Monday
    EXPECT_EQ(acts(), Lines{});
    look_at("2001-01-01 12:00:00"); // a Monday
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
}

TEST_F(WifiSchedule, TheMasterDebugSwitchLiftsTheClockRule)
{
    monday_rule();
    set_time_check_debug_info(TIME_CHECK_CPU);
    look_at("2000-12-25 12:00:00");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
}

TEST_F(WifiSchedule, StandsStillInThePowerSavingPeriod)
{
    monday_rule();
    power_saving("1", "08:30", "12:00");
    set_time_check_power_info();
    look_at("2026-03-02 09:00:00");
    look_at("2026-03-02 12:00:00");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-02 12:00:01");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
}

TEST_F(WifiSchedule, DoesNotStandStillForAPowerSavingThatIsNotExactlyOne)
{
    monday_rule();
    power_saving("0", "08:30", "12:00");
    box.store.set("sys.powersleep.enable", "2");
    set_time_check_power_info();
    look_at("2026-03-02 09:00:00");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
}

TEST_F(WifiSchedule, DoesNotComeOnInThePowerSavingPeriod)
{
    monday_rule();
    look_at("2026-03-02 16:00:00");
    power_saving("0", "16:30", "18:00");
    set_time_check_power_info();
    forget();
    look_at("2026-03-02 17:30:00");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-02 18:00:01");
    EXPECT_EQ(acts(), WIFI_COMES_ON);
}

TEST_F(WifiSchedule, AFailedCommitIsNotTriedAgain)
{
    monday_rule();
    box.faults.fail("CommitCfm");
    look_at("2026-03-02 09:00:00");
    EXPECT_EQ(box.journal.messages_to_netctrl(), Lines{});
    look_at("2026-03-02 09:00:02");
    EXPECT_EQ(box.journal.messages_to_netctrl(), Lines{});
    EXPECT_FALSE(radio_is_on());
}

TEST_F(WifiSchedule, TheTickLooksEveryOtherSecondAndAtOnceAfterAStep)
{
    monday_rule();
    box.clock.set("2026-03-02 08:59:59");
    EXPECT_EQ(time_check_wifi(), 1);
    box.clock.set("2026-03-02 09:00:00");
    EXPECT_EQ(time_check_wifi(), 1);
    EXPECT_EQ(acts(), Lines{});
    box.clock.set("2026-03-02 09:00:01");
    time_check_wifi();
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
    box.clock.set("2026-03-02 08:59:59");
    time_check_wifi();
    EXPECT_EQ(acts(), WIFI_COMES_ON);
}

// ---- the question of power saving ----

TEST_F(WifiIsInWifiTime, NeedsAnEnabledSchedule)
{
    monday_rule();
    box.clock.set("2026-03-02 12:00:00");
    EXPECT_EQ(time_check_wifi_is_in_wifi_time(), 1);
    for (const char *enable : {"0", "2", "-1", "", "on"}) {
        box.store.set("sys.sched.wifi.enable", enable);
        reload();
        EXPECT_EQ(time_check_wifi_is_in_wifi_time(), 0) << enable;
    }
    box.store.unset("sys.sched.wifi.enable");
    reload();
    EXPECT_EQ(time_check_wifi_is_in_wifi_time(), 0);
}

TEST_F(WifiIsInWifiTime, FollowsTheRulesAndTheirDays)
{
    monday_rule();
    box.clock.set("2026-03-02 17:00:00");
    EXPECT_EQ(time_check_wifi_is_in_wifi_time(), 1);
    box.clock.set("2026-03-02 17:00:01");
    EXPECT_EQ(time_check_wifi_is_in_wifi_time(), 0);
    box.clock.set("2026-03-03 12:00:00");
    EXPECT_EQ(time_check_wifi_is_in_wifi_time(), 0);
}

// ---- switching by hand ----

TEST_F(WifiButton, AStampIsOnlyKeptUntilTheNextReload)
{
    monday_rule();
    box.clock.set_uptime(2000);
    look_at("2026-03-02 12:00:00");
    radios("1", "1", "1");
    forget();
    press_button("1234");
    look_at("2026-03-02 12:00:02");
    EXPECT_EQ(acts(), Lines{});
    reload(); // now the schedule has it that Wi-Fi is on, and the period holds
    look_at("2026-03-02 12:00:04");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
}

TEST_F(WifiButton, ARadioFoundOffIsSwitchedOnOutsideAPeriod)
{
    monday_rule();
    box.clock.set_uptime(2000);
    look_at("2026-03-02 08:00:00");
    radios("1", "1", "0");
    press_button("1999");
    reload();
    forget();
    look_at("2026-03-02 08:00:02");
    EXPECT_EQ(acts(), WIFI_COMES_ON);
}

class WifiButtonStamp : public RouterTest, public testing::WithParamInterface<const char *>
{
};

TEST_P(WifiButtonStamp, ThatIsNotBelowTheUptimeCountsForNothing)
{
    monday_rule();
    box.clock.set_uptime(2000);
    look_at("2026-03-02 08:00:00");
    radios("1", "1", "0");
    press_button(GetParam());
    reload();
    forget();
    look_at("2026-03-02 08:00:02");
    EXPECT_EQ(acts(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Cases, WifiButtonStamp,
                         testing::Values("2000", "2001", "0", "-1", "-1999", "abc", "99999999999999999999",
                                         "-99999999999999999999", "\xc3\xa9"));

TEST_F(WifiButton, AStampIsDroppedByTheReloadThatDidNotTakeIt)
{
    monday_rule();
    box.clock.set_uptime(2000);
    look_at("2026-03-02 08:00:00");
    radios("1", "1", "0");
    press_button("2000");
    reload();
    box.clock.set_uptime(3000);
    reload();
    forget();
    look_at("2026-03-02 08:00:02");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiButton, TheLastStampCounts)
{
    monday_rule();
    box.clock.set_uptime(2000);
    look_at("2026-03-02 08:00:00");
    radios("1", "1", "0");
    press_button("1999");
    press_button("5000");
    reload();
    forget();
    look_at("2026-03-02 08:00:02");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiButton, AMessageWithAStampDoesNotReloadAndItsOpIsNotLookedAt)
{
    monday_rule();
    radios("1", "1", "0");
    box.store.set("nkgw.wlan.listnum", "0");
    forget();
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(OP_STOP, "1");
    time_check_wifi_msg_handle(&msg);
    EXPECT_EQ(acts(), Lines{});
    radios("1", "1", "1");
    forget();
    look_at("2026-03-02 12:00:00");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
}

// ---- messages ----

TEST_F(WifiMessages, AnyOtherOpOnlyReloads)
{
    monday_rule();
    look_at("2026-03-02 12:00:00");
    forget();
    for (const uint32_t op : {OP_DEFAULT, OP_START, OP_RESTART, OP_ADD, OP_DELETE, OP_UPDATE, OP_CLEAR}) {
        TIME_CHECK_MODULES_COMMON_STRUCT msg = message(op);
        EXPECT_EQ(time_check_wifi_msg_handle(&msg), 1);
    }
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiMessages, StopInsideAPeriodSwitchesOnAndTheScheduleOffAgain)
{
    monday_rule();
    look_at("2026-03-02 12:00:00");
    forget();
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(OP_STOP);
    EXPECT_EQ(time_check_wifi_msg_handle(&msg), 1);
    EXPECT_EQ(acts(), WIFI_COMES_ON);
    look_at("2026-03-02 12:00:02");
    EXPECT_EQ(acts(), WIFI_GOES_OFF);
}

TEST_F(WifiMessages, StopWithTheRulesGoneGivesWifiBackForGood)
{
    monday_rule();
    look_at("2026-03-02 12:00:00");
    box.store.set("nkgw.wlan.listnum", "0");
    forget();
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(OP_STOP);
    time_check_wifi_msg_handle(&msg);
    EXPECT_EQ(acts(), WIFI_COMES_ON);
    look_at("2026-03-02 12:00:02");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiMessages, StopOutsideAPeriodLeavesWifiThatIsOnAlone)
{
    monday_rule();
    look_at("2026-03-03 12:00:00");
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(OP_STOP);
    time_check_wifi_msg_handle(&msg);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiMessages, StopDoesNotSwitchOnWhileTheRouterSleeps)
{
    monday_rule();
    radios("1", "1", "0");
    box.store.set("sys.is.pwr.save.mode", "1");
    forget();
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(OP_STOP);
    time_check_wifi_msg_handle(&msg);
    EXPECT_EQ(acts(), Lines{});
    box.store.set("sys.is.pwr.save.mode", "0");
    forget();
    look_at("2026-03-03 12:00:00"); // the schedule has it that Wi-Fi is on: nothing to switch
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(WifiMessages, ThroughTheBus)
{
    radios("1", "1", "1");
    box.store.set("wl.guest.effective_time", "0");
    box.clock.set("2026-03-02 12:00:00");
    ASSERT_TRUE(box.boot());
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    ASSERT_TRUE(box.post("time_check_wifi?op=1"));
    box.run(4);
    EXPECT_FALSE(radio_is_on());
    box.store.set("nkgw.wlan.listnum", "0");
    ASSERT_TRUE(box.post("3?op=2"));
    box.run(1);
    EXPECT_TRUE(radio_is_on());
}
