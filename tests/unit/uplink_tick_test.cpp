// The uplink's tick: the start-up gate, the one look at the DHCP server, and who is supervised.
#include <gtest/gtest.h>

#include "tests/support/uplink_world.h"
#include "time_check/time_check_wifi_connect.h"

namespace
{

const char BEGIN[] = "Begin to check wifi connect!";

class UplinkTick : public UplinkTest
{
protected:
    void SetUp() override
    {
        UplinkTest::SetUp();
        trace_on();
        box.radios.set(RADIO, TPI_NOT_CONNECTED, WIFI_RELAY_DOWN);
    }

    void start(const char *mode_2g)
    {
        box.store.set("wl2g.public.mode", mode_2g);
        set_time_check_wifi_connect_info();
    }

    // With the mode's DHCP client running, which opens the gate.
    void start_with_client(const std::string &mode_2g)
    {
        start(mode_2g.c_str());
        box.processes.start(mode_2g == "wisp" ? "udhcpc" : "dhcpcd_lan", 500);
    }

    // Whether the tick came past the gate.
    bool tick_begins()
    {
        box.log.clear();
        time_check_wifi_connect();
        return has_line(BEGIN);
    }

    void ticks(int number)
    {
        for (int i = 0; i < number; i++)
            time_check_wifi_connect();
    }
};

TEST_F(UplinkTick, TwoAccessPointsMakeItReturnAtOnceEveryTime)
{
    start("ap");
    box.processes.start("udhcpc", 500);
    ticks(200);
    EXPECT_BODIES();
    EXPECT_ACTS();
    EXPECT_EQ(box.faults.made("tpi_wifi_wisp_phy_link_check"), 0U);
}

// ---- the gate ----

TEST_F(UplinkTick, WithoutDhcpClientSixtyTicksAreIdle)
{
    start("wisp");
    for (int i = 1; i <= 60; i++)
        ASSERT_FALSE(tick_begins()) << i;
    EXPECT_TRUE(tick_begins()); // the 61st
    EXPECT_TRUE(tick_begins());
}

TEST_F(UplinkTick, TheDhcpClientOpensTheGateAtOnce)
{
    start("wisp");
    ticks(10);
    EXPECT_FALSE(tick_begins());
    box.processes.start("udhcpc", 500);
    EXPECT_TRUE(tick_begins());
    box.processes.end("udhcpc");
    EXPECT_TRUE(tick_begins()); // once open it stays open
}

TEST_F(UplinkTick, TheApClientsDhcpClientIsAnotherProgram)
{
    start("apclient");
    box.processes.start("udhcpc", 500);
    EXPECT_FALSE(tick_begins());
    box.processes.start("dhcpcd_lan", 501);
    EXPECT_TRUE(tick_begins());
}

TEST_F(UplinkTick, TheApClientsProgramDoesNotOpenTheWispGate)
{
    start("wisp");
    box.processes.start("dhcpcd_lan", 501);
    EXPECT_FALSE(tick_begins());
}

TEST_F(UplinkTick, AnUplinkOfNoKindWaitsItsTime)
{
    start("wds");
    box.processes.start("udhcpc", 500);
    box.processes.start("dhcpcd_lan", 501);
    for (int i = 1; i <= 60; i++)
        ASSERT_FALSE(tick_begins()) << i;
    EXPECT_TRUE(tick_begins());
}

TEST_F(UplinkTick, TheBeginLineKeepsItsBlank)
{
    start_with_client("wisp");
    time_check_wifi_connect();
    ASSERT_FALSE(box.log.lines().empty());
    const std::string &line = box.log.lines().front();
    EXPECT_TRUE(line.starts_with("\033[0;33m[time_check:time_check_wifi_connect:")) << line;
    EXPECT_TRUE(line.ends_with("] \033[0;32mBegin to check wifi connect! ")) << line;
}

TEST_F(UplinkTick, TheTraceKeyIsLookedAtForEveryLine)
{
    start_with_client("wisp");
    EXPECT_TRUE(tick_begins());
    box.store.set("time_check_debug", "off");
    EXPECT_FALSE(tick_begins());
    box.store.unset("time_check_debug");
    EXPECT_FALSE(tick_begins());
    box.store.set("time_check_debug", "on");
    EXPECT_TRUE(tick_begins());
}

// ---- the idle ticks and the look at the DHCP server ----

TEST_F(UplinkTick, SupervisionRunsFromTheFifthTickOn)
{
    start_with_client("wisp");
    for (int i = 1; i <= 4; i++) {
        tick_begins();
        EXPECT_FALSE(has_line("wisp NOT_CONNECTED")) << i;
    }
    EXPECT_EQ(box.faults.made("tpi_wifi_wisp_phy_link_check"), 0U);
    for (int i = 5; i <= 9; i++) {
        tick_begins();
        EXPECT_TRUE(has_line("wisp NOT_CONNECTED")) << i;
    }
}

TEST_F(UplinkTick, WithoutDhcpClientSupervisionRunsFromThe65thTickOn)
{
    start("wisp");
    ticks(64);
    EXPECT_FALSE(has_line("wisp NOT_CONNECTED"));
    ticks(1);
    EXPECT_TRUE(has_line("wisp NOT_CONNECTED"));
}

TEST_F(UplinkTick, TheFourthTickSwitchesTheDhcpServerOnWhileTheLanHasItsOwnAddress)
{
    start_with_client("apclient");
    ticks(3);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS("set dhcps.en=1", "commit", "netctrl 3?op=3,index=1");
    box.journal.clear();
    ticks(50);
    EXPECT_EQ(times("set dhcps.en=1"), 0U); // once a run
}

TEST_F(UplinkTick, ALanWithoutAddressAlsoNeedsTheDhcpServer)
{
    start_with_client("apclient");
    box.network.set_address("br0", "");
    ticks(4);
    EXPECT_ACTS("set dhcps.en=1", "commit", "netctrl 3?op=3,index=1");
}

TEST_F(UplinkTick, AnAddressFromTheUpstreamNeedsNoDhcpServer)
{
    start_with_client("apclient");
    box.network.set_address("br0", "10.0.0.23");
    ticks(4);
    EXPECT_ACTS();
    box.network.set_address("br0", "192.168.1.1");
    ticks(2);
    EXPECT_EQ(times("set dhcps.en=1"), 0U); // the look is over
}

TEST_F(UplinkTick, AWispRouterKeepsItsDhcpServerAsItIs)
{
    start_with_client("wisp");
    ticks(4);
    EXPECT_ACTS();
}

TEST_F(UplinkTick, TheIdleTicksGoOnAcrossAChangeOfTheUplink)
{
    start_with_client("wisp");
    ticks(3);
    start("apclient"); // the gate is open, whichever client opened it
    ticks(1);
    EXPECT_EQ(times("set dhcps.en=1"), 1U);
}

// ---- who is supervised ----

TEST_F(UplinkTick, AWispRadioThatIsSwitchedOffIsNotSupervised)
{
    box.store.set("wl2g.public.enable", "0");
    start_with_client("wisp");
    ticks(10);
    EXPECT_FALSE(has_line("wisp NOT_CONNECTED"));
}

TEST_F(UplinkTick, AnApClientsRadioIsSupervisedEvenWhenSwitchedOff)
{
    box.store.set("wl2g.public.enable", "0");
    start_with_client("apclient");
    ticks(5);
    EXPECT_TRUE(has_line("wireless phy disconnected!"));
}

TEST_F(UplinkTick, AnUplinkOfNoKindIsNotSupervised)
{
    start("wds");
    ticks(80);
    EXPECT_EQ(lines_with(BEGIN), 20U);
    EXPECT_FALSE(has_line("wisp NOT_CONNECTED"));
    EXPECT_FALSE(has_line("wireless phy"));
    EXPECT_ACTS();
}

TEST_F(UplinkTick, WhileTheFallbackRunsTheLinkIsNotSupervised)
{
    box.store.set("wl2g.extra.wpapsk_crypto", "tkip+aes");
    start_with_client("wisp");
    ticks(4 + 19);
    EXPECT_FALSE(has_line("wisp NOT_CONNECTED"));
    ticks(1);
    EXPECT_TRUE(has_line("wisp NOT_CONNECTED"));
}

TEST_F(UplinkTick, AChangeOfTheUplinkTakesEffectAtTheNextTick)
{
    start_with_client("wisp");
    ticks(5);
    start("apclient");
    box.log.clear();
    ticks(1);
    EXPECT_TRUE(has_line("wireless phy disconnected!"));
    EXPECT_FALSE(has_line("wisp NOT_CONNECTED"));
    start("ap");
    box.log.clear();
    ticks(1);
    EXPECT_BODIES();
}

} // namespace
