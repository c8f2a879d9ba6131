// The scheduled reboot says by which branch of its rule each tick went.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "tests/support/verdicts.h"
#include "time_check/time_check_module.h"
#include "time_check/time_check_reboot.h"

namespace
{

const std::vector<NamedVerdict<reboot_verdict>> ALL = {
#define VERDICT(name, why) {reboot_verdict::name, #name},
#include "platform/verdicts/reboot.def"
};

class RebootVerdicts : public VerdictsTest<reboot_verdict>
{
protected:
    RebootVerdicts() : VerdictsTest(ALL, time_check_reboot_verdict, [] { time_check_reboot(); })
    {
    }

    void SetUp() override
    {
        configure({{"sys.schedulereboot.enable", "1"},
                   {"sys.schedulereboot.start_time", "03:00"},
                   {"sys.schedulereboot.end_time", "05:30"}});
        box.clock.set_uptime(400000);
        init_time_check_module_entries();
    }

    void set(const std::string &field, const std::string &value)
    {
        box.store.set("sys.schedulereboot." + field, value);
        set_time_check_reboot_info();
    }

    // What a tick at this local time of day of 2026-03-04 finds.
    std::string at(const std::string &time_of_day)
    {
        return tick_at("2026-03-04 " + time_of_day);
    }

    void client_receives(uint64_t bytes)
    {
        box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
        box.network.set_host("192.168.0.7", 0, bytes);
    }
};

TEST_F(RebootVerdicts, EachIsReached)
{
    EXPECT_EQ(seen.look(), "off"); // before the first tick
    set("enable", "0");
    EXPECT_EQ(at("03:00:00"), "off");
    set("enable", "1");
    set("type", "2");
    EXPECT_EQ(at("03:00:00"), "kind_without_behaviour");
    set("type", "5");
    EXPECT_EQ(at("03:00:00"), "unknown_kind");

    set("type", "0");
    box.clock.set_uptime(8999);
    EXPECT_EQ(at("03:00:00"), "not_up_long_enough");
    box.clock.set_uptime(400000);
    EXPECT_EQ(tick_at("1970-01-01 03:00:00"), "clock_unset");
    EXPECT_EQ(at("02:59:59"), "outside_window");
    EXPECT_EQ(at("03:00:00"), "restarting");

    set("type", "1");
    EXPECT_EQ(at("03:00:00"), "counting_no_client");
    client_receives(0);
    EXPECT_EQ(at("03:00:01"), "counting_quiet");
    client_receives(1000000);
    EXPECT_EQ(at("03:00:02"), "network_busy");

    set("start_time", "");
    EXPECT_EQ(at("03:00:03"), "offset_owed");

    set("start_time", "03:00");
    box.network.set_counters("br0", 0, 456);
    box.clock.set("2026-03-04 03:10:00");
    EXPECT_EQ(ticks(1800), "counting_quiet");
    box.clock.step(1);
    EXPECT_EQ(tick(), "armed");
    EXPECT_EQ(ticks(458), "restarting"); // more than 456 seconds after the decision
    EXPECT_EQ(seen.unseen(), Lines{});
}

TEST_F(RebootVerdicts, ASecondTickInASecondKeepsWhatItsSampleFound)
{
    set("type", "1");
    client_receives(0);
    EXPECT_EQ(at("03:00:00"), "counting_quiet");
    EXPECT_EQ(tick(), "counting_quiet");
}

TEST_F(RebootVerdicts, ADecisionWithoutADelayIsStillCounting)
{
    set("type", "1");
    client_receives(0);
    box.network.set_counters("br0", 0, 600);
    box.clock.set("2026-03-04 03:10:00");
    EXPECT_EQ(ticks(1801), "counting_quiet");
    EXPECT_TRUE(has_body("sleep 0S after to reboot!!"));
}

TEST_F(RebootVerdicts, ARestartForWantOfClientsThatComesBackIsArmed)
{
    set("type", "1");
    box.network.set_counters("br0", 0, 456);
    box.clock.set("2026-03-04 03:10:00");
    EXPECT_EQ(ticks(180), "counting_no_client");
    box.clock.step(1);
    EXPECT_EQ(tick(), "armed");
    EXPECT_EQ(times("reboot"), 1U);
}

// The drivers can be called by themselves, whatever the schedule's type and switch.
TEST_F(RebootVerdicts, TheDriversJudgeByTheirOwnKind)
{
    set("enable", "0");
    set("type", "5");
    box.clock.set("2026-03-04 03:00:00");
    time_check_reboot_each_day();
    EXPECT_EQ(seen.look(), "restarting");
    time_check_reboot_each_day_flow();
    EXPECT_EQ(seen.look(), "counting_no_client");
}

} // namespace
