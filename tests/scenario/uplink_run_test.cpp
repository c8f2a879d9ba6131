// The uplink's supervision in a running router, as seen by netctrl and by the radio.
#include "platform/wifi.h"
#include "tests/support/router_test.h"

namespace
{

const std::string WISP_STOP = "netctrl 19?op=15";
const std::string WISP_START = "netctrl 19?op=16";
const std::string LOST = "netctrl 35?op=9,string_info=dhcp_up";
const std::string BACK = "netctrl 35?op=8,string_info=dhcp_down";
const std::string BOUNCE = "command ifconfig wlc0 down && ifconfig wlc0 up";

class UplinkRun : public RouterTest
{
protected:
    // The 2.4 GHz radio in that mode, up and supervised from the next tick on.
    void start(const std::string &mode, const std::string &cipher)
    {
        configure({{"wl2g.enable", "1"},
                   {"wl2g.public.enable", "1"},
                   {"wl2g.public.mode", mode},
                   {"wl5g.public.mode", "ap"},
                   {"wl2g.extra.wpapsk_type", "psk2"},
                   {"wl2g.extra.wpapsk_crypto", cipher},
                   {"wl.wisp.access_mode", "dhcp"},
                   {"lan.ip", "192.168.0.1"}});
        box.processes.start("udhcpc", 500);
        box.processes.start("dhcpcd_lan", 501);
        up();
        ASSERT_TRUE(box.boot());
        ASSERT_TRUE(box.post("5?op=2,string_info=all")); // its samples take time, and a tick is a second here
        box.tick(20);
        begin();
    }

    void up()
    {
        box.radios.set("wlc0", TPI_CONNECTED, WIFI_RELAY_CONNECTED);
        box.radios.set_connection("wlc0", TPI_CONNECTED);
    }

    void down()
    {
        box.radios.set("wlc0", TPI_NOT_CONNECTED, WIFI_RELAY_DOWN);
        box.radios.set_connection("wlc0", TPI_NOT_CONNECTED);
    }

    // From here the acts' ticks count.
    void begin()
    {
        box.journal.clear();
        box.log.clear();
        start_ = box.clock.uptime();
    }

    // "TICK ACT" of the uplink's acts since then.
    Lines acts_by_tick() const
    {
        Lines found;
        for (const std::string &line : box.journal.timed_lines()) {
            const size_t plus = line.find('+');
            const size_t act = line.find(' ', plus) + 1;
            const std::string text = line.substr(act);
            if (!text.starts_with("set wan") && !text.starts_with("set surf"))
                found.push_back(std::to_string(std::stoi(line.substr(plus + 1)) - start_) + " " + text);
        }
        return found;
    }

private:
    int start_ = 0;
};

// ---- WISP ----

TEST_F(UplinkRun, AShortWispLossIsNotNoticed)
{
    start("wisp", "aes");
    down();
    box.tick(2);
    up();
    box.tick(100);
    EXPECT_EQ(acts_by_tick(), Lines{});
}

TEST_F(UplinkRun, AWispLossWithOneCipherIsToldAndBouncedEveryMinute)
{
    start("wisp", "aes");
    down();
    box.tick(200);
    // The grace ends at tick 12; the time without a connection counts from there.
    EXPECT_EQ(acts_by_tick(), (Lines{"3 " + WISP_STOP, "72 " + BOUNCE, "132 " + BOUNCE, "192 " + BOUNCE}));
    begin();
    up();
    box.tick(100);
    EXPECT_EQ(acts_by_tick(), (Lines{"3 " + WISP_START}));
}

TEST_F(UplinkRun, AWispLossWithTwoCiphersRunsTheFallback)
{
    start("wisp", "tkip+aes");
    down();
    box.tick(80);
    Lines expected = {"3 " + WISP_STOP};
    for (const char *tick : {"22 ", "28 ", "34 "}) // aes, tkip, both
        for (const char *act : {"command wlconf wlc0 down", "exec killall nas >/dev/console", "command wlconf wlc0 up",
                                "command wlconf wlc0 start", "exec nas >/dev/console"})
            expected.push_back(std::string(tick) + act);
    expected.push_back("72 " + BOUNCE); // the ticks without supervision count as well
    EXPECT_EQ(acts_by_tick(), expected);
}

TEST_F(UplinkRun, AWispThatTakesOneOfTheCiphersEndsTheFallback)
{
    start("wisp", "tkip+aes");
    down();
    box.tick(24); // "aes" was tried at 22
    up();
    box.tick(30);
    const Lines acts = acts_by_tick();
    ASSERT_EQ(acts.size(), 7U);
    EXPECT_EQ(acts[1], "22 command wlconf wlc0 down");
    EXPECT_EQ(acts[6], "27 " + WISP_START);
}

TEST_F(UplinkRun, AClockThatIsSetWhileTheWispIsDownBouncesOnce)
{
    box.clock.set("1970-01-01 00:00:10");
    start("wisp", "aes");
    down();
    box.tick(30);
    box.clock.set("2026-05-04 12:00:00");
    box.tick(30);
    EXPECT_EQ(times(BOUNCE), 1U);
    box.clock.set("2026-05-04 11:00:00"); // and back by an hour
    box.tick(59);
    EXPECT_EQ(times(BOUNCE), 1U);
    box.tick(2);
    EXPECT_EQ(times(BOUNCE), 2U);
}

TEST_F(UplinkRun, APppoeWispStartsItsClientUntilItRuns)
{
    start("wisp", "aes");
    configure({{"wl.wisp.access_mode", "pppoe"},
               {"wl.wisp.pppoe_name", "a b"},
               {"wl.wisp.pppoe_password", "$x"},
               {"wl.wisp.pppoe_mtu", "1492"}});
    ASSERT_TRUE(box.post("time_check_wifi_connect"));
    begin();
    const std::string client = "command pppoecd eth1 -u 'a b' -p '$x' -r 1492 -t 1492 -i 0 -U 0 &";
    box.tick(4);
    EXPECT_EQ(acts_by_tick(), (Lines{"2 command echo nameserver > /etc/resolv_wisp.conf", "2 " + client,
                                     "4 command echo nameserver > /etc/resolv_wisp.conf", "4 " + client}));
    box.commands.set_starts("pppoecd", true);
    box.tick(50);
    EXPECT_EQ(times(client), 3U);
    EXPECT_EQ(box.files.text_of("/etc/resolv_wisp.conf"), "nameserver\n");
}

// ---- AP client ----

TEST_F(UplinkRun, AnApClientLossIsToldAndBounced)
{
    start("apclient", "aes");
    down();
    box.tick(130);
    EXPECT_EQ(acts_by_tick(), (Lines{"3 " + LOST, "64 " + BOUNCE, "124 " + BOUNCE}));
    begin();
    up();
    box.tick(100);
    EXPECT_EQ(acts_by_tick(), (Lines{"3 " + BACK}));
}

TEST_F(UplinkRun, AnApClientWithTwoCiphersHasNoFallbackAfterALoss)
{
    start("apclient", "tkip+aes");
    down();
    box.tick(300);
    EXPECT_EQ(times("exec nas >/dev/console"), 0U);
    ASSERT_TRUE(box.post("7")); // but after a change of its settings
    box.tick(19);
    EXPECT_EQ(times("exec nas >/dev/console"), 3U);
}

TEST_F(UplinkRun, AnApClientWithoutUpstreamSwitchesItsDhcpServerOnOnceARun)
{
    start("apclient", "aes");
    EXPECT_EQ(box.store.get("dhcps.en"), "1");
    box.store.set("dhcps.en", "0");
    box.tick(500);
    EXPECT_EQ(box.store.get("dhcps.en"), "0");
    box.restart();
    box.run(60);
    EXPECT_EQ(box.store.get("dhcps.en"), "1");
}

TEST_F(UplinkRun, AChangeFromWispToApClientTakesEffectWithoutARestart)
{
    start("wisp", "aes");
    box.store.set("wl2g.public.mode", "apclient");
    ASSERT_TRUE(box.post("7"));
    box.tick(1);
    down();
    begin();
    box.tick(5);
    EXPECT_EQ(acts_by_tick(), (Lines{"3 " + LOST}));
}

// ---- wired access point ----

TEST_F(UplinkRun, AWiredAccessPointTellsOfItsGateway)
{
    configure({{"sys.workmode", "ap"}, {"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "ap"}});
    box.files.set("/etc/lan.ini", "gateway=10.0.0.1\n");
    box.network.set_reachable("10.0.0.1", "", true);
    ASSERT_TRUE(box.boot());
    ASSERT_TRUE(box.post("5?op=2,string_info=all"));
    box.tick(10);
    begin();
    box.network.set_reachable("10.0.0.1", "", false);
    box.tick(20);
    box.network.set_reachable("10.0.0.1", "", true);
    box.tick(20);
    EXPECT_EQ(box.journal.acts("netctrl"), (Lines{LOST, BACK}));
    // A ping that is not answered takes a second, so those ticks take two.
    EXPECT_EQ(acts_by_tick().front(), "6 " + LOST);
}

} // namespace
