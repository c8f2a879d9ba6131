// Nights of the whole daemon: Wi-Fi schedule, LED setting, power saving and guest network together.
#include "tests/support/schedule_world.h"

using namespace schedule_world;

using ScheduleNight = RouterTest;

namespace
{

// Everything on, the evening of 2 March 2026 (a Monday) in Berlin, an hour before anything happens.
void evening()
{
    box.local_time.set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
    box.clock.set("2026-03-02 21:00:00");
    radios("1", "1", "1");
    configure({{"wl.guest.effective_time", "0"},
               {"nkgw.led.state", "3"},
               {"sys.sched.led.type", "open"},
               {"sys.sched.wifi.enable", "1"}});
}

void start()
{
    ASSERT_TRUE(box.boot());
    forget();
}

// What was switched, each with its time: messages to netctrl about radios, LEDs, and the note of sleep.
Lines switched()
{
    Lines found;
    for (const std::string &act : box.journal.timed_lines()) {
        const size_t uptime = act.find(" +");
        const size_t what = act.find(' ', uptime + 1);
        const std::string line = act.substr(0, uptime) + act.substr(what);
        if (line.find("wl_rate") != std::string::npos || line.find(" leds ") != std::string::npos ||
            line.find("pwr.save") != std::string::npos)
            found.push_back(line);
    }
    forget();
    return found;
}

void move_traffic_every_second(int seconds)
{
    for (int i = 1; i <= seconds; i++)
        box.at(i, [i] { box.network.set_host("192.168.0.100", static_cast<uint64_t>(i) * 5000, 0); });
}

} // namespace

TEST_F(ScheduleNight, WifiAndLedsSleepAndWakeToTheSecond)
{
    evening();
    power_saving("0", "23:00", "7:00");
    start();
    box.run_until("2026-03-03 12:00:00");
    EXPECT_EQ(switched(),
              (Lines{"2026-03-02 23:00:00 leds 0", "2026-03-02 23:00:00 command cfm post netctrl 19?op=2,wl_rate=24",
                     "2026-03-02 23:00:01 command cfm post netctrl 19?op=2,wl_rate=5",
                     "2026-03-02 23:00:01 set sys.is.pwr.save.mode=1", "2026-03-03 07:00:01 leds 3",
                     "2026-03-03 07:00:01 command cfm post netctrl 19?op=1,wl_rate=24",
                     "2026-03-03 07:00:02 command cfm post netctrl 19?op=1,wl_rate=5",
                     "2026-03-03 07:00:02 set sys.is.pwr.save.mode=0"}));
}

TEST_F(ScheduleNight, AWifiPeriodThatOutlastsTheSleepKeepsWifiOff)
{
    evening();
    only_rule("nkgw.wlan", "Mon 22:00", "8:00");
    power_saving("0", "23:00", "7:00");
    start();
    box.run_until("2026-03-02 22:30:00");
    EXPECT_FALSE(radio_is_on());
    EXPECT_TRUE(leds_are_on());
    box.run_until("2026-03-03 06:30:00");
    EXPECT_TRUE(asleep());
    EXPECT_FALSE(leds_are_on());
    box.run_until("2026-03-03 07:30:00");
    EXPECT_FALSE(asleep());
    EXPECT_TRUE(leds_are_on());
    EXPECT_FALSE(radio_is_on());
    box.run_until("2026-03-03 08:00:03");
    EXPECT_TRUE(radio_is_on());
}

TEST_F(ScheduleNight, AWifiPeriodInsideTheSleepSwitchesNothing)
{
    evening();
    only_rule("nkgw.wlan", "Tue 1:00", "5:00");
    power_saving("0", "23:00", "7:00");
    start();
    box.run_until("2026-03-02 23:10:00");
    switched();
    box.run_until("2026-03-03 07:00:00");
    EXPECT_EQ(switched(), Lines{});
    box.run_until("2026-03-03 07:00:03");
    EXPECT_TRUE(radio_is_on());
}

TEST_F(ScheduleNight, TheSchedulesStandStillBeforeTheNetworkIsQuiet)
{
    evening();
    client();
    only_rule("nkgw.wlan", "Mon 23:10", "6:00");
    box.store.set("sys.sched.led.type", "time");
    only_rule("nkgw.led", "Mon 23:10", "6:00");
    power_saving("1", "23:00", "7:00");
    start();
    move_traffic_every_second(3 * 3600);
    box.run_until("2026-03-02 23:59:00");
    EXPECT_TRUE(radio_is_on()); // somebody is still up
    EXPECT_TRUE(leds_are_on());
    box.run_until("2026-03-03 01:00:00"); // traffic ended at midnight
    EXPECT_TRUE(asleep());
    box.run_until("2026-03-03 07:00:05");
    EXPECT_TRUE(radio_is_on());
    EXPECT_TRUE(leds_are_on());
}

TEST_F(ScheduleNight, TheLedsFirstRuleKeepsThemOffOnWakingUntilTheNextLook)
{
    evening();
    box.store.set("sys.sched.led.type", "time");
    only_rule("nkgw.led", "Fri 6:00", "9:00"); // not tonight's, but its days do not count on waking
    power_saving("0", "23:00", "7:00");
    start();
    box.run_until("2026-03-03 06:59:59");
    EXPECT_FALSE(leds_are_on());
    box.run_until("2026-03-03 07:00:10");
    EXPECT_TRUE(leds_are_on()); // its days count in the tick
}

TEST_F(ScheduleNight, TheAppWakesTheRouterUntilThePeriodEnds)
{
    evening();
    power_saving("0", "23:00", "7:00");
    start();
    box.run_until("2026-03-02 23:30:00");
    ASSERT_TRUE(asleep());
    box.post("time_check_power?op=2,string_info=nimbix_wake_up");
    box.run(5);
    EXPECT_FALSE(asleep());
    EXPECT_TRUE(radio_is_on());
    EXPECT_TRUE(leds_are_on());
    forget();
    box.run_until("2026-03-03 22:59:59");
    EXPECT_EQ(switched(), Lines{});
    box.run(5);
    EXPECT_TRUE(asleep());
}

TEST_F(ScheduleNight, ARestartInSleepSleepsAgain)
{
    evening();
    power_saving("0", "23:00", "7:00");
    start();
    box.run_until("2026-03-03 02:00:00");
    ASSERT_TRUE(asleep());
    box.restart();
    box.run(60);
    EXPECT_TRUE(asleep());
    EXPECT_FALSE(radio_is_on());
    box.run_until("2026-03-03 07:00:05");
    EXPECT_FALSE(asleep());
    EXPECT_TRUE(radio_is_on());
    EXPECT_TRUE(leds_are_on());
}

TEST_F(ScheduleNight, ARestartInAWifiPeriodTurnsWifiOnForAMomentOnly)
{
    evening();
    only_rule("nkgw.wlan", "Mon 22:00", "8:00");
    start();
    box.run_until("2026-03-03 02:00:00");
    ASSERT_FALSE(radio_is_on());
    switched();
    box.restart();
    box.run(60);
    EXPECT_FALSE(radio_is_on());
    const Lines messages = box.journal.messages_to_netctrl();
    ASSERT_GE(messages.size(), 4U);
    EXPECT_EQ(Lines(messages.end() - 4, messages.end()),
              (Lines{"19?op=3,wl_rate=24", "19?op=3,wl_rate=5", "19?op=2,wl_rate=24", "19?op=2,wl_rate=5"}));
    box.run_until("2026-03-03 08:00:03");
    EXPECT_TRUE(radio_is_on());
}

TEST_F(ScheduleNight, AFailedCommitAtTheEdgeIsPutRightAtTheNextOne)
{
    evening();
    only_rule("nkgw.wlan", "Mon 22:00", "23:00");
    rule("nkgw.wlan", 2, "Mon 23:30", "23:45");
    box.store.set("nkgw.wlan.listnum", "2");
    start();
    box.faults.fail("CommitCfm");
    box.run_until("2026-03-02 22:59:00");
    EXPECT_EQ(switched(), Lines{}); // off in the store, but netctrl was not told
    EXPECT_FALSE(radio_is_on());
    box.run_until("2026-03-02 23:31:00");
    const Lines later = switched();
    ASSERT_EQ(later.size(), 4U);
    EXPECT_NE(later[0].find("op=1,wl_rate=24"), std::string::npos);
    EXPECT_NE(later[2].find("op=2,wl_rate=24"), std::string::npos);
}

TEST_F(ScheduleNight, AGuestNetworkExpiresInTheMiddleOfThePeriods)
{
    evening();
    box.store.set("wl.guest.effective_time", "0");
    start();
    box.store.set("wl.guest.effective_time", "7200");
    box.store.set("wl.guest.dhcps_enable", "1");
    box.post("time_check_wl_guest?string_info=wl_guest");
    box.run_until("2026-03-02 22:59:58");
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "1");
    box.run(4);
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "0");
    EXPECT_EQ(box.journal.acts("netctrl"),
              (Lines{"netctrl 19?op=9", "netctrl 19?op=3,wl_rate=24,index=1", "netctrl 19?op=3,wl_rate=5,index=1"}));
}

TEST_F(ScheduleNight, SleepClosesAGuestNetworkWithALifetimeAndNothingOpensItAgain)
{
    evening();
    power_saving("0", "23:00", "7:00");
    start();
    box.store.set("wl.guest.effective_time", "86400");
    box.store.set("wl.guest.dhcps_enable", "1");
    box.run_until("2026-03-02 23:00:10");
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "0");
    box.run_until("2026-03-03 12:00:00");
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "0");
}

// Power saving with another number than 1 does not hold the schedules still: they fight for Wi-Fi.
TEST_F(ScheduleNight, APowerSavingThatIsNotExactlyOneDoesNotHoldTheLedsOff)
{
    evening();
    power_saving("0", "23:00", "7:00");
    box.store.set("sys.powersleep.enable", "2");
    start();
    box.run_until("2026-03-02 23:00:30");
    EXPECT_TRUE(asleep());
    EXPECT_FALSE(radio_is_on());
    EXPECT_TRUE(leds_are_on());
}

// The user sets the zone at half past nine in the evening: in Tokyo the next morning's schedule holds already.
TEST_F(ScheduleNight, AnotherZoneCountsAtTheNextLookAtTheRules)
{
    evening();
    box.store.set("sys.sched.led.type", "time");
    only_rule("nkgw.led", "5:00", "6:00");
    start();
    box.at(1800.5, [] { box.local_time.set_zone("JST-9"); });
    box.at(3600.5, [] { box.local_time.set_zone("CET-1CEST,M3.5.0,M10.5.0/3"); });
    box.run(7200);
    EXPECT_EQ(switched(), (Lines{"2026-03-02 21:30:02 leds 0", "2026-03-02 22:00:01 leds 3"}));
}
