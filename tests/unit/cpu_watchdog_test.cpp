// The CPU watchdog's tick: when it samples, and when it kills.
#include <gtest/gtest.h>

#include "tests/support/watchdog_world.h"
#include "time_check/time_check_cpu.h"

namespace
{

class CpuWatchdog : public CpuWatchdogTest
{
protected:
    // The ticks among the first `ticks` that sample a server of that use.
    std::vector<int> sampling_ticks(int ticks, uint32_t percent)
    {
        std::vector<int> sampled;
        for (int i = 1; i <= ticks; i++)
            if (tick(percent))
                sampled.push_back(i);
        return sampled;
    }

    // Runs until the next sample, of that use.
    void next_sample(uint32_t percent)
    {
        while (!tick(percent)) {
        }
    }

    // The server goes on after it was killed: another one with its pid.
    void survives()
    {
        box.commands.set_hook([](const std::string &) { return 0; });
    }
};

// ---- the period ----

TEST_F(CpuWatchdog, ThePeriodDoublesUpTo256TicksWhileTheProgramBehaves)
{
    load();
    EXPECT_EQ(sampling_ticks(1030, 10), (std::vector<int>{1, 3, 7, 15, 31, 63, 127, 255, 511, 767, 1023}));
    EXPECT_ACTS();
}

// A period below 256 doubles once more, so that a table's own one may end above it.
TEST_F(CpuWatchdog, APeriodJustBelowTheLongestDoublesOnce)
{
    exe_info[0].exe_spa_time = 255;
    load();
    EXPECT_EQ(sampling_ticks(1280, 10), (std::vector<int>{255, 765, 1275}));
}

TEST_F(CpuWatchdog, AProgramOverItsLimitIsSampledEveryEighthTick)
{
    load();
    EXPECT_EQ(sampling_ticks(40, 95), (std::vector<int>{1, 9, 17, 25, 33}));
}

TEST_F(CpuWatchdog, ASampleUnderTheLimitDoublesThePeriodFromEight)
{
    load();
    tick(95);
    next_sample(10);
    EXPECT_EQ(sampling_ticks(48, 10), (std::vector<int>{16, 48}));
}

TEST_F(CpuWatchdog, ASampleOverTheLimitEndsALongPeriod)
{
    load();
    for (int i = 0; i < 9; i++)
        next_sample(10); // the period is 256 now
    EXPECT_EQ(sampling_ticks(280, 95), (std::vector<int>{256, 264, 272, 280}));
}

TEST_F(CpuWatchdog, AProgramThatCannotBeMeasuredBehaves)
{
    load();
    box.files.set_missing(PID_FILE);
    box.files.remove(PID_FILE);
    EXPECT_EQ(sampling_ticks(20, 100), (std::vector<int>{1, 3, 7, 15}));
}

TEST_F(CpuWatchdog, ADisabledRowIsSampledAllTheSame)
{
    exe_info[0].exe_enable = 0;
    load();
    EXPECT_EQ(sampling_ticks(8, 10), (std::vector<int>{1, 3, 7}));
}

TEST_F(CpuWatchdog, TheTickIsAlwaysOne)
{
    load();
    EXPECT_EQ(time_check_cpu(), 1);
    EXPECT_EQ(time_check_cpu(), 1);
    TIME_CHECK_MODULES_COMMON_STRUCT msg = watchdog_message(OP_STOP, "all");
    time_check_cpu_stop(&msg);
    EXPECT_EQ(time_check_cpu(), 1);
}

TEST_F(CpuWatchdog, ATickDumpsTheTableBeforeAndAfter)
{
    load();
    tick(50);
    EXPECT_EQ(box.log.bodies().front(), "before!");
    EXPECT_EQ(lines_with("EXE_NAME:\thttpd!"), 2U);
    EXPECT_EQ(lines_with("after!"), 1U);
    EXPECT_EQ(lines_with("EXE_CHECK_IN:\t1!"), 2U);
    EXPECT_EQ(lines_with("EXE_CPU:\t0.0!"), 1U);  // before
    EXPECT_EQ(lines_with("EXE_CPU:\t50.0!"), 1U); // after
    EXPECT_EQ(lines_with("totle"), 0U);
}

// ---- the kill ----

TEST_F(CpuWatchdog, TheThirtySecondSampleInARowOverTheLimitKills)
{
    load();
    survives();
    for (int i = 1; i <= 248; i++)
        tick(95);
    EXPECT_ACTS();
    tick(95); // 31 periods of 8 after the first
    EXPECT_ACTS("command killall -9 httpd");
    EXPECT_TRUE(has_body("(httpd) used cpu up 90.0 for 32 times(totle 256s)"));
}

TEST_F(CpuWatchdog, ItKillsAgainAtEveryFurtherSampleOverTheLimit)
{
    load();
    survives();
    for (int i = 1; i <= 249; i++)
        tick(95);
    box.journal.clear();
    for (int i = 1; i <= 7; i++)
        tick(95);
    EXPECT_ACTS();
    tick(95);
    EXPECT_ACTS("command killall -9 httpd");
    EXPECT_TRUE(has_body("(httpd) used cpu up 90.0 for 33 times(totle 256s)"));
    for (int i = 1; i <= 8; i++)
        tick(95);
    EXPECT_ACTS("command killall -9 httpd", "command killall -9 httpd");
    EXPECT_TRUE(has_body("(httpd) used cpu up 90.0 for 34 times(totle 256s)"));
}

TEST_F(CpuWatchdog, ASampleUnderTheLimitForgivesThirtyOneOverIt)
{
    load();
    survives();
    for (int i = 1; i <= 31; i++)
        next_sample(95);
    next_sample(10);
    EXPECT_EQ(sampling_ticks(16, 95), (std::vector<int>{16}));
    for (int i = 1; i <= 30; i++)
        next_sample(95);
    EXPECT_ACTS();
    next_sample(95); // the 32nd since
    EXPECT_ACTS("command killall -9 httpd");
}

TEST_F(CpuWatchdog, ASampleUnderTheLimitAfterAKillStartsTheCountAfresh)
{
    load();
    survives();
    for (int i = 1; i <= 32; i++)
        next_sample(95);
    next_sample(10);
    box.journal.clear();
    for (int i = 1; i <= 31; i++)
        next_sample(95);
    EXPECT_ACTS();
}

TEST_F(CpuWatchdog, TheLineShowsTheLimitAndNotTheUse)
{
    box.files.set("/proc/stat", "cpu  0\ncpu0 0\ncpu1 0\ncpu2 0\ncpu3 0\n");
    load();
    for (int i = 1; i <= 32; i++)
        next_sample(60);
    EXPECT_TRUE(has_body("(httpd) used cpu up 22.5 for 32 times(totle 256s)"));
}

TEST_F(CpuWatchdog, TheRowsCommandRunsAfterTheKill)
{
    copy_text(exe_info[0].exe_system_cmd, sizeof exe_info[0].exe_system_cmd, "httpd -p 80 %s &");
    load();
    for (int i = 1; i <= 32; i++)
        next_sample(95);
    EXPECT_ACTS("command killall -9 httpd", "command httpd -p 80 %s &");
    const Lines bodies = box.log.bodies();
    const auto kill = std::ranges::find(bodies, "(httpd) used cpu up 90.0 for 32 times(totle 256s)");
    ASSERT_NE(kill, bodies.end());
    EXPECT_EQ(*(kill + 1), "(httpd cmd):httpd -p 80 %s &");
}

TEST_F(CpuWatchdog, WithoutCommandThereIsNoLineForIt)
{
    load();
    for (int i = 1; i <= 32; i++)
        next_sample(95);
    EXPECT_FALSE(has_line("cmd):"));
}

TEST_F(CpuWatchdog, TheKillsLinesAreTheMainFunctionsErrorLines)
{
    copy_text(exe_info[0].exe_system_cmd, sizeof exe_info[0].exe_system_cmd, "true");
    load();
    for (int i = 1; i <= 32; i++)
        next_sample(95);
    EXPECT_EQ(lines_with("\033[1;31m[TIMER_CHECK >>time_check_cpu_main("), 2U);
}

TEST_F(CpuWatchdog, AnExcusedSampleCountsAsUnderTheLimit)
{
    exe_info[0].func = [](uint32_t, struct time_check_cpu *) { return 1; };
    load();
    EXPECT_EQ(sampling_ticks(16, 100), (std::vector<int>{1, 3, 7, 15}));
}

TEST_F(CpuWatchdog, AVanishedServerIsKilledNoMore)
{
    // The kill takes the process away, the pid file stays and points at nothing.
    load();
    for (int i = 1; i <= 32; i++)
        next_sample(95);
    box.files.remove("/proc/321/stat");
    box.files.set_missing("/proc/321/stat");
    box.journal.clear();
    for (int i = 1; i <= 600; i++) {
        debug_on();
        time_check_cpu();
    }
    EXPECT_ACTS();
}

} // namespace
