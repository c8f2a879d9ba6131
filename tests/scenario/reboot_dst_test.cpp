// The nights on which the clocks change. What happens follows from two rules: the window is one of local time, and the
// router must have been up for the window's width.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/reboot_world.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr char BERLIN[] = "CET-1CEST,M3.5.0,M10.5.0/3"; // 02:00 becomes 03:00, 03:00 becomes 02:00
constexpr char NEW_YORK[] = "EST5EDT,M3.2.0,M11.1.0";   // 02:00 becomes 03:00, 02:00 becomes 01:00

class RebootDst : public RebootDays
{
protected:
    // From one local time of the zone to another, up for so many seconds at the first.
    void run_in(const char *zone, const std::string &from, const std::string &until, int uptime = 0)
    {
        box.local_time.set_zone(zone);
        start_at(from, uptime);
        box.run_until(until);
    }

    // The day from half past one on, with the factory's window; half an hour later the router has been up for `uptime`.
    void run_factory_night(const char *zone, const std::string &day, int uptime)
    {
        schedule(0);
        run_in(zone, day + " 01:30:00", day + " 23:00:00", uptime - 1800);
    }
};

// ---- the night without the hour from two to three ----

TEST_F(RebootDst, BerlinSpringOpensTheFactoryWindowAtThree)
{
    // The offset at three o'clock leads past three.
    const int uptime = uptime_with_offset(3605, 8995);
    run_factory_night(BERLIN, "2026-03-29", uptime);
    const auto seen = reboots();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seconds_of(seen[0].time), 7200 + offset_at(uptime));
}

TEST_F(RebootDst, BerlinSpringRebootsJustAfterThreeWhenTheOffsetLiesInTheMissingHour)
{
    const int uptime = uptime_with_offset(5, 3600);
    run_factory_night(BERLIN, "2026-03-29", uptime);
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-29 03:00:01"));
}

TEST_F(RebootDst, NewYorkSpringRebootsJustAfterThreeWhenTheOffsetLiesInTheMissingHour)
{
    const int uptime = uptime_with_offset(5, 3600);
    run_factory_night(NEW_YORK, "2026-03-08", uptime);
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-08 03:00:01"));
}

TEST_F(RebootDst, AUsersTimeInTheMissingHourRebootsAtThree)
{
    schedule(0, "02:30", "05:30");
    run_in(BERLIN, "2026-03-28 12:00:00", "2026-03-30 12:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-29 03:00:00", "2026-03-30 02:30:00"));
}

TEST_F(RebootDst, AWindowInsideTheMissingHourIsSkippedThatNight)
{
    schedule(0, "02:15", "02:45");
    run_in(NEW_YORK, "2026-03-07 12:00:00", "2026-03-09 12:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-09 02:15:00"));
}

// ---- the night with an hour twice ----

TEST_F(RebootDst, NewYorkAutumnRebootsOnceInTheFactoryWindow)
{
    schedule(0);
    run_in(NEW_YORK, "2026-10-31 12:00:00", "2026-11-01 23:00:00");
    const auto seen = reboots();
    ASSERT_EQ(seen.size(), 1U); // the hour that comes twice ends at two
    const int after_two = seconds_of(seen[0].time) - 7200;
    EXPECT_EQ(after_two, offset_at(seen[0].uptime - after_two));
}

TEST_F(RebootDst, BerlinAutumnRebootsTwiceWhenTheWidthFitsBeforeTheEnd)
{
    // The window lasts four hours that night, so a router that rebooted at its start is up for its width of three
    // hours before it ends.
    schedule(0, "02:30", "05:30");
    box.restart_takes(20);
    run_in(BERLIN, "2026-10-24 12:00:00", "2026-10-25 23:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2026-10-25 02:30:00", "2026-10-25 04:30:20"));
}

TEST_F(RebootDst, NewYorkAutumnRebootsTwiceInAWindowInTheHourThatComesTwice)
{
    schedule(0, "01:15", "01:45");
    run_in(NEW_YORK, "2026-10-31 12:00:00", "2026-11-01 23:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2026-11-01 01:15:00", "2026-11-01 01:15:00"));
    ASSERT_EQ(reboots().size(), 2U);
    EXPECT_EQ(reboots()[1].uptime, 3580); // an hour later, less the restart
}

TEST_F(RebootDst, BerlinAutumnRebootsOnceInTheFactoryWindowWhenTheOffsetLeadsPastTheChange)
{
    const int uptime = uptime_with_offset(3605, 8995);
    run_factory_night(BERLIN, "2026-10-25", uptime);
    ASSERT_EQ(reboots().size(), 1U);
    EXPECT_EQ(seconds_of(reboots()[0].time), 7200 + offset_at(uptime));
}

TEST_F(RebootDst, BerlinAutumnRebootsTwiceInTheFactoryWindowWhenTheOffsetLiesBeforeTheChange)
{
    // Up again 20 s after the first reboot and for three and a half hours, the router finds the window still open. One
    // tick draws the new daemon's offset, whose start has passed; the next one reboots.
    const int uptime = uptime_with_offset(5, 3500);
    run_factory_night(BERLIN, "2026-10-25", uptime);
    ASSERT_EQ(reboots().size(), 2U);
    EXPECT_EQ(seconds_of(reboots()[0].time), 7200 + offset_at(uptime));
    EXPECT_EQ(seconds_of(reboots()[1].time), 7200 + offset_at(uptime) + 20 + 12600 - 3600 + 1);
    EXPECT_EQ(reboots()[1].uptime, 12601);
}

TEST_F(RebootDst, TheDaysAroundAChangeHaveOneRebootEach)
{
    schedule(0, "04:00", "05:30"); // clear of the change
    run_in(BERLIN, "2026-03-27 12:00:00", "2026-03-30 12:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-28 04:00:00", "2026-03-29 04:00:00", "2026-03-30 04:00:00"));
    box.journal.clear();
    box.clock.set("2026-10-23 12:00:00");
    box.run_until("2026-10-26 12:00:00");
    EXPECT_THAT(reboot_times(), ElementsAre("2026-10-24 04:00:00", "2026-10-25 04:00:00", "2026-10-26 04:00:00"));
}

} // namespace
