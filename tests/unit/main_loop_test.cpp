// Start-up and the main loop, as far as they can be seen from outside.
#include <algorithm>
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "time_check/time_check.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

namespace
{

using Start = RouterTest;
using MainLoop = RouterTest;

// ---- start ----

TEST_F(Start, WithoutTheBusNameTheDaemonEndsWithALine)
{
    box.fail("RegMsgHandle");
    EXPECT_FALSE(box.boot());
    EXPECT_FALSE(box.running());
    ASSERT_EQ(box.log().size(), 1U);
    EXPECT_THAT(box.log().front(),
                MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>main\\([0-9]+\\)\\]:\033\\[mreg msg failed\\."));
    EXPECT_THAT(box.journal(), IsEmpty());
    EXPECT_EQ(box.calls_made("pthread_create"), 0U);
    EXPECT_EQ(box.calls_made("GetValue"), 0U);
}

TEST_F(Start, WithoutAThreadTheDaemonGoesOn)
{
    box.fail("pthread_create", 1, EAGAIN);
    EXPECT_TRUE(box.boot());
    EXPECT_THAT(box.log(), Contains(MatchesRegex("\\[main:[0-9]+\\] wan_surf_check thread start failed!")));
    box.clear_log();
    box.tick(3);
    EXPECT_TRUE(box.running());
    EXPECT_EQ(box.ticks(), 4U);
}

TEST_F(Start, OneThreadIsStarted)
{
    EXPECT_TRUE(box.boot());
    EXPECT_EQ(box.calls_made("pthread_create"), 1U);
    box.tick(3);
    EXPECT_EQ(box.calls_made("pthread_create"), 1U);
    EXPECT_THAT(box.log(), Not(Contains(HasSubstr("thread start failed"))));
}

TEST_F(Start, EveryModuleHasItsHandlerAfterStart)
{
    box.boot();
    box.clear_log();
    box.post("time_check_debug");
    EXPECT_THAT(box.log(), Contains("ops_module:time_check_debug,"));
    EXPECT_THAT(box.log(), Contains("ops_module:time_check_reboot,"));
    EXPECT_THAT(box.log(), Contains("ops_module:time_check_wl_guest,"));
}

TEST_F(Start, AMessageIsTakenBetweenTicks)
{
    box.boot();
    const uint64_t ticks = box.ticks();
    EXPECT_TRUE(box.post("time_check_debug?debug_id=5"));
    EXPECT_EQ(_DEBUG_LIST_[5], 1U);
    EXPECT_EQ(box.ticks(), ticks);
}

// ---- the loop ----

TEST_F(MainLoop, ATickComesOnceASecond)
{
    box.clock("2026-03-01 12:00:00");
    box.boot();
    EXPECT_EQ(box.ticks(), 1U);
    box.tick(60);
    EXPECT_EQ(box.ticks(), 61U);
    EXPECT_EQ(box.local_time(), "2026-03-01 12:01:00");
}

TEST_F(MainLoop, TheAddressOfTheFirstDialUpIsChecked)
{
    box.address("ppp0", "10.1.2.3");
    box.address("ppp45", "10.4.5.6");
    box.boot();
    EXPECT_THAT(box.acts("wan_lan_check"), ElementsAre("wan_lan_check 10.1.2.3 255.255.255.0"));
}

TEST_F(MainLoop, FailingThatTheSecondOnes)
{
    box.address("ppp45", "10.4.5.6");
    box.boot();
    EXPECT_THAT(box.acts("wan_lan_check"), ElementsAre("wan_lan_check 10.4.5.6 255.255.255.0"));
}

TEST_F(MainLoop, WithoutDialUpNothingIsChecked)
{
    box.address("eth1", "10.1.2.3");
    box.address("ppp1", "10.1.2.4");
    box.boot();
    box.tick(5);
    EXPECT_THAT(box.acts("wan_lan_check"), IsEmpty());
}

TEST_F(MainLoop, TheCheckFollowsTheAddressesEveryTick)
{
    box.boot();
    box.address("ppp0", "10.1.2.3");
    box.tick(2);
    box.address("ppp0", "");
    box.tick();
    box.address("ppp45", "10.4.5.6");
    box.tick();
    EXPECT_THAT(box.acts("wan_lan_check"),
                ElementsAre("wan_lan_check 10.1.2.3 255.255.255.0", "wan_lan_check 10.1.2.3 255.255.255.0",
                            "wan_lan_check 10.4.5.6 255.255.255.0"));
}

} // namespace
