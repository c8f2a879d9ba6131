// The reachability thread beside the main loop, in virtual time: when it looks, and what comes of it.
#include "tests/support/wan_world.h"

using WanThread = RouterTest;
using WanFault = RouterTest;

namespace
{

int boot_time;

// Boots a wired router whose pings take no time, so that all time is the thread's own. Its first pass ends 6 s later.
void boot_wired(int wans)
{
    make_wired_router(wans);
    box.network.set_ping_durations(0, 0);
    boot_time = box.clock.uptime();
    ASSERT_TRUE(box.boot());
}

// Runs until `second` seconds after the boot.
void run_to(int second)
{
    box.run(boot_time + second - box.clock.uptime());
}

// The acts that begin so, each with its second after the boot.
Lines acts_with_time(const std::string &beginning)
{
    Lines found;
    for (const std::string &line : box.journal.timed_lines()) {
        const size_t plus = line.find('+');
        const size_t act = line.find(' ', plus) + 1;
        if (line.compare(act, beginning.size(), beginning) == 0)
            found.push_back(std::to_string(std::stoi(line.substr(plus + 1)) - boot_time) + " " + line.substr(act));
    }
    return found;
}

} // namespace

TEST_F(WanThread, AHealthyRouterIsLookedAtEvery20SecondsAndATroubledOneEvery4)
{
    boot_wired(1);
    run_to(30); // passes at 6 and 26
    box.network.set_reachable("*", "", false);
    run_to(67); // forgiven at 46, 50, 54, 58 and 62
    box.network.set_reachable("*", "", true);
    run_to(200);
    EXPECT_EQ(acts_with_time("command cfm post"), (Lines{"66 command cfm post netctrl 52?op=16,wan_id=1",
                                                         "70 command cfm post netctrl 52?op=15,wan_id=1"}));
    EXPECT_EQ(acts_with_time("set wan1_isonln"),
              (Lines{"6 set wan1_isonln=1", "66 set wan1_isonln=0", "70 set wan1_isonln=1"}));
}

TEST_F(WanThread, TwoWansOneInternalAreLookedAtEvery12Seconds)
{
    boot_wired(2); // each settles for 6 s: the first pass ends at 12
    run_to(20);
    box.network.set_reachable("*", "eth2", false);
    run_to(93); // forgiven at 32, 44, 56, 68 and 80
    EXPECT_EQ(acts_with_time("command cfm post"), (Lines{"92 command cfm post netctrl 52?op=16,wan_id=2"}));
    EXPECT_EQ(box.commands.chain("dns_drop"), (Lines{"-o eth2 -j DROP"}));
    box.network.set_reachable("*", "eth2", true);
    run_to(105);
    EXPECT_EQ(box.journal.messages_to_netctrl(), (Lines{"52?op=16,wan_id=2", "52?op=15,wan_id=2"}));
    EXPECT_TRUE(box.commands.chain("dns_drop").empty());
}

TEST_F(WanThread, AnUnpluggedCableIsLookedAtEvery4Seconds)
{
    boot_wired(1);
    run_to(10);
    box.network.set_link(1, false);
    run_to(28); // seen at 26
    EXPECT_EQ(acts_with_time("set wan1_check=0"), (Lines{"26 set wan1_check=0"}));
    box.network.set_link(1, true);
    run_to(60); // seen at 30, settled at 36
    EXPECT_EQ(acts_with_time("set wan1_isonln=1"), (Lines{"6 set wan1_isonln=1", "36 set wan1_isonln=1"}));
    EXPECT_EQ(acts_with_time("command cfm post"), (Lines{"36 command cfm post netctrl 52?op=15,wan_id=1"}));
}

TEST_F(WanThread, AWispUplinkThatIsDownIsLookedAtEvery2Seconds)
{
    make_wired_router(1);
    box.store.set("wl2g.public.mode", "wisp");
    box.store.set("wl.wisp.ifname", "wlc0");
    box.radios.set_connection("wlc0", 1);
    boot_time = box.clock.uptime();
    ASSERT_TRUE(box.boot());
    run_to(101);
    box.radios.set_connection("wlc0", 3);
    run_to(120);
    EXPECT_EQ(acts_with_time("set wan1_isonln"), (Lines{"0 set wan1_isonln=0", "108 set wan1_isonln=1"}));
}

TEST_F(WanThread, AWishForRenewalIsTakenUpAtTheEndOfThePass)
{
    boot_wired(1);
    run_to(10);
    box.journal.clear();
    configure({{"surf_check_renew_flag", "1"}, {"wans.flag", "2"}, {"wan2.connecttype", "0"}});
    plug_wan(2);
    run_to(60);
    EXPECT_EQ(box.store.get("surf_check_renew_flag"), "0");
    EXPECT_EQ(acts_with_time("set surf_check_renew_flag"), (Lines{"26 set surf_check_renew_flag=0"}));
    EXPECT_EQ(acts_with_time("command iptables -N"), (Lines{"26 command iptables -N dns_drop"}))
        << "no pause before it";
    EXPECT_EQ(acts_with_time("set wan2_isonln"), (Lines{"38 set wan2_isonln=1"})) << "each WAN settles";
    EXPECT_EQ(box.commands.rules().size(), 6U);
}

TEST_F(WanThread, ARenewalThatLeavesNothingToProbeIsFollowedByTheShortPauseOfTheStart)
{
    boot_wired(2);
    run_to(20);
    box.journal.clear();
    box.store.set("wl5g.public.mode", "wisp"); // not with two WANs
    box.store.set("surf_check_renew_flag", "1");
    run_to(33); // taken up at 32
    box.store.set("surf_check_renew_flag", "1");
    run_to(60); // and at 37
    EXPECT_EQ(acts_with_time("set surf_check_renew_flag"),
              (Lines{"32 set surf_check_renew_flag=0", "37 set surf_check_renew_flag=0"}));
}

TEST_F(WanThread, ARenewalThatCannotBeNotedComesAgainAfterAPause)
{
    boot_wired(1);
    run_to(20);
    box.faults.fail("SetValue", 1, EIO, true);
    box.store.set("surf_check_renew_flag", "1");
    run_to(320);
    const size_t renewals = acts_with_time("set failed surf_check_renew_flag").size();
    EXPECT_GT(renewals, 20U);
    EXPECT_LE(renewals, 61U) << "more than one in five seconds";
    box.faults.clear();
    run_to(360);
    EXPECT_EQ(box.store.get("surf_check_renew_flag"), "0");
    EXPECT_EQ(box.store.get("wan1_isonln"), "1");
}

TEST_F(WanThread, OnlyAFlagThatBeginsWithOneIsAWish)
{
    boot_wired(1);
    run_to(10);
    box.journal.clear();
    for (const char *flag : {"0", "", "yes", " 1"}) {
        box.store.set("surf_check_renew_flag", flag);
        box.run(25);
    }
    EXPECT_TRUE(acts_with_time("command iptables").empty());
    box.store.set("surf_check_renew_flag", "15");
    box.run(25);
    EXPECT_EQ(acts_with_time("set surf_check_renew_flag").size(), 1U);
}

TEST_F(WanThread, WithoutWansLeavesTheStoreAlone)
{
    make_wired_router(1);
    box.store.unset("wans.flag");
    ASSERT_TRUE(box.boot());
    box.run(300);
    EXPECT_FALSE(box.store.has("wan1_isonln"));
    EXPECT_FALSE(box.store.has("wan1_check"));
    EXPECT_TRUE(box.commands.rules().empty());
}

TEST_F(WanThread, ARestartInTheMiddleOfAFaultLeavesOneChainAndNoRuleTwice)
{
    boot_wired(2);
    run_to(20);
    box.network.set_reachable("*", "eth2", false);
    run_to(200);
    ASSERT_EQ(box.commands.chain("dns_drop").size(), 1U);
    box.store.set("surf_check_renew_flag", "1"); // does all that a start does
    box.run(60);
    EXPECT_EQ(box.commands.chain("OUTPUT"), (Lines{"-p udp --dport 53 -m state --state NEW -j dns_drop"}));
    EXPECT_EQ(box.commands.rules().size(), 6U);
}

TEST_F(WanThread, NameServersAreAskedInTurnUntilOneAnswers)
{
    make_wired_router(1);
    box.network.set_ping_durations(0, 0);
    box.files.set("/etc/resolv.conf", "nameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 10.0.0.3\n");
    box.network.set_name_server("10.0.0.1", false);
    box.network.set_name_server("10.0.0.2", false);
    boot_time = box.clock.uptime();
    ASSERT_TRUE(box.boot());
    run_to(60);
    EXPECT_EQ(box.files.text_of("/etc/resolv.conf"), "nameserver 10.0.0.3\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n");
    EXPECT_EQ(acts_with_time("set wan1_isonln"), (Lines{"6 set wan1_isonln=0", "14 set wan1_isonln=1"}));
}

TEST_F(WanFault, AnUnpluggedCableBringsTheDiagnosisPageAndPluggingItTakesItAway)
{
    boot_wired(1);
    run_to(10);
    box.network.set_link(1, false);
    box.network.set_address("eth1", "");
    run_to(25);
    EXPECT_EQ(box.store.get("wan_stoppage_err"), "") << "the thread has not looked yet";
    run_to(50);
    EXPECT_EQ(box.store.get("wan_stoppage_err"), "1");
    EXPECT_EQ(box.store.get("stoppage_flag"), "0") << "from before the first pass";
    run_to(60);
    EXPECT_EQ(box.store.get("stoppage_flag"), "1");
    EXPECT_EQ(box.journal.messages_to_netctrl().back(), "53?op=1");

    box.processes.start("dhttpd", 700);
    plug_wan(1);
    run_to(90);
    EXPECT_EQ(box.store.get("stoppage_flag"), "0");
    EXPECT_EQ(box.journal.messages_to_netctrl().back(), "53?op=2");
}
