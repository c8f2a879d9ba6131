// Power saving says by which branch of its rule each tick went.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/schedule_world.h"
#include "tests/support/verdicts.h"
#include "time_check/time_check_power.h"

using namespace schedule_world;

namespace
{

const std::vector<NamedVerdict<power_verdict>> ALL = {
#define VERDICT(name, why) {power_verdict::name, #name},
#include "platform/verdicts/power.def"
};

class PowerVerdicts : public VerdictsTest<power_verdict>
{
protected:
    PowerVerdicts() : VerdictsTest(ALL, time_check_power_verdict, [] { time_check_power(); })
    {
    }

    void SetUp() override
    {
        radios("1", "1", "1");
        power_saving("0", "23:00", "07:00");
        set_time_check_power_info();
    }

    void set(const std::string &field, const std::string &value)
    {
        box.store.set("sys.powersleep." + field, value);
        set_time_check_power_info();
    }

    static void post(uint32_t op, const char *text = "")
    {
        TIME_CHECK_MODULES_COMMON_STRUCT msg = message(op, text);
        time_check_power_msg_handle(&msg);
    }

    // What a tick at this local time finds: of the evening of 2026-03-02, or of the next day.
    std::string at(const std::string &time_of_day)
    {
        return tick_at((time_of_day >= "12" ? "2026-03-02 " : "2026-03-03 ") + time_of_day);
    }
};

TEST_F(PowerVerdicts, EachIsReached)
{
    EXPECT_EQ(seen.look(), "off"); // before the first tick
    set("enable", "0");
    EXPECT_EQ(at("23:00:00"), "off");
    set("enable", "1");
    set("type", "3");
    EXPECT_EQ(at("23:00:00"), "kind_without_behaviour");
    set("type", "9");
    EXPECT_EQ(at("23:00:00"), "unknown_kind");

    set("type", "0");
    EXPECT_EQ(tick_at("1970-01-01 23:00:00"), "clock_unset");
    EXPECT_EQ(at("22:59:59"), "outside_period");
    EXPECT_EQ(at("23:00:00"), "falling_asleep");
    EXPECT_EQ(at("23:00:01"), "asleep");
    EXPECT_EQ(at("07:00:01"), "waking");
    EXPECT_EQ(at("07:00:02"), "outside_period");

    set("type", "1");
    EXPECT_EQ(at("23:00:00"), "counting_no_client");
    client();
    box.network.set_host("192.168.0.100", 0, 0);
    EXPECT_EQ(at("23:00:01"), "counting_quiet");
    box.network.set_host("192.168.0.100", 0, 1000000);
    EXPECT_EQ(at("23:00:02"), "network_busy");
    post(OP_STOP, "nimbix_wake_up");
    EXPECT_EQ(at("23:00:03"), "suspended");
    EXPECT_EQ(seen.unseen(), Lines{});
}

TEST_F(PowerVerdicts, TheSampleThatDecidesPutsToSleep)
{
    set("type", "1");
    box.clock.set("2026-03-02 23:00:00");
    EXPECT_EQ(ticks(180), "counting_no_client");
    EXPECT_EQ(tick(), "counting_no_client"); // of the same second
    box.clock.step(1);
    EXPECT_EQ(tick(), "falling_asleep");
    EXPECT_EQ(tick(), "asleep");
    box.clock.set("2026-03-03 07:00:01");
    EXPECT_EQ(tick(), "waking");
}

TEST_F(PowerVerdicts, ASleeperOnceQuietIsNotPutToSleepAgainByAStart)
{
    set("type", "1");
    box.clock.set("2026-03-02 23:00:00");
    ticks(181);
    ASSERT_TRUE(asleep());
    post(OP_START);
    forget();
    box.clock.step(1);
    EXPECT_EQ(tick(), "asleep");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(PowerVerdicts, ASleeperByTheClockIsPutToSleepAgainByAStart)
{
    EXPECT_EQ(at("23:00:00"), "falling_asleep");
    post(OP_START);
    EXPECT_EQ(at("23:00:01"), "falling_asleep");
    EXPECT_EQ(at("23:00:02"), "asleep");
}

TEST_F(PowerVerdicts, AStopOutsideThePeriodOwesAWakeUp)
{
    EXPECT_EQ(at("22:00:00"), "outside_period");
    post(OP_STOP);
    EXPECT_EQ(at("22:00:01"), "waking");
    EXPECT_EQ(at("22:00:02"), "outside_period");
}

// The drivers can be called by themselves, whatever the schedule's type and switch.
TEST_F(PowerVerdicts, TheDriversJudgeByTheirOwnKind)
{
    set("enable", "0");
    set("type", "5");
    box.clock.set("2026-03-02 23:00:00");
    time_check_power_each_day_flow();
    EXPECT_EQ(seen.look(), "counting_no_client");
    time_check_power_each_day();
    EXPECT_EQ(seen.look(), "falling_asleep");
}

} // namespace
