// Power saving: the tick and the two daily drivers.
#include "tests/support/schedule_world.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_wifi.h"

using namespace schedule_world;

using PowerFixed = RouterTest;
using PowerTick = RouterTest;
using PowerClock = RouterTest;
using PowerNoClient = RouterTest;
using PowerQuiet = RouterTest;
using PowerCarryOver = RouterTest;

namespace
{

// Wi-Fi and LEDs on, the period of this type 23:00 to 07:00, a client, counters at 0; the evening before.
void evening(const char *type)
{
    box.clock.set("2026-03-02 22:00:00");
    radios("1", "1", "1");
    configure({{"nkgw.led.state", "3"},
               {"nkgw.wlan.listnum", "0"},
               {"sys.sched.led.type", "open"},
               {"sys.is.pwr.save.mode", "0"},
               {"sys.powersleep.max_speed", "3"}});
    power_saving(type, "23:00", "07:00");
    box.network.set_multicast("br0", 0);
    box.network.set_host("192.168.0.100", 0, 0);
    client();
    set_time_check_power_info();
    set_time_check_led_info();
    forget();
}

void tick_at(const std::string &local)
{
    box.clock.set(local);
    EXPECT_EQ(time_check_power(), 1);
}

// Ticks once a second, `count` times, the first at the present moment.
void tick(int count)
{
    for (int i = 0; i < count; i++) {
        time_check_power();
        box.clock.step(1);
    }
}

// The same from this local time on.
void tick_from(const std::string &local, int count)
{
    box.clock.set(local);
    tick(count);
}

// The last of these many ticks, a second apart, puts the router to sleep.
void expect_asleep_after(int count)
{
    tick(count - 1);
    EXPECT_FALSE(asleep());
    tick(1);
    EXPECT_TRUE(asleep());
}

// Lines of a sample: busy ones and, with debug lines on, all.
Lines samples()
{
    Lines found;
    for (const std::string &line : lines())
        if (line.starts_with("num "))
            found.push_back(line);
    return found;
}

} // namespace

// ---- the fixed driver ----

TEST_F(PowerFixed, SleepsFromTheFirstToTheLastSecondOfThePeriod)
{
    evening("0");
    tick_at("2026-03-02 22:59:59");
    EXPECT_FALSE(asleep());
    tick_at("2026-03-02 23:00:00");
    EXPECT_TRUE(asleep());
    EXPECT_FALSE(radio_is_on());
    EXPECT_FALSE(leds_are_on());
    tick_at("2026-03-03 07:00:00");
    EXPECT_TRUE(asleep());
    tick_at("2026-03-03 07:00:01");
    EXPECT_FALSE(asleep());
    EXPECT_TRUE(radio_is_on());
    EXPECT_TRUE(leds_are_on());
}

TEST_F(PowerFixed, ActsOnceAtEachEnd)
{
    evening("0");
    tick_at("2026-03-02 23:00:00");
    forget();
    tick_at("2026-03-02 23:00:01");
    tick_at("2026-03-03 03:00:00");
    EXPECT_EQ(acts(), Lines{});
    tick_at("2026-03-03 08:00:00");
    forget();
    tick_at("2026-03-03 08:00:01");
    tick_at("2026-03-03 22:00:00");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(PowerFixed, SleepsEveryNight)
{
    evening("0");
    for (int night = 2; night < 9; night++) {
        tick_at("2026-03-0" + std::to_string(night) + " 23:00:00");
        EXPECT_TRUE(asleep()) << night;
        tick_at("2026-03-0" + std::to_string(night + 1) + " 07:00:01");
        EXPECT_FALSE(asleep()) << night;
    }
}

TEST_F(PowerFixed, WhatIsSwitchedOnByHandInSleepStaysOn)
{
    evening("0");
    tick_at("2026-03-02 23:00:00");
    radios("1", "1", "1");
    box.store.set("nkgw.led.state", "3");
    forget();
    tick_at("2026-03-02 23:00:01");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(PowerFixed, ChecksNothingOfTheNetwork)
{
    evening("0");
    box.files.set_unreadable("/proc/net/arp");
    tick_at("2026-03-02 23:00:00");
    EXPECT_TRUE(asleep());
    EXPECT_EQ(samples(), Lines{});
}

// ---- the tick ----

TEST_F(PowerTick, DoesNothingWhileDisabled)
{
    evening("0");
    box.store.set("sys.powersleep.enable", "0");
    set_time_check_power_info();
    forget();
    tick_at("2026-03-02 23:00:00");
    EXPECT_EQ(acts(), Lines{});
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(PowerTick, AnyOtherNumberThanZeroIsEnabled)
{
    for (const char *enable : {"2", "-1"}) {
        evening("0");
        box.store.set("sys.powersleep.enable", enable);
        set_time_check_power_info();
        tick_at("2026-03-02 23:00:00");
        EXPECT_TRUE(asleep()) << enable;
        tick_at("2026-03-03 08:00:00");
    }
}

TEST_F(PowerTick, TheOneDayTypesDoAndPrintNothing)
{
    for (const char *type : {"2", "3"}) {
        evening(type);
        tick_at("2026-03-02 23:00:00");
        EXPECT_EQ(acts(), Lines{});
        EXPECT_EQ(lines(), Lines{});
    }
}

TEST_F(PowerTick, AnUnknownTypeIsReportedEveryTick)
{
    evening("4");
    tick_at("2026-03-02 23:00:00");
    tick_at("2026-03-02 23:00:01");
    EXPECT_EQ(lines(), (Lines{"TIME_CHECK_POWER_STRUCT.type = 4 to be added...",
                              "TIME_CHECK_POWER_STRUCT.type = 4 to be added..."}));
    evening("-1");
    tick_at("2026-03-02 23:00:00");
    EXPECT_EQ(lines(), Lines{"TIME_CHECK_POWER_STRUCT.type = -1 to be added..."});
    EXPECT_EQ(acts(), Lines{});
}

// ---- a clock that is not set ----

TEST_F(PowerClock, NothingIsSwitchedBefore2001)
{
    for (const char *type : {"0", "1"}) {
        evening(type);
        box.network.clear_neighbours();
        tick_from("2000-12-30 23:00:00", 400);
        EXPECT_EQ(acts(), Lines{}) << type;
    }
}

TEST_F(PowerClock, TheMasterDebugSwitchLiftsTheClockRule)
{
    evening("0");
    set_time_check_debug_info(TIME_CHECK_CPU);
    tick_at("1970-01-02 23:00:00");
    EXPECT_TRUE(asleep());
}

TEST_F(PowerClock, ASleeperWhoseClockIsLostWakesWhenItIsBackOutsideThePeriod)
{
    evening("0");
    tick_at("2026-03-02 23:00:00");
    forget();
    tick_at("1970-01-01 00:00:10");
    EXPECT_EQ(acts(), Lines{});
    tick_at("2026-03-03 08:00:00");
    EXPECT_FALSE(asleep());
    EXPECT_TRUE(radio_is_on());
}

TEST_F(PowerClock, ASleeperWhoseClockIsLostSleepsOnWhenItIsBackInsideThePeriod)
{
    evening("0");
    tick_at("2026-03-02 23:00:00");
    tick_at("1970-01-01 00:00:10");
    forget();
    tick_at("2026-03-03 02:00:00");
    EXPECT_EQ(acts(), Lines{});
    tick_at("2026-03-03 07:00:01");
    EXPECT_TRUE(radio_is_on());
}

TEST_F(PowerClock, ASleeperWhoseClockIsLostSamplesAgainWhenItIsBack)
{
    evening("1");
    tick_from("2026-03-02 23:00:00", 1801);
    tick_at("1970-01-01 00:00:10");
    forget();
    tick_from("2026-03-03 02:00:00", 1801);
    EXPECT_EQ(lines(), Lines{"now time:02:30"});
    EXPECT_EQ(acts(), Lines{}); // it has not been awake
}

// ---- the traffic driver: no clients ----

TEST_F(PowerNoClient, SleepsOnThe181stSample)
{
    evening("1");
    box.network.clear_neighbours();
    box.clock.set("2026-03-02 23:00:00");
    expect_asleep_after(181);
    EXPECT_EQ(lines(), Lines{"now time:23:03"});
}

TEST_F(PowerNoClient, SamplesNothingOutsideThePeriodOrAsleep)
{
    evening("1");
    box.network.clear_neighbours();
    box.clock.set("2026-03-02 22:00:00");
    const uint64_t before = box.faults.made("open");
    tick(600);
    EXPECT_EQ(box.faults.made("open"), before);
    tick_from("2026-03-02 23:00:00", 181);
    const uint64_t asleep_from = box.faults.made("open");
    tick(600);
    EXPECT_EQ(box.faults.made("open"), asleep_from);
}

TEST_F(PowerNoClient, OnlyOneSampleASecond)
{
    evening("1");
    box.network.clear_neighbours();
    box.clock.set("2026-03-02 23:00:00");
    for (int i = 0; i < 500; i++)
        time_check_power();
    EXPECT_FALSE(asleep());
}

TEST_F(PowerNoClient, AClientStartsTheCountAnew)
{
    evening("1");
    box.network.clear_neighbours();
    tick_from("2026-03-02 23:00:00", 180);
    client();
    tick(1);
    box.network.clear_neighbours();
    expect_asleep_after(181);
}

TEST_F(PowerNoClient, OneStreakGivesOneVerdict)
{
    box.network.clear_neighbours();
    set_time_check_power_info();
    int verdicts = 0;
    for (int i = 0; i < 1000; i++)
        verdicts += flow_check_forword_power(1);
    EXPECT_EQ(verdicts, 1);
}

TEST_F(PowerNoClient, DebugLinesShowTheCount)
{
    box.network.clear_neighbours();
    set_time_check_power_info();
    set_time_check_debug_info(TIME_CHECK_POWER);
    forget();
    flow_check_forword_power(1);
    flow_check_forword_power(1);
    EXPECT_EQ(samples(), (Lines{"num 0:br_client = 0!!", "num 1:br_client = 0!!"}));
}

TEST_F(PowerNoClient, TheOtherBridgesClientCounts)
{
    evening("1");
    box.network.clear_neighbours();
    box.network.set_neighbour("192.168.1.5", "0x2", "02:00:00:00:00:05", "br1");
    tick_from("2026-03-02 23:00:00", 400);
    EXPECT_FALSE(asleep());
}

TEST_F(PowerNoClient, AGuestOnABridgeOfAnotherNameCounts)
{
    evening("1");
    box.network.clear_neighbours();
    box.store.set("lan2.ifname", "guests");
    box.network.set_neighbour("192.168.2.5", "0x2", "02:00:00:00:00:05", "guests");
    tick_from("2026-03-02 23:00:00", 400);
    EXPECT_FALSE(asleep());
}

// ---- the traffic driver: quiet traffic ----

TEST_F(PowerQuiet, SleepsOnThe1801stSample)
{
    evening("1");
    box.clock.set("2026-03-02 23:00:00");
    expect_asleep_after(1801);
    EXPECT_EQ(lines(), Lines{"now time:23:30"});
}

TEST_F(PowerQuiet, ABusyNetworkPrintsEverySecondSampleAndNeverSleeps)
{
    evening("1");
    box.clock.set("2026-03-02 23:00:00");
    uint64_t bytes = 0;
    for (int i = 0; i < 2000; i++) {
        box.network.set_host("192.168.0.100", bytes, 0);
        bytes += 5000;
        tick(1);
    }
    EXPECT_FALSE(asleep());
    const Lines busy = samples();
    EXPECT_EQ(busy.size(), 1000U);
    EXPECT_EQ(busy[0], "num 2:froward_rx = 0.00kB/s,froward_tx = 5.00kB/s !!");
}

struct ThresholdCase {
    uint64_t up;
    uint64_t down;
    uint32_t interval;
    bool quiet;
};

class PowerThreshold : public RouterTest, public testing::WithParamInterface<ThresholdCase>
{
};

TEST_P(PowerThreshold, IsTheSpeedTimesTheIntervalEachWay)
{
    evening("1");
    flow_check_forword_power(1);
    box.network.set_host("192.168.0.100", GetParam().up, GetParam().down);
    EXPECT_EQ(flow_check_forword_power(GetParam().interval), 0);
    EXPECT_EQ(samples().empty(), GetParam().quiet);
}

INSTANTIATE_TEST_SUITE_P(Cases, PowerThreshold,
                         testing::Values(ThresholdCase{2999, 2999, 1, true}, ThresholdCase{3000, 0, 1, false},
                                         ThresholdCase{0, 3000, 1, false}, ThresholdCase{29999, 0, 10, true},
                                         ThresholdCase{30000, 0, 10, false},
                                         ThresholdCase{uint64_t{1} << 32U, 0, 1, false},
                                         ThresholdCase{0, (uint64_t{1} << 40U) + 5, 1, false},
                                         // 1431656 s x 3000 B/s is 704 in 32 bits
                                         ThresholdCase{703, 0, 1431656, true}, ThresholdCase{704, 0, 1431656, false}));

TEST_F(PowerQuiet, MulticastIntoTheLanCountsAsReceived)
{
    evening("1");
    flow_check_forword_power(1);
    box.network.set_multicast("br0", 3000);
    flow_check_forword_power(1);
    EXPECT_EQ(samples(), Lines{"num 2:froward_rx = 3.00kB/s,froward_tx = 0.00kB/s !!"});
}

TEST_F(PowerQuiet, DebugLinesShowEveryComparedSample)
{
    evening("1");
    set_time_check_debug_info(TIME_CHECK_POWER);
    forget();
    flow_check_forword_power(1);
    box.network.set_host("192.168.0.100", 500, 1000);
    flow_check_forword_power(1);
    box.network.set_host("192.168.0.100", 500, 11000);
    flow_check_forword_power(2);
    EXPECT_EQ(samples(), (Lines{"num 2:froward_rx = 1.00kB/s,froward_tx = 0.50kB/s!!",
                                "num 3:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s!!",
                                "num 3:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s !!"}));
}

TEST_F(PowerQuiet, ACounterThatGoesBackNeitherCountsNorResets)
{
    evening("1");
    box.network.set_host("192.168.0.100", 1000000, 1000000);
    tick_from("2026-03-02 23:00:00", 100);
    box.network.set_host("192.168.0.100", 0, 1000000);
    tick(1);
    EXPECT_EQ(samples(), Lines{});
    expect_asleep_after(1701);
}

TEST_F(PowerQuiet, ABusySampleIsFollowedByANewBaseline)
{
    evening("1");
    tick_from("2026-03-02 23:00:00", 1000);
    box.network.set_host("192.168.0.100", 5000, 0);
    tick(1); // busy
    box.network.set_host("192.168.0.100", 10000000, 0);
    tick(1); // the new baseline
    EXPECT_EQ(samples().size(), 1U);
    expect_asleep_after(1800);
}

TEST_F(PowerQuiet, AClientThatLeavesEndsTheQuietCount)
{
    evening("1");
    tick_from("2026-03-02 23:00:00", 600);
    box.network.clear_neighbours();
    tick(100);
    client();
    expect_asleep_after(1801);
}

TEST_F(PowerQuiet, TheSampleThatDecidesComparesNothing)
{
    evening("1");
    tick_from("2026-03-02 23:00:00", 1800);
    box.network.set_host("192.168.0.100", 1000000000, 0);
    tick(1);
    EXPECT_TRUE(asleep());
    EXPECT_EQ(samples(), Lines{});
}

TEST_F(PowerQuiet, AReloadStartsTheCountsAnew)
{
    evening("1");
    tick_from("2026-03-02 23:00:00", 1799);
    set_time_check_power_info();
    expect_asleep_after(1801);
}

TEST_F(PowerQuiet, WakesAtThePeriodsEndAndSamplesAgainTheNextNight)
{
    evening("1");
    tick_from("2026-03-02 23:00:00", 1801);
    tick_at("2026-03-03 07:00:01");
    EXPECT_FALSE(asleep());
    EXPECT_TRUE(radio_is_on());
    box.clock.set("2026-03-03 23:00:00");
    expect_asleep_after(1801);
}

// ---- the carry-over to the next day ----

TEST_F(PowerCarryOver, AQuietCountGoesOnTheNextNight)
{
    evening("1");
    power_saving("1", "23:00", "23:09");
    set_time_check_power_info();
    tick_from("2026-03-02 23:00:00", 600); // 541 samples, the last at 23:09:00
    tick_from("2026-03-03 23:00:00", 600);
    tick_from("2026-03-04 23:00:00", 600);
    EXPECT_FALSE(asleep());
    box.clock.set("2026-03-05 23:00:00");
    expect_asleep_after(1801 - 3 * 541);
}

TEST_F(PowerCarryOver, TheFirstSampleOfTheNightSpansTheDay)
{
    evening("1");
    power_saving("1", "23:00", "23:09");
    set_time_check_power_info();
    tick_from("2026-03-02 23:00:00", 600);
    // 85 860 s lie between the samples: 257 580 000 bytes are just too many.
    box.network.set_host("192.168.0.100", 257579999, 0);
    tick_from("2026-03-03 23:00:00", 600);
    EXPECT_EQ(samples(), Lines{});
    box.network.set_host("192.168.0.100", 257579999 + 257580000, 0);
    tick_from("2026-03-04 23:00:00", 1);
    EXPECT_EQ(samples(), Lines{"num 1083:froward_rx = 0.00kB/s,froward_tx = 3.00kB/s !!"});
}

TEST_F(PowerCarryOver, ANoClientCountGoesOnTheNextNight)
{
    evening("1");
    box.network.clear_neighbours();
    power_saving("1", "23:00", "23:01");
    set_time_check_power_info();
    for (const char *start : {"2026-03-02 23:00:00", "2026-03-03 23:00:00"}) { // 61 samples a night
        tick_from(start, 100);
        EXPECT_FALSE(asleep());
    }
    box.clock.set("2026-03-04 23:00:00");
    expect_asleep_after(181 - 122);
}

// ---- a clock that steps ----

TEST_F(PowerClock, AStepOutOfThePeriodWakesAndOneIntoItPutsToSleep)
{
    evening("0");
    tick_at("2026-03-02 23:30:00");
    box.clock.step(-7200);
    time_check_power();
    EXPECT_FALSE(asleep());
    box.clock.step(3 * 3600);
    time_check_power();
    EXPECT_TRUE(asleep());
    box.clock.step(9 * 3600);
    time_check_power();
    EXPECT_FALSE(asleep());
}

TEST_F(PowerClock, AStepBackInsideThePeriodSamplesAtOnce)
{
    evening("1");
    box.network.clear_neighbours();
    tick_from("2026-03-03 02:00:00", 100);
    box.clock.set("2026-03-03 01:00:00");
    expect_asleep_after(81);
}
