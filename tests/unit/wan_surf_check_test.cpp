// The passes of the reachability check: when a WAN is down, online or internal, what is published, who is told.
#include "tests/support/wan_world.h"
#include "time_check/wan_surf_check.h"

using SurfStart = RouterTest;
using WiredWan = RouterTest;
using TwoWans = RouterTest;
using WiredPass = RouterTest;
using UplinkMode = RouterTest;
using Wisp = RouterTest;
using ApClient = RouterTest;
using Renewal = RouterTest;
using OnlineBefore = RouterTest;

namespace
{

struct Pass {
    int result;
    int interval_s;
    bool operator==(const Pass &) const = default;
};

// One pass over the WANs of the store's "wans.flag"; 99 as interval: left as it was.
Pass pass()
{
    int interval_s = 99;
    const int result = surf_check(&interval_s, std::stoi("0" + box.store.get("wans.flag")));
    return {result, interval_s};
}

// Starts the check, without the commands of the start in the journal.
void start()
{
    wan_surf_check_init();
    box.journal.clear();
    box.log.clear();
}

void start_wired(int wans)
{
    make_wired_router(wans);
    start();
}

std::string published(int wan_id)
{
    const std::string wan = "wan" + std::to_string(wan_id);
    return wan + " isonln=" + box.store.get(wan + "_isonln") + " check=" + box.store.get(wan + "_check");
}

const Lines &messages()
{
    return box.journal.messages_to_netctrl();
}

void lose_internet(int wan_id)
{
    box.network.set_reachable("*", wan_interface(wan_id), false);
}

void regain_internet(int wan_id)
{
    box.network.set_reachable("*", wan_interface(wan_id), true);
}

// Passes until the forgiven ones are used up; the WAN has been online.
void use_up_grace()
{
    for (int i = 0; i < 5; i++)
        pass();
}

} // namespace

// ---- start ----

TEST_F(SurfStart, PrintsItsLineAndMakesChainAndRulesAfresh)
{
    make_wired_router(2);
    wan_surf_check_init();
    EXPECT_EQ(box.log.lines(), (Lines{"[wan_surf_check_init:903] renew config of wan_surf_check"}));
    EXPECT_EQ(
        box.journal.lines(),
        (Lines{"command iptables -D OUTPUT -p udp --dport 53 -m state --state NEW -j dns_drop",
               "command iptables -F dns_drop", "command iptables -X dns_drop", "command iptables -N dns_drop",
               "command iptables -A OUTPUT -p udp --dport 53 -m state --state NEW -j dns_drop",
               "command ip rule del prio 5000", "command ip rule del prio 5001", "command ip rule del prio 5002",
               "command ip rule del prio 5003", "command ip rule del prio 5004", "command ip rule del prio 5005"}));
}

TEST_F(SurfStart, WithoutWansIsAWiredRouterWithNothingToProbe)
{
    for (const char *count : {"", "0", "-3"}) {
        make_wired_router(1);
        box.store.set("sys.workmode", "ap"); // is not even looked at
        configure({{"wans.flag", count},
                   {"wan1_err_check", "0"},
                   {"wan1.down.flag", "0"},
                   {"reboot.flag", "0"},
                   {"wan1.onln.beforestart", "1"}});
        start();
        int interval_s = 99;
        EXPECT_EQ(surf_check(&interval_s, 0), 1);
        EXPECT_EQ(interval_s, 20);
        EXPECT_EQ(box.journal.lines(), (Lines{"set wan1.onln.beforestart=0", "commit"})) << count;
        EXPECT_EQ(box.faults.made("ping_by_interface"), 0U);
    }
}

// ---- one wired WAN ----

TEST_F(WiredWan, AHealthyOneIsPublishedAndLookedAtEvery20Seconds)
{
    start_wired(1);
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
    EXPECT_TRUE(messages().empty()) << "internet is what netctrl assumes at the start";
    EXPECT_TRUE(box.journal.acts("commit").empty());
    box.journal.clear();
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_TRUE(box.journal.lines().empty()) << "nothing changed";
}

TEST_F(WiredWan, WithoutLinkIsDownAndNobodyIsTold)
{
    start_wired(1);
    box.network.set_link(1, false);
    EXPECT_EQ(pass(), (Pass{1, 4}));
    EXPECT_EQ(published(1), "wan1 isonln=0 check=0");
    EXPECT_EQ(box.journal.lines(), (Lines{"set wan1_isonln=0", "set wan1_check=0"}));
    EXPECT_EQ(box.faults.made("ping_by_interface"), 0U);
}

TEST_F(WiredWan, WithoutInterfaceIsDown)
{
    start_wired(1);
    box.network.set_wan(1, "");
    EXPECT_EQ(pass(), (Pass{1, 4}));
    EXPECT_EQ(published(1), "wan1 isonln=0 check=0");
}

TEST_F(WiredWan, WithoutAddressIsDown)
{
    start_wired(1);
    box.network.set_address("eth1", "");
    EXPECT_EQ(pass(), (Pass{1, 4}));
    EXPECT_EQ(published(1), "wan1 isonln=0 check=0");
}

TEST_F(WiredWan, ThatComesUpSettlesForSixSecondsOnce)
{
    start_wired(1);
    for (int round = 0; round < 2; round++) {
        const int before = box.clock.uptime();
        pass();
        EXPECT_EQ(box.clock.uptime() - before, 6) << "first look";
        pass();
        EXPECT_EQ(box.clock.uptime() - before, 6) << "second look";
        box.network.set_link(1, false);
        pass();
        EXPECT_EQ(box.clock.uptime() - before, 6) << "down";
        box.network.set_link(1, true);
    }
}

TEST_F(WiredWan, WithoutInternetIsForgivenFivePassesThenToldOnce)
{
    start_wired(1);
    pass();
    lose_internet(1);
    for (int i = 1; i <= 5; i++) {
        EXPECT_EQ(pass(), (Pass{1, 4})) << i;
        EXPECT_EQ(published(1), "wan1 isonln=1 check=1") << i;
        EXPECT_TRUE(messages().empty());
    }
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(pass(), (Pass{1, 4}));
        EXPECT_EQ(published(1), "wan1 isonln=0 check=1");
        EXPECT_EQ(messages(), (Lines{"52?op=16,wan_id=1"}));
    }
    regain_internet(1);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(pass(), (Pass{1, 20}));
        EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
        EXPECT_EQ(messages(), (Lines{"52?op=16,wan_id=1", "52?op=15,wan_id=1"}));
    }
}

TEST_F(WiredWan, IsToldByTheShellAndNothingIsBlocked)
{
    start_wired(1);
    pass();
    lose_internet(1);
    use_up_grace();
    box.journal.clear();
    pass();
    regain_internet(1);
    pass();
    EXPECT_EQ(box.journal.acts("command"),
              (Lines{"command cfm post netctrl 52?op=16,wan_id=1", "command cfm post netctrl 52?op=15,wan_id=1"}));
}

TEST_F(WiredWan, IsNotForgivenBeforeItsFirstSuccess)
{
    start_wired(1);
    lose_internet(1);
    EXPECT_EQ(pass(), (Pass{1, 4}));
    EXPECT_EQ(published(1), "wan1 isonln=0 check=1");
    EXPECT_EQ(messages(), (Lines{"52?op=16,wan_id=1"}));
}

TEST_F(WiredWan, AFailedResolutionIsOfflineButNotTold)
{
    start_wired(1);
    box.network.set_dns(false);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(pass(), (Pass{1, 4}));
        EXPECT_EQ(published(1), "wan1 isonln=0 check=1");
    }
    EXPECT_TRUE(messages().empty());
    box.network.set_dns(true);
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_TRUE(messages().empty()) << "internet was never taken back";
}

TEST_F(WiredWan, ALostNameServiceIsNotNoticedWhileTheAddressesAnswer)
{
    start_wired(1);
    pass();
    box.network.set_dns(false);
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
}

TEST_F(WiredWan, ThatWasDownIsAnnouncedAgainWithItsFirstGoodPass)
{
    start_wired(1);
    pass();
    box.network.set_link(1, false);
    pass();
    EXPECT_TRUE(messages().empty());
    box.network.set_link(1, true);
    box.network.set_dns(false);
    pass();
    EXPECT_TRUE(messages().empty());
    box.network.set_dns(true);
    pass();
    EXPECT_EQ(messages(), (Lines{"52?op=15,wan_id=1"}));
}

TEST_F(WiredWan, ThatComesUpWithoutInternetIsNotAnnounced)
{
    start_wired(1);
    pass();
    box.network.set_link(1, false);
    pass();
    box.network.set_link(1, true);
    lose_internet(1);
    EXPECT_EQ(pass(), (Pass{1, 4})) << "nothing is forgiven after a loss of the link";
    EXPECT_EQ(published(1), "wan1 isonln=0 check=1");
    EXPECT_TRUE(messages().empty());
}

TEST_F(WiredWan, ItsInterfaceHangsOnModeAndConnectionType)
{
    make_wired_router(1);
    box.store.set("sys.mode", "7");
    box.network.set_address("ppp0", "198.51.100.9");
    box.network.set_wan_hook([](int wan_id, int sys_mode, int conn_type) {
        return wan_id == 1 && sys_mode == 7 && conn_type == 2 ? "ppp0" : "";
    });
    start();
    pass();
    EXPECT_EQ(published(1), "wan1 isonln=0 check=0");
    box.store.set("wan1.connecttype", "2"); // read anew by every pass
    pass();
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
    box.store.set("sys.mode", "8"); // only read at the start
    pass();
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
    wan_surf_check_init();
    pass();
    EXPECT_EQ(published(1), "wan1 isonln=0 check=0");
}

// ---- two wired WANs ----

TEST_F(TwoWans, TheIntervalCountsTheTroubledOnes)
{
    start_wired(2);
    EXPECT_EQ(pass(), (Pass{1, 20}));
    box.network.set_link(2, false);
    EXPECT_EQ(pass(), (Pass{1, 12}));
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
    EXPECT_EQ(published(2), "wan2 isonln=0 check=0");
    box.network.set_link(1, false);
    EXPECT_EQ(pass(), (Pass{1, 4}));
    EXPECT_EQ(published(1), "wan1 isonln=0 check=0");
}

TEST_F(TwoWans, EachOnesConnectionTypeIsReadByEveryPass)
{
    make_wired_router(2);
    box.network.set_address("ppp1", "198.51.100.9");
    box.network.set_wan_hook([](int wan_id, int /*sys_mode*/, int conn_type) {
        return wan_id == 1 ? "eth1" : conn_type == 2 ? "ppp1" : "eth2";
    });
    box.network.set_reachable("*", "eth2", false); // where WAN 2 is after it has become a dialled one
    start();
    pass();
    EXPECT_EQ(published(2), "wan2 isonln=0 check=1");
    box.store.set("wan2.connecttype", "2");
    pass();
    EXPECT_EQ(published(2), "wan2 isonln=1 check=1");
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
}

TEST_F(TwoWans, AForgivenOneIsTroubled)
{
    start_wired(2);
    pass();
    lose_internet(2);
    EXPECT_EQ(pass(), (Pass{1, 12}));
    EXPECT_EQ(published(2), "wan2 isonln=1 check=1");
}

static void expect_block_until_back(int wan_id)
{
    const std::string number = std::to_string(wan_id);
    start_wired(2);
    pass();
    lose_internet(wan_id);
    use_up_grace();
    box.journal.clear();
    EXPECT_EQ(pass(), (Pass{1, 12}));
    EXPECT_EQ(box.journal.lines(),
              (Lines{"set wan" + number + "_isonln=0", "command cfm post netctrl 52?op=16,wan_id=" + number,
                     "command iptables -A dns_drop -o eth" + number + " -j DROP"}));
    EXPECT_EQ(box.commands.chain("dns_drop"), (Lines{"-o eth" + number + " -j DROP"}));

    box.journal.clear();
    pass();
    EXPECT_TRUE(box.journal.lines().empty());

    regain_internet(wan_id);
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_EQ(box.journal.lines(),
              (Lines{"set wan" + number + "_isonln=1", "command cfm post netctrl 52?op=15,wan_id=" + number,
                     "command iptables -D dns_drop -o eth" + number + " -j DROP"}));
    EXPECT_TRUE(box.commands.chain("dns_drop").empty());
}

TEST_F(TwoWans, AnInternalOneHasItsDnsBlockedUntilItIsBack)
{
    expect_block_until_back(2);
}

TEST_F(TwoWans, TheFirstIsBlockedAndProbedByItsOwnInterface)
{
    expect_block_until_back(1);
    box.network.set_reachable("*", "eth2", false);
    EXPECT_EQ(pass(), (Pass{1, 12}));
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
}

TEST_F(TwoWans, HaveRulesForEachAndKeepThemThroughAFault)
{
    start_wired(2);
    pass();
    const Lines rules = box.commands.rules();
    ASSERT_EQ(rules.size(), 6U);
    EXPECT_EQ(rules[0].substr(0, 5), "5000 ");
    EXPECT_EQ(rules[5].substr(0, 5), "5005 ");
    lose_internet(1);
    lose_internet(2);
    use_up_grace();
    pass();
    EXPECT_EQ(box.commands.rules(), rules);
    EXPECT_EQ(box.commands.chain("dns_drop"), (Lines{"-o eth1 -j DROP", "-o eth2 -j DROP"}));
}

TEST_F(TwoWans, AThirdIsNeverLookedAt)
{
    for (const char *count : {"3", "99"}) {
        make_wired_router(2);
        plug_wan(3);
        box.store.set("wans.flag", count);
        start();
        pass();
        pass();
        EXPECT_EQ(published(2), "wan2 isonln=1 check=1") << count;
        EXPECT_FALSE(box.store.has("wan3_isonln")) << count;
        EXPECT_EQ(box.commands.rules().size(), 6U) << count;
        check_wan_connttype(99);
    }
}

TEST_F(WiredPass, GuardsArePassedByAnyNumberOfWans)
{
    start_wired(1);
    for (const int wans : {-1, 0, 3}) {
        int interval_s = 99;
        EXPECT_EQ(ap_wan_surf_check(&interval_s, wans), 1) << wans;
    }
    EXPECT_EQ(ap_wan_surf_check(nullptr, 1), 0);
    EXPECT_EQ(wisp_wan_surf_check(nullptr), 0);
    EXPECT_EQ(ap_clinet_wan_surf_check(nullptr), 0);
    for (const std::string &line : box.log.lines())
        EXPECT_EQ(line.find("the agrv is invalid"), std::string::npos) << line;
}

// ---- which procedure ----

namespace
{

// Whether the pass was a WISP's, an AP client's or a wired router's, from what it leaves when nothing is there: the
// WISP's is down after 2 s, the AP client's is probed, the wired one's is down after 4 s.
std::string procedure(const char *mode_2g, const char *mode_5g, const char *work_mode, int wans)
{
    make_wired_router(wans);
    box.store.set("wl2g.public.mode", mode_2g);
    box.store.set("wl5g.public.mode", mode_5g);
    box.store.set("sys.workmode", work_mode);
    box.store.set("wl.wisp.ifname", "wlc0");
    for (int wan_id = 1; wan_id <= wans; wan_id++)
        box.network.set_link(wan_id, false);
    box.network.set_dns(false);
    start();
    const Pass seen = pass();
    if (seen == Pass{-1, 99})
        return "none";
    if (seen == Pass{1, 2})
        return "wisp";
    if (seen == Pass{1, 4})
        return "wired";
    return published(1) == "wan1 isonln=0 check=1" ? "apclient" : "?";
}

} // namespace

TEST_F(UplinkMode, ApsAreWired)
{
    EXPECT_EQ(procedure("ap", "ap", "router", 1), "wired");
    EXPECT_EQ(procedure("ap", "ap", "router", 2), "wired");
    EXPECT_EQ(procedure("", "", "", 1), "wired");
}

TEST_F(UplinkMode, AnApClientRadioDecides)
{
    EXPECT_EQ(procedure("ap", "apclient", "router", 1), "apclient");
    EXPECT_EQ(procedure("apclient", "ap", "router", 1), "apclient");
    EXPECT_EQ(procedure("apclient", "wisp", "router", 1), "apclient");
    EXPECT_EQ(procedure("wisp", "apclient", "router", 1), "apclient");
}

TEST_F(UplinkMode, AWispRadioDecides)
{
    EXPECT_EQ(procedure("ap", "wisp", "router", 1), "wisp");
    EXPECT_EQ(procedure("wisp", "ap", "router", 1), "wisp");
}

TEST_F(UplinkMode, WorkModeApOverridesTheRadios)
{
    EXPECT_EQ(procedure("wisp", "wisp", "ap", 1), "apclient");
    EXPECT_EQ(procedure("ap", "ap", "ap", 1), "apclient");
}

TEST_F(UplinkMode, TheLastWansPointOfViewStandsAndOnlySees5GHz)
{
    EXPECT_EQ(procedure("apclient", "ap", "router", 2), "wired");
    EXPECT_EQ(procedure("wisp", "ap", "router", 2), "wired");
    EXPECT_EQ(procedure("ap", "apclient", "router", 2), "none");
    EXPECT_EQ(procedure("ap", "wisp", "router", 2), "none");
    EXPECT_EQ(procedure("ap", "ap", "ap", 2), "none");
}

TEST_F(UplinkMode, MoreWansThanOneAreNotProbedWithoutWires)
{
    make_wired_router(2);
    box.store.set("wl5g.public.mode", "wisp");
    start();
    EXPECT_EQ(pass(), (Pass{-1, 99}));
    EXPECT_TRUE(box.journal.lines().empty());
    EXPECT_EQ(box.faults.made("ping_by_interface"), 0U);
}

// ---- WISP ----

static void start_wisp()
{
    make_wired_router(1);
    box.store.set("wl2g.public.mode", "wisp");
    box.store.set("wl.wisp.ifname", "wlc0");
    box.radios.set_connection("wlc0", 3);
    start();
}

TEST_F(Wisp, AConnectedOneIsProbedByTheRoutingTable)
{
    start_wisp();
    box.network.set_link(1, false); // wires do not matter
    box.network.set_reachable("*", "eth1", false);
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
}

TEST_F(Wisp, WithoutInternetItIsForgivenThenOfflineAndNobodyIsTold)
{
    start_wisp();
    pass();
    box.network.set_reachable("*", "", false);
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(pass(), (Pass{1, 20}));
        EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
    }
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_EQ(published(1), "wan1 isonln=0 check=1");
    EXPECT_TRUE(messages().empty());
    EXPECT_TRUE(box.commands.chain("dns_drop").empty());
}

TEST_F(Wisp, AnyOtherStateIsDownAndLookedAtEvery2Seconds)
{
    start_wisp();
    for (const int state : {0, 1, 2, -1}) {
        box.radios.set_connection("wlc0", state);
        EXPECT_EQ(pass(), (Pass{1, 2})) << state;
        EXPECT_EQ(published(1), "wan1 isonln=0 check=0") << state;
    }
}

TEST_F(Wisp, SettlesForSixSecondsWhenItConnects)
{
    start_wisp();
    for (int round = 0; round < 2; round++) {
        const int before = box.clock.uptime();
        pass();
        EXPECT_EQ(box.clock.uptime() - before, 6);
        pass();
        EXPECT_EQ(box.clock.uptime() - before, 6);
        box.radios.set_connection("wlc0", 1);
        pass();
        box.radios.set_connection("wlc0", 3);
    }
}

TEST_F(Wisp, ItsConnectionTypeIsReadByEveryPass)
{
    start_wisp();
    for (const int type : {0, 1, 2}) {
        box.store.set("wan1.connecttype", std::to_string(type));
        pass();
        EXPECT_EQ(box.radios.access_type_asked, type);
    }
}

// ---- AP client and AP ----

static void start_ap_client()
{
    make_wired_router(1);
    box.store.set("wl2g.public.mode", "apclient");
    box.network.set_address("br0", "10.1.2.3");
    start();
}

TEST_F(ApClient, WithALeaseIsLookedAtEvery20Seconds)
{
    start_ap_client();
    const int before = box.clock.uptime();
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
    EXPECT_EQ(box.journal.lines().front(),
              "command ip rule add to 192.0.2.1 iif lo lookup wan1 prio 5000 2> /dev/null");
    EXPECT_EQ(box.clock.uptime(), before) << "no time to settle";
}

TEST_F(ApClient, WithTheConfiguredAddressIsLookedAtEvery5Seconds)
{
    start_ap_client();
    box.network.set_address("br0", "192.168.0.1");
    EXPECT_EQ(pass(), (Pass{1, 5}));
    EXPECT_EQ(published(1), "wan1 isonln=1 check=1");
}

TEST_F(ApClient, WithoutAnAddressTheConfiguredOneCounts)
{
    start_ap_client();
    box.network.set_address("br0", "");
    EXPECT_EQ(pass(), (Pass{1, 5}));
    box.store.set("lan.ip", "192.168.5.1"); // not what was read at the start
    EXPECT_EQ(pass(), (Pass{1, 20}));
}

TEST_F(ApClient, IsAlwaysProbedAndNobodyIsTold)
{
    start_ap_client();
    box.network.set_link(1, false);
    box.network.set_reachable("*", "", false);
    EXPECT_EQ(pass(), (Pass{1, 20}));
    EXPECT_EQ(published(1), "wan1 isonln=0 check=1");
    EXPECT_TRUE(messages().empty());
}

// ---- renewal ----

TEST_F(Renewal, ReadsTheSettingsAgainAndForgetsTheProbe)
{
    start_wired(1);
    pass();
    box.store.set("wl2g.public.country", "CN");
    wan_surf_check_init();
    box.journal.clear();
    const int before = box.clock.uptime();
    pass();
    EXPECT_EQ(box.clock.uptime() - before, 6) << "settles again";
    EXPECT_EQ(box.journal.acts("command").front(),
              "command ip rule add to 192.0.2.11 iif lo lookup wan1 prio 5000 2> /dev/null");
}

TEST_F(Renewal, KeepsWhatIsKnownOfTheWans)
{
    start_wired(2);
    pass();
    lose_internet(2);
    use_up_grace();
    pass();
    ASSERT_EQ(messages().size(), 1U);
    wan_surf_check_init();
    EXPECT_TRUE(box.commands.chain("dns_drop").empty());
    pass();
    EXPECT_EQ(messages().size(), 1U) << "told already";
    regain_internet(2);
    pass();
    EXPECT_EQ(messages(), (Lines{"52?op=16,wan_id=2", "52?op=15,wan_id=2"}));
}

TEST_F(Renewal, AMissingKeyEmptiesItsField)
{
    start_ap_client();
    box.store.unset("lan.ip");
    wan_surf_check_init();
    box.network.set_address("br0", "");
    EXPECT_EQ(pass(), (Pass{1, 5})) << "empty is the same as empty";
    box.network.set_address("br0", "192.168.0.1");
    EXPECT_EQ(pass(), (Pass{1, 20}));
}

// ---- whether the WAN had been online ----

namespace
{

// The five keys, "-" for a missing one: error check, online before start, taken down, account changed, reboot, online.
struct Notes {
    const char *err_check;
    const char *before_start;
    const char *down;
    const char *changed;
    const char *reboot;
    const char *online;
};

void set_note(const char *key, const char *value)
{
    if (std::string(value) == "-")
        box.store.unset(key);
    else
        box.store.set(key, value);
}

Lines acts_for(const Notes &notes)
{
    set_note("wan1_err_check", notes.err_check);
    set_note("wan1.onln.beforestart", notes.before_start);
    set_note("wan1.down.flag", notes.down);
    set_note("wan1.pppoe.auth.changed", notes.changed);
    set_note("reboot.flag", notes.reboot);
    set_note("wan1_isonln", notes.online);
    box.journal.clear();
    check_wanonln_status(1);
    return box.journal.lines();
}

} // namespace

TEST_F(OnlineBefore, IsTakenBackWhenTheConnectionIsLostUnasked)
{
    const Lines taken_back = {"set wan1.onln.beforestart=0", "commit"};
    EXPECT_EQ(acts_for({"2", "1", "0", "0", "0", "0"}), taken_back);
    EXPECT_EQ(acts_for({"-", "1", "0", "-", "0", "1"}), taken_back);
    EXPECT_EQ(acts_for({"33", "1", "0", "1", "0", "1"}), taken_back);
}

TEST_F(OnlineBefore, IsKeptWhenTheConnectionIsLostOnPurpose)
{
    EXPECT_EQ(acts_for({"2", "1", "1", "0", "0", "0"}), Lines{});
    EXPECT_EQ(acts_for({"2", "1", "0", "0", "1", "0"}), Lines{});
    EXPECT_EQ(acts_for({"2", "1", "-", "0", "0", "0"}), Lines{});
    EXPECT_EQ(acts_for({"2", "1", "0", "0", "-", "0"}), Lines{});
    EXPECT_EQ(acts_for({"2", "0", "0", "0", "0", "0"}), Lines{});
}

TEST_F(OnlineBefore, IsSetWhenConnectedAndOnline)
{
    const Lines noted = {"set wan1.onln.beforestart=1", "set wan1.down.flag=0", "set wan1.pppoe.auth.changed=0",
                         "set reboot.flag=0", "commit"};
    EXPECT_EQ(acts_for({"3", "0", "0", "0", "0", "1"}), noted);
    EXPECT_EQ(acts_for({"3", "1", "1", "0", "0", "1"}), noted);
    EXPECT_EQ(acts_for({"3", "1", "0", "1", "0", "1"}), noted);
    EXPECT_EQ(acts_for({"3", "1", "0", "0", "1", "1"}), noted);
    EXPECT_EQ(acts_for({"3", "-", "1", "-", "-", "1"}), noted);
}

TEST_F(OnlineBefore, NothingIsWrittenWhenItIsNotedAlready)
{
    EXPECT_EQ(acts_for({"3", "1", "0", "0", "0", "1"}), Lines{});
    EXPECT_EQ(acts_for({"3", "-", "-", "-", "-", "1"}), Lines{});
}

TEST_F(OnlineBefore, NothingIsWrittenWhenConnectedButNotOnline)
{
    EXPECT_EQ(acts_for({"3", "0", "1", "1", "1", "0"}), Lines{});
    EXPECT_EQ(acts_for({"3", "0", "1", "1", "1", "-"}), Lines{});
}

TEST_F(OnlineBefore, IsLookedAtInEveryWiredPassForTheFirstWanOnly)
{
    start_wired(2);
    for (const char *wan : {"wan1", "wan2"}) {
        box.store.set(std::string(wan) + "_err_check", "0");
        box.store.set(std::string(wan) + ".onln.beforestart", "1");
        box.store.set(std::string(wan) + ".down.flag", "0");
    }
    box.store.set("reboot.flag", "0");
    pass();
    EXPECT_EQ(box.store.get("wan1.onln.beforestart"), "0");
    EXPECT_EQ(box.store.get("wan2.onln.beforestart"), "1");
}
