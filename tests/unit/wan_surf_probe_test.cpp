// The tools of the reachability check: chain, policy rules, resolution, probe and the keys it writes.
#include "tests/support/wan_world.h"
#include "time_check/wan_keys.h"
#include "time_check/wan_surf_check.h"
#include "time_check/wan_surf_probe.h"

using DnsBlock = RouterTest;
using PolicyRules = RouterTest;
using Resolution = RouterTest;
using Probe = RouterTest;
using Tags = RouterTest;
using WanKey = RouterTest;

namespace
{

Lines commands()
{
    return box.journal.acts("command");
}

// A wired router, its probe set up by `country`, with an empty journal.
void start_probe(int wans, const char *country = "DE")
{
    make_wired_router(wans);
    set_probe_hosts(country);
    reset_probe();
    box.journal.clear();
    box.log.clear();
}

// With one WAN, and this address for one of the hosts.
void start_probe_with_name(const char *host, const char *address)
{
    start_probe(1);
    box.network.set_name(host, address);
}

internet_status fresh_status()
{
    return {.current_status = IS_INTERNET,
            .internal_count = -1,
            .last_status = IS_INTERNET,
            .dns_resolve_status = DNS_RESOLVE_FAILED};
}

} // namespace

// ---- the DNS block ----

TEST_F(DnsBlock, NewChainIsFiveCommandsInOrder)
{
    config_iptables_rule(nullptr, IPTABLES_NEW_CHAIN);
    EXPECT_EQ(commands(),
              (Lines{"command iptables -D OUTPUT -p udp --dport 53 -m state --state NEW -j dns_drop",
                     "command iptables -F dns_drop", "command iptables -X dns_drop", "command iptables -N dns_drop",
                     "command iptables -A OUTPUT -p udp --dport 53 -m state --state NEW -j dns_drop"}));
    EXPECT_TRUE(box.log.bodies().empty());
}

TEST_F(DnsBlock, NewChainIsEmptyAndReachedOnceWhateverWasThere)
{
    config_iptables_rule(nullptr, IPTABLES_NEW_CHAIN);
    config_iptables_rule("eth1", IPTABLES_ADD);
    config_iptables_rule("eth1", IPTABLES_NEW_CHAIN); // the interface is not looked at
    EXPECT_TRUE(box.commands.has_chain("dns_drop"));
    EXPECT_TRUE(box.commands.chain("dns_drop").empty());
    EXPECT_EQ(box.commands.chain("OUTPUT"), (Lines{"-p udp --dport 53 -m state --state NEW -j dns_drop"}));
}

TEST_F(DnsBlock, AddAndDeleteNameTheInterface)
{
    config_iptables_rule("eth1", IPTABLES_ADD);
    config_iptables_rule("ppp0", IPTABLES_DEL);
    EXPECT_EQ(commands(),
              (Lines{"command iptables -A dns_drop -o eth1 -j DROP", "command iptables -D dns_drop -o ppp0 -j DROP"}));
}

TEST_F(DnsBlock, WithoutInterfaceOnlyALineIsPrinted)
{
    config_iptables_rule(nullptr, IPTABLES_ADD);
    config_iptables_rule(nullptr, IPTABLES_DEL);
    config_iptables_rule(nullptr, IPTABLES_DEFAULT);
    const std::string line = "config_iptables_rule 126: the args is error";
    EXPECT_EQ(box.log.lines(), (Lines{line, line, line}));
    EXPECT_TRUE(box.journal.lines().empty());
}

TEST_F(DnsBlock, UnknownCommandOnlyPrintsItsNumber)
{
    config_iptables_rule("eth1", IPTABLES_DEFAULT);
    EXPECT_EQ(box.log.lines(), (Lines{"config_iptables_rule 150: the args is error, command = 0"}));
    EXPECT_TRUE(box.journal.lines().empty());
}

TEST_F(DnsBlock, InterfaceNameIsOneWordOfTheCommand)
{
    config_iptables_rule("eth0.2;reboot", IPTABLES_ADD);
    config_iptables_rule("it's", IPTABLES_ADD);
    EXPECT_EQ(commands(), (Lines{"command iptables -A dns_drop -o 'eth0.2;reboot' -j DROP",
                                 R"(command iptables -A dns_drop -o 'it'\''s' -j DROP)"}));
}

// ---- the policy rules ----

TEST_F(PolicyRules, DeletingTakesEveryPriorityOfEveryWanThereOrNot)
{
    box.store.set("wans.flag", "2");
    config_ip_rule_policy("del");
    EXPECT_EQ(commands(), (Lines{"command ip rule del prio 5000", "command ip rule del prio 5001",
                                 "command ip rule del prio 5002", "command ip rule del prio 5003",
                                 "command ip rule del prio 5004", "command ip rule del prio 5005"}));
}

TEST_F(PolicyRules, AddingSendsEachProbeThroughEachWansTable)
{
    start_probe(2);
    dns_resolv();
    config_ip_rule_policy("add");
    EXPECT_EQ(commands(), (Lines{"command ip rule add to 192.0.2.1 iif lo lookup wan1 prio 5000 2> /dev/null",
                                 "command ip rule add to 192.0.2.2 iif lo lookup wan1 prio 5001 2> /dev/null",
                                 "command ip rule add to 192.0.2.3 iif lo lookup wan1 prio 5002 2> /dev/null",
                                 "command ip rule add to 192.0.2.1 iif lo lookup wan2 prio 5003 2> /dev/null",
                                 "command ip rule add to 192.0.2.2 iif lo lookup wan2 prio 5004 2> /dev/null",
                                 "command ip rule add to 192.0.2.3 iif lo lookup wan2 prio 5005 2> /dev/null"}));
}

TEST_F(PolicyRules, AddingWithoutAddressesAddsNothing)
{
    start_probe(2);
    config_ip_rule_policy("add");
    EXPECT_TRUE(box.journal.lines().empty());
}

TEST_F(PolicyRules, OnlyThreeCharactersOfTheActionAreCompared)
{
    box.store.set("wans.flag", "1");
    config_ip_rule_policy("delete");
    EXPECT_EQ(commands(), (Lines{"command ip rule delete prio 5000", "command ip rule delete prio 5001",
                                 "command ip rule delete prio 5002"}));
}

TEST_F(PolicyRules, OtherActionsDoNothing)
{
    start_probe(1);
    dns_resolv();
    config_ip_rule_policy(nullptr);
    config_ip_rule_policy("");
    config_ip_rule_policy("de");
    config_ip_rule_policy("flush");
    EXPECT_TRUE(box.journal.lines().empty());
}

TEST_F(PolicyRules, WithoutWansNothingIsDeleted)
{
    for (const char *count : {"", "0", "-1", "none"}) {
        box.store.set("wans.flag", count);
        config_ip_rule_policy("del");
    }
    EXPECT_TRUE(box.journal.lines().empty());
}

TEST_F(PolicyRules, MoreThanTwoWansAreTwo)
{
    for (const char *count : {"3", "99", "2147483647", "99999999999"}) {
        box.store.set("wans.flag", count);
        box.journal.clear();
        config_ip_rule_policy("del");
        EXPECT_EQ(commands().size(), 6U) << count;
        EXPECT_EQ(commands().back(), "command ip rule del prio 5005") << count;
    }
}

// ---- resolution ----

TEST_F(Resolution, ThreeAddressesAreKept)
{
    start_probe(1);
    dns_resolv();
    EXPECT_EQ(box.log.lines(), (Lines{"dns_resolv 351: gethostbyname return ip addres is:"}));
    EXPECT_EQ(box.faults.made("gethostbyname"), 3U);
    dns_resolv();
    EXPECT_EQ(box.faults.made("gethostbyname"), 3U);
}

TEST_F(Resolution, CountryChoosesTheHosts)
{
    for (const char *country : {"CN", "cn"}) {
        start_probe(1, country);
        dns_resolv();
        config_ip_rule_policy("add");
        EXPECT_EQ(commands(), (Lines{"command ip rule add to 192.0.2.11 iif lo lookup wan1 prio 5000 2> /dev/null",
                                     "command ip rule add to 192.0.2.12 iif lo lookup wan1 prio 5001 2> /dev/null",
                                     "command ip rule add to 192.0.2.13 iif lo lookup wan1 prio 5002 2> /dev/null"}));
    }
    for (const char *country : {"Cn", "", "CN2"}) {
        start_probe(1, country);
        dns_resolv();
        config_ip_rule_policy("add");
        EXPECT_EQ(commands().front(), "command ip rule add to 192.0.2.1 iif lo lookup wan1 prio 5000 2> /dev/null");
    }
}

// Everything that a failed resolution does.
static void expect_failed_resolution()
{
    box.files.set("/etc/resolv.conf", "nameserver 10.0.0.1\nnameserver 10.0.0.2\n");
    dns_resolv();
    EXPECT_EQ(box.log.lines(), (Lines{"dns_resolv 354: the dns server is failed"}));
    EXPECT_EQ(box.files.text_of("/etc/resolv.conf"), "nameserver 10.0.0.2\nnameserver 10.0.0.1\n");
    config_ip_rule_policy("add");
    EXPECT_TRUE(commands().empty()) << "addresses were kept";
}

TEST_F(Resolution, AnUnknownHostFailsItAndTurnsTheNameServers)
{
    start_probe_with_name("www.cloudflare.com", "");
    expect_failed_resolution();
    EXPECT_EQ(box.faults.made("gethostbyname"), 3U);
}

TEST_F(Resolution, NoNameServerFailsIt)
{
    start_probe(1);
    box.network.set_dns(false);
    expect_failed_resolution();
}

TEST_F(Resolution, TwoEqualNeighboursFailItAndEndIt)
{
    start_probe_with_name("www.cloudflare.com", "192.0.2.1");
    expect_failed_resolution();
    EXPECT_EQ(box.faults.made("gethostbyname"), 2U);
}

TEST_F(Resolution, EqualNeighboursAcrossAnUnknownHostFailIt)
{
    start_probe_with_name("www.cloudflare.com", "");
    box.network.set_name("www.wikipedia.org", "192.0.2.1");
    expect_failed_resolution();
}

TEST_F(Resolution, OnlyNeighboursAreCompared)
{
    start_probe_with_name("www.wikipedia.org", "192.0.2.1");
    dns_resolv();
    EXPECT_EQ(box.log.lines(), (Lines{"dns_resolv 351: gethostbyname return ip addres is:"}));
}

// The answers of a name server that keeps its clients for itself, or of a provider's block list.
TEST_F(Resolution, AnAddressThatNoOtherMachineCanHaveFailsIt)
{
    for (const char *address : {"0.0.0.0", "0.1.2.3", "127.0.0.1", "127.255.255.255", "224.0.0.1", "239.255.255.255",
                                "240.0.0.1", "255.255.255.255"}) {
        start_probe_with_name("www.cloudflare.com", address);
        expect_failed_resolution();
    }
    for (const char *address : {"1.0.0.1", "126.255.255.255", "128.0.0.1", "223.255.255.255", "192.168.0.7"}) {
        start_probe_with_name("www.cloudflare.com", address);
        dns_resolv();
        EXPECT_EQ(box.log.lines(), (Lines{"dns_resolv 351: gethostbyname return ip addres is:"})) << address;
    }
}

TEST_F(Resolution, AnAddressOfTheRoutersOwnFailsIt)
{
    for (const char *own : {"192.168.0.1", "198.51.100.1", "198.51.100.2"}) {
        start_probe(2);
        box.network.set_name("www.cloudflare.com", own);
        expect_failed_resolution();
    }
    box.network.set_address("eth2", ""); // the second WAN is down: the address may be anybody's
    start_probe_with_name("www.cloudflare.com", "198.51.100.2");
    dns_resolv();
    EXPECT_EQ(box.log.lines(), (Lines{"dns_resolv 351: gethostbyname return ip addres is:"}));
}

TEST_F(Resolution, AnOwnAddressIsLookedForWhereItIsNow)
{
    start_probe(1);
    box.network.set_wan_hook([](int, int sys_mode, int conn_type) {
        return sys_mode == 3 && conn_type == 2 ? std::string("ppp0") : std::string();
    });
    box.store.set("sys.mode", "3");
    box.store.set("wan1.connecttype", "2");
    box.network.set_address("ppp0", "203.0.113.7");
    box.network.set_name("www.cloudflare.com", "203.0.113.7");
    expect_failed_resolution();
}

TEST_F(Resolution, RepeatedFailuresAskEachNameServerInTurn)
{
    start_probe(1);
    box.files.set("/etc/resolv.conf", "nameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 10.0.0.3\n");
    box.network.set_name_server("10.0.0.1", false);
    box.network.set_name_server("10.0.0.2", false);
    box.network.set_name_server("10.0.0.3", true);
    dns_resolv();
    dns_resolv();
    dns_resolv();
    EXPECT_EQ(box.log.lines(),
              (Lines{"dns_resolv 354: the dns server is failed", "dns_resolv 354: the dns server is failed",
                     "dns_resolv 351: gethostbyname return ip addres is:"}));
    EXPECT_EQ(box.files.text_of("/etc/resolv.conf"), "nameserver 10.0.0.3\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n");
}

// ---- the probe ----

TEST_F(Probe, AnAnswerIsInternet)
{
    start_probe(1);
    internet_status status = fresh_status();
    status.current_status = IS_INTERNAL;
    EXPECT_EQ(ping_connet_check("eth1", &status, 1), 1);
    EXPECT_EQ(status.current_status, IS_INTERNET);
    EXPECT_EQ(status.internal_count, 0);
    EXPECT_EQ(status.dns_resolve_status, DNS_RESOLVE_SUCCESS);
    EXPECT_EQ(box.faults.made("ping_by_interface"), 1U);
}

TEST_F(Probe, AddressesAreTriedInOrderUntilOneAnswers)
{
    start_probe(1);
    box.network.set_reachable("*", "", false);
    box.network.set_reachable("192.0.2.3", "", true);
    internet_status status = fresh_status();
    EXPECT_EQ(ping_connet_check("eth1", &status, 1), 1);
    EXPECT_EQ(box.faults.made("ping_by_interface"), 3U);
}

TEST_F(Probe, SixPingsAreTheMost)
{
    start_probe(1);
    box.network.set_reachable("*", "", false);
    internet_status status = fresh_status();
    EXPECT_EQ(ping_connet_check("eth1", &status, 1), 0);
    EXPECT_EQ(box.faults.made("ping_by_interface"), 6U);
}

TEST_F(Probe, TheSecondRoundCounts)
{
    start_probe(1);
    box.network.set_reachable("*", "", false);
    box.network.set_ping_durations(0, 1000); // a round of three addresses with two requests each: 6 s
    box.at(7, [] { box.network.set_reachable("192.0.2.2", "", true); });
    internet_status status = fresh_status();
    EXPECT_EQ(ping_connet_check("eth1", &status, 1), 1);
    EXPECT_EQ(box.faults.made("ping_by_interface"), 5U);
}

TEST_F(Probe, LeavesByTheInterfaceThatItIsGiven)
{
    start_probe(2);
    box.network.set_reachable("*", "eth2", false);
    internet_status status = fresh_status();
    EXPECT_EQ(ping_connet_check("eth2", &status, 2), 0);
    EXPECT_EQ(ping_connet_check("eth1", &status, 1), 1);
    EXPECT_EQ(ping_connet_check(nullptr, &status, 1), 1);
}

TEST_F(Probe, AFailedResolutionChangesNothingElse)
{
    start_probe(1);
    box.network.set_dns(false);
    internet_status status = {.current_status = IS_INTERNET,
                              .internal_count = 3,
                              .last_status = IS_INTERNET,
                              .dns_resolve_status = DNS_RESOLVE_SUCCESS};
    EXPECT_EQ(ping_connet_check("eth1", &status, 1), 0);
    EXPECT_EQ(status.current_status, IS_INTERNET);
    EXPECT_EQ(status.internal_count, 3);
    EXPECT_EQ(status.last_status, IS_INTERNET);
    EXPECT_EQ(status.dns_resolve_status, DNS_RESOLVE_FAILED);
    EXPECT_EQ(box.faults.made("ping_by_interface"), 0U);
}

TEST_F(Probe, FivePassesAreForgivenAfterASuccess)
{
    start_probe(1);
    internet_status status = fresh_status();
    for (int round = 0; round < 2; round++) { // a success gives all five again
        box.network.set_reachable("*", "", true);
        EXPECT_EQ(ping_connet_check("eth1", &status, 1), 1);
        box.network.set_reachable("*", "", false);
        for (int pass = 1; pass <= 5; pass++) {
            EXPECT_EQ(ping_connet_check("eth1", &status, 1), 1) << pass;
            EXPECT_EQ(status.internal_count, pass);
            EXPECT_EQ(status.current_status, IS_INTERNET);
        }
        EXPECT_EQ(ping_connet_check("eth1", &status, 1), 0);
        EXPECT_EQ(status.internal_count, 5);
        EXPECT_EQ(status.current_status, IS_INTERNAL);
        EXPECT_EQ(ping_connet_check("eth1", &status, 1), 0);
        EXPECT_EQ(status.internal_count, 5);
    }
}

TEST_F(Probe, NothingIsForgivenBeforeTheFirstSuccess)
{
    start_probe(1);
    box.network.set_reachable("*", "", false);
    internet_status status = fresh_status();
    EXPECT_EQ(ping_connet_check("eth1", &status, 1), 0);
    EXPECT_EQ(status.internal_count, -1);
    EXPECT_EQ(status.current_status, IS_INTERNAL);
}

TEST_F(Probe, NothingIsForgivenWhileInternal)
{
    start_probe(1);
    box.network.set_reachable("*", "", false);
    internet_status status = fresh_status();
    status.current_status = IS_INTERNAL;
    status.internal_count = 0;
    EXPECT_EQ(ping_connet_check("eth1", &status, 1), 0);
    EXPECT_EQ(status.internal_count, 0);
}

TEST_F(Probe, AWanThatIsNotOnlineResolvesAfresh)
{
    start_probe(1);
    internet_status status = fresh_status();
    for (const char *online : {"0", "", "no"}) {
        box.store.set("wan1_isonln", online);
        const uint64_t before = box.faults.made("gethostbyname");
        ping_connet_check("eth1", &status, 1);
        EXPECT_EQ(box.faults.made("gethostbyname"), before + 3) << online;
    }
    box.store.set("wan1_isonln", "1");
    const uint64_t before = box.faults.made("gethostbyname");
    ping_connet_check("eth1", &status, 1);
    EXPECT_EQ(box.faults.made("gethostbyname"), before);
}

TEST_F(Probe, TheFirstResolutionAddsTheRulesOnce)
{
    start_probe(1);
    box.network.set_dns(false);
    internet_status status = fresh_status();
    ping_connet_check("eth1", &status, 1);
    EXPECT_TRUE(box.commands.rules().empty());
    box.network.set_dns(true);
    ping_connet_check("eth1", &status, 1);
    box.network.set_name("www.google.com", "192.0.2.9");
    ping_connet_check("eth1", &status, 1); // resolves afresh, the rules stay
    EXPECT_EQ(commands(), (Lines{"command ip rule add to 192.0.2.1 iif lo lookup wan1 prio 5000 2> /dev/null",
                                 "command ip rule add to 192.0.2.2 iif lo lookup wan1 prio 5001 2> /dev/null",
                                 "command ip rule add to 192.0.2.3 iif lo lookup wan1 prio 5002 2> /dev/null"}));
}

TEST_F(Probe, AResetMakesEverythingAfresh)
{
    start_probe(1);
    internet_status status = fresh_status();
    box.store.set("wan1_isonln", "1");
    ping_connet_check("eth1", &status, 1);
    config_iptables_rule("eth1", IPTABLES_ADD);
    reset_probe();
    EXPECT_TRUE(box.commands.rules().empty());
    EXPECT_TRUE(box.commands.chain("dns_drop").empty());
    box.journal.clear();
    ping_connet_check("eth1", &status, 1);
    EXPECT_EQ(box.faults.made("gethostbyname"), 6U);
    EXPECT_EQ(commands().size(), 3U);
}

// ---- keys ----

TEST_F(Tags, AreWrittenOnlyWhenTheyChangeAndNeverCommitted)
{
    set_check_tag("wan1_check", "0");
    set_check_tag("wan1_check", "0");
    set_wan_tag("wan1_isonln", "1");
    set_wan_tag("wan1_isonln", "1");
    set_wan_tag("wan1_isonln", "0");
    EXPECT_EQ(box.journal.lines(), (Lines{"set wan1_check=0", "set wan1_isonln=1", "set wan1_isonln=0"}));
}

TEST_F(Tags, NullTextsAreIgnored)
{
    set_check_tag(nullptr, "1");
    set_check_tag("wan1_check", nullptr);
    set_wan_tag(nullptr, "1");
    set_wan_tag("wan1_isonln", nullptr);
    EXPECT_TRUE(box.journal.lines().empty());
}

TEST_F(WanKey, NamesAKeyOfAWan)
{
    EXPECT_STREQ(wan_key(1, "_isonln").text, "wan1_isonln");
    EXPECT_STREQ(wan_key(2, ".pppoe.auth.changed").text, "wan2.pppoe.auth.changed");
}
