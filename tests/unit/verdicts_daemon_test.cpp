// What the liveness watchdog says of a program: a tick for every verdict.
#include "tests/support/verdicts.h"
#include "tests/support/watchdog_world.h"
#include "time_check/time_check_daemon.h"

using DaemonVerdicts = RouterTest;

namespace
{

const std::vector<NamedVerdict<daemon_verdict>> VERDICTS = {
#define VERDICT(name, why) {daemon_verdict::name, #name},
#include "platform/verdicts/daemon.def"
};

bool counts;

int32_t consent(struct time_check_daemon * /*state*/)
{
    return counts ? 1 : 0;
}

} // namespace

TEST_F(DaemonVerdicts, EachIsReached)
{
    SeenVerdicts<daemon_verdict> seen(VERDICTS, [] { return time_check_daemon_verdict(0); });
    const auto verdict_of_look = [&] {
        for (int tick = 1; tick < 3; tick++) {
            time_check_daemon();
            EXPECT_EQ(seen.look(), "not_due");
        }
        time_check_daemon();
        return seen.look();
    };
    TIME_CHECK_MODULES_COMMON_STRUCT all = watchdog_message(OP_START, "all");
    daemon_exe_info[0].func = consent;
    set_time_check_daemon_info();
    EXPECT_EQ(verdict_of_look(), "not_watched");

    time_check_daemon_msg_handle(&all);
    box.processes.start("minidlna", 900);
    EXPECT_EQ(verdict_of_look(), "runs");
    box.processes.end("minidlna");
    EXPECT_EQ(verdict_of_look(), "excused");
    counts = true;
    EXPECT_EQ(verdict_of_look(), "missing");
    box.faults.fail("popen", 1, 12);
    EXPECT_EQ(verdict_of_look(), "look_failed");
    for (int look = 2; look < 10; look++)
        EXPECT_EQ(verdict_of_look(), "missing") << look;
    EXPECT_EQ(times("command killall -9 minidlna"), 0U);
    EXPECT_EQ(verdict_of_look(), "missing_for_long");
    EXPECT_EQ(times("command killall -9 minidlna"), 1U);

    all.op = OP_STOP;
    time_check_daemon_msg_handle(&all);
    time_check_daemon();
    EXPECT_EQ(seen.look(), "off");
    EXPECT_EQ(seen.unseen(), Lines{});
}
