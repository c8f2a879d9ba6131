// The virtual router's own clocks, threads and restarts, as tests of the daemon rely on them.
#include "tests/support/router_test.h"

#include "platform/sim/wrap.h"
#include "time_check/time_check.h"
#include "time_check/time_check_debug.h"

class SimTime : public RouterTest
{
};

TEST_F(SimTime, ATickIsOnePassOfTheMainLoop)
{
    ASSERT_TRUE(box.boot());
    EXPECT_EQ(box.ticks(), 1U);
    EXPECT_EQ(box.clock.uptime(), 0);
    box.tick(10);
    EXPECT_EQ(box.ticks(), 11U);
    const int before = box.clock.uptime();
    box.run(60);
    EXPECT_EQ(box.clock.uptime(), before + 60);
    EXPECT_GE(box.ticks(), 11U + 59U); // a tick may last longer than its second
    EXPECT_LE(box.ticks(), 11U + 60U);
}

TEST_F(SimTime, WhoWatchesThePassesSeesEachWithItsActs)
{
    std::vector<int> uptimes;
    size_t acts = 0;
    box.watch_passes([&] {
        uptimes.push_back(box.clock.uptime());
        for (const sim::Journal::Moment &moment : box.journal.moments())
            EXPECT_LE(moment.uptime, box.clock.uptime());
        EXPECT_EQ(box.journal.moments().size(), box.journal.lines().size());
        acts += box.journal.lines().size();
        box.journal.clear();
    });
    ASSERT_TRUE(box.boot());
    box.tick(2);
    box.restart();
    box.tick(1);
    EXPECT_EQ(uptimes, (std::vector<int>{0, 1, 2, 0}));
    EXPECT_GT(acts, 0U);
}

TEST_F(SimTime, RunUntilFollowsAClockThatIsStepped)
{
    ASSERT_TRUE(box.boot());
    box.at(10, [] { box.clock.step(3600); });
    box.run_until("2026-01-01 14:00:00");
    EXPECT_EQ(box.clock.local(), "2026-01-01 14:00:00");
    EXPECT_EQ(box.clock.uptime(), 3600);
}

TEST_F(SimTime, SummerTimeSkipsAnHour)
{
    box.local_time.set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
    box.clock.set("2026-03-29 01:59:59");
    ASSERT_TRUE(box.boot());
    box.run(1);
    EXPECT_EQ(box.clock.local(), "2026-03-29 03:00:00");
}

// What the daemon is told, or what libc says.
static std::string local_parts(time_t time, bool of_the_daemon)
{
    struct tm local = {};
    if (of_the_daemon)
        sim_localtime_r(&time, &local);
    else
        localtime_r(&time, &local);
    char text[80];
    snprintf(text, sizeof text, "%d-%d-%d %d %d:%d:%d %d", local.tm_year, local.tm_mon, local.tm_mday, local.tm_wday,
             local.tm_hour, local.tm_min, local.tm_sec, local.tm_isdst);
    return text;
}

TEST_F(SimTime, EverySecondIsTheLocalTimeThatLibcSays)
{
    for (const char *zone : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "LMT-0:53:28"}) {
        box.local_time.set_zone(zone);
        sim_sleep(1);
        for (const time_t middle : {INT64_C(0), INT64_C(1774746000) /* summer time begins */, INT64_C(1792890000),
                                    INT64_C(2147483648), INT64_C(4294967296)})
            for (int64_t i = -130; i < 130; i++) {
                const time_t time = static_cast<time_t>(middle + i);
                ASSERT_EQ(local_parts(time, true), local_parts(time, false)) << zone << " " << time;
                ASSERT_EQ(local_parts(time - 61 * (i % 2), true), local_parts(time - 61 * (i % 2), false));
            }
    }
}

TEST_F(SimTime, AnotherZoneHoldsForTheDaemonFromItsNextSleepOn)
{
    const time_t noon = 1767268800;
    EXPECT_EQ(local_parts(noon, true), "126-0-1 4 12:0:0 0");
    box.local_time.set_zone("LMT-5:30");
    EXPECT_EQ(local_parts(noon, true), "126-0-1 4 12:0:0 0");
    EXPECT_EQ(local_parts(noon + 60, true), "126-0-1 4 12:1:0 0") << "libc keeps to what it read";
    EXPECT_EQ(local_parts(noon, false), "126-0-1 4 17:30:0 0") << "the test itself goes by the machine's";
    box.wait(sim::SECOND);
    EXPECT_EQ(local_parts(noon, true), "126-0-1 4 12:0:0 0") << "no other pause is the ground's";
    sim_sleep(1);
    EXPECT_EQ(local_parts(noon, true), "126-0-1 4 17:30:0 0");
}

TEST_F(SimTime, ZoneIsReadWhenLocalTimeIsFirstAskedFor)
{
    const time_t noon = 1767268800;
    box.local_time.set_zone("LMT-5:30");
    EXPECT_EQ(local_parts(noon, true), "126-0-1 4 17:30:0 0");
    box.local_time.set_zone("LMT-2");
    EXPECT_EQ(local_parts(noon, true), "126-0-1 4 17:30:0 0");
    box.restart();
    EXPECT_EQ(local_parts(noon, true), "126-0-1 4 14:0:0 0") << "a new process";
}

TEST_F(SimTime, MessageIsHandledAtOnceWhileTheDaemonSleeps)
{
    EXPECT_FALSE(box.post("time_check_debug?op=1"));
    ASSERT_TRUE(box.boot());
    box.log.clear();
    EXPECT_TRUE(box.post("0?debug_id=1"));
    EXPECT_TRUE(has_body("key = debug_id,value = 1"));
    EXPECT_EQ(box.ticks(), 1U);
    EXPECT_EQ(debug_tag, 1);
}

TEST_F(SimTime, RestartGivesTheDaemonFreshStateAndTheCommittedStore)
{
    ASSERT_TRUE(box.boot());
    box.store.set("kept", "1");
    box.store.set_uncommitted("lost", "1");
    box.post("0?debug_id=1");
    ASSERT_EQ(debug_tag, 1);
    box.restart();
    EXPECT_EQ(debug_tag, 0);
    EXPECT_TRUE(box.store.has("kept"));
    EXPECT_FALSE(box.store.has("lost"));
    box.run(21);
    EXPECT_EQ(box.clock.uptime(), 1);
    EXPECT_EQ(box.restarts(), 1U);
    EXPECT_TRUE(box.running());
}

TEST_F(SimTime, ACallFromTheTestItselfMovesTheClock)
{
    const time_t before = sim_time(nullptr);
    EXPECT_EQ(sim_sleep(5), 0U);
    timeval half = {.tv_sec = 0, .tv_usec = 500000};
    EXPECT_EQ(sim_select(0, nullptr, nullptr, nullptr, &half), 0);
    EXPECT_EQ(sim_time(nullptr), before + 5);
}

TEST_F(SimTime, NoTimePassesWhileAChangePostsAMessage)
{
    ASSERT_TRUE(box.boot());
    std::string then;
    box.at(10, [&] {
        box.post("0?debug_id=1");
        then = box.clock.local();
    });
    box.run(60);
    EXPECT_EQ(then, "2026-01-01 12:00:10");
    EXPECT_EQ(box.clock.local(), "2026-01-01 12:01:00");
    EXPECT_EQ(debug_tag, 1);
}

TEST_F(SimTime, ChangesComeInTheOrderOfTheirMoments)
{
    std::string order;
    box.at(2, [&] { order += "c"; });
    box.at(1, [&] { order += "a"; });
    box.at(1, [&] { order += "b"; });
    box.run(1.5);
    EXPECT_EQ(order, "ab");
    box.run(1);
    EXPECT_EQ(order, "abc");
}
