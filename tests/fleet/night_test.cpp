// A fleet's counts: that they hang on the router alone, that they add up, and that nothing of the model's is missed.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <string>

#include "platform/sim/virtual_router.h"
#include "tools/fleet/counts.h"
#include "tools/fleet/night.h"
#include "tools/fleet/profile.h"
#include "tools/fleet/workers.h"

namespace
{

using fleet::counts;
using fleet::profile;
using fleet::sum;

// All of it in the night: started at its beginning, so that no call is made before.
constexpr const char *STARTED_IN_THE_NIGHT = "started 1m 2m\nclock-right 1s 1s\noffline 0\n";

counts night_of(const profile &given, fleet::span routers, uint32_t routers_in_all, uint64_t seed = 1)
{
    counts result = fleet::no_counts(given, "2026-03-02", seed, routers_in_all);
    for (uint32_t number = routers.first; number <= routers.last; number++)
        fleet::add_night(result, given, number);
    result.done = {routers};
    return result;
}

profile profile_of(const std::string &text)
{
    return fleet::parse_profile(text, "the profile");
}

std::string refusal_of(const std::string &text)
{
    try {
        profile_of(text);
    } catch (const fleet::refused &why) {
        return why.what();
    }
    return "";
}

TEST(FleetNight, HangsOnTheNumberAndNotOnWhoWasBefore)
{
    const profile given = profile_of("");
    const std::string alone = fleet::json_of(night_of(given, {.first = 7, .last = 7}, 20));
    night_of(given, {.first = 1, .last = 6}, 20);
    EXPECT_EQ(fleet::json_of(night_of(given, {.first = 7, .last = 7}, 20)), alone);
}

TEST(FleetNight, DiffersFromRouterToRouterAndFromSeedToSeed)
{
    const profile given = profile_of("empty 100\nbusy 0\n");
    const counts one = night_of(given, {.first = 1, .last = 8}, 8);
    const counts other = night_of(given, {.first = 1, .last = 8}, 8, 2);
    EXPECT_EQ(fleet::peak_of(one.restarts).count, 1U) << "routers that have long been up do not restart together";
    EXPECT_NE(one.restarts, other.restarts);
}

TEST(FleetNight, CountsEachRestartOfTheModelOnce)
{
    const profile given = profile_of("");
    counts result = fleet::no_counts(given, "2026-03-02", 1, 30);
    uint64_t restarts = 0;
    uint64_t restarted = 0;
    for (uint32_t number = 1; number <= 30; number++) {
        fleet::add_night(result, given, number);
        restarts += sim::router().restarts();
        restarted += sim::router().restarts() > 0 ? 1 : 0;
    }
    EXPECT_GT(restarts, 20U);
    EXPECT_EQ(sum(result.restarts), restarts);
    EXPECT_EQ(sum(fleet::by_minute(result.restarts)), restarts);
    EXPECT_EQ(result.restarted, restarted);
}

TEST(FleetNight, CountsEachLookupAndEchoRequestOfTheModelOnce)
{
    const profile given = profile_of(STARTED_IN_THE_NIGHT);
    for (uint32_t number = 1; number <= 5; number++) {
        const counts one = night_of(given, {.first = number, .last = number}, 5);
        EXPECT_EQ(sum(fleet::together(one.lookups, one.restarts.size())), sim::router().faults.made("gethostbyname"));
        EXPECT_EQ(sum(fleet::together(one.echo_requests, one.restarts.size())),
                  sim::router().faults.made("ping_by_interface"));
        EXPECT_EQ(one.lookups.size(), 3U);
        EXPECT_GT(sum(one.echo_requests.begin()->second), 1000U);
    }
}

TEST(FleetNight, CountsAllRequestsOfAPingThatNobodyAnswers)
{
    const profile given = profile_of(std::string(STARTED_IN_THE_NIGHT) + "outage 23:00 23:10\n");
    const counts one = night_of(given, {.first = 1, .last = 1}, 1);
    const uint64_t pings = sim::router().faults.made("ping_by_interface");
    const uint64_t requests = sum(fleet::together(one.echo_requests, one.restarts.size()));
    EXPECT_GE(requests, pings + 6) << "at least one look at three hosts, two requests each, twice round";
    EXPECT_EQ(one.echo_requests.size(), 3U) << "the second and the third are tried when the first does not answer";
    const auto first = one.restarts.begin() + 3600;
    EXPECT_EQ(std::accumulate(first, first + 600, 0U), 0U);
}

TEST(FleetNight, TheClockIsRightOnceItIsSet)
{
    const profile given = profile_of(
        "begin 23:30\nhours 7\nquiet-from 23:30 23:30\nstarted -2d -1d\nclock-error 60 60\nempty 100\nbusy 0\n"
        "setting sys.schedulereboot.type=0\nsetting "
        "sys.schedulereboot.start_time=03:00\n");
    const counts all = night_of(given, {.first = 1, .last = 5}, 5);
    EXPECT_EQ(sum(all.restarts), 5U);
    const size_t three_by_their_clocks = size_t{3} * 3600 + 1800 - 60;
    EXPECT_EQ(all.restarts[three_by_their_clocks] + all.restarts[three_by_their_clocks - 1], 5U);
}

// The random offset is drawn in the first second of the window in which the router has been up for as long as the
// window is wide. Who comes to that within the window has the same up-time then as all others.
TEST(FleetNight, RoutersThatStartedLessThanAWindowBeforeItRestartTogether)
{
    const profile given = profile_of("started 30m 35m\nclock-error 0 0\nempty 100\nbusy 0\n");
    const counts all = night_of(given, {.first = 1, .last = 20}, 20);
    EXPECT_EQ(sum(all.restarts), 20U);
    const fleet::peak most = fleet::peak_of(all.restarts);
    EXPECT_GE(most.count + all.restarts[most.at - 1] + all.restarts[most.at + 1], 20U);
}

TEST(FleetCounts, OfShardsAddUpToThoseOfOneRun)
{
    const profile given = profile_of("");
    const counts whole = night_of(given, {.first = 1, .last = 12}, 12);
    counts merged = night_of(given, {.first = 9, .last = 12}, 12);
    fleet::add(merged, fleet::counts_of(fleet::json_of(night_of(given, {.first = 1, .last = 3}, 12)), "a file"));
    EXPECT_FALSE(fleet::is_whole(merged));
    fleet::add(merged, night_of(given, {.first = 4, .last = 8}, 12));
    EXPECT_TRUE(fleet::is_whole(merged));
    EXPECT_EQ(fleet::json_of(merged), fleet::json_of(whole));
    EXPECT_EQ(fleet::text_of(merged), fleet::text_of(whole));
}

TEST(FleetCounts, DoNotHangOnTheNumberOfWorkers)
{
    const profile given = profile_of("");
    counts one = fleet::no_counts(given, "2026-03-02", 1, 10);
    counts three = one;
    fleet::run_nights(one, given, {.first = 1, .last = 10}, 1, [](double) {});
    fleet::run_nights(three, given, {.first = 1, .last = 10}, 3, [](double) {});
    EXPECT_EQ(fleet::json_of(one), fleet::json_of(three));
}

TEST(FleetCounts, OfAnotherFleetOrOfTheSameRoutersAreRefused)
{
    const profile given = profile_of("hours 1\n");
    counts some = night_of(given, {.first = 1, .last = 3}, 4);
    counts others = night_of(given, {.first = 3, .last = 4}, 4);
    EXPECT_THROW(fleet::add(some, others), fleet::refused);
    others = night_of(given, {.first = 4, .last = 4}, 4, 2);
    EXPECT_THROW(fleet::add(some, others), fleet::refused);
    EXPECT_THROW(fleet::counts_of("{", "a file"), fleet::refused);
    EXPECT_THROW(fleet::counts_of("{\"version\": 1}", "a file"), fleet::refused);
    std::string far = fleet::json_of(some);
    const size_t begin = far.find("\"begin_seconds\":") + strlen("\"begin_seconds\":");
    far.replace(begin, far.find(',', begin) - begin, "9223372036854775807");
    EXPECT_THROW(fleet::counts_of(far, "a file"), fleet::refused) << "which no calendar can show";
}

TEST(FleetProfile, SaysEachThingInOneWay)
{
    const profile given = profile_of("# a fleet\n\nstarted -1d +15m\n  begin 21:30\nsetting b=2\nsetting a=1 2\n"
                                     "setting b=3\noutage 02:00 02:30\nzone CET-1CEST,M3.5.0,M10.5.0/3\n");
    EXPECT_EQ(
        given.lines,
        profile_of("zone CET-1CEST,M3.5.0,M10.5.0/3\nbegin 21:30\nhours 8\nstarted -86400s 900s\nclock-right 10s 60s\n"
                   "clock-error -1 1\nquiet-from 22:00 01:30\nleaving 20\nempty 10\nbusy 5\noffline 1\n"
                   "outage 02:00 02:30\nsent 300 20000\nsetting a=1 2\nsetting b=3\n")
            .lines);
    EXPECT_EQ(fleet::after_begin(given, 2 * 3600), 4 * 3600 + 1800);
}

TEST(FleetProfile, TellsTheLineOfAMistake)
{
    EXPECT_EQ(refusal_of("hours 8\nhour 3\n"), "the profile: line 2: unknown word: hour");
    EXPECT_EQ(refusal_of("hours 49\n"), "the profile: line 1: not a whole number from 1 to 48: 49");
    EXPECT_EQ(refusal_of("hours 8 9\n"), "the profile: line 1: hours takes 1 value");
    EXPECT_EQ(refusal_of("begin 24:00\n"), "the profile: line 1: not a time from 00:00 to 23:59: 24:00");
    EXPECT_NE(refusal_of("\nstarted 1 2\n").find("line 2: not a time from"), std::string::npos);
    EXPECT_NE(refusal_of("started d d\n").find("line 1: not a time from"), std::string::npos);
    EXPECT_NE(refusal_of("started 99999999999999999d 1d\n").find("line 1: not a time from"), std::string::npos);
    EXPECT_NE(refusal_of("clock-right -1s 5s\n").find("line 1: not a time from 0s"), std::string::npos);
    EXPECT_EQ(refusal_of("sent 3 2\n"), "the profile: line 1: the second value is lower than the first");
    EXPECT_EQ(refusal_of("zone Nowhere/Land\n"),
              "the profile: line 1: no time zone that this machine knows: Nowhere/Land");
    EXPECT_NE(refusal_of("setting abc\n").find("the profile: line 1: the setting: line 1, column 4"),
              std::string::npos);
    EXPECT_EQ(refusal_of("setting\n"), "the profile: line 1: setting takes KEY=VALUE");
    EXPECT_EQ(refusal_of("started 8h 9h\n"), "the profile: started: the last router starts after the end of the night");
    EXPECT_EQ(refusal_of("empty 60\nbusy 50\n"), "the profile: empty and busy are more than 100 percent together");
    EXPECT_EQ(refusal_of("quiet-from 01:00 23:00\n"),
              "the profile: quiet-from: ends before it begins, in a night that begins at 22:00");
}

} // namespace
