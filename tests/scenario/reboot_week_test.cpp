// Weeks of the scheduled reboot, the whole daemon in virtual time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/reboot_world.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class RebootWeek : public RebootDays
{
protected:
    // Every reboot came at two o'clock and the offset that the up-time at two o'clock draws, `later` seconds on.
    void expect_daily_reboots_at_the_offset(int later)
    {
        const auto seen = reboots();
        ASSERT_EQ(seen.size(), 7U);
        for (size_t i = 0; i < seen.size(); i++) {
            const int after_two = seconds_of(seen[i].time) - 7200 - later;
            EXPECT_EQ(seen[i].day, "2026-03-0" + std::to_string(i + 2));
            EXPECT_EQ(after_two, offset_at(seen[i].uptime - later - after_two)) << seen[i].time;
            EXPECT_GE(after_two, 0);
            EXPECT_LE(after_two, 8995);
        }
        EXPECT_EQ(box.restarts(), 7U);
    }

    // A router that starts at the one local time does not restart until the other.
    void expect_no_reboot(const std::string &from, const std::string &until)
    {
        start_at(from);
        box.run_until(until);
        EXPECT_EQ(box.restarts(), 0U);
    }
};

TEST_F(RebootWeek, TheFactoryScheduleRebootsOnceADayAtTwoPlusTheOffset)
{
    schedule(0);
    start_at("2026-03-01 12:00:00");
    box.run_until("2026-03-08 12:00:00");
    expect_daily_reboots_at_the_offset(0);
}

TEST_F(RebootWeek, AUsersTimeRebootsOnceADayAtThatSecond)
{
    schedule(0, "03:30", "04:00");
    start_at("2026-03-01 12:00:00");
    box.run_until("2026-03-08 12:00:00");
    EXPECT_THAT(reboot_times(),
                ElementsAre("2026-03-02 03:30:00", "2026-03-03 03:30:00", "2026-03-04 03:30:00", "2026-03-05 03:30:00",
                            "2026-03-06 03:30:00", "2026-03-07 03:30:00", "2026-03-08 03:30:00"));
}

TEST_F(RebootWeek, AQuietClientIsRebootedHalfAnHourAndTheDelayAfterTheOffset)
{
    schedule(1);
    start_at("2026-03-01 12:00:00");
    for (int day = 0; day < 7; day++)
        box.at(day * 86400.0 + 13 * 3600, [this] { quiet_client(123456); });
    box.run_until("2026-03-08 12:00:00");
    // The 1801st sample, then the first second that is more than 456 later.
    expect_daily_reboots_at_the_offset(1800 + 457);
}

TEST_F(RebootWeek, WithoutAClientItIsThreeMinutesAfterTheOffset)
{
    schedule(1);
    start_at("2026-03-01 12:00:00");
    box.run_until("2026-03-08 12:00:00");
    expect_daily_reboots_at_the_offset(180);
}

TEST_F(RebootWeek, AClientThatNeverFallsQuietIsNeverRebooted)
{
    schedule(1, "03:00", "05:30");
    start_at("2026-03-01 12:00:00");
    client_comes();
    uint64_t received = 0;
    std::function<void()> traffic = [&] {
        received += 5000;
        box.network.set_host("192.168.0.7", 0, received);
        box.at(1, traffic);
    };
    box.at(0.5, traffic);
    box.log.keep(false);
    box.run_until("2026-03-03 12:00:00");
    EXPECT_THAT(reboot_times(), IsEmpty());
}

TEST_F(RebootWeek, ADisabledScheduleNeverReboots)
{
    schedule(0);
    box.store.set("sys.schedulereboot.enable", "0");
    expect_no_reboot("2026-03-01 12:00:00", "2026-03-08 12:00:00");
}

TEST_F(RebootWeek, AWindowPastMidnightNeverReboots)
{
    schedule(0, "23:00", "01:00");
    expect_no_reboot("2026-03-01 12:00:00", "2026-03-08 12:00:00");
}

TEST_F(RebootWeek, AQuietWindowPastMidnightNeverReboots)
{
    schedule(1, "23:00", "01:00");
    expect_no_reboot("2026-03-01 12:00:00", "2026-03-08 12:00:00");
}

TEST_F(RebootWeek, AnUnsetClockNeverReboots)
{
    schedule(0, "03:00", "05:30");
    expect_no_reboot("1970-01-01 00:00:00", "1970-01-08 12:00:00");
}

TEST_F(RebootWeek, AClockThatIsSetInsideTheWindowRebootsAtOnce)
{
    schedule(0, "03:00", "05:30");
    start_at("1970-01-01 00:00:00");
    box.run(4 * 3600);
    box.at(0.5, [] { box.clock.set("2026-03-04 04:00:00"); });
    box.run(3);
    ASSERT_EQ(reboots().size(), 1U);
    EXPECT_EQ(reboots()[0].day, "2026-03-04");
}

TEST_F(RebootWeek, ARouterBootedInsideTheWindowWaitsForTheNextDay)
{
    schedule(0, "02:00", "05:30");
    start_at("2026-03-02 02:10:00");
    box.run_until("2026-03-02 23:59:59");
    EXPECT_EQ(box.restarts(), 0U);
    box.run_until("2026-03-03 12:00:00");
    EXPECT_EQ(box.restarts(), 1U);
}

TEST_F(RebootWeek, ARebootThatComesBackIsTriedEverySecondUntilTheWindowEnds)
{
    schedule(0, "03:00", "03:01");
    box.reboot_returns = true;
    start_at("2026-03-01 12:00:00");
    box.run_until("2026-03-02 12:00:00");
    EXPECT_EQ(reboots().size(), 61U);
    EXPECT_EQ(box.restarts(), 0U);
}

TEST_F(RebootWeek, TheCalendarsOddDaysAreLikeAnyOther)
{
    schedule(0, "03:00", "05:30");
    start_at("2038-01-17 12:00:00"); // signed 32 bits end on the 19th at 03:14:07
    box.run_until("2038-01-20 12:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2038-01-18 03:00:00", "2038-01-19 03:00:00", "2038-01-20 03:00:00"));
    box.journal.clear();
    box.clock.set("2106-02-05 12:00:00"); // 32 bits end on the 7th at 06:28:16
    box.run_until("2106-02-08 12:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2106-02-06 03:00:00", "2106-02-07 03:00:00", "2106-02-08 03:00:00"));
    box.journal.clear();
    box.clock.set("2028-02-28 12:00:00");
    box.run_until("2028-03-01 12:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2028-02-29 03:00:00", "2028-03-01 03:00:00"));
}

TEST_F(RebootWeek, AQuietNightAcrossTheEndOf32BitsIsLikeAnyOther)
{
    schedule(1, "06:00", "08:00");
    start_at("2106-02-06 12:00:00");
    box.at(3600, [this] { quiet_client(60); });
    box.run_until("2106-02-07 12:00:00"); // 32 bits end in the middle of the count
    EXPECT_THAT(reboot_times(), ElementsAre("2106-02-07 06:31:01"));
}

} // namespace
