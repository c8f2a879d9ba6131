// The table of keys against the running daemon: in all modes together it uses each key that the table says it does.
// (That it uses no other is looked at after every test.)
#include "platform/config_store.h"
#include "platform/sim/known_keys.h"
#include "tests/support/faults_world.h"

namespace
{

// The table's rows in order: a key, or a unit that uses those before it.
struct Row {
    const char *key;
    std::string_view unit;
};
constexpr Row ROWS[] = {
#define CONFIG_KEY(NAME, key, ...) {key, ""},
#define CONFIG_READ(unit, ...)     {nullptr, #unit},
#define CONFIG_WRITE(unit, ...)    {nullptr, #unit},
#include "platform/config_keys.def"
};

// The keys that a unit of the daemon uses, not the ground alone.
Lines keys_of_the_daemon()
{
    Lines keys;
    Lines above; // without a unit so far, or with the ground only
    bool is_used = false;
    for (const Row &row : ROWS) {
        if (row.key != nullptr && is_used)
            above.clear();
        if (row.key != nullptr) {
            above.emplace_back(row.key);
            is_used = false;
            continue;
        }
        is_used = true;
        if (row.unit != "linux") {
            keys.insert(keys.end(), above.begin(), above.end());
            above.clear();
        }
    }
    return keys;
}

class ConfigKeys : public RouterTest
{
};

// A night of the router in that mode, in which its uplink is lost for an hour and found again, and the guest network
// opened.
void live_through(const soak::Mode &mode)
{
    soak::enter(mode);
    box.run(10);
    box.at(600, [] { box.post("time_check_wl_guest?string_info=wl_guest"); });
    box.run(3600);
    mode.lose_uplink();
    box.run(3600);
    soak::mend_network();
    box.run(22.0 * 3600);
}

TEST_F(ConfigKeys, EachOfTheDaemonsIsUsedInSomeMode)
{
    box.log.keep(false);
    soak::configure_all();
    configure({{"sys.schedulereboot.enable", "1"},
               {"sys.sched.led.closetype", "unpowerClose"},
               {"wl.guest.dhcps_enable", "1"},
               {"wan1.connecttype", "2"},
               {"wan1.pppoe.auth.changed", "0"},
               {"wl.wisp.access_mode", "pppoe"}});
    box.processes.end("dhcpcd_lan"); // the AP client gets no address, so that the LAN needs its own DHCP server
    ASSERT_TRUE(box.boot());
    for (const soak::Mode &mode : soak::MODES)
        live_through(mode);
    // The other radio as the uplink.
    configure({{"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "wisp"}, {"sys.workmode", "router"}});
    box.restart();
    box.run(3600);
    // An account that the provider rejects, and a house in which everybody has gone.
    configure({{"wl5g.public.mode", "ap"}, {"wan1.down.flag", "0"}, {"reboot.flag", "0"}});
    box.restart();
    box.store.set("wan1_err_check", "2");
    box.network.clear_neighbours();
    box.network.set_address("eth1", "");
    box.run(22.0 * 3600);

    Lines unused = keys_of_the_daemon();
    EXPECT_GT(unused.size(), 50U);
    const Lines used = box.store.used_keys();
    std::erase_if(unused, [&used](const std::string &row) {
        return std::ranges::any_of(used, [&row](const std::string &key) { return sim::matches_key(row.c_str(), key); });
    });
    EXPECT_EQ(unused, Lines{}) << "platform/config_keys.def says that the daemon uses these";
}

TEST_F(ConfigKeys, OnesThatTheTableDoesNotHaveAreFound)
{
    char value[8];
    for (const char *key : {"wan2_isonln", "wan12.connecttype", "nkgw.led.offtime.list20", "led.a.b.trigger"})
        GetValue(key, value);
    EXPECT_EQ(box.store.unknown_keys(), Lines{});
    Lines unknown = {"led..trigger", "nkgw.led.offtime.list", "nkgw.led.offtime.list0", "wan0_isonln",
                     "wan_isonln",   "wl2g.enabled"};
    for (const std::string &key : unknown)
        GetValue(key.c_str(), value);
    EXPECT_EQ(SetValue("a.product.s", "1"), 1);
    unknown.insert(unknown.begin(), "a.product.s");
    EXPECT_EQ(box.store.unknown_keys(), unknown);
    for (const std::string &key : unknown)
        box.store.add_product_key(key);
    EXPECT_EQ(box.store.unknown_keys(), Lines{});
}

} // namespace
