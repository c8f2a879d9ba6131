// What the CPU watchdog says of a program: a tick for every verdict.
#include "tests/support/verdicts.h"
#include "tests/support/watchdog_world.h"

using CpuVerdicts = CpuWatchdogTest;

namespace
{

const std::vector<NamedVerdict<cpu_verdict>> VERDICTS = {
#define VERDICT(name, why) {cpu_verdict::name, #name},
#include "platform/verdicts/cpu.def"
};

bool is_excused;

int32_t excuse(uint32_t /*index*/, struct time_check_cpu * /*table*/)
{
    return is_excused ? 1 : 0;
}

} // namespace

TEST_F(CpuVerdicts, EachIsReached)
{
    SeenVerdicts<cpu_verdict> seen(VERDICTS, [] { return time_check_cpu_verdict(0); });
    const auto verdict_of_tick = [&](uint32_t percent) {
        tick(percent);
        return seen.look();
    };
    TIME_CHECK_MODULES_COMMON_STRUCT all = watchdog_message(0, "all");
    exe_info[0].func = excuse;
    load();

    EXPECT_EQ(verdict_of_tick(10), "within_limit");
    EXPECT_EQ(verdict_of_tick(100), "not_due"); // the period is two ticks by now
    is_excused = true;
    EXPECT_EQ(verdict_of_tick(100), "excused");

    is_excused = false;
    time_check_cpu_start(&all); // every second again
    for (int sample = 1; sample < 32; sample++) {
        EXPECT_EQ(verdict_of_tick(100), "over_limit") << sample;
        for (int pause = 1; pause < 8; pause++)
            EXPECT_EQ(verdict_of_tick(100), "not_due") << sample;
    }
    EXPECT_EQ(times("command killall -9 httpd"), 0U);
    EXPECT_EQ(verdict_of_tick(100), "over_for_long");
    EXPECT_EQ(times("command killall -9 httpd"), 1U);

    time_check_cpu_stop(&all);
    EXPECT_EQ(verdict_of_tick(100), "off");
    EXPECT_EQ(seen.unseen(), Lines{});
}
