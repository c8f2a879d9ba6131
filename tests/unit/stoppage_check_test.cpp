// The WAN stoppage check: which fault it sees, how long a fault must last, and the diagnosis server.
#include "tests/support/wan_world.h"
#include "time_check/time_check_stoppage_check.h"

using StoppageFault = RouterTest;
using StoppageNoFault = RouterTest;
using RejectedAccount = RouterTest;
using StoppageClock = RouterTest;
using DiagnosisServer = RouterTest;
using NoInterface = RouterTest;
using WorkMode = RouterTest;
using WanOnline = RouterTest;
using DhcpSilence = RouterTest;

namespace
{

constexpr char START_SERVER[] = "53?op=1";
constexpr char STOP_SERVER[] = "53?op=2";
constexpr char NORESP[] = "etc/dhcpc/noresp";

const Lines &messages()
{
    return box.journal.messages_to_netctrl();
}

// A wired router whose first WAN has link and interface but neither address nor internet, up for a while.
void make_offline_router(const char *connect_type)
{
    make_wired_router(1);
    box.network.set_address("eth1", "");
    box.store.set("wan1.connecttype", connect_type);
    box.store.set("wan1_isonln", "0");
    box.clock.set_uptime(1000);
    box.journal.clear();
}

void tick_at(int uptime)
{
    box.clock.set_uptime(uptime);
    time_check_stoppage();
}

// A tick a second, the first at `from`, the last at `to`.
void tick_from_to(int from, int to)
{
    for (int now = from; now <= to; now++)
        tick_at(now);
}

std::string published()
{
    return "err=" + box.store.get("wan_stoppage_err") + " flag=" + box.store.get("stoppage_flag");
}

void reject_account()
{
    configure({{"wan1_err_check", "2"}, {"wan1.pppoe.auth.changed", "0"}, {"wan1.onln.beforestart", "1"}});
}

// The fault `err` is seen at 1000 and the flag rises after exactly `period` seconds.
void expect_flag_after(int period, const std::string &err)
{
    tick_at(1000);
    EXPECT_EQ(published(), "err=" + err + " flag=");
    tick_from_to(1001, 1000 + period - 1);
    EXPECT_EQ(published(), "err=" + err + " flag=");
    EXPECT_TRUE(messages().empty());
    tick_at(1000 + period);
    EXPECT_EQ(published(), "err=" + err + " flag=1");
    EXPECT_EQ(messages(), (Lines{START_SERVER}));
}

} // namespace

// ---- each fault and its time ----

TEST_F(StoppageFault, NoLinkLasts30Seconds)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    expect_flag_after(30, "1");
}

TEST_F(StoppageFault, ARejectedAccountLasts600Seconds)
{
    make_offline_router("2");
    reject_account();
    expect_flag_after(600, "2");
}

TEST_F(StoppageFault, ASilentPppoeServerLasts300Seconds)
{
    make_offline_router("2");
    box.store.set("wan1_err_check", "4");
    expect_flag_after(300, "3");
}

TEST_F(StoppageFault, ASilentDhcpServerLasts300Seconds)
{
    make_offline_router("0");
    box.files.set(NORESP, "1\n");
    expect_flag_after(300, "4");
}

TEST_F(StoppageFault, PeriodsByCode)
{
    EXPECT_EQ(get_check_polling_time(STOPPAGE_DEFAULT), 0U);
    EXPECT_EQ(get_check_polling_time(WAN_UNLINED), 30U);
    EXPECT_EQ(get_check_polling_time(WRONG_AUTH_CODE), 600U);
    EXPECT_EQ(get_check_polling_time(PPPOE_CONNECT_TIMEOUT), 300U);
    EXPECT_EQ(get_check_polling_time(DHCP_CONNECT_TIMEOUT), 300U);
    EXPECT_EQ(get_check_polling_time(-1), 0U);
    EXPECT_EQ(get_check_polling_time(5), 0U);
}

TEST_F(StoppageFault, NothingIsCommitted)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    tick_from_to(1000, 1040);
    EXPECT_TRUE(box.journal.acts("commit").empty());
}

TEST_F(StoppageFault, TheServersStartIsAShellCommand)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    tick_from_to(1000, 1030);
    EXPECT_EQ(box.journal.acts("command"), (Lines{"command cfm post netctrl 53?op=1"}));
}

// ---- no fault ----

TEST_F(StoppageNoFault, AWanWithAnAddressIsNeverFaulty)
{
    make_offline_router("0");
    box.network.set_address("eth1", "198.51.100.1");
    box.network.set_link(1, false);
    EXPECT_EQ(stoppage_check_result(), STOPPAGE_DEFAULT);
    EXPECT_EQ(published(), "err= flag=0");
}

TEST_F(StoppageNoFault, AnyWansAddressIsEnough)
{
    make_wired_router(2);
    box.network.set_address("eth1", "");
    box.network.set_link(1, false);
    EXPECT_EQ(get_wan_online_result(), 1);
    EXPECT_EQ(stoppage_check_result(), STOPPAGE_DEFAULT);
}

TEST_F(StoppageNoFault, AnAddressCountsEvenWithoutWans)
{
    make_offline_router("2");
    reject_account();
    box.store.set("wans.flag", "");
    box.network.set_address("eth1", "198.51.100.1");
    EXPECT_EQ(get_wan_online_result(), 0);
    EXPECT_EQ(stoppage_check_result(), STOPPAGE_DEFAULT);
    EXPECT_EQ(published(), "err= flag=0");
}

TEST_F(StoppageNoFault, OtherConnectionTypesAreNotDiagnosed)
{
    for (const char *type : {"1", "3", "4", "5", "6", "-1"}) {
        make_offline_router(type);
        reject_account();
        box.files.set(NORESP, "1\n");
        EXPECT_EQ(stoppage_check_result(), STOPPAGE_DEFAULT) << type;
        EXPECT_EQ(stoppage_recheck_result(), STOPPAGE_DEFAULT) << type;
    }
}

TEST_F(StoppageNoFault, NoTypeIsDhcp)
{
    make_offline_router("");
    box.files.set(NORESP, "1\n");
    EXPECT_EQ(stoppage_check_result(), DHCP_CONNECT_TIMEOUT);
}

TEST_F(StoppageNoFault, DhcpAndPppoeSignsDoNotMix)
{
    make_offline_router("2");
    box.files.set(NORESP, "1\n");
    EXPECT_EQ(stoppage_check_result(), STOPPAGE_DEFAULT);
    make_offline_router("0");
    box.files.remove(NORESP);
    box.files.set_missing(NORESP);
    reject_account();
    EXPECT_EQ(stoppage_check_result(), STOPPAGE_DEFAULT);
}

TEST_F(StoppageNoFault, OtherErrorCodesAreNone)
{
    for (const char *code : {"", "0", "1", "3", "5", "22", "44"}) {
        make_offline_router("2");
        reject_account();
        box.store.set("wan1_err_check", code);
        EXPECT_EQ(stoppage_check_result(), STOPPAGE_DEFAULT) << code;
    }
}

// ---- the rejected account ----

TEST_F(RejectedAccount, NeedsFurtherSignsAtFirst)
{
    const struct {
        const char *changed, *before_start, *down, *reboot;
        int code;
    } cases[] = {
        {"0", "1", "", "", WRONG_AUTH_CODE},    {"0", "1", "1", "1", WRONG_AUTH_CODE},
        {"0", "0", "0", "0", WRONG_AUTH_CODE},  {"0", "", "0", "0", WRONG_AUTH_CODE},
        {"0", "0", "1", "0", STOPPAGE_DEFAULT}, {"0", "0", "0", "1", STOPPAGE_DEFAULT},
        {"0", "0", "", "0", STOPPAGE_DEFAULT},  {"0", "0", "0", "", STOPPAGE_DEFAULT},
        {"1", "1", "0", "0", STOPPAGE_DEFAULT}, {"", "1", "0", "0", STOPPAGE_DEFAULT},
    };
    for (const auto &one : cases) {
        make_offline_router("2");
        box.store.set("wan1_err_check", "2");
        box.store.set("wan1.pppoe.auth.changed", one.changed);
        box.store.set("wan1.onln.beforestart", one.before_start);
        box.store.set("wan1.down.flag", one.down);
        box.store.set("reboot.flag", one.reboot);
        EXPECT_EQ(stoppage_check_result(), one.code)
            << one.changed << "/" << one.before_start << "/" << one.down << "/" << one.reboot;
        EXPECT_EQ(stoppage_recheck_result(), WRONG_AUTH_CODE);
    }
}

TEST_F(RejectedAccount, IsTimedOnWithoutThem)
{
    make_offline_router("2");
    reject_account();
    tick_at(1000);
    box.store.set("wan1.pppoe.auth.changed", "1");
    box.store.set("wan1.onln.beforestart", "0");
    tick_from_to(1001, 1600);
    EXPECT_EQ(published(), "err=2 flag=1");
}

TEST_F(RejectedAccount, ThatIsNoneAtTheStricterLookStopsTheClock)
{
    make_offline_router("2");
    box.store.set("wan1_err_check", "4");
    tick_at(1000);
    EXPECT_EQ(published(), "err=3 flag=");
    box.store.set("wan1_err_check", "2"); // nothing else says so
    box.processes.start("dhttpd", 700);
    tick_at(1001);
    EXPECT_EQ(published(), "err=2 flag=0");
    EXPECT_TRUE(messages().empty());
    tick_at(1002);
    EXPECT_EQ(messages(), (Lines{STOP_SERVER}));
}

// ---- the clock ----

TEST_F(StoppageClock, AnotherFaultStartsItAgainWithItsOwnPeriod)
{
    make_offline_router("2");
    box.network.set_link(1, false);
    tick_from_to(1000, 1020);
    EXPECT_EQ(published(), "err=1 flag=");
    box.network.set_link(1, true);
    box.store.set("wan1_err_check", "4");
    tick_from_to(1021, 1320);
    EXPECT_EQ(published(), "err=3 flag=0");
    EXPECT_TRUE(messages().empty());
    tick_at(1321);
    EXPECT_EQ(published(), "err=3 flag=1");
    EXPECT_EQ(messages(), (Lines{START_SERVER}));
}

TEST_F(StoppageClock, AnotherFaultTakesTheFlagDown)
{
    make_offline_router("2");
    box.network.set_link(1, false);
    tick_from_to(1000, 1030);
    EXPECT_EQ(published(), "err=1 flag=1");
    box.processes.start("dhttpd", 700);
    box.network.set_link(1, true);
    box.store.set("wan1_err_check", "4");
    tick_at(1031);
    EXPECT_EQ(published(), "err=3 flag=0");
    EXPECT_EQ(messages(), (Lines{START_SERVER})) << "the server goes on while a fault is there";
    tick_from_to(1032, 1331);
    EXPECT_EQ(published(), "err=3 flag=1");
}

TEST_F(StoppageClock, ARecoveryTakesTheFlagDownAndStopsTheServerAtTheNextTick)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    tick_from_to(1000, 1030);
    box.processes.start("dhttpd", 700);
    box.network.set_link(1, true);
    tick_at(1031);
    EXPECT_EQ(published(), "err=1 flag=0") << "the last fault stays to be read";
    EXPECT_EQ(messages(), (Lines{START_SERVER}));
    tick_at(1032);
    EXPECT_EQ(messages(), (Lines{START_SERVER, STOP_SERVER}));
}

TEST_F(StoppageClock, ASecondFaultAfterARecoveryIsTimedFromItsOwnBeginning)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    tick_from_to(1000, 1029);
    box.network.set_link(1, true);
    tick_from_to(1030, 1031);
    box.network.set_link(1, false);
    tick_from_to(1032, 1061);
    EXPECT_EQ(published(), "err=1 flag=0");
    tick_at(1062);
    EXPECT_EQ(published(), "err=1 flag=1");
}

TEST_F(StoppageClock, CountsRunTimeNotTicks)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    tick_at(1000);
    tick_at(1029);
    EXPECT_EQ(published(), "err=1 flag=");
    tick_at(1030);
    EXPECT_EQ(published(), "err=1 flag=1");
}

TEST_F(StoppageClock, DoesNotSeeTheWallClockStep)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    tick_at(1000);
    box.clock.step(365 * 24 * 3600);
    tick_at(1001);
    EXPECT_EQ(published(), "err=1 flag=");
}

TEST_F(StoppageClock, GoesOnWhileTheCheckIsNotAsked)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    tick_at(1000);
    box.store.set("wan1_isonln", "1"); // published by the other thread a little late
    tick_at(1010);
    box.store.set("wan1_isonln", "0");
    tick_at(1030);
    EXPECT_EQ(published(), "err=1 flag=1");
}

// ---- the server ----

TEST_F(DiagnosisServer, IsStartedOnEveryTickUntilItRuns)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    tick_from_to(1000, 1032);
    EXPECT_EQ(messages(), (Lines{START_SERVER, START_SERVER, START_SERVER}));
    box.processes.start("dhttpd", 700);
    tick_from_to(1033, 1040);
    EXPECT_EQ(messages().size(), 3U);
    box.processes.end("dhttpd");
    tick_at(1041);
    EXPECT_EQ(messages().size(), 4U);
    EXPECT_EQ(messages().back(), START_SERVER);
}

TEST_F(DiagnosisServer, IsStoppedWhenTheWanIsOnline)
{
    make_offline_router("0");
    box.network.set_link(1, false);
    box.processes.start("dhttpd", 700);
    box.store.set("wan1_isonln", "1");
    tick_at(1000);
    EXPECT_EQ(messages(), (Lines{STOP_SERVER}));
    EXPECT_EQ(published(), "err= flag=");
    box.processes.end("dhttpd");
    tick_at(1001);
    EXPECT_EQ(messages().size(), 1U);
}

TEST_F(DiagnosisServer, IsStoppedWhenThereIsNoFault)
{
    make_offline_router("0");
    box.processes.start("dhttpd", 700);
    tick_at(1000);
    EXPECT_EQ(messages(), (Lines{STOP_SERVER}));
}

TEST_F(DiagnosisServer, IsStoppedInEveryModeButRouter)
{
    const struct {
        const char *mode_2g, *mode_5g, *work_mode;
    } modes[] = {{"ap", "ap", "ap"}, {"apclient", "ap", "router"}, {"wisp", "ap", "router"}, {"ap", "ap", ""}};
    for (const auto &mode : modes) {
        make_offline_router("0");
        box.network.set_link(1, false);
        box.store.set("wl2g.public.mode", mode.mode_2g);
        box.store.set("wl5g.public.mode", mode.mode_5g);
        box.store.set("sys.workmode", mode.work_mode);
        box.processes.start("dhttpd", 700);
        const size_t before = messages().size();
        tick_from_to(1000, 1040);
        ASSERT_EQ(messages().size(), before + 41);
        EXPECT_EQ(messages().back(), STOP_SERVER);
        EXPECT_EQ(published(), "err= flag=") << mode.mode_2g << mode.work_mode;
    }
}

TEST_F(DiagnosisServer, ValueOfOnlineOtherThanOneIsOffline)
{
    for (const char *online : {"", "0", "2", "11", "yes"}) {
        make_offline_router("0");
        box.network.set_link(1, false);
        box.store.set("wan1_isonln", online);
        box.store.unset("wan_stoppage_err");
        tick_at(1000);
        EXPECT_EQ(box.store.get("wan_stoppage_err"), "1") << online;
    }
}

// ---- no interface ----

TEST_F(NoInterface, IsReportedAndStopsARunningServer)
{
    make_offline_router("0");
    box.network.set_wan(1, "");
    box.processes.start("dhttpd", 700);
    tick_at(1000);
    ASSERT_EQ(box.log.lines().size(), 2U);
    EXPECT_TRUE(box.log.lines()[0].starts_with("[get_wan_online_result:")) << box.log.lines()[0];
    EXPECT_TRUE(box.log.lines()[1].starts_with("[stoppage_check_result:")) << box.log.lines()[1];
    for (const std::string &line : box.log.lines())
        EXPECT_TRUE(line.ends_with("]get wanifname failure!!!!!!!!!!!")) << line;
    EXPECT_EQ(published(), "err= flag=");
    EXPECT_EQ(messages(), (Lines{STOP_SERVER}));
}

TEST_F(NoInterface, WithoutLinkIsNoLink)
{
    make_offline_router("0");
    box.network.set_wan(1, "");
    box.network.set_link(1, false);
    EXPECT_EQ(stoppage_check_result(), WAN_UNLINED);
}

TEST_F(NoInterface, WhileAFaultIsTimedChangesNothing)
{
    make_offline_router("0");
    box.files.set(NORESP, "1\n");
    tick_from_to(1000, 1100);
    box.network.set_wan(1, "");
    box.log.clear();
    tick_at(1101);
    EXPECT_TRUE(box.log.lines().back().starts_with("[stoppage_recheck_result:")) << box.log.lines().back();
    EXPECT_EQ(published(), "err=4 flag=");
    box.network.set_wan(1, "eth1");
    tick_from_to(1102, 1299);
    EXPECT_EQ(published(), "err=4 flag=");
    tick_at(1300);
    EXPECT_EQ(published(), "err=4 flag=1");
}

TEST_F(NoInterface, EndsTheSearchForAnAddress)
{
    make_wired_router(2);
    box.network.set_wan(1, "");
    EXPECT_EQ(get_wan_online_result(), 0) << "the second WAN has one";
    box.store.set("wans.flag", "2147483647");
    EXPECT_EQ(get_wan_online_result(), 0);
}

// ---- the single looks ----

TEST_F(WorkMode, FirstMatchWins)
{
    const struct {
        const char *mode_2g, *mode_5g, *work_mode, *word;
    } cases[] = {
        {"ap", "ap", "router", "router"},
        {"ap", "wisp", "router", "router"},
        {"ap", "ap", "ap", "ap"},
        {"apclient", "ap", "ap", "ap"},
        {"apclient", "wisp", "", "client+ap"},
        {"wisp", "ap", "router", "wisp"},
        {"", "wisp", "router", "wisp"},
        {"ap", "wisp", "", "wisp"},
        {"ap", "apclient", "", ""},
        {"", "", "", ""},
        {"", "ap", "router", ""},
        {"apx", "ap", "router", ""},
    };
    for (const auto &one : cases) {
        box.store.set("wl2g.public.mode", one.mode_2g);
        box.store.set("wl5g.public.mode", one.mode_5g);
        box.store.set("sys.workmode", one.work_mode);
        char word[10] = "";
        EXPECT_EQ(get_work_mode(word), 0);
        EXPECT_STREQ(word, one.word) << one.mode_2g << "/" << one.mode_5g << "/" << one.work_mode;
    }
}

TEST_F(WorkMode, NoMatchLeavesTheBufferAlone)
{
    char word[10] = "before";
    get_work_mode(word);
    EXPECT_STREQ(word, "before");
}

TEST_F(WanOnline, NoWansAreNone)
{
    make_wired_router(1);
    for (const char *count : {"", "0", "-1", "x"}) {
        box.store.set("wans.flag", count);
        EXPECT_EQ(get_wan_online_result(), 0) << count;
    }
}

TEST_F(WanOnline, TheLastOfManyIsFound)
{
    make_wired_router(0);
    box.store.set("wans.flag", "64");
    box.network.set_address("wan64", "198.51.100.64");
    EXPECT_EQ(get_wan_online_result(), 1);
    box.store.set("wans.flag", "63");
    EXPECT_EQ(get_wan_online_result(), 0);
}

// A second of the main loop would not end before all of them were asked for.
TEST_F(WanOnline, NoMoreAreAskedForThanARouterCanHave)
{
    make_wired_router(0);
    box.network.set_address("eth1", "");
    box.log.keep(false);
    for (const char *count : {"1000", "100000", "2147483647", "99999999999"}) {
        box.store.set("wans.flag", count);
        const uint64_t before = box.faults.made("getWanIfName");
        EXPECT_EQ(get_wan_online_result(), 0) << count;
        EXPECT_EQ(box.faults.made("getWanIfName") - before, 64U) << count;
    }
}

TEST_F(DhcpSilence, TheLastDigitLineCounts)
{
    const struct {
        const char *text;
        int status;
    } cases[] = {
        {"1\n", 1}, {"0\n", 0},       {"1\n0\n", 0},       {"0\n1\n", 1}, {"1 no answer\nxyz\n", 1},
        {"", 0},    {"\n 1\n2\n", 0}, {"10 seconds\n", 1}, {"1", 1},
    };
    for (const auto &one : cases) {
        box.files.set(NORESP, one.text);
        EXPECT_EQ(get_dhcp_noreponse_status(), one.status) << one.text;
    }
}

TEST_F(DhcpSilence, AMissingFileIsNoFault)
{
    make_offline_router("0");
    box.files.remove(NORESP);
    box.files.set_missing(NORESP);
    EXPECT_EQ(get_dhcp_noreponse_status(), -1);
    EXPECT_EQ(stoppage_check_result(), STOPPAGE_DEFAULT);
}

TEST_F(DhcpSilence, APieceOfALongLineIsNoLine)
{
    box.files.set(NORESP, "0" + std::string(62, 'x') + "1111\n");
    EXPECT_EQ(get_dhcp_noreponse_status(), 0);
    EXPECT_TRUE(box.open_descriptors().empty());
}
