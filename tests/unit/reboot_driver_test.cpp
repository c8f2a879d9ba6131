// The scheduled reboot's tick and its two daily drivers, one tick a call.
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/sim/wrap.h"
#include "tests/support/router_test.h"
#include "time_check/time_check.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_module.h"
#include "time_check/time_check_reboot.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace
{

class RebootDriver : public RouterTest
{
protected:
    // A schedule in use; the router is up for long enough for any window.
    void schedule(int type, const std::string &start, const std::string &end)
    {
        configure({{"sys.schedulereboot.enable", "1"},
                   {"sys.schedulereboot.type", std::to_string(type)},
                   {"sys.schedulereboot.start_time", start},
                   {"sys.schedulereboot.end_time", end}});
        box.clock.set_uptime(400000);
        start_daemon();
    }

    // Starts the daemon's modules afresh, without its loop.
    void start_daemon()
    {
        init_time_check_module_entries();
        box.log.clear();
        box.journal.clear();
    }

    // One tick at this local time of day of 2026-03-04.
    void tick_at(const std::string &time_of_day)
    {
        box.clock.set("2026-03-04 " + time_of_day);
        tick();
    }

    static void tick()
    {
        EXPECT_EQ(time_check_reboot(), 1);
    }

    size_t reboots() const
    {
        return times("reboot");
    }
};

// ---- which driver ----

TEST_F(RebootDriver, ADisabledScheduleDoesNothing)
{
    for (const int type : {0, 1, 5}) {
        schedule(type, "03:00", "05:30");
        box.store.set("sys.schedulereboot.enable", "0");
        set_time_check_reboot_info();
        box.log.clear();
        tick_at("03:00:00");
        EXPECT_THAT(box.log.lines(), IsEmpty());
        EXPECT_THAT(box.journal.lines(), IsEmpty());
    }
}

TEST_F(RebootDriver, AnyOtherSwitchThanZeroEnables)
{
    schedule(0, "03:00", "05:30");
    box.store.set("sys.schedulereboot.enable", "7");
    set_time_check_reboot_info();
    tick_at("03:00:00");
    EXPECT_ACTS("reboot");
}

TEST_F(RebootDriver, OneDayTypesDoNothing)
{
    for (const int type : {2, 3}) {
        schedule(type, "03:00", "05:30");
        tick_at("03:00:00");
        EXPECT_THAT(box.log.lines(), IsEmpty());
        EXPECT_THAT(box.journal.lines(), IsEmpty());
    }
}

TEST_F(RebootDriver, AnyOtherTypeIsALineEveryTick)
{
    schedule(5, "03:00", "05:30");
    tick_at("03:00:00");
    tick_at("12:00:00"); // whatever the time
    box.clock.set_uptime(0);
    box.clock.set(0);
    tick();
    EXPECT_THAT(box.log.bodies(), ElementsAre("TIME_CHECK_REBOOT_STRUCT.type = 5 to be added...",
                                              "TIME_CHECK_REBOOT_STRUCT.type = 5 to be added...",
                                              "TIME_CHECK_REBOOT_STRUCT.type = 5 to be added..."));
    EXPECT_THAT(box.log.lines().front(),
                MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>time_check_reboot\\([0-9]+\\)\\]:\033\\[mTIME_CHECK.*"));
    EXPECT_THAT(box.journal.lines(), IsEmpty());

    schedule(-1, "03:00", "05:30");
    tick();
    EXPECT_BODIES("TIME_CHECK_REBOOT_STRUCT.type = -1 to be added...");
}

TEST_F(RebootDriver, TheDaySwitchesAreNotAsked)
{
    schedule(0, "03:00", "05:30");
    box.store.set("sys.schedulereboot.wday", "0;0;0;0;0;0;0");
    set_time_check_reboot_info();
    tick_at("03:00:00");
    EXPECT_ACTS("reboot");
}

// ---- the guards, which both drivers share ----

std::string driver_name(const testing::TestParamInfo<int> &type)
{
    return type.param == 0 ? "EachDay" : "EachDayFlow";
}

class RebootGuard : public RebootDriver, public testing::WithParamInterface<int>
{
protected:
    // Whether the driver acts in this tick: each-day reboots, the other one takes a sample, which a probe of the
    // neighbour table shows.
    bool acts()
    {
        box.journal.clear();
        const uint64_t opened = box.faults.made("open");
        tick();
        return GetParam() == 0 ? reboots() == 1 : box.faults.made("open") > opened;
    }
};

INSTANTIATE_TEST_SUITE_P(BothDrivers, RebootGuard, testing::Values(0, 1), driver_name);

TEST_P(RebootGuard, TheRouterMustBeUpForTheWidthOfTheWindow)
{
    schedule(GetParam(), "03:00", "05:30");
    box.clock.set("2026-03-04 04:00:00");
    box.clock.set_uptime(0);
    EXPECT_FALSE(acts());
    box.clock.set_uptime(8999);
    EXPECT_FALSE(acts());
    box.clock.set_uptime(9000);
    EXPECT_TRUE(acts());
}

TEST_P(RebootGuard, ARouterBootedInsideTheWindowWaitsItOut)
{
    schedule(GetParam(), "", "");
    box.clock.set("2026-03-04 02:20:00");
    box.clock.set_uptime(600);
    EXPECT_FALSE(acts());
    EXPECT_THAT(box.log.lines(), IsEmpty()); // no offset either
}

TEST_P(RebootGuard, AWindowPastMidnightNeverOpens)
{
    schedule(GetParam(), "23:00", "01:00");
    box.clock.set_uptime(0x7fffffff);
    for (const char *time : {"22:59:59", "23:00:00", "23:30:00", "00:00:00", "01:00:00"}) {
        box.clock.set(std::string("2026-03-04 ") + time);
        EXPECT_FALSE(acts()) << time;
    }
}

TEST_P(RebootGuard, TheDebugSwitchOpensAWindowPastMidnight)
{
    schedule(GetParam(), "23:00", "01:00");
    debug_tag = 1;
    box.clock.set("2026-03-04 22:59:59");
    EXPECT_FALSE(acts());
    box.clock.set("2026-03-04 23:00:00");
    EXPECT_TRUE(acts());
    box.clock.set("2026-03-05 01:00:00");
    EXPECT_TRUE(acts());
    box.clock.set("2026-03-05 01:00:01");
    EXPECT_FALSE(acts());
}

TEST_P(RebootGuard, TheDebugSwitchLiftsTheUptimeGuard)
{
    schedule(GetParam(), "03:00", "05:30");
    box.clock.set_uptime(1);
    box.clock.set("2026-03-04 04:00:00");
    debug_tag = 1;
    EXPECT_TRUE(acts());
}

TEST_P(RebootGuard, OnlyTheMasterSwitchLiftsTheGuards)
{
    schedule(GetParam(), "03:00", "05:30");
    box.clock.set_uptime(1);
    box.clock.set("2026-03-04 04:00:00");
    _DEBUG_LIST_[1] = 1;
    EXPECT_FALSE(acts());
}

TEST_P(RebootGuard, AnUnsetClockKeepsEverythingStill)
{
    schedule(GetParam(), "03:00", "05:30");
    box.clock.set("1970-01-01 03:00:00");
    EXPECT_FALSE(acts());
    box.clock.set("2000-12-31 04:00:00");
    EXPECT_FALSE(acts());
    box.clock.set("2001-01-01 03:00:00");
    EXPECT_TRUE(acts());
}

TEST_P(RebootGuard, TheDebugSwitchLiftsTheClockGuard)
{
    schedule(GetParam(), "03:00", "05:30");
    box.clock.set("1970-01-01 04:00:00");
    debug_tag = 1;
    EXPECT_TRUE(acts());
}

TEST_P(RebootGuard, TheClockGuardGoesByTheLocalYear)
{
    schedule(GetParam(), "03:00", "23:59");
    box.local_time.set_zone("EAST-12"); // twelve hours ahead
    sim_sleep(1);                       // in which the ground follows it
    box.clock.set("2001-01-01 06:00:00");
    EXPECT_TRUE(acts());
    box.local_time.set_zone("WEST12");
    sim_sleep(1);         // in which the ground follows it
    EXPECT_FALSE(acts()); // the same moment is still 2000 there
}

TEST_P(RebootGuard, BothEndsOfTheWindowAreInside)
{
    schedule(GetParam(), "03:00", "05:30");
    const std::pair<const char *, bool> moments[] = {
        {"02:59:59", false}, {"03:00:00", true}, {"05:30:00", true}, {"05:30:01", false}};
    for (const auto &[time, inside] : moments) {
        box.clock.set(std::string("2026-03-04 ") + time);
        EXPECT_EQ(acts(), inside) << time;
    }
}

TEST_P(RebootGuard, OutsideTheWindowTheCountsAreZero)
{
    schedule(GetParam(), "03:00", "05:30");
    for (int i = 1; i <= 180; i++)
        flow_check_forword_reboot(1);
    tick_at("05:30:01");
    flow_check_forword_reboot(1); // without the tick the 181st without a client
    EXPECT_THAT(box.journal.lines(), IsEmpty());

    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    for (int i = 1; i <= 1800; i++)
        flow_check_forword_reboot(1);
    tick_at("05:30:01");
    EXPECT_EQ(flow_check_forword_reboot(1), 0);
}

TEST_P(RebootGuard, BehindAGuardTheCountsStay)
{
    schedule(GetParam(), "03:00", "05:30");
    for (int i = 1; i <= 180; i++)
        flow_check_forword_reboot(1);
    box.clock.set_uptime(1);
    tick_at("12:00:00");
    EXPECT_EQ(flow_check_forword_reboot(1), 1);
}

// ---- the random offset ----

class RebootOffset : public RebootGuard
{
protected:
    // Seconds that the offset adds at this up-time, drawn as the device draws them.
    static unsigned offset_at(int uptime)
    {
        srandom(static_cast<unsigned>(uptime));
        return static_cast<unsigned>(random()) % 1800 * 5;
    }

    static std::string time_text(unsigned seconds)
    {
        char text[16];
        snprintf(text, sizeof text, "%02u:%02u:%02u", seconds / 3600, seconds / 60 % 60, seconds % 60);
        return text;
    }
};

INSTANTIATE_TEST_SUITE_P(BothDrivers, RebootOffset, testing::Values(0, 1), driver_name);

TEST_P(RebootOffset, TheFactoryStartMovesOnceAndNothingElseHappensInThatTick)
{
    schedule(GetParam(), "02:00", "05:30");
    box.clock.set("2026-03-04 01:59:59");
    EXPECT_FALSE(acts());
    EXPECT_THAT(box.log.lines(), IsEmpty());

    box.clock.set("2026-03-04 02:00:00");
    box.clock.set_uptime(54321);
    const unsigned start = 7200 + offset_at(54321);
    EXPECT_FALSE(acts());
    EXPECT_THAT(
        box.log.lines(),
        ElementsAre(MatchesRegex(std::string("\\[") +
                                 (GetParam() == 0 ? "time_check_reboot_each_day" : "time_check_reboot_each_day_flow") +
                                 "\\]\\[[0-9]+\\]start_time\\+offset_time:" + time_text(start))));

    ASSERT_GT(start, 7201U); // else this up-time is a poor choice
    box.clock.set("2026-03-04 " + time_text(start - 1));
    EXPECT_FALSE(acts());
    box.clock.set("2026-03-04 " + time_text(start));
    EXPECT_TRUE(acts());
}

TEST_P(RebootOffset, IsWithinTwoAndAHalfHoursInStepsOfFiveSeconds)
{
    schedule(GetParam(), "02:00", "05:30");
    unsigned smallest = 100000;
    unsigned largest = 0;
    for (int uptime = 12600; uptime < 13600; uptime++) {
        box.clock.set("2026-03-04 02:00:00");
        box.clock.set_uptime(uptime);
        start_daemon(); // which owes the offset again
        tick();
        unsigned hour = 0;
        unsigned minute = 0;
        unsigned second = 0;
        const std::string line = box.log.lines().back();
        const size_t colon = line.find(':');
        ASSERT_EQ(sscanf(line.c_str() + colon + 1, "%u:%u:%u", &hour, &minute, &second), 3) << line;
        const unsigned offset = hour * 3600 + minute * 60 + second - 7200;
        ASSERT_EQ(offset, offset_at(uptime));
        ASSERT_LE(offset, 8995U);
        ASSERT_EQ(offset % 5, 0U);
        smallest = std::min(smallest, offset);
        largest = std::max(largest, offset);
    }
    EXPECT_LT(smallest, 100U);
    EXPECT_GT(largest, 8900U);
}

TEST_P(RebootOffset, AnEmptyStartTimeIsTheFactorys)
{
    schedule(GetParam(), "", "");
    box.clock.set("2026-03-04 02:00:00");
    EXPECT_FALSE(acts());
    EXPECT_THAT(box.log.lines(), ElementsAre(HasSubstr("start_time+offset_time:")));
}

TEST_P(RebootOffset, AStartTimeOfTheUsersDoesNotMove)
{
    box.clock.set("2026-03-04 03:00:00");
    for (const char *start : {"03:00", "2:00", "02:30"}) {
        schedule(GetParam(), start, "05:30");
        box.clock.step(1);
        EXPECT_TRUE(acts()) << start;
        EXPECT_FALSE(has_line("start_time+offset_time:")) << start;
    }
}

TEST_P(RebootOffset, IsNotAppliedAgainAfterAReload)
{
    schedule(GetParam(), "02:00", "05:30");
    box.clock.set("2026-03-04 02:00:00");
    tick();
    set_time_check_reboot_info(); // start time 02:00 again
    box.log.clear();
    box.clock.set("2026-03-04 02:00:01");
    EXPECT_TRUE(acts());
    EXPECT_FALSE(has_line("start_time+offset_time:"));
}

TEST_P(RebootOffset, IsStillOwedWhenTheUsersTimeBecomesTheFactorys)
{
    schedule(GetParam(), "03:00", "05:30");
    tick_at("04:00:00");
    box.store.set("sys.schedulereboot.start_time", "02:00");
    set_time_check_reboot_info();
    box.log.clear();
    box.clock.set("2026-03-04 04:00:01");
    EXPECT_FALSE(acts());
    EXPECT_TRUE(has_line("start_time+offset_time:"));
}

TEST_P(RebootOffset, AnOffsetPastTheEndMakesAWindowThatNeverOpens)
{
    // Moved behind its end, the window passes midnight, and its unsigned width is huge.
    schedule(GetParam(), "02:00", "02:00");
    box.clock.set("2026-03-04 02:00:00");
    EXPECT_FALSE(acts());
    EXPECT_TRUE(has_line("start_time+offset_time:"));
    for (const char *time : {"02:00:00", "02:00:01", "03:30:00", "04:29:55", "12:00:00"}) {
        box.clock.set(std::string("2026-03-04 ") + time);
        EXPECT_FALSE(acts()) << time;
    }
}

// ---- each day at the start of the window ----

TEST_F(RebootDriver, EachDayRebootsAtTheStart)
{
    schedule(0, "03:00", "05:30");
    tick_at("02:59:59");
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    tick_at("03:00:00");
    EXPECT_ACTS("reboot");
    EXPECT_THAT(box.log.lines(), IsEmpty());
}

TEST_F(RebootDriver, EachDayTriesAgainEveryTickWhenTheRebootComesBack)
{
    schedule(0, "03:00", "05:30");
    for (const char *time : {"03:00:00", "03:00:01", "05:30:00", "05:30:01"})
        tick_at(time);
    EXPECT_EQ(reboots(), 3U);
}

// ---- each day once the network is quiet ----

class QuietDriver : public RebootDriver
{
protected:
    void SetUp() override
    {
        schedule(1, "03:00", "05:30");
        box.clock.set("2026-03-04 03:00:00");
        box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
        box.network.set_host("192.168.0.7", 1000, 1000);
    }

    // Ticks a second apart.
    void seconds(unsigned n)
    {
        for (unsigned i = 0; i < n; i++) {
            tick();
            box.clock.step(1);
        }
    }

    void sent_by_lan(uint64_t bytes)
    {
        box.network.set_counters("br0", 0, bytes);
    }
};

TEST_F(QuietDriver, The1801stQuietSecondArmsTheDelay)
{
    sent_by_lan(123456);
    seconds(1800);
    EXPECT_THAT(box.log.lines(), IsEmpty());
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    ASSERT_EQ(box.clock.local(), "2026-03-04 03:30:00");
    tick();
    EXPECT_BODIES("now time:03:30", "sleep 456S after to reboot!!");
    EXPECT_ACTS("command date");
    for (const std::string &line : box.log.lines())
        EXPECT_THAT(line, HasSubstr("\033[1;31m[TIMER_CHECK >>time_check_reboot_each_day_flow("));
}

TEST_F(QuietDriver, TheRebootComesWhenMoreThanTheDelayHasPassed)
{
    sent_by_lan(123456);
    seconds(1801);
    box.journal.clear();
    box.clock.set("2026-03-04 03:37:36"); // 456 seconds after the decision
    tick();
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    box.clock.set("2026-03-04 03:37:37");
    tick();
    EXPECT_ACTS("reboot");
}

TEST_F(QuietDriver, WhileArmedNothingElseIsDone)
{
    sent_by_lan(123456);
    seconds(1801);
    box.log.clear();
    box.network.clear_neighbours();
    const uint64_t opened = box.faults.made("open");
    seconds(455);
    EXPECT_EQ(box.faults.made("open"), opened);
    EXPECT_THAT(box.log.lines(), IsEmpty());
}

TEST_F(QuietDriver, WhileArmedTheWindowIsNotConsulted)
{
    sent_by_lan(123456);
    seconds(1801);
    tick_at("05:31:00");
    EXPECT_THAT(box.journal.acts("reboot"), ElementsAre("reboot"));
}

TEST_F(QuietDriver, WhileArmedTheGuardsStillHold)
{
    sent_by_lan(123456);
    seconds(1801);
    box.clock.set_uptime(1);
    tick_at("05:31:00");
    EXPECT_EQ(reboots(), 0U);
}

TEST_F(QuietDriver, AReloadDoesNotDisarm)
{
    sent_by_lan(123456);
    seconds(1801);
    set_time_check_reboot_info();
    tick_at("03:37:37");
    EXPECT_EQ(reboots(), 1U);
}

TEST_F(QuietDriver, ADisabledScheduleHoldsAnArmedReboot)
{
    sent_by_lan(123456);
    seconds(1801);
    box.store.set("sys.schedulereboot.enable", "0");
    set_time_check_reboot_info();
    tick_at("03:37:37");
    EXPECT_EQ(reboots(), 0U);
    box.store.set("sys.schedulereboot.enable", "1");
    set_time_check_reboot_info();
    tick();
    EXPECT_EQ(reboots(), 1U);
}

TEST_F(QuietDriver, ARebootThatComesBackIsTriedAgainEveryTick)
{
    sent_by_lan(123456);
    seconds(1801);
    for (const char *time : {"03:37:37", "03:37:38", "12:00:00"})
        tick_at(time);
    EXPECT_EQ(reboots(), 3U);
}

TEST_F(QuietDriver, ADelayOfZeroIsNotArmedAndTheNextDecisionDrawsAgain)
{
    sent_by_lan(600);
    seconds(1801);
    EXPECT_BODIES("now time:03:30", "sleep 0S after to reboot!!");
    sent_by_lan(601);
    seconds(1800); // sampling went on
    EXPECT_EQ(reboots(), 0U);
    EXPECT_EQ(box.log.bodies().size(), 2U);
    tick();
    EXPECT_BODIES("now time:03:30", "sleep 0S after to reboot!!", "now time:04:00", "sleep 1S after to reboot!!");
}

TEST_F(QuietDriver, OneSampleASecond)
{
    box.network.clear_neighbours();
    for (int i = 0; i < 180; i++) {
        tick();
        tick();
        tick();
        box.clock.step(1);
    }
    EXPECT_EQ(reboots(), 0U); // 180 samples though 540 ticks
    tick();
    EXPECT_EQ(reboots(), 1U);
}

TEST_F(QuietDriver, TheFirstSampleIsAHarmlessBaseline)
{
    box.network.set_host("192.168.0.7", 99999999999, 99999999999);
    tick();
    EXPECT_THAT(box.log.lines(), IsEmpty());
}

TEST_F(QuietDriver, ThePeriodIsTheGapBetweenSamples)
{
    tick();
    box.clock.step(10);
    box.network.set_host("192.168.0.7", 1000, 51000); // 5000 a second
    tick();
    EXPECT_BODIES("num 2:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s !!");
}

TEST_F(QuietDriver, AClockThatStepsBackGivesAGapAllTheSame)
{
    tick_at("03:10:00");
    box.clock.step(-10);
    box.network.set_host("192.168.0.7", 1000, 51000);
    tick();
    EXPECT_BODIES("num 2:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s !!");
}

TEST_F(QuietDriver, ANetworkWithoutClientsRebootsAtOnceAndArmsWhenThatComesBack)
{
    sent_by_lan(123456);
    box.network.clear_neighbours();
    seconds(180);
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    tick();
    EXPECT_ACTS("command date", "reboot", "command date");
    EXPECT_BODIES("now time:03:03", "no client! reboot now!!", "now time:03:03", "sleep 456S after to reboot!!");
    box.journal.clear();
    tick_at("03:10:36");
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    tick_at("03:10:37");
    EXPECT_ACTS("reboot");
}

TEST_F(QuietDriver, WithoutALanCounterTheDelayIsDrawnByAGeneratorSeededWithTheClock)
{
    for (const char *counter : {"rx_bytes", "tx_bytes"}) {
        box.files.remove(std::string("/sys/class/net/br0/statistics/") + counter);
        box.files.set_missing(std::string("/sys/class/net/br0/statistics/") + counter);
    }
    seconds(1800);
    srand(static_cast<unsigned>(box.clock.wall()));
    const int delay = rand() % 600;
    tick();
    EXPECT_THAT(box.log.bodies(), Contains("sleep " + std::to_string(delay) + "S after to reboot!!"));
}

TEST_F(QuietDriver, After2038ItGoesOn)
{
    box.clock.set(2147483647); // 2038-01-19 03:14:07
    sent_by_lan(5);
    seconds(1801);
    EXPECT_THAT(box.log.bodies(), ElementsAre("now time:03:44", "sleep 5S after to reboot!!"));
    box.journal.clear();
    seconds(4); // up to the fifth second after the decision
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    seconds(2);
    EXPECT_THAT(box.journal.acts("reboot"), Each("reboot"));
    EXPECT_EQ(reboots(), 1U);
}

TEST_F(QuietDriver, ADelayThatPassesTheEndOf32BitsIsOverAtOnce)
{
    schedule(1, "03:00", "07:00");
    box.clock.set(4294967200 - 1800); // 2106-02-07 05:56:40
    sent_by_lan(200);
    seconds(1801);
    EXPECT_THAT(box.log.bodies(), ElementsAre("now time:06:26", "sleep 200S after to reboot!!"));
    tick(); // 4294967200 + 200 is 104 in 32 bits
    EXPECT_EQ(reboots(), 1U);
}

} // namespace
