// Start-up and the main loop, as far as they can be seen from outside.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/ledger.h"
#include "tests/support/router_test.h"
#include "time_check/time_check.h"
#include "time_check/time_check_ids.h"

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
    box.faults.fail("RegMsgHandle");
    EXPECT_FALSE(box.boot());
    EXPECT_FALSE(box.running());
    EXPECT_EQ(box.exit_status(), 0);
    ASSERT_EQ(box.log.lines().size(), 1U);
    EXPECT_THAT(box.log.lines().front(),
                MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>main\\([0-9]+\\)\\]:\033\\[mreg msg failed\\."));
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    EXPECT_EQ(box.faults.made("pthread_create"), 0U);
    EXPECT_EQ(box.faults.made("GetValue"), 0U);
}

// ---- what signals ask for ----

TEST_F(MainLoop, AskedToReadAgainEveryModuleDoesAsForItsMessage)
{
    box.boot();
    box.store.set("sys.schedulereboot.start_time", "3:17");
    box.store.set("sys.powersleep.start_time", "1:23");
    box.log.clear();
    EXPECT_TRUE(box.ask_to_read_again());
    EXPECT_THAT(box.log.lines(), Contains(HasSubstr("SYS_SCHED_REBOOT mode function to be added...")));
    EXPECT_THAT(box.log.lines(), Contains(HasSubstr("start_time:03:17")));
    EXPECT_THAT(box.log.lines(), Contains(HasSubstr("start_time:01:23")));
    EXPECT_THAT(box.log.lines(), Not(Contains(HasSubstr("debug_tag")))) << "the debug module's message is a switch";
    EXPECT_EQ(*box.store.value_of("surf_check_renew_flag"), "1");
}

TEST_F(MainLoop, AskedToReadAgainPowerSavingKeepsTheUsersWaking)
{
    box.boot();
    box.log.clear();
    box.ask_to_read_again();
    EXPECT_THAT(box.log.lines(), Not(Contains(HasSubstr("SYS_SCHED_POWER mode function"))));
}

TEST_F(MainLoop, AskedToEndTheDaemonTakesItsRulesAwayAndNothingElse)
{
    box.boot();
    box.run(10);
    // As the check notes a rule that it makes, of a WAN more than there are now.
    strcpy(ledger_memory->rules[5], "192.0.2.7");
    box.journal.clear();
    EXPECT_TRUE(box.ask_to_end());
    EXPECT_FALSE(box.running());
    EXPECT_EQ(box.exit_status(), 0);
    EXPECT_EQ(box.threads(), 0U);
    const std::vector<std::string> acts = box.journal.lines();
    ASSERT_EQ(acts.size(), 4U);
    EXPECT_THAT(acts[0], HasSubstr("ip rule del to 192.0.2.7 iif lo prio 5005"));
    EXPECT_THAT(acts[1], HasSubstr("iptables -D OUTPUT -p udp --dport 53 -m state --state NEW -j dns_drop"));
    EXPECT_THAT(acts[2], HasSubstr("iptables -F dns_drop"));
    EXPECT_THAT(acts[3], HasSubstr("iptables -X dns_drop"));
    EXPECT_TRUE(box.boot()) << "and begins anew when it is started again";
}

TEST_F(Start, WithoutAThreadTheDaemonGoesOn)
{
    box.faults.fail("pthread_create", 1, EAGAIN);
    EXPECT_TRUE(box.boot());
    EXPECT_THAT(box.log.lines(), Contains(MatchesRegex("\\[main:[0-9]+\\] wan_surf_check thread start failed!")));
    box.log.clear();
    box.tick(3);
    EXPECT_TRUE(box.running());
    EXPECT_EQ(box.ticks(), 4U);
}

TEST_F(Start, OneThreadIsStarted)
{
    EXPECT_TRUE(box.boot());
    EXPECT_EQ(box.faults.made("pthread_create"), 1U);
    box.tick(3);
    EXPECT_EQ(box.faults.made("pthread_create"), 1U);
    EXPECT_THAT(box.log.lines(), Not(Contains(HasSubstr("thread start failed"))));
}

TEST_F(Start, EveryModuleHasItsHandlerAfterStart)
{
    box.boot();
    EXPECT_THAT(box.log.bodies(), Not(Contains("register msg ops error."))) << "a record too many was registered";
    box.log.clear();
    box.post("time_check_debug");
    Lines handlers;
    std::ranges::copy_if(box.log.lines(), std::back_inserter(handlers),
                         [](const std::string &line) { return line.starts_with("ops_module:"); });
    ASSERT_EQ(handlers.size(), size_t{TIME_CHECK_MAX_MODULE_NUM});
    handlers.resize(10);
    EXPECT_THAT(handlers, ElementsAre("ops_module:time_check_debug,", "ops_module:time_check_reboot,",
                                      "ops_module:time_check_power,", "ops_module:time_check_wifi,",
                                      "ops_module:time_check_led,", "ops_module:time_check_cpu,",
                                      "ops_module:time_check_daemon,", "ops_module:time_check_wifi_connect,",
                                      "ops_module:time_check_ap_connect,", "ops_module:time_check_wl_guest,"));
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
    box.clock.set("2026-03-01 12:00:00");
    box.boot();
    EXPECT_EQ(box.ticks(), 1U);
    box.tick(60);
    EXPECT_EQ(box.ticks(), 61U);
    EXPECT_EQ(box.clock.local(), "2026-03-01 12:01:00");
}

TEST_F(MainLoop, TheAddressOfTheFirstDialUpIsChecked)
{
    box.network.set_address("ppp0", "10.1.2.3");
    box.network.set_address("ppp45", "10.4.5.6");
    box.boot();
    EXPECT_THAT(box.journal.acts("wan_lan_check"), ElementsAre("wan_lan_check 10.1.2.3 255.255.255.0"));
}

TEST_F(MainLoop, FailingThatTheSecondOnes)
{
    box.network.set_address("ppp45", "10.4.5.6");
    box.boot();
    EXPECT_THAT(box.journal.acts("wan_lan_check"), ElementsAre("wan_lan_check 10.4.5.6 255.255.255.0"));
}

TEST_F(MainLoop, WithoutDialUpNothingIsChecked)
{
    box.network.set_address("eth1", "10.1.2.3");
    box.network.set_address("ppp1", "10.1.2.4");
    box.boot();
    box.tick(5);
    EXPECT_THAT(box.journal.acts("wan_lan_check"), IsEmpty());
}

TEST_F(MainLoop, TheCheckFollowsTheAddressesEveryTick)
{
    box.boot();
    box.network.set_address("ppp0", "10.1.2.3");
    box.tick(2);
    box.network.set_address("ppp0", "");
    box.tick();
    box.network.set_address("ppp45", "10.4.5.6");
    box.tick();
    EXPECT_THAT(box.journal.acts("wan_lan_check"),
                ElementsAre("wan_lan_check 10.1.2.3 255.255.255.0", "wan_lan_check 10.1.2.3 255.255.255.0",
                            "wan_lan_check 10.4.5.6 255.255.255.0"));
}

// The order of the ticks shows in what one pass prints and does.

void expect_in_turn(const Lines &lines, std::initializer_list<const char *> texts)
{
    auto next = lines.begin();
    for (const char *text : texts) {
        next = std::find_if(next, lines.end(),
                            [text](const std::string &line) { return line.find(text) != std::string::npos; });
        EXPECT_NE(next, lines.end()) << text << " does not come in its turn";
    }
}

TEST_F(MainLoop, OnePassPrintsInTheModulesOrder)
{
    configure({{"sys.schedulereboot.enable", "1"},
               {"sys.schedulereboot.type", "5"},
               {"sys.powersleep.enable", "1"},
               {"sys.powersleep.type", "7"},
               {"time_check_debug", "on"}});
    box.boot();
    box.post("time_check_daemon?op=1,string_info=minidlna"); // which does not run
    _DEBUG_LIST_[TIME_CHECK_CPU] = 1;
    _DEBUG_LIST_[TIME_CHECK_DAEMON] = 1;
    do {
        box.log.clear();
        box.tick();
    } while (!has_line("DAEMON_EXE_PROBLEM_CHECK_NUM:1!"));

    expect_in_turn(box.log.lines(), {"TIME_CHECK_REBOOT_STRUCT.type = 5", "TIME_CHECK_POWER_STRUCT.type = 7", "before!",
                                     "DAEMON_EXE_PROBLEM_CHECK_NUM:1!", "need not checking, effect_time"});
}

TEST_F(MainLoop, OnePassActsInTheModulesOrder)
{
    configure({{"sys.schedulereboot.enable", "1"},
               {"sys.schedulereboot.start_time", "03:00"},
               {"sys.sched.wifi.enable", "1"},
               {"nkgw.wlan.listnum", "1"},
               {"nkgw.wlan.offtime.list1", "03:00"},
               {"nkgw.wlan.ontime.list1", "04:00"},
               {"wl2g.public.enable", "1"},
               {"wl2g.ssid0.enable", "1"},
               {"wl2g.enable", "1"},
               {"sys.sched.led.type", "time"},
               {"nkgw.led.listnum", "1"},
               {"nkgw.led.offtime.list1", "03:00"},
               {"nkgw.led.ontime.list1", "04:00"},
               {"nkgw.led.state", "3"}});
    box.reboot_returns = true;
    box.network.set_address("ppp0", "10.1.2.3");
    box.clock.set("2026-03-04 02:59:58");
    box.clock.set_uptime(86400);
    box.boot();
    while (times("reboot") == 0) {
        box.journal.clear();
        box.tick();
    }
    expect_in_turn(box.journal.lines(), {"reboot", "set wl2g.public.enable=0", "set nkgw.led.state=0",
                                         "wan_lan_check 10.1.2.3 255.255.255.0"});
}

TEST_F(MainLoop, TheGuestNetworkComesAfterTheClashCheck)
{
    box.network.set_address("ppp0", "10.1.2.3");
    box.boot();
    configure({{"wl.guest.effective_time", "4"}, {"wl.guest.dhcps_enable", "1"}});
    box.post("time_check_wl_guest?string_info=wl_guest");
    box.journal.clear();
    box.clock.set_uptime(86400);
    box.tick();
    expect_in_turn(box.journal.lines(), {"wan_lan_check 10.1.2.3 255.255.255.0", "set wl.guest.dhcps_enable=0"});
}

} // namespace
