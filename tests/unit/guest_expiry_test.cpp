// The guest Wi-Fi's expiry.
#include "tests/support/schedule_world.h"
#include "time_check/time_check_wl_guest.h"

using namespace schedule_world;

using GuestExpiry = RouterTest;
using GuestMessages = RouterTest;
using GuestStart = RouterTest;
using GuestNetctrl = RouterTest;
using GuestTrace = RouterTest;

namespace
{

const Lines SWITCHES_OFF = {"set wl.guest.dhcps_enable=0", "set wl5g.ssid1.enable=0", "set wl2g.ssid1.enable=0",
                            "set wl2g.ssid1.guest_enable=0", "set wl5g.ssid1.guest_enable=0"};
const Lines NETCTRL_IS_TOLD = {"netctrl 19?op=9", "netctrl 19?op=3,wl_rate=24,index=1",
                               "netctrl 19?op=3,wl_rate=5,index=1"};

const Lines EXPIRED = together({SWITCHES_OFF, {"commit"}, NETCTRL_IS_TOLD});
const Lines CLOSED_AT_START = together({SWITCHES_OFF, NETCTRL_IS_TOLD});

int32_t post(std::string_view text, uint32_t op = OP_DEFAULT)
{
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(op, text);
    return time_check_wl_guest_msg_handle(&msg);
}

// A guest network of this lifetime is opened at up-time 100.
void open_for(std::string_view lifetime)
{
    box.store.set("wl.guest.effective_time", lifetime);
    box.store.set("wl.guest.dhcps_enable", "1");
    box.clock.set_uptime(100);
    EXPECT_EQ(post("wl_guest"), 1);
    forget();
}

void tick_at(int uptime)
{
    box.clock.set_uptime(uptime);
    time_check_wl_guest();
}

// What a start does with this lifetime and switch.
Lines acts_of_start(std::string_view lifetime, std::string_view enable)
{
    box.store.set("wl.guest.effective_time", lifetime);
    box.store.set("wl.guest.dhcps_enable", enable);
    time_check_wl_guest_first_init();
    return acts();
}

} // namespace

TEST_F(GuestExpiry, TheNetworkIsClosedWhenItsTimeIsUpAndNotASecondEarlier)
{
    open_for("3600");
    tick_at(3699);
    EXPECT_EQ(acts(), Lines{});
    tick_at(3700);
    EXPECT_EQ(acts(), EXPIRED);
    tick_at(3701);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(GuestExpiry, IsMeasuredInUptimeNotByTheClock)
{
    open_for("3600");
    box.clock.step(1000000);
    tick_at(3699);
    box.clock.step(-2000000);
    tick_at(3699);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(GuestExpiry, NothingRunsWithoutTheMessage)
{
    box.store.set("wl.guest.effective_time", "1");
    box.store.set("wl.guest.dhcps_enable", "1");
    tick_at(1000000);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(GuestExpiry, ASecondMessageStartsTheTimeAnew)
{
    open_for("3600");
    box.clock.set_uptime(2000);
    post("wl_guest");
    tick_at(5599);
    EXPECT_EQ(acts(), Lines{});
    tick_at(5600);
    EXPECT_EQ(acts(), EXPIRED);
}

TEST_F(GuestExpiry, AMessageWhileTheSwitchIsOffStartsNothing)
{
    for (const std::string value : {"0", "10", "11", "2", "on", " 1", "\xc2\xb9"}) {
        box.store.set("wl.guest.effective_time", "60");
        box.store.set("wl.guest.dhcps_enable", value);
        box.clock.set_uptime(100);
        EXPECT_EQ(post("wl_guest"), 1);
        box.store.set("wl.guest.dhcps_enable", "1");
        tick_at(1000);
        EXPECT_EQ(acts(), Lines{}) << value;
    }
}

TEST_F(GuestExpiry, AMessageWhileTheSwitchIsOffLeavesARunningTimeAlone)
{
    open_for("3600");
    box.clock.set_uptime(2000);
    box.store.set("wl.guest.dhcps_enable", "0");
    post("wl_guest");
    box.store.set("wl.guest.dhcps_enable", "1");
    tick_at(3700);
    EXPECT_EQ(acts(), EXPIRED);
}

TEST_F(GuestExpiry, AnEmptySwitchIsOn)
{
    box.store.set("wl.guest.effective_time", "3600");
    box.store.set("wl.guest.dhcps_enable", "");
    box.clock.set_uptime(100);
    post("wl_guest");
    tick_at(3700);
    EXPECT_EQ(acts(), EXPIRED);
}

TEST_F(GuestExpiry, AMissingSwitchIsOn)
{
    box.store.set("wl.guest.effective_time", "3600");
    box.store.unset("wl.guest.dhcps_enable");
    box.clock.set_uptime(100);
    post("wl_guest");
    tick_at(3700);
    EXPECT_EQ(acts(), EXPIRED);
}

TEST_F(GuestExpiry, WithTheSwitchOffTheTimeWaitsForIt)
{
    open_for("3600");
    box.store.set("wl.guest.dhcps_enable", "0");
    tick_at(3700);
    tick_at(9000);
    EXPECT_EQ(acts(), Lines{});
    box.store.set("wl.guest.dhcps_enable", "1");
    tick_at(9001);
    EXPECT_EQ(acts(), EXPIRED);
}

class GuestExpiryNever : public RouterTest, public testing::WithParamInterface<std::string>
{
};

TEST_P(GuestExpiryNever, WithSuchALifetime)
{
    open_for(GetParam());
    tick_at(2147483647);
    EXPECT_EQ(acts(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Cases, GuestExpiryNever,
                         testing::Values("0", "", "-1", "-99999999999999999999", "unlimited", "\xd9\xa3",
                                         std::string(1000, '0')));

TEST_F(GuestExpiry, AMissingLifetimeNeverEnds)
{
    open_for("60");
    box.store.unset("wl.guest.effective_time");
    tick_at(1000000);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(GuestExpiry, ALifetimeThatIsChangedCountsFromTheSameOpening)
{
    open_for("0");
    tick_at(5000);
    box.store.set("wl.guest.effective_time", "7200");
    tick_at(7299);
    EXPECT_EQ(acts(), Lines{});
    box.store.set("wl.guest.effective_time", "7199s");
    tick_at(7299);
    EXPECT_EQ(acts(), EXPIRED);
}

TEST_F(GuestExpiry, AHugeLifetimeSaturates)
{
    open_for(std::string(1000, '9'));
    tick_at(2147483646);
    EXPECT_EQ(acts(), Lines{});
    EXPECT_TRUE(box.log.lines().empty());
}

// 68 years; the up-time is then negative and counts as a huge one.
TEST_F(GuestExpiry, AnUptimeThatRanOverEndsAnyLifetimeButANegativeOne)
{
    open_for("-1");
    tick_at(-2147483647);
    EXPECT_EQ(acts(), Lines{});
    open_for("2147483647");
    tick_at(-2147483647);
    EXPECT_EQ(acts(), EXPIRED);
}

TEST_F(GuestExpiry, AFailedCommitIsNotTriedAgain)
{
    open_for("3600");
    box.faults.fail("CommitCfm");
    tick_at(3700);
    EXPECT_EQ(acts(), together({SWITCHES_OFF, {"commit failed"}}));
    box.store.set("wl.guest.dhcps_enable", "1");
    tick_at(3701);
    EXPECT_EQ(acts(), Lines{});
}

// ---- messages ----

TEST_F(GuestMessages, OnlyExactlyItsTextIsTaken)
{
    box.store.set("wl.guest.effective_time", "60");
    box.store.set("wl.guest.dhcps_enable", "1");
    box.clock.set_uptime(100);
    for (const std::string &text :
         {std::string(""), std::string("wl_guest2"), std::string("wl_gues"), std::string("Wl_guest"),
          std::string(" wl_guest"), "wl_guest" + std::string(300, 'x'), std::string(300, '\xff')})
        EXPECT_EQ(post(text), 0) << text;
    tick_at(1000);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(GuestMessages, TheOpIsNotLookedAt)
{
    for (uint32_t op = 0; op < 10; op++) {
        box.store.set("wl.guest.effective_time", "60");
        box.store.set("wl.guest.dhcps_enable", "1");
        box.clock.set_uptime(100);
        EXPECT_EQ(post("wl_guest", op), 1);
        tick_at(160);
        EXPECT_EQ(acts(), EXPIRED);
    }
}

TEST_F(GuestMessages, ThroughTheBus)
{
    box.store.set("wl.guest.effective_time", "0");
    box.store.set("wl.guest.dhcps_enable", "1");
    ASSERT_TRUE(box.boot());
    box.store.set("wl.guest.effective_time", "600");
    ASSERT_TRUE(box.post("time_check_wl_guest?op=1,string_info=wl_guest"));
    box.run(598);
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "1");
    box.run(3);
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "0");
    EXPECT_EQ(box.store.committed("wl.guest.dhcps_enable"), "0");
}

// ---- the start ----

TEST_F(GuestStart, AnOpenNetworkWithALifetimeIsClosedWithoutCommit)
{
    EXPECT_EQ(acts_of_start("7200", "1"), CLOSED_AT_START);
    EXPECT_EQ(box.store.committed("wl.guest.dhcps_enable"), "1");
}

TEST_F(GuestStart, AnEmptyOrMissingSwitchIsOn)
{
    EXPECT_EQ(acts_of_start("7200", ""), CLOSED_AT_START);
    box.store.unset("wl.guest.dhcps_enable");
    time_check_wl_guest_first_init();
    EXPECT_EQ(acts(), CLOSED_AT_START);
}

TEST_F(GuestStart, ANegativeLifetimeCloses)
{
    EXPECT_EQ(acts_of_start("-1", "1"), CLOSED_AT_START);
}

TEST_F(GuestStart, ANetworkWithoutALifetimeOrThatIsOffIsLeftAlone)
{
    EXPECT_EQ(acts_of_start("0", "1"), Lines{});
    EXPECT_EQ(acts_of_start("7200", "0"), Lines{});
    EXPECT_EQ(acts_of_start("7200", "11"), Lines{});
}

TEST_F(GuestStart, NoTimeRunsAfterIt)
{
    box.store.set("wl.guest.effective_time", "60");
    box.store.set("wl.guest.dhcps_enable", "1");
    ASSERT_TRUE(box.boot());
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "0");
    box.store.set("wl.guest.dhcps_enable", "1");
    box.run(600);
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "1");
}

// ---- netctrl ----

TEST_F(GuestNetctrl, EachBandIsToldWithOpThreeWhateverTheNumber)
{
    do_wifi_handle(1, 0);
    EXPECT_EQ(acts(), Lines{"netctrl 19?op=3,wl_rate=24,index=1"});
    do_wifi_handle(0, 2);
    EXPECT_EQ(acts(), Lines{"netctrl 19?op=3,wl_rate=5,index=1"});
    do_wifi_handle(0, 0);
    EXPECT_EQ(acts(), Lines{});
    EXPECT_TRUE(box.log.lines().empty());
}

TEST_F(GuestNetctrl, NumbersOutOfRangeAreOnlyPrinted)
{
    do_wifi_handle(4, 3);
    do_wifi_handle(-1, 3);
    do_wifi_handle(3, 4);
    do_wifi_handle(3, -1);
    EXPECT_EQ(acts(), Lines{});
    ASSERT_EQ(box.log.lines().size(), 4U);
    EXPECT_TRUE(box.log.lines()[0].starts_with("[qx debug]:do_wifi_handle,"));
    EXPECT_TRUE(box.log.lines()[0].ends_with(",wl2g_op=4,wl5g_op=3"));
    EXPECT_TRUE(box.log.lines()[3].ends_with(",wl2g_op=3,wl5g_op=-1"));
}

// ---- trace lines ----

TEST_F(GuestTrace, IsPrintedOnlyWhileSwitchedOn)
{
    open_for("3600");
    for (const char *value : {"", "off", "On", "1"}) {
        box.store.set("time_check_debug", value);
        tick_at(200);
    }
    EXPECT_TRUE(box.log.lines().empty());
}

TEST_F(GuestTrace, TellsTheWholeLifeOfANetwork)
{
    configure({{"time_check_debug", "on"}, {"wl.guest.effective_time", "7200"}, {"wl.guest.dhcps_enable", "1"}});
    box.clock.set_uptime(100);
    time_check_wl_guest();
    post("wl_guest");
    tick_at(150);
    tick_at(7300);
    EXPECT_EQ(box.log.bodies(),
              (Lines{"need not checking, effect_time == 7200, time_up_flag == 0",
                     "get first start time of guest wifi: first_up_time == 100",
                     "guest_wifi_enable == 1, effect_time == 7200s[ 2 hours ], now_up_time == 150, interval == 50",
                     "guest_wifi_enable == 1, effect_time == 7200s[ 2 hours ], now_up_time == 7300, interval == 7200",
                     "guest wifi need to shutdown", "guest wifi is going to shutdown"}));
}

TEST_F(GuestTrace, TellsTheStart)
{
    configure({{"time_check_debug", "on"}, {"wl.guest.effective_time", "7200"}, {"wl.guest.dhcps_enable", "1"}});
    time_check_wl_guest_first_init();
    time_check_wl_guest_first_init();
    EXPECT_EQ(box.log.bodies(),
              (Lines{"guest_wifi_enable == 1, effect_time == 7200", "guest wifi is going to shutdown!",
                     "guest_wifi_enable == 0, effect_time == 7200"}));
}

TEST_F(GuestTrace, HoursOfANegativeLifetimeAreCutTowardsZero)
{
    open_for("-7199");
    box.store.set("time_check_debug", "on");
    tick_at(101);
    EXPECT_EQ(box.log.bodies(),
              Lines{"guest_wifi_enable == 1, effect_time == -7199s[ -1 hours ], now_up_time == 101, interval == 1"});
}

TEST_F(GuestTrace, TheLineHasThePrefixAndColoursOfTraceLines)
{
    box.store.set("time_check_debug", "on");
    box.store.set("wl.guest.effective_time", "0");
    time_check_wl_guest();
    ASSERT_FALSE(box.log.lines().empty());
    const std::string &line = box.log.lines()[0];
    EXPECT_TRUE(line.starts_with("\033[0;33m[time_check:time_check_wl_guest:")) << line;
    EXPECT_NE(line.find("] \033[0;32mneed not checking, effect_time == 0, time_up_flag == 0"), std::string::npos)
        << line;
}
