// AP client: the association with the upstream, and the router's own DHCP server.
#include <gtest/gtest.h>

#include "tests/support/uplink_world.h"
#include "time_check/time_check_wifi_connect.h"

namespace
{

const std::string LOST = "netctrl 35?op=9,string_info=dhcp_up";
const std::string BACK = "netctrl 35?op=8,string_info=dhcp_down";
const char BOUNCE_LINE[] = "apclient not connected time over 60 s.";

class ApClientLink : public UplinkLinkTest
{
protected:
    ApClientLink() : UplinkLinkTest(LOST, BACK)
    {
    }

    void SetUp() override
    {
        UplinkLinkTest::SetUp();
        set_text(wifi.wl2g_mode, "apclient");
        set_text(wifi.wl_mode, "apclient");
        down();
    }

    void look() override
    {
        wifi_apclient_check(&wifi);
    }

    void up() override
    {
        box.radios.set(RADIO, TPI_CONNECTED, WIFI_RELAY_CONNECTED);
    }

    void down() override
    {
        waits_in(WIFI_RELAY_DOWN);
    }

    // Without an association, in this state of the relay.
    void waits_in(int relay_state)
    {
        box.radios.set(RADIO, TPI_NOT_CONNECTED, relay_state);
    }
};

// ---- loss and return ----

TEST_F(ApClientLink, TheFirstLookIsNotTold)
{
    ticks(20);
    EXPECT_EQ(times(LOST) + times(BACK), 0U);
}

TEST_F(ApClientLink, AFirstLookThatFindsItAssociatedIsNotToldEither)
{
    up();
    ticks(20);
    EXPECT_ACTS();
}

TEST_F(ApClientLink, ThreeTicksOfLossAfterAnAssociationAreToldOnce)
{
    expect_third_tick_of_loss_tells_once();
}

TEST_F(ApClientLink, ThreeTicksOfAssociationAfterALossAreToldOnce)
{
    expect_third_tick_of_return_tells_once();
}

TEST_F(ApClientLink, AnUplinkThatWasDownAtTheStartIsToldOfWhenItComes)
{
    ticks(5);
    up();
    ticks(3);
    EXPECT_ACTS(BACK);
}

TEST_F(ApClientLink, TwoTicksAreNeitherLossNorReturn)
{
    up();
    ticks(3);
    expect_two_ticks_are_no_loss();
    down();
    ticks(3);
    box.journal.clear();
    for (int i = 0; i < 10; i++) {
        up();
        ticks(2);
        down();
        ticks(1);
    }
    EXPECT_ACTS();
}

TEST_F(ApClientLink, EachLossAndReturnIsTold)
{
    expect_each_loss_and_return_told();
}

TEST_F(ApClientLink, OnlyAConnectedRelayIsAssociated)
{
    EXPECT_EQ(wl_get_sta_info(RADIO), 1);
    for (const int state : {WIFI_RELAY_DOWN, WIFI_RELAY_UP, WIFI_RELAY_SCANNING}) {
        waits_in(state);
        EXPECT_EQ(wl_get_sta_info(RADIO), 1) << state;
    }
    up();
    EXPECT_EQ(wl_get_sta_info(RADIO), 0);
    EXPECT_EQ(wl_get_sta_info("wlc1"), 1);
}

// ---- trace lines ----

TEST_F(ApClientLink, EveryTickHasItsTraceLine)
{
    box.clock.set(1000000);
    ticks(2);
    up();
    ticks(1);
    EXPECT_BODIES("wireless phy disconnected! not_conn_time:0 cur_time:1000001 last_time:0 ",
                  "wireless phy disconnected! not_conn_time:1 cur_time:1000002 last_time:1000001 ",
                  "wireless phy connected!");
    EXPECT_NE(box.log.lines().front().find("[time_check:wifi_apclient_link_check:"), std::string::npos);
}

TEST_F(ApClientLink, WithoutTraceItIsSilent)
{
    box.store.unset("time_check_debug");
    ticks(30);
    up();
    ticks(30);
    EXPECT_BODIES();
}

// ---- the bounce ----

TEST_F(ApClientLink, AMinuteWithoutAssociationBouncesTheInterface)
{
    ticks(60); // the first tick has nothing to compare with
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(BOUNCE);
    EXPECT_TRUE(has_body(BOUNCE_LINE));
    ticks(59);
    EXPECT_ACTS(BOUNCE);
    ticks(1);
    EXPECT_ACTS(BOUNCE, BOUNCE);
}

TEST_F(ApClientLink, AnAddressFromTheUpstreamStopsTheBounce)
{
    box.network.set_address("br0", "10.0.0.23");
    ticks(300);
    EXPECT_ACTS();
    box.network.set_address("br0", "192.168.1.1"); // the time went on
    ticks(1);
    EXPECT_ACTS(BOUNCE);
}

TEST_F(ApClientLink, WithoutLanAddressThereIsNoBounce)
{
    box.network.set_address("br0", "");
    ticks(300);
    EXPECT_ACTS();
}

TEST_F(ApClientLink, ARadioThatIsSwitchedOffIsNotBounced)
{
    for (const char *enable : {"0", "", "2"}) {
        set_text(wifi.wl_enable, enable);
        ticks(100);
    }
    EXPECT_ACTS();
}

TEST_F(ApClientLink, AnAssociationForgivesTheTimeBefore)
{
    ticks(60);
    up();
    ticks(1);
    down();
    ticks(59);
    EXPECT_EQ(times(BOUNCE), 0U);
}

TEST_F(ApClientLink, ALossThatWasToldStartsTheMinuteAgain)
{
    lose(); // three seconds
    ticks(60);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(BOUNCE);
}

TEST_F(ApClientLink, AClockSetBackNeverMakesTheTimeNegative)
{
    ticks(31);
    box.clock.step(-3600);
    box.log.clear();
    ticks(1);
    EXPECT_TRUE(has_line("not_conn_time:0 "));
    ticks(59);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(BOUNCE);
}

TEST_F(ApClientLink, AClockSetForwardBouncesOnceAndNotTwice)
{
    ticks(10);
    box.clock.step(86400);
    ticks(1);
    EXPECT_ACTS(BOUNCE);
    ticks(59);
    EXPECT_ACTS(BOUNCE);
}

TEST_F(ApClientLink, TheBounceGoesOnPast2038)
{
    box.clock.set(2147483640);
    ticks(61);
    EXPECT_ACTS(BOUNCE);
}

TEST_F(ApClientLink, HostileInterfaceNamesReachIfconfigAsOneWord)
{
    set_text(wifi.ifname, "a;b $(c)'");
    ticks(61);
    ASSERT_EQ(box.journal.lines().size(), 1U);
    EXPECT_EQ(arguments_in_shell("ifconfig", box.journal.lines().front().substr(8)),
              "[a;b $(c)'][down][a;b $(c)'][up]");
}

// ---- what never happens ----

TEST_F(ApClientLink, ALossNeverArmsTheFallback)
{
    lose();
    ticks(200);
    EXPECT_FALSE(has_line("restart wpa2_tkip_aes_check"));
    EXPECT_FALSE(has_line("restart_wpa2_check"));
}

TEST_F(ApClientLink, ThereIsNoGraceThatDelaysTheBounce)
{
    lose();
    ticks(60);
    EXPECT_TRUE(has_line("not_conn_time:59 ")); // from the tick after the message on, never set back
    ticks(1);
    EXPECT_ACTS(BOUNCE);
}

// ---- the DHCP server ----

TEST_F(ApClientLink, TheDhcpServerIsEnabledCommittedAndRestarted)
{
    APclientOpenDHCPS(&wifi);
    EXPECT_ACTS("set dhcps.en=1", "commit", "netctrl 3?op=3,index=1");
    EXPECT_EQ(box.store.committed("dhcps.en"), "1");
}

TEST_F(ApClientLink, AServerThatIsOnIsEnabledAllTheSame)
{
    box.store.set("dhcps.en", "1");
    APclientOpenDHCPS(&wifi);
    EXPECT_ACTS("set dhcps.en=1", "commit", "netctrl 3?op=3,index=1");
}

TEST_F(ApClientLink, WithoutCommitNetctrlIsNotTold)
{
    box.faults.fail("CommitCfm");
    APclientOpenDHCPS(&wifi);
    EXPECT_ACTS("set dhcps.en=1", "commit failed");
}

TEST_F(ApClientLink, TheDhcpServerIsAnApClientsBusiness)
{
    for (const char *mode : {"wisp", "ap", ""}) {
        set_text(wifi.wl_mode, mode);
        APclientOpenDHCPS(&wifi);
    }
    EXPECT_ACTS();
}

} // namespace
