// The uplink's settings: which radio carries it, and when they are read. The settings show in what the tick does.
#include <gtest/gtest.h>

#include "tests/support/uplink_world.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_module.h"
#include "time_check/time_check_wifi_connect.h"

namespace
{

class UplinkSettings : public UplinkTest
{
protected:
    void SetUp() override
    {
        UplinkTest::SetUp();
        configure({{"wl5g.extra.wpapsk_type", "psk2"}, {"wl5g.extra.wpapsk_crypto", "aes"}});
        trace_on();
        box.processes.start("udhcpc", 500); // both gates are open
        box.processes.start("dhcpcd_lan", 501);
        for (const char *ifname : {"wlc0", "wlc1"})
            box.radios.set(ifname, TPI_NOT_CONNECTED, WIFI_RELAY_DOWN);
    }

    // Starts with these modes and lets the idle ticks pass.
    void start(const std::string &mode_2g, const std::string &mode_5g)
    {
        modes(mode_2g, mode_5g);
        set_time_check_wifi_connect_info();
        ticks(4);
        box.log.clear();
        box.journal.clear();
    }

    void modes(const std::string &mode_2g, const std::string &mode_5g)
    {
        configure({{"wl2g.public.mode", mode_2g}, {"wl5g.public.mode", mode_5g}});
    }

    static void ticks(int number)
    {
        for (int i = 0; i < number; i++)
            time_check_wifi_connect();
    }

    static int32_t send(const std::string &string_info)
    {
        TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
        set_text(msg.string_info, string_info);
        return time_check_wifi_connect_msg_handle(&msg);
    }

    // What the next tick supervises.
    std::string supervised()
    {
        box.log.clear();
        ticks(1);
        if (has_line("wisp NOT_CONNECTED"))
            return "wisp";
        return has_line("wireless phy disconnected!") ? "apclient" : "nothing";
    }

    void use_cipher(const std::string &cipher)
    {
        configure({{"wl2g.extra.wpapsk_crypto", cipher}, {"wl5g.extra.wpapsk_crypto", cipher}});
    }
};

// ---- which radio ----

struct uplink_case {
    const char *mode_2g;
    const char *mode_5g;
    const char *supervised;
    const char *first_command; // of the cipher fallback
};

class UplinkRadio : public UplinkSettings, public testing::WithParamInterface<uplink_case>
{
};

TEST_P(UplinkRadio, CarriesTheUplink)
{
    use_cipher("tkip+aes");
    start(GetParam().mode_2g, GetParam().mode_5g);
    ticks(7);
    ASSERT_FALSE(box.journal.lines().empty());
    EXPECT_EQ(box.journal.lines().front(), GetParam().first_command);
    use_cipher("aes");
    send("");
    EXPECT_EQ(supervised(), GetParam().supervised);
}

INSTANTIATE_TEST_SUITE_P(Modes, UplinkRadio,
                         testing::Values(uplink_case{"wisp", "ap", "wisp", "command wlconf wlc0 down"},
                                         uplink_case{"wisp", "wisp", "wisp", "command wlconf wlc0 down"},
                                         uplink_case{"wisp", "apclient", "wisp", "command wlconf wlc0 down"},
                                         uplink_case{"apclient", "ap", "apclient", "command wlconf wlc0 down"},
                                         uplink_case{"apclient", "wisp", "apclient", "command wlconf wlc0 down"},
                                         uplink_case{"ap", "wisp", "wisp", "command wlconf wlc1 down"},
                                         uplink_case{"ap", "apclient", "apclient", "command wlconf wlc1 down"},
                                         uplink_case{"wds", "apclient", "apclient", "command wlconf wlc1 down"},
                                         uplink_case{"", "wisp", "wisp", "command wlconf wlc1 down"}));

TEST_F(UplinkSettings, EachBandHasItsOwnSecurityKeys)
{
    configure({{"wl2g.extra.wpapsk_crypto", "tkip+aes"}, {"wl5g.extra.wpapsk_crypto", "aes"}});
    start("ap", "wisp");
    EXPECT_EQ(supervised(), "wisp"); // no fallback for the 5 GHz radio
    modes("wisp", "ap");
    send("");
    EXPECT_EQ(supervised(), "nothing"); // the 2.4 GHz radio's fallback runs
}

TEST_F(UplinkSettings, EachBandHasItsOwnSwitch)
{
    configure({{"wl2g.public.enable", "0"}, {"wl5g.public.enable", "1"}});
    start("ap", "wisp");
    EXPECT_EQ(supervised(), "wisp");
    modes("wisp", "ap");
    send("");
    EXPECT_EQ(supervised(), "nothing");
    configure({{"wl2g.public.enable", "1"}, {"wl5g.public.enable", "0"}});
    send("");
    EXPECT_EQ(supervised(), "wisp");
}

TEST_F(UplinkSettings, TwoAccessPointsAreNoUplink)
{
    start("wisp", "ap");
    modes("ap", "ap");
    send("");
    box.log.clear();
    ticks(100);
    EXPECT_BODIES();
    EXPECT_ACTS();
}

TEST_F(UplinkSettings, WithoutClientRadioTheUplinkStaysAsItWas)
{
    start("wisp", "ap");
    for (const auto &[mode_2g, mode_5g] : {std::pair{"ap", "wds"}, {"wds", "ap"}, {"", ""}, {"ap", ""}}) {
        modes(mode_2g, mode_5g);
        send("");
        EXPECT_EQ(supervised(), "wisp") << mode_2g << " " << mode_5g;
    }
}

TEST_F(UplinkSettings, AfterTwoAccessPointsNeitherStaysUntilThereIsAClient)
{
    start("wisp", "ap");
    modes("ap", "ap");
    send("");
    modes("ap", "wds");
    send("");
    EXPECT_EQ(supervised(), "nothing");
    modes("apclient", "ap");
    send("");
    EXPECT_EQ(supervised(), "apclient");
}

TEST_F(UplinkSettings, ARadioWithoutClientInterfaceHasAnEmptyName)
{
    use_cipher("tkip+aes");
    box.faults.fail("tpi_wifi_get_ifname");
    box.radios.set("", TPI_NOT_CONNECTED, WIFI_RELAY_DOWN); // as a driver answers that does not look for the name
    start("wisp", "ap");
    ticks(7);
    EXPECT_EQ(times("command wlconf  down"), 1U);
}

// ---- messages ----

TEST_F(UplinkSettings, AMessageReadsTheSettings)
{
    start("wisp", "ap");
    modes("apclient", "ap");
    EXPECT_EQ(supervised(), "wisp");
    EXPECT_EQ(send(""), TIMER_CHECK_SUC);
    EXPECT_EQ(supervised(), "apclient");
    modes("wisp", "ap");
    EXPECT_EQ(send("anything"), TIMER_CHECK_SUC);
    EXPECT_EQ(supervised(), "wisp");
}

TEST_F(UplinkSettings, TheInitMessageAloneReadsNothing)
{
    start("wisp", "ap");
    modes("apclient", "ap");
    EXPECT_EQ(send("wifi_connect_init"), TIMER_CHECK_ERR);
    EXPECT_EQ(supervised(), "wisp");
    EXPECT_EQ(send("wifi_connect_init2"), TIMER_CHECK_SUC);
    EXPECT_EQ(supervised(), "apclient");
}

TEST_F(UplinkSettings, InitReadsTheSettingsAndTakesTheModulesMessages)
{
    box.store.set("wl2g.enable", "1"); // or another module's start switches the radio off
    modes("wisp", "ap");
    init_time_check_module_entries();
    ticks(4);
    EXPECT_EQ(supervised(), "wisp");
    modes("apclient", "ap");
    TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
    handle_time_check_module_msg(TIME_CHECK_WIFI_CONNECT, &msg);
    EXPECT_EQ(supervised(), "apclient");
}

TEST_F(UplinkSettings, ARefreshArmsTheFallback)
{
    use_cipher("tkip+aes");
    start("wisp", "ap");
    ticks(19);
    box.journal.clear();
    ticks(20);
    EXPECT_ACTS(); // over
    send("");
    ticks(6);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_EQ(times("command wlconf wlc0 down"), 1U);
}

TEST_F(UplinkSettings, AMissingKeyEmptiesItsField)
{
    configure({{"wl.wisp.access_mode", "pppoe"}});
    start("wisp", "ap");
    ticks(2);
    EXPECT_TRUE(has_line("restart pppoecd"));
    box.store.unset("wl.wisp.access_mode");
    send("");
    box.log.clear();
    ticks(10);
    EXPECT_FALSE(has_line("restart pppoecd"));
}

TEST_F(UplinkSettings, LongTextsAreCutToTheirFields)
{
    const std::string text(500, '1');
    for (const char *key : {"wl2g.public.enable", "lan.ip", "wl.wisp.access_mode", "wl2g.extra.ssid",
                            "wl2g.extra.wpapsk_type", "wl2g.extra.wpapsk_crypto"})
        box.store.set(key, text);
    box.radios.set_name(24, std::string(15, 'w'));
    box.radios.set(std::string(15, 'w'), TPI_NOT_CONNECTED, WIFI_RELAY_DOWN);
    start("wisp", "ap");
    EXPECT_EQ(supervised(), "nothing"); // "1111111" is not "1"
    modes(text, text);
    send("");
    EXPECT_EQ(supervised(), "nothing");
}

} // namespace
