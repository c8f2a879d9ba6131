// The clock, daily windows, the bounded random delay, and the schedule texts that two modules read.
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_schedule.h"

using testing::IsEmpty;

namespace
{

constexpr char LAN_COUNTER[] = "/sys/class/net/br0/statistics/tx_bytes";

using Clock = RouterTest;

class Window : public RouterTest
{
protected:
    // The window answers 1 at the times of day in `inside_times` and 0 at those in `outside_times`.
    void expect_window(uint32_t start, uint32_t end, const Lines &inside_times, const Lines &outside_times)
    {
        for (const int32_t inside : {1, 0})
            for (const std::string &time_of_day : inside == 1 ? inside_times : outside_times) {
                box.clock.set("2026-03-04 " + time_of_day);
                EXPECT_EQ(time_check_in_time_check(start, end), inside) << time_of_day;
            }
    }
};

class SleepRand : public RouterTest
{
protected:
    uint32_t drawn_at(const std::string &counter)
    {
        box.files.set(LAN_COUNTER, counter);
        return time_check_get_sleep_rand();
    }

    // What each of these counters gives.
    void expect_drawn(const std::vector<std::pair<std::string, uint32_t>> &drawn_from)
    {
        for (const auto &[counter, drawn] : drawn_from)
            EXPECT_EQ(drawn_at(counter), drawn) << counter;
    }
};

// ---- reading the clock ----

TEST_F(Clock, SnapshotIsTheLocalTimeWithTheLibrarysMeanings)
{
    box.local_time.set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
    box.clock.set("2026-07-09 13:14:15");
    time_check_clock clock = {};
    time_t now = 0;
    EXPECT_EQ(time_check_get_now_time(&clock, &now), 1);
    EXPECT_EQ(now, 1783595655); // 11:14:15 UTC
    EXPECT_EQ(clock.tm_sec, 15);
    EXPECT_EQ(clock.tm_min, 14);
    EXPECT_EQ(clock.tm_hour, 13);
    EXPECT_EQ(clock.tm_mday, 9);
    EXPECT_EQ(clock.tm_mon, 6);
    EXPECT_EQ(clock.tm_year, 126);
}

TEST_F(Clock, RunTimeIsTheUptimeSignExtended)
{
    uint64_t run_time = 0;
    box.clock.set_uptime(12600);
    EXPECT_EQ(time_check_get_run_time(&run_time), 1);
    EXPECT_EQ(run_time, 12600U);
    box.clock.set_uptime(-1);
    EXPECT_EQ(time_check_get_run_time(&run_time), 1);
    EXPECT_EQ(run_time, 0xffffffffffffffffULL);
}

TEST_F(Clock, AMomentHoldsWhatWasReadAlone)
{
    box.local_time.set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
    box.clock.set("2026-07-09 13:14:15");
    box.clock.set_uptime(12600);
    moment now = {};
    moment_read_uptime(&now);
    EXPECT_EQ(now.uptime_s, 12600U);
    EXPECT_EQ(now.calendar, 0);
    EXPECT_FALSE(moment_clock_is_set(&now));

    moment_read_clock(&now);
    EXPECT_EQ(now.calendar, 1783595655); // 11:14:15 UTC
    EXPECT_EQ(now.local.tm_hour, 13);
    EXPECT_EQ(now.local.tm_wday, 4);
    EXPECT_EQ(moment_time_of_day(&now), 13 * 3600U + 14 * 60 + 15);
    EXPECT_TRUE(moment_clock_is_set(&now));
    moment_set_clock(&now, 1783595656);
    EXPECT_EQ(now.local.tm_sec, 16);
}

TEST_F(Clock, IsSetFrom2001On)
{
    time_check_clock clock = {};
    for (const auto &[local, set] : {std::pair("1970-01-01 00:00:00", false), std::pair("2000-12-31 23:59:59", false),
                                     std::pair("2001-01-01 00:00:00", true), std::pair("2038-01-19 03:14:08", true),
                                     std::pair("2106-02-07 06:28:16", true)}) {
        time_t now = 0;
        box.clock.set(local);
        time_check_get_now_time(&clock, &now);
        EXPECT_EQ(time_check_clock_is_set(&clock), set) << local;
    }
}

TEST_F(Clock, TimeOfDayIsSecondsSinceLocalMidnight)
{
    const time_check_clock midnight = {0, 0, 0, 1, 0, 126};
    EXPECT_EQ(time_check_time_of_day(&midnight), 0U);
    const time_check_clock last = {59, 59, 23, 1, 0, 126};
    EXPECT_EQ(time_check_time_of_day(&last), 86399U);
    const time_check_clock some = {3, 2, 1, 1, 0, 126};
    EXPECT_EQ(time_check_time_of_day(&some), 3723U);
}

TEST_F(Clock, SecondsApartDoNotMindTheOrder)
{
    EXPECT_EQ(time_check_seconds_apart(5, 3), 2U);
    EXPECT_EQ(time_check_seconds_apart(3, 5), 2U);
    EXPECT_EQ(time_check_seconds_apart(3, 3), 0U);
    EXPECT_EQ(time_check_seconds_apart(0xffffffff, 0), 0xffffffffU);
}

// ---- windows ----

TEST_F(Window, InsideADayIncludesBothEnds)
{
    expect_window(7200, 19800, {"02:00:00", "03:00:00", "05:30:00"}, {"01:59:59", "05:30:01", "00:00:00", "23:59:59"});
}

TEST_F(Window, PastMidnightIncludesBothEnds)
{
    expect_window(79200, 21600, {"22:00:00", "23:00:00", "00:00:00", "03:00:00", "06:00:00"},
                  {"21:59:59", "06:00:01", "12:00:00"});
}

TEST_F(Window, OfOneMomentLastsASecond)
{
    expect_window(10800, 10800, {"03:00:00"}, {"02:59:59", "03:00:01"});
}

TEST_F(Window, OfTheWholeDayIsAlwaysOpen)
{
    expect_window(0, 86399, {"00:00:00", "23:59:59"}, {});
}

TEST_F(Window, PastMidnightIsClosedOnlyBetweenEndAndStart)
{
    expect_window(43202, 43200, {"12:00:00", "12:00:02"}, {"12:00:01"});
}

TEST_F(Window, BeyondTheDayNeverOpens)
{
    expect_window(90000, 93600, {}, {"23:59:59", "01:00:00"});
}

TEST_F(Window, FollowsTheLocalTimeOfItsZone)
{
    box.local_time.set_zone("EST5EDT,M3.2.0,M11.1.0");
    // 02:00 local is 07:00 UTC, not the reverse.
    expect_window(7200, 19800, {"02:00:00"}, {"07:00:00"});
}

// ---- the random delay ----

TEST_F(SleepRand, IsTheLanCounterModulo600)
{
    expect_drawn({{"123456\n", 456U}, {"0\n", 0U}, {"599\n", 599U}, {"600\n", 0U}, {"2147483647\n", 247U}});
}

TEST_F(SleepRand, ACounterOfOneCharacterCounts)
{
    EXPECT_EQ(drawn_at("7"), 7U);
}

TEST_F(SleepRand, ALargeCounterSaturates)
{
    expect_drawn({{"2147483648\n", 247U}, {"18446744073709551615\n", 247U}});
}

TEST_F(SleepRand, AnEmptyOrStrangeCounterIsZero)
{
    expect_drawn({{"", 0U}, {"none\n", 0U}});
}

TEST_F(SleepRand, AnUnreadableCounterIsZero)
{
    box.files.set(LAN_COUNTER, "123456\n");
    box.faults.fail("read", 1, 5);
    EXPECT_EQ(time_check_get_sleep_rand(), 0U);
}

TEST_F(SleepRand, ATextLongerThanItsBufferIsCut)
{
    EXPECT_EQ(drawn_at(std::string(62, ' ') + "1234567"), 12U); // the 64th character is the last one read
}

TEST_F(SleepRand, WithoutACounterItIsARandomNumberSeededWithTheClock)
{
    box.files.remove(LAN_COUNTER);
    box.files.set_missing(LAN_COUNTER);
    for (const time_t now : {1767268800, 1767268801, 1800000000}) {
        box.clock.set(now);
        srand(static_cast<unsigned>(now));
        const unsigned expected = static_cast<unsigned>(rand()) % 600;
        EXPECT_EQ(time_check_get_sleep_rand(), expected);
        EXPECT_LT(expected, 600U);
    }
}

TEST_F(SleepRand, WithACounterNoGeneratorIsSeeded)
{
    srand(5);
    const int next = rand();
    srand(5);
    drawn_at("123456\n");
    EXPECT_EQ(rand(), next);
}

TEST_F(SleepRand, LeavesTheCounterClosed)
{
    drawn_at("123456\n");
    EXPECT_THAT(box.open_descriptors(), IsEmpty());
}

// ---- schedule texts ----

uint32_t two_oclock(const char *text)
{
    return time_check_parse_time_of_day(text, 2, 0);
}

TEST(TimeOfDayText, IsHoursAndMinutesAroundTheFirstColon)
{
    EXPECT_EQ(two_oclock("03:30"), 12600U);
    EXPECT_EQ(two_oclock("3:5"), 11100U);
    EXPECT_EQ(two_oclock("00:00"), 0U);
    EXPECT_EQ(two_oclock("23:59"), 86340U);
    EXPECT_EQ(two_oclock("03:30:59"), 12600U);
    EXPECT_EQ(two_oclock("03: 30"), 12600U);
}

TEST(TimeOfDayText, WithoutTwoPartsIsTheDefault)
{
    for (const char *text : {"", "3", "0330", ":", ":30", "03:", "03: ", "03:\t"})
        EXPECT_EQ(two_oclock(text), 7200U) << text;
    EXPECT_EQ(time_check_parse_time_of_day("", 5, 30), 19800U);
}

TEST(TimeOfDayText, PartsAreDecimalNumbersWithoutARange)
{
    EXPECT_EQ(two_oclock("25:99"), 95940U);
    EXPECT_EQ(two_oclock("x:y"), 0U);
    EXPECT_EQ(two_oclock("0x3:30"), 1800U);
}

// The seven switches that each list gives, Sunday's first: "1;0;1" gives "1010000".
void expect_days(const std::vector<std::pair<const char *, std::string>> &lists)
{
    for (const auto &[list, expected] : lists) {
        uint32_t wday_en[7] = {9, 9, 9, 9, 9, 9, 9};
        time_check_parse_wday(list, wday_en);
        std::string days;
        for (const uint32_t day : wday_en)
            days += std::to_string(day);
        EXPECT_EQ(days, expected) << list;
    }
}

TEST(DayList, GivesTheSevenSwitchesInOrder)
{
    expect_days({{"1;0;1;0;1;0;1", "1010101"}, {"0;1;2;3;4;5;6", "0123456"}});
}

TEST(DayList, MissingDaysAreZero)
{
    expect_days({{"", "0000000"}, {"1", "1000000"}, {"1;1;1", "1110000"}, {"1;1;1;", "1110000"}});
}

TEST(DayList, AnEmptyDayEndsTheList)
{
    expect_days({{"1;;1;1", "1000000"}, {";1;1", "0000000"}});
}

// The list is six texts that end at a ";" and a last one that is a word.
TEST(DayList, BlanksAreSkippedBeforeTheSeventhDayAlone)
{
    expect_days({{"1;1;1;1;1;1; 1", "1111111"},
                 {"1;1;1;1;1;1; \t\n 10", "1111111"},
                 {" 1;1; 1;1;1; 1;1", "0101101"},
                 {"1;1;1;1;1;1; ", "1111110"},
                 {"1;1;1;1;1;1; ;1", "1111110"}});
}

TEST(DayList, TheFirstCharacterOfALongDayCounts)
{
    expect_days({{"10;01;1x;11;1;1;1garbage", "1011111"}, {"1;1;1;1;1;1;1;0;0", "1111111"}, {"x;1", "0100000"}});
}

} // namespace
