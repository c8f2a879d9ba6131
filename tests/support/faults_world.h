// The router of the soak in each of its modes, and the faults of the one journal. The soak's own are in
// fault_catalogue.h.
#ifndef TESTS_SUPPORT_FAULTS_WORLD_H
#define TESTS_SUPPORT_FAULTS_WORLD_H

#include <array>
#include <cstdint>
#include <string>

#include "tests/support/busy_settings.h"
#include "tests/support/nights_world.h"
#include "tests/support/schedule_world.h"

namespace soak
{

using busy_nights::Dice;

// ---- the router: every module has something to do ----

inline void radio_is(int phy_state, int relay_state)
{
    box.radios.set("wlc0", phy_state, relay_state);
}

// All that a fault of the network may have taken away.
inline void mend_network()
{
    box.network.set_internet(true);
    box.network.set_dns(true);
    box.network.set_ping_durations(0, 1000);
    for (const int wan : {1, 2}) {
        box.network.set_link(wan, true);
        box.network.set_address("eth" + std::to_string(wan), "203.0.113." + std::to_string(wan));
    }
    radio_is(3, 3);
    box.network.set_address("wlc0", "10.0.0.9");
    box.network.set_reachable("192.168.0.254", "", true);
}

// One that is quiet: the router may sleep and restart.
inline void lone_client()
{
    box.network.clear_neighbours();
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    box.network.set_host("192.168.0.7", 1000, 2000);
    box.network.set_multicast("br0", 300);
    box.network.set_counters("br0", 700, 90); // the delay before a reboot is made of this
}

inline void httpd_is_idle()
{
    box.processes.start("httpd", 412);
    box.processes.set_share("httpd", 0);
}

inline void configure_all()
{
    box.clock.set("2026-03-01 00:00:00");
    box.clock.set_uptime(100000);
    for (const auto &[key, value] : BUSY_SETTINGS)
        box.store.set(key, value);
    configure({{"wl.guest.dhcps_enable", "0"}, {"wl.wisp.access_mode", "dhcp"}, {"wl2g.extra.wpapsk_crypto", "aes"}});
    schedule_world::radios("1", "1", "1");
    box.store.set("nkgw.led.state", "3");
    schedule_world::only_rule("nkgw.wlan", "23:00", "6:00");
    schedule_world::only_rule("nkgw.led", "22:00", "7:00");
    box.network.set_wan(1, "eth1");
    box.network.set_wan(2, "eth2");
    box.files.set("/etc/lan.ini", "gateway=192.168.0.254\n");
    box.processes.start("minidlna", 420);
    box.processes.start("udhcpc", 500);
    box.processes.start("dhcpcd_lan", 501);
    lone_client();
    mend_network();
}

// ---- its modes ----

enum : unsigned { TWO_WANS = 1, WISP = 2, AP_CLIENT = 4, WIRED_AP = 8, WIRED = TWO_WANS | WIRED_AP, ALL_MODES = 15 };

struct Mode {
    unsigned id;
    const char *name;
    const char *workmode;
    const char *radio_mode;
    const char *wans;
    size_t policy_rules;
    void (*lose_uplink)();
    const char *lost; // what netctrl is told
    const char *back;
};

inline void PrintTo(const Mode &mode, std::ostream *out)
{
    *out << mode.name;
}

inline const std::array MODES = {
    Mode{.id = TWO_WANS,
         .name = "two WANs",
         .workmode = "router",
         .radio_mode = "ap",
         .wans = "2",
         .policy_rules = 6,
         .lose_uplink = [] { box.network.set_internet(false); },
         .lost = "command cfm post netctrl 52?op=16,wan_id=1",
         .back = "command cfm post netctrl 52?op=15,wan_id=1"},
    Mode{.id = WISP,
         .name = "WISP",
         .workmode = "router",
         .radio_mode = "wisp",
         .wans = "1",
         .policy_rules = 3,
         .lose_uplink = [] { radio_is(1, 0); },
         .lost = "netctrl 19?op=15",
         .back = "netctrl 19?op=16"},
    Mode{.id = AP_CLIENT,
         .name = "AP client",
         .workmode = "client+ap",
         .radio_mode = "apclient",
         .wans = "1",
         .policy_rules = 3,
         .lose_uplink = [] { radio_is(1, 0); },
         .lost = "netctrl 35?op=9,string_info=dhcp_up",
         .back = "netctrl 35?op=8,string_info=dhcp_down"},
    Mode{.id = WIRED_AP,
         .name = "wired access point",
         .workmode = "ap",
         .radio_mode = "ap",
         .wans = "1",
         .policy_rules = 3,
         .lose_uplink = [] { box.network.set_reachable("192.168.0.254", "", false); },
         .lost = "netctrl 35?op=9,string_info=dhcp_up",
         .back = "netctrl 35?op=8,string_info=dhcp_down"},
};

// The router restarts in that mode.
inline void enter(const Mode &mode)
{
    configure({{"sys.workmode", mode.workmode}, {"wl2g.public.mode", mode.radio_mode}, {"wans.flag", mode.wans}});
    box.restart();
}

// ---- the faults ----

// What the reachability check must have published while a fault stands.
enum class Wans { UNKNOWN, ALL_ONLINE, NONE_ONLINE, FIRST_DOWN, SECOND_DOWN };

struct Fault {
    const char *name;
    unsigned modes; // in which it can happen
    Wans wans;
    void (*begin)(Dice &dice);
    void (*end)();
    bool leaves_traces = false; // in what the daemon has read; a restart wipes them out
};

inline int64_t stepped_s;

inline void step_clock(int64_t seconds)
{
    stepped_s = seconds;
    box.clock.step(seconds);
}

inline void step_clock_back()
{
    box.clock.step(-stepped_s);
}

inline void call_fails(Dice &dice)
{
    // Without its name on the bus the daemon ends, without its thread nobody looks at the WANs.
    static const Lines spared = {"RegMsgHandle", "pthread_create"};
    const std::string &call = dice.one_of(sim::Faults::names());
    if (std::ranges::find(spared, call) != spared.end())
        return;
    const bool forever = dice.roll(4) == 0; // compilers differ in which of two arguments comes first
    box.faults.fail(call, static_cast<unsigned>(1 + dice.roll(500)), EIO, forever);
}

inline void strange_messages(Dice &dice)
{
    static const std::array<const char *, 8> texts = {"time_check_debug?op=1,debug_id=5",
                                                      "time_check_power?op=2,string_info=nimbix_wake_up",
                                                      "time_check_wifi?op=2",
                                                      "6?op=1,string_info=minidlna",
                                                      "5?op=2,string_info=all",
                                                      "4?relate_module_id=19,string_info=first_time_start",
                                                      "99999999999?=,=,op",
                                                      "9?string_info=wl_guest"};
    for (size_t i = 1 + dice.roll(20); i > 0; i--) {
        const std::string text = dice.one_of(texts);
        box.at(static_cast<double>(dice.roll(2400000)) / 1000, [text] { box.post(text); });
    }
}

inline std::string garbage(Dice &dice)
{
    static const std::array<const char *, 6> numbers = {"-1", "4294967296", "18446744073709551616", "1e9", "0x10", ""};
    std::string text;
    for (size_t left = dice.roll(3000); left > 0; left--)
        text += dice.roll(8) == 0 ? dice.one_of(numbers) : std::string(1, static_cast<char>(dice.roll(256)));
    return text;
}

inline void garbage_of_the_kernel(Dice &dice)
{
    static const Lines paths = {"/proc/net/arp",
                                "/proc/net/ip_mr_vif",
                                "/proc/stat",
                                "/proc/412/stat",
                                "/sys/class/net/br0/statistics/tx_bytes",
                                "/sys/class/net/br0/statistics/rx_bytes"};
    const std::string &path = dice.one_of(paths);
    if (dice.roll(3) == 0)
        box.files.set_unreadable(path);
    else
        box.files.set(path, garbage(dice));
}

inline std::string changed_path;
inline std::string changed_text;

inline void garbage_in_etc(Dice &dice)
{
    static const Lines paths = {"/etc/resolv.conf", "/etc/lan.ini", "/etc/httpd.pid"};
    changed_path = dice.one_of(paths);
    changed_text = box.files.text_of(changed_path);
    box.files.set(changed_path, garbage(dice));
}

inline std::string changed_key;

inline void garbage_in_a_setting(Dice &dice)
{
    static const Lines keys = {"sys.schedulereboot.start_time", "sys.powersleep.end_time", "nkgw.wlan.listnum",
                               "nkgw.wlan.offtime.list1",       "nkgw.led.ontime.list1",   "sys.sched.led.type",
                               "wl.guest.effective_time",       "wl2g.public.country",     "lan.ip",
                               "wl2g.extra.wpapsk_crypto",      "sys.schedulereboot.wday"};
    changed_key = dice.one_of(keys);
    changed_text = box.store.get(changed_key);
    std::string value = garbage(dice).substr(0, dice.roll(700));
    std::erase(value, '\0');
    box.store.set(changed_key, value);
    for (const char *module : {"reboot", "power", "wifi", "led"})
        box.post(std::string("time_check_") + module + "?op=1");
}

inline void counters_wrap(Dice &dice)
{
    const uint64_t before = dice.roll(2) == 0 ? UINT32_MAX : UINT64_MAX;
    box.network.set_counters("br0", before, before);
    box.network.set_host("192.168.0.7", before, before);
    box.at(600, [] {
        box.network.set_counters("br0", 5, 5);
        box.network.set_host("192.168.0.7", 5, 5);
    });
}

inline void netctrl_vanishes(Dice & /*dice*/)
{
    box.processes.end("netctrl");
    box.faults.fail("send_msg_to_netctrl", 1, ECONNREFUSED, true);
    box.commands.set_hook(
        [](const std::string &command) { return command.starts_with("cfm post") ? 1 : sim::NOT_HANDLED; });
}

inline void netctrl_is_back()
{
    box.processes.start("netctrl", 300);
    box.faults.clear();
    box.commands.set_hook([](const std::string &) { return sim::NOT_HANDLED; });
}

inline void open_guest_network(Dice & /*dice*/)
{
    box.store.set("wl.guest.dhcps_enable", "1");
    box.post("9?string_info=wl_guest");
}

// What a household asks of the daemon in a day, from midnight on; none of it lasts into the next half hour.
inline void plan_day(const Mode &mode)
{
    const auto at = [](double hour, void (*change)()) { box.at(hour * 3600, change); };
    at(2.9, lone_client);
    at(8, [] {
        Dice unused(0);
        open_guest_network(unused);
    });
    at(11.6, [] { box.post("6?op=1,string_info=minidlna"); });
    at(11.7, [] { box.processes.end("minidlna"); });
    at(11.8, [] { box.processes.start("minidlna", 420); });
    at(13.6, [] { box.processes.set_share("httpd", 100); });
    at(13.9, httpd_is_idle);
    at(15.6, mode.lose_uplink);
    at(15.8, mend_network);
}

inline const std::array FAULTS = {
    Fault{"nothing", ALL_MODES, Wans::ALL_ONLINE, [](Dice &) {}, [] {}},
    Fault{"no internet", ALL_MODES, Wans::NONE_ONLINE, [](Dice &) { box.network.set_internet(false); }, mend_network},
    Fault{"wan1 unplugged", TWO_WANS, Wans::FIRST_DOWN, [](Dice &) { box.network.set_link(1, false); }, mend_network},
    Fault{"wan2 unplugged", TWO_WANS, Wans::SECOND_DOWN, [](Dice &) { box.network.set_link(2, false); }, mend_network},
    Fault{"wan1 without address", TWO_WANS, Wans::FIRST_DOWN, [](Dice &) { box.network.set_address("eth1", ""); },
          mend_network},
    Fault{"the radio's link is lost", WISP, Wans::FIRST_DOWN, [](Dice &) { radio_is(1, 0); }, mend_network},
    Fault{"the radio's link is lost", AP_CLIENT, Wans::ALL_ONLINE, [](Dice &) { radio_is(1, 0); }, mend_network},
    Fault{"the gateway is silent", WIRED_AP, Wans::ALL_ONLINE,
          [](Dice &) { box.network.set_reachable("192.168.0.254", "", false); }, mend_network},
    Fault{"silent name servers", ALL_MODES, Wans::NONE_ONLINE,
          [](Dice &) {
              box.network.set_dns(false);
              box.store.set_uncommitted("surf_check_renew_flag", "1");
          },
          mend_network},
    Fault{"the first name server is silent", ALL_MODES, Wans::ALL_ONLINE,
          [](Dice &) {
              box.network.set_name_server("192.0.2.1", false);
              box.store.set_uncommitted("surf_check_renew_flag", "1");
          },
          mend_network},
    Fault{"slow pings", ALL_MODES, Wans::ALL_ONLINE, [](Dice &) { box.network.set_ping_durations(900, 3000); },
          mend_network},
    Fault{"power cut", ALL_MODES, Wans::ALL_ONLINE, [](Dice &) { box.restart(); }, [] {}},
    Fault{"httpd runs away", ALL_MODES, Wans::ALL_ONLINE, [](Dice &) { box.processes.set_share("httpd", 100); },
          httpd_is_idle},
    Fault{"httpd vanishes", ALL_MODES, Wans::ALL_ONLINE, [](Dice &) { box.processes.end("httpd"); }, httpd_is_idle},
    Fault{"minidlna vanishes", ALL_MODES, Wans::ALL_ONLINE, [](Dice &) { box.processes.end("minidlna"); },
          [] { box.processes.start("minidlna", 420); }},
    Fault{"netctrl vanishes", ALL_MODES, Wans::ALL_ONLINE, netctrl_vanishes, netctrl_is_back},
    Fault{"a guest network is opened", ALL_MODES, Wans::ALL_ONLINE, open_guest_network, [] {}},
    Fault{"commits fail", ALL_MODES, Wans::ALL_ONLINE, [](Dice &) { box.faults.fail("CommitCfm", 1, ENOSPC, true); },
          [] { box.faults.clear(); }},
    Fault{"commands fail", ALL_MODES, Wans::UNKNOWN,
          [](Dice &) { box.commands.set_hook([](const std::string &) { return 1; }); },
          [] { box.commands.set_hook([](const std::string &) { return sim::NOT_HANDLED; }); }},
    Fault{"the clock jumps", ALL_MODES, Wans::ALL_ONLINE,
          [](Dice &dice) { step_clock(static_cast<int64_t>(dice.roll(20 * 86400)) - 10 * 86400); }, step_clock_back},
    Fault{"the clock is lost", ALL_MODES, Wans::ALL_ONLINE, [](Dice &) { step_clock(-box.clock.wall()); },
          step_clock_back},
    Fault{"garbage in a file of the kernel", ALL_MODES, Wans::ALL_ONLINE, garbage_of_the_kernel,
          [] {
              box.processes.set_cpus(1);
              httpd_is_idle();
              lone_client();
          }},
    Fault{"garbage in a file of /etc", ALL_MODES, Wans::UNKNOWN, garbage_in_etc,
          [] { box.files.set(changed_path, changed_text); }, true},
    Fault{"garbage in a setting", ALL_MODES, Wans::UNKNOWN, garbage_in_a_setting,
          [] { box.store.set(changed_key, changed_text); }, true},
    Fault{"counters wrap", ALL_MODES, Wans::ALL_ONLINE, counters_wrap, lone_client},
    Fault{"messages", ALL_MODES, Wans::ALL_ONLINE, strange_messages, [] {}},
    Fault{"a call fails", ALL_MODES, Wans::UNKNOWN, call_fails, [] { box.faults.clear(); }, true},
};

} // namespace soak

#endif
