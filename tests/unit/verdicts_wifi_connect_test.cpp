// What the supervision of the wireless uplink says of itself: a tick for every verdict.
#include "tests/support/uplink_world.h"
#include "tests/support/verdicts.h"

namespace
{

const std::vector<NamedVerdict<wifi_connect_verdict>> VERDICTS = {
#define VERDICT(name, why) {wifi_connect_verdict::name, #name},
#include "platform/verdicts/wifi_connect.def"
};

class WifiConnectVerdicts : public UplinkTest
{
protected:
    void use(const char *mode)
    {
        box.store.set("wl2g.public.mode", mode);
        set_time_check_wifi_connect_info();
    }

    void link(int radio, int wan)
    {
        box.radios.set(RADIO, radio, radio == TPI_CONNECTED ? WIFI_RELAY_CONNECTED : WIFI_RELAY_DOWN);
        box.radios.set_connection(RADIO, wan);
    }

    std::string tick()
    {
        box.clock.step(1);
        time_check_wifi_connect();
        return seen.look();
    }

    // What a tick says of itself after `number` of them.
    std::string ticks(int number)
    {
        for (int i = 1; i < number; i++)
            tick();
        return tick();
    }

    // Past the gate and the start, with nothing seen yet.
    void begin(const char *mode)
    {
        use(mode);
        EXPECT_EQ(ticks(60), "waiting_for_dhcp_client");
        EXPECT_EQ(ticks(4), "starting");
    }

    // The radio's cipher is found out.
    void find_cipher()
    {
        box.store.set("wl2g.extra.wpapsk_crypto", "tkip+aes");
        use("wisp");
        box.radios.set(RADIO, RADIO_NOT_ASKED, WIFI_RELAY_DOWN);
        EXPECT_EQ(tick(), "radio_not_asked");
        link(TPI_NOT_CONNECTED, TPI_NOT_CONNECTED);
        EXPECT_EQ(tick(), "trying_ciphers");
        link(TPI_CONNECTED, TPI_CONNECTED);
        box.store.set("wl2g.extra.wpapsk_crypto", "aes");
    }

    SeenVerdicts<wifi_connect_verdict> seen{VERDICTS, time_check_wifi_connect_verdict};
};

TEST_F(WifiConnectVerdicts, EachIsReached)
{
    use("ap");
    EXPECT_EQ(tick(), "no_uplink");
    begin("wisp");

    find_cipher();

    box.store.set("wl2g.public.enable", "0");
    use("wisp");
    EXPECT_EQ(tick(), "nothing_supervised");
    box.store.set("wl2g.public.enable", "1");
    use("wisp");

    box.radios.webpage_status = 0;
    EXPECT_EQ(tick(), "being_changed");
    box.radios.webpage_status = 1;
    box.store.set("wl.wisp.access_mode", "l2tp");
    EXPECT_EQ(tick(), "unknown_access_mode");

    box.store.set("wl.wisp.access_mode", "pppoe");
    use("wisp");
    EXPECT_EQ(tick(), "pppoe_missing");
    EXPECT_EQ(tick(), "pppoe_restarted");
    box.store.set("wl.wisp.access_mode", "dhcp");
    use("wisp");

    EXPECT_EQ(tick(), "wan_connected");
    link(TPI_NOT_CONNECTED, TPI_NOT_CONNECTED);
    EXPECT_EQ(ticks(2), "wan_lost");
    EXPECT_EQ(tick(), "loss_told");
    EXPECT_EQ(ticks(12), "fallback_armed");
    EXPECT_EQ(tick(), "wan_lost");
    for (int second = 0; second < 60 && tick() != "bounced";)
        second++;
    EXPECT_EQ(seen.look(), "bounced");
    link(TPI_CONNECTED, TPI_CONNECTED);
    EXPECT_EQ(ticks(2), "wan_connected");
    EXPECT_EQ(tick(), "return_told");

    use("apclient");
    EXPECT_EQ(tick(), "associated");
    link(TPI_NOT_CONNECTED, TPI_NOT_CONNECTED);
    EXPECT_EQ(tick(), "association_lost");
    EXPECT_EQ(seen.unseen(), Lines{});
}

// The AP client tells of itself with the same names as WISP.
TEST_F(WifiConnectVerdicts, AnApClientHasLossReturnAndBounceToo)
{
    begin("apclient");
    link(TPI_CONNECTED, TPI_CONNECTED);
    EXPECT_EQ(tick(), "associated");
    link(TPI_NOT_CONNECTED, TPI_NOT_CONNECTED);
    EXPECT_EQ(ticks(2), "association_lost");
    EXPECT_EQ(tick(), "loss_told");
    for (int second = 0; second < 70 && tick() != "bounced";)
        second++;
    EXPECT_EQ(seen.look(), "bounced");
    link(TPI_CONNECTED, TPI_CONNECTED);
    EXPECT_EQ(ticks(3), "return_told");
}

} // namespace
