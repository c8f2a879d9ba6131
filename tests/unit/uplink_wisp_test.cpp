// WISP: the link, the WAN over it, and the PPPoE client.
#include <gtest/gtest.h>

#include "tests/support/uplink_world.h"
#include "time_check/time_check_wifi_connect.h"

namespace
{

const std::string STOP = "netctrl 19?op=15";
const std::string START = "netctrl 19?op=16";
const std::string STATIC_UP = "netctrl 2?op=12,wan_id=1";
const char BOUNCE_LINE[] = "wisp not connected time over 60 s.";

class WispLink : public UplinkLinkTest
{
protected:
    WispLink() : UplinkLinkTest(STOP, START)
    {
    }

    void SetUp() override
    {
        UplinkLinkTest::SetUp();
        link(TPI_NOT_CONNECTED, TPI_NOT_CONNECTED);
    }

    // The state of the radio, and of the WAN over it.
    void link(int radio, int wan)
    {
        box.radios.set(RADIO, radio, WIFI_RELAY_DOWN);
        box.radios.set_connection(RADIO, wan);
    }

    void look() override
    {
        wifi_wisp_link_check(&wifi);
    }

    void up() override
    {
        link(TPI_CONNECTED, TPI_CONNECTED);
    }

    void down() override
    {
        link(TPI_NOT_CONNECTED, TPI_NOT_CONNECTED);
    }
};

// ---- loss and return ----

TEST_F(WispLink, ThreeTicksDownAfterTheWanWasUpAreToldOnce)
{
    expect_third_tick_of_loss_tells_once();
}

TEST_F(WispLink, TwoTicksDownAreNotTold)
{
    up();
    ticks(5);
    expect_two_ticks_are_no_loss();
}

TEST_F(WispLink, ThreeTicksUpAfterALossAreToldOnce)
{
    expect_third_tick_of_return_tells_once();
}

TEST_F(WispLink, TwoTicksUpAfterALossAreNotTold)
{
    lose();
    for (int i = 0; i < 10; i++) {
        link(TPI_CONNECTED, TPI_CONNECTING);
        ticks(2);
        down();
        ticks(1);
    }
    EXPECT_EQ(times(START), 0U);
}

TEST_F(WispLink, ARadioThatWasNeverUpIsNotTold)
{
    ticks(30);
    EXPECT_ACTS();
}

TEST_F(WispLink, WithoutWanSinceTheReturnAnotherLossIsNotTold)
{
    lose();
    link(TPI_CONNECTED, TPI_CONNECTING);
    ticks(3);
    EXPECT_ACTS(START);
    box.journal.clear();
    down();
    ticks(10);
    EXPECT_ACTS(); // the WAN was not up since the last stop
    link(TPI_CONNECTED, TPI_CONNECTED);
    ticks(10);
    EXPECT_ACTS(); // and no stop, no start
}

TEST_F(WispLink, TheReturnTickThatAlsoSeesTheWanForgetsIt)
{
    lose();
    up();
    ticks(3); // the third tells the return, and takes the WAN for not yet seen
    box.journal.clear();
    down();
    ticks(10);
    EXPECT_ACTS();
    up();
    ticks(1); // seen now
    down();
    ticks(3);
    EXPECT_ACTS(STOP);
}

TEST_F(WispLink, EachLossAndReturnIsTold)
{
    expect_each_loss_and_return_told();
}

TEST_F(WispLink, AnyOtherRadioStateCountsAsDown)
{
    for (const int state : std::vector<int>{TPI_NO_WIRE, TPI_CONNECTING, -1, 4}) {
        up();
        ticks(4);
        box.journal.clear();
        link(state, TPI_NOT_CONNECTED);
        ticks(3);
        EXPECT_EQ(times(STOP), 1U) << state;
    }
}

// ---- what is not supervised ----

TEST_F(WispLink, WhileTheUserIsChangingItNothingIsSupervised)
{
    up();
    ticks(1);
    down();
    ticks(2);
    box.radios.webpage_status = 0;
    box.log.clear();
    ticks(10);
    EXPECT_BODIES();
    EXPECT_ACTS();
    box.radios.webpage_status = 1;
    ticks(20);
    EXPECT_EQ(times(STOP), 0U); // the WAN counts as not seen
}

TEST_F(WispLink, TheCountsStartAgainAfterTheUserIsDone)
{
    lose();
    link(TPI_CONNECTED, TPI_CONNECTING);
    ticks(2);
    box.radios.webpage_status = 0;
    ticks(1);
    box.radios.webpage_status = 7; // any number but 0
    ticks(2);
    EXPECT_EQ(times(START), 0U);
    ticks(1);
    EXPECT_EQ(times(START), 1U);
}

TEST_F(WispLink, TimeWithoutSupervisionCountsAsUnconnected)
{
    ticks(10);
    box.radios.webpage_status = 0;
    ticks(40);
    box.radios.webpage_status = 1;
    ticks(1); // 41 seconds after the last tick that was supervised
    EXPECT_TRUE(has_line("wl_not_conn_time:50 "));
}

TEST_F(WispLink, AnUnknownAccessModeIsNotSupervised)
{
    up();
    ticks(1);
    down();
    for (const char *mode : {"", "DHCP", "pptp", "dhcp "}) {
        box.store.set("wl.wisp.access_mode", mode);
        box.log.clear();
        ticks(10);
        EXPECT_BODIES();
    }
    box.store.unset("wl.wisp.access_mode");
    ticks(10);
    EXPECT_ACTS();
    EXPECT_EQ(box.faults.made("tpi_wifi_wisp_phy_link_check"), 1U);
}

TEST_F(WispLink, TheAccessModeIsReadAtEveryTick)
{
    set_text(wifi.access_mode, "nonsense"); // the snapshot's does not count here
    for (const char *mode : {"dhcp", "static", "pppoe"}) {
        box.store.set("wl.wisp.access_mode", mode);
        box.log.clear();
        ticks(1);
        EXPECT_TRUE(has_line("wisp NOT_CONNECTED")) << mode;
    }
}

// ---- the static WAN ----

TEST_F(WispLink, AStaticWanIsAnnouncedOncePerConnection)
{
    box.store.set("wl.wisp.access_mode", "static");
    up();
    ticks(1);
    EXPECT_ACTS(STATIC_UP);
    ticks(20);
    EXPECT_ACTS(STATIC_UP);
    link(TPI_CONNECTED, TPI_CONNECTING);
    ticks(1);
    up();
    ticks(20);
    EXPECT_ACTS(STATIC_UP, STATIC_UP);
}

TEST_F(WispLink, AStaticWanIsAnnouncedAgainAfterARadioReturn)
{
    box.store.set("wl.wisp.access_mode", "static");
    up();
    ticks(4);
    down();
    ticks(3);
    EXPECT_ACTS(STATIC_UP, STOP);
    box.journal.clear();
    up();
    ticks(3);
    EXPECT_ACTS(STATIC_UP, START);
    ticks(10); // the return made it due once more
    EXPECT_ACTS(STATIC_UP, START, STATIC_UP);
}

TEST_F(WispLink, OtherWansAreNotAnnounced)
{
    for (const char *mode : {"dhcp", "pppoe"}) {
        box.store.set("wl.wisp.access_mode", mode);
        down();
        ticks(1);
        up();
        ticks(5);
        EXPECT_ACTS();
    }
}

// ---- the bounce ----

TEST_F(WispLink, EveryTickWithoutWanHasItsConsoleLine)
{
    box.clock.set(1000000);
    ticks(1);
    EXPECT_EQ(box.log.lines().back(), "wisp NOT_CONNECTED,  wl_not_conn_time:0 cur_time:1000001 last_time:0 ");
    ticks(1);
    EXPECT_EQ(box.log.lines().back(), "wisp NOT_CONNECTED,  wl_not_conn_time:1 cur_time:1000002 last_time:1000001 ");
    EXPECT_EQ(lines_with("wisp NOT_CONNECTED"), 2U);
}

TEST_F(WispLink, AMinuteWithoutWanBouncesTheInterface)
{
    ticks(60); // the first tick has nothing to compare with: 59 seconds
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(BOUNCE);
    EXPECT_EQ(box.log.lines().back(), BOUNCE_LINE);
    ticks(59);
    EXPECT_ACTS(BOUNCE);
    ticks(1);
    EXPECT_ACTS(BOUNCE, BOUNCE);
}

TEST_F(WispLink, ASkippedTickStillCountsItsSeconds)
{
    ticks(1);
    for (int i = 0; i < 3; i++) {
        box.clock.step(19);
        ticks(1); // 20 seconds each
    }
    EXPECT_ACTS(BOUNCE);
}

TEST_F(WispLink, AnAssociatedRadioWithoutWanIsBouncedToo)
{
    link(TPI_CONNECTED, TPI_CONNECTING);
    ticks(61);
    EXPECT_ACTS(BOUNCE);
}

TEST_F(WispLink, AConnectionForgivesTheTimeBefore)
{
    ticks(60);
    up();
    ticks(1);
    down();
    ticks(1); // one second since the last tick
    EXPECT_TRUE(has_line("wl_not_conn_time:1 "));
    EXPECT_ACTS();
}

TEST_F(WispLink, AClockSetBackNeverMakesTheTimeNegative)
{
    ticks(31);
    box.clock.step(-20);
    ticks(1);
    EXPECT_TRUE(has_line("wl_not_conn_time:11 "));
    box.clock.step(-3600);
    expect_bounce_a_minute_after_the_next_tick();
}

TEST_F(WispLink, AClockSetForwardBouncesOnceAndNotTwice)
{
    ticks(10);
    box.clock.step(3600);
    ticks(1);
    EXPECT_ACTS(BOUNCE);
    ticks(59);
    EXPECT_ACTS(BOUNCE);
    ticks(1);
    EXPECT_ACTS(BOUNCE, BOUNCE);
}

TEST_F(WispLink, AClockThatStepsBothWaysBouncesOnlyAfterAMinuteEach)
{
    ticks(10);
    box.clock.step(3600);
    ticks(1);
    box.clock.step(-3600);
    ticks(59);
    EXPECT_ACTS(BOUNCE);
}

TEST_F(WispLink, TheClockOf1970IsNoTimeToCompareWith)
{
    box.clock.set(-1);
    ticks(1); // second 0
    ticks(1);
    EXPECT_EQ(box.log.lines().back(), "wisp NOT_CONNECTED,  wl_not_conn_time:0 cur_time:1 last_time:0 ");
}

TEST_F(WispLink, TheBounceGoesOnPast2038)
{
    box.clock.set(2147483640);
    ticks(61);
    EXPECT_ACTS(BOUNCE);
    EXPECT_TRUE(has_line("cur_time:2147483701 last_time:2147483700"));
}

// ---- grace and delayed fallback ----

TEST_F(WispLink, ALossSchedulesTheFallbackTwelveTicksLater)
{
    lose();
    ticks(1);
    EXPECT_EQ(box.log.bodies().front(), "restart_wpa2_check = 12 !!");
    EXPECT_NE(box.log.lines().front().find("[time_check:wifi_wisp_link_check:"), std::string::npos);
    ticks(10);
    EXPECT_FALSE(has_line("restart wpa2_tkip_aes_check"));
    ticks(1);
    EXPECT_EQ(lines_with("restart wpa2_tkip_aes_check !!"), 1U);
    ticks(100);
    EXPECT_EQ(lines_with("restart wpa2_tkip_aes_check !!"), 1U);
    EXPECT_EQ(lines_with("restart_wpa2_check = "), 1U);
}

TEST_F(WispLink, ARadioThatIsNotWaitingWhenItIsDueGetsNoFallback)
{
    for (const int state : std::vector<int>{TPI_CONNECTED, TPI_CONNECTING, -1}) {
        up();
        ticks(4);
        down();
        ticks(3);
        box.log.clear();
        ticks(11);
        link(state, TPI_NOT_CONNECTED);
        ticks(1);
        down();
        ticks(30);
        EXPECT_FALSE(has_line("restart wpa2_tkip_aes_check")) << state;
    }
}

TEST_F(WispLink, TheFallbackIsCountedDownEvenWhileConnected)
{
    lose();
    ticks(1); // scheduled: 11 ticks are left
    link(TPI_NOT_CONNECTED, TPI_CONNECTED);
    ticks(10);
    EXPECT_FALSE(has_line("restart wpa2_tkip_aes_check"));
    ticks(1);
    EXPECT_TRUE(has_line("restart wpa2_tkip_aes_check"));
}

TEST_F(WispLink, ALossThatReturnsBeforeTheNextTickIsNotScheduled)
{
    lose();
    link(TPI_CONNECTED, TPI_CONNECTED);
    ticks(20);
    down();
    ticks(2);
    EXPECT_FALSE(has_line("restart_wpa2_check"));
}

TEST_F(WispLink, TheGraceGivesTheLinkEightTicksMoreBeforeTheMinute)
{
    lose();
    // The next tick schedules the fallback and starts the time again, and counts the grace from 8 to 7; when it finds 0
    // the time starts again once more: the ninth tick.
    ticks(8);
    EXPECT_TRUE(has_line("wl_not_conn_time:7 "));
    expect_bounce_a_minute_after_the_next_tick();
}

TEST_F(WispLink, TheGraceCountsOnlyTicksOfAWaitingRadio)
{
    lose();
    ticks(5);
    link(TPI_CONNECTING, TPI_NOT_CONNECTED);
    ticks(20);
    down();
    ticks(3);
    box.log.clear();
    ticks(1); // the ninth that counts
    EXPECT_TRUE(has_line("wl_not_conn_time:0 "));
}

TEST_F(WispLink, AReturnEndsTheGrace)
{
    lose();
    ticks(2);
    link(TPI_CONNECTED, TPI_CONNECTING);
    ticks(3); // told
    down();
    box.log.clear();
    ticks(20);
    for (const std::string &line : box.log.lines())
        EXPECT_EQ(line.find("wl_not_conn_time:0 "), std::string::npos) << line;
}

// ---- names in commands ----

TEST_F(WispLink, HostileInterfaceNamesReachIfconfigAsOneWord)
{
    for (std::string text : hostile_texts) {
        text = text.substr(0, WIFI_IFNAME_SIZE - 1);
        set_text(wifi.ifname, text);
        box.radios.set(text, TPI_NOT_CONNECTED, WIFI_RELAY_DOWN);
        box.clock.step(100);
        ticks(1);
        box.journal.clear();
        box.clock.step(100);
        ticks(1);
        ASSERT_EQ(box.journal.lines().size(), 1U);
        EXPECT_EQ(arguments_in_shell("ifconfig", box.journal.lines().front().substr(8)),
                  "[" + text + "][down][" + text + "][up]");
    }
}

// ---- the PPPoE client ----

class PppoeClient : public UplinkTest
{
protected:
    void SetUp() override
    {
        UplinkTest::SetUp();
        set_text(wifi.access_mode, "pppoe");
        configure(
            {{"wl.wisp.pppoe_name", "user@isp"}, {"wl.wisp.pppoe_password", "secret"}, {"wl.wisp.pppoe_mtu", "1480"}});
    }

    void ticks(int number)
    {
        for (int i = 0; i < number; i++)
            check_wisp_pppoe_exist(&wifi);
    }

    // The words that pppoecd gets for this account.
    std::string arguments_for(const std::string &name, const std::string &password)
    {
        configure({{"wl.wisp.pppoe_name", name}, {"wl.wisp.pppoe_password", password}});
        box.journal.clear();
        ticks(2);
        return arguments_in_shell("pppoecd", box.journal.lines().back().substr(8));
    }
};

const std::string RESOLV = "command echo nameserver > /etc/resolv_wisp.conf";
const std::string CLIENT = "command pppoecd eth1 -u user@isp -p secret -r 1480 -t 1480 -i 0 -U 0 &";

TEST_F(PppoeClient, IsStartedOnTheSecondTickWithoutIt)
{
    ticks(1);
    EXPECT_ACTS();
    EXPECT_BODIES();
    ticks(1);
    EXPECT_ACTS(RESOLV, CLIENT);
    EXPECT_EQ(box.log.lines(), (Lines{"check_wisp_pppoe_exist 659: pppoecd process not exist, restart pppoecd"}));
}

TEST_F(PppoeClient, IsStartedAgainEverySecondTickWhileItDoesNotRun)
{
    ticks(7);
    EXPECT_ACTS(RESOLV, CLIENT, RESOLV, CLIENT, RESOLV, CLIENT);
    ticks(1);
    EXPECT_EQ(times(CLIENT), 4U);
}

TEST_F(PppoeClient, OneThatRunsIsLeftAlone)
{
    box.processes.start("pppoecd", 700);
    ticks(50);
    EXPECT_ACTS();
}

TEST_F(PppoeClient, OneTickWithItForgivesTheTickWithout)
{
    for (int i = 0; i < 10; i++) {
        ticks(1);
        box.processes.start("pppoecd", 700);
        ticks(1);
        box.processes.end("pppoecd");
    }
    EXPECT_ACTS();
}

TEST_F(PppoeClient, TheStartedClientEndsTheRestarts)
{
    box.commands.set_starts("pppoecd", true);
    ticks(50);
    EXPECT_EQ(times(CLIENT), 1U);
}

TEST_F(PppoeClient, IsStartedOnlyForAPppoeWisp)
{
    set_text(wifi.access_mode, "dhcp");
    ticks(10);
    set_text(wifi.access_mode, "pppoe");
    set_text(wifi.wl_mode, "apclient");
    ticks(10);
    EXPECT_ACTS();
}

TEST_F(PppoeClient, RunsOnWhateverTheLinkCheckDecided)
{
    box.radios.webpage_status = 0; // the link check stands still
    wifi_wisp_check(&wifi);
    wifi_wisp_check(&wifi);
    EXPECT_ACTS(RESOLV, CLIENT);
    box.radios.webpage_status = 1;
    box.store.unset("wl.wisp.access_mode"); // and so does it here
    wifi_wisp_check(&wifi);
    wifi_wisp_check(&wifi);
    EXPECT_EQ(times(CLIENT), 2U);
}

TEST_F(PppoeClient, TheSnapshotsAccessModeCounts)
{
    box.store.set("wl.wisp.access_mode", "dhcp");
    ticks(2);
    EXPECT_EQ(times(CLIENT), 1U);
}

TEST_F(PppoeClient, TheAccountIsReadWhenItIsStarted)
{
    ticks(1);
    box.store.set("wl.wisp.pppoe_name", "other@isp");
    ticks(1);
    EXPECT_ACTS(RESOLV, "command pppoecd eth1 -u other@isp -p secret -r 1480 -t 1480 -i 0 -U 0 &");
}

TEST_F(PppoeClient, MissingKeysLeaveTheirPlacesEmpty)
{
    for (const char *key : {"wl.wisp.pppoe_name", "wl.wisp.pppoe_password", "wl.wisp.pppoe_mtu"})
        box.store.unset(key);
    ticks(2);
    EXPECT_ACTS(RESOLV, "command pppoecd eth1 -u  -p  -r  -t  -i 0 -U 0 &");
}

TEST_F(PppoeClient, HostileNamesAndPasswordsReachItExactlyAndRunNothing)
{
    for (const std::string &text : hostile_texts) {
        EXPECT_EQ(arguments_for(text, "p" + text),
                  "[eth1][-u][" + text + "][-p][p" + text + "][-r][1480][-t][1480][-i][0][-U][0]");
        EXPECT_EQ(box.journal.lines().size(), 2U) << text;
    }
}

TEST_F(PppoeClient, AHostileMtuReachesItAsOneWord)
{
    box.store.set("wl.wisp.pppoe_mtu", "1480;reboot");
    EXPECT_EQ(arguments_for("a", "b"), "[eth1][-u][a][-p][b][-r][1480;reboot][-t][1480;reboot][-i][0][-U][0]");
}

TEST_F(PppoeClient, TheLongestNamesAreCutAt255Characters)
{
    const std::string quotes(500, '\''); // the longest when quoted
    const std::string letters(500, 'x');
    EXPECT_EQ(arguments_for(letters, quotes), "[eth1][-u][" + letters.substr(0, 255) + "][-p][" +
                                                  quotes.substr(0, 255) + "][-r][1480][-t][1480][-i][0][-U][0]");
    EXPECT_EQ(arguments_for(quotes, quotes), "[eth1][-u][" + quotes.substr(0, 255) + "][-p][" + quotes.substr(0, 255) +
                                                 "][-r][1480][-t][1480][-i][0][-U][0]");
}

TEST_F(PppoeClient, PlainNamesAreWrittenAsTheyAre)
{
    configure({{"wl.wisp.pppoe_name", "Az09_@%+=:,./-"}, {"wl.wisp.pppoe_password", "-p"}});
    ticks(2);
    EXPECT_ACTS(RESOLV, "command pppoecd eth1 -u Az09_@%+=:,./- -p -p -r 1480 -t 1480 -i 0 -U 0 &");
}

// ---- restarting the radio ----

class RadioRestart : public UplinkTest
{
protected:
    void modes(const char *mode_2g, const char *mode_5g)
    {
        set_text(wifi.wl2g_mode, mode_2g);
        set_text(wifi.wl5g_mode, mode_5g);
        box.journal.clear();
    }
};

const std::string RESTART_2G = "command cfm post netctrl 19?op=3,wl_rate=24";
const std::string RESTART_5G = "command cfm post netctrl 19?op=3,wl_rate=5";

TEST_F(RadioRestart, RestartsTheWispRadioThatIsNotConnected)
{
    modes("wisp", "wisp");
    wispRebootWifi(&wifi);
    EXPECT_ACTS(RESTART_2G);
    modes("apclient", "wisp");
    wispRebootWifi(&wifi);
    EXPECT_ACTS(RESTART_5G);
    modes("ap", "apclient");
    wispRebootWifi(&wifi);
    EXPECT_ACTS();
}

TEST_F(RadioRestart, LeavesAConnectedWispAlone)
{
    modes("wisp", "ap");
    box.radios.set_connection(RADIO, TPI_CONNECTED);
    wispRebootWifi(&wifi);
    EXPECT_ACTS();
}

TEST_F(RadioRestart, LeavesAnUnknownAccessModeAlone)
{
    modes("wisp", "ap");
    set_text(wifi.access_mode, "pptp");
    wispRebootWifi(&wifi);
    EXPECT_ACTS();
    for (const char *mode : {"static", "pppoe", "dhcp"}) {
        set_text(wifi.access_mode, mode);
        wispRebootWifi(&wifi);
    }
    EXPECT_EQ(times(RESTART_2G), 3U);
}

TEST_F(RadioRestart, RestartsTheApClientsRadioWhileTheLanHasItsOwnAddress)
{
    modes("apclient", "apclient");
    apClientRebootWifi(&wifi);
    EXPECT_ACTS(RESTART_2G);
    modes("ap", "apclient");
    apClientRebootWifi(&wifi);
    EXPECT_ACTS(RESTART_5G);
    modes("apclient", "ap");
    box.network.set_address("br0", "10.0.0.5");
    apClientRebootWifi(&wifi);
    box.network.set_address("br0", "");
    apClientRebootWifi(&wifi);
    EXPECT_ACTS();
}

TEST_F(RadioRestart, AutoChoosesByTheModesWispFirst)
{
    modes("apclient", "wisp");
    autoRebootWifi(&wifi);
    EXPECT_ACTS(RESTART_5G);
    modes("ap", "apclient");
    autoRebootWifi(&wifi);
    EXPECT_ACTS(RESTART_5G);
    modes("apclient", "wisp");
    box.radios.set_connection(RADIO, TPI_CONNECTED);
    autoRebootWifi(&wifi); // a connected WISP: not the AP client's turn
    EXPECT_ACTS();
    modes("ap", "ap");
    autoRebootWifi(&wifi);
    EXPECT_ACTS();
}

} // namespace
