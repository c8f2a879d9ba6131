// Nights in which every part of the daemon has something to do, and what must hold at their end whatever goes wrong in
// them.
#ifndef TESTS_SUPPORT_NIGHTS_WORLD_H
#define TESTS_SUPPORT_NIGHTS_WORLD_H

#include <algorithm>
#include <array>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/router_test.h"
#include "tests/support/schedule_world.h"

namespace busy_nights
{

// The standard's engine gives the same numbers everywhere; its distributions do not.
class Dice
{
public:
    explicit Dice(unsigned seed) : generator_(seed)
    {
    }

    // 0 to sides - 1.
    size_t roll(size_t sides)
    {
        return generator_() % sides;
    }

    template <typename List>
    const auto &one_of(const List &list)
    {
        return list[roll(list.size())];
    }

private:
    std::mt19937 generator_;
};

// ---- the nights ----

// Every schedule has its turn within the hour: power saving, Wi-Fi, LEDs, the guest network's end, a reboot once
// it is quiet. One watched program runs away, another vanishes.
inline void begin_night()
{
    box.clock.set("2026-05-05 01:00:00");
    box.clock.set_uptime(100000);
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    box.network.set_host("192.168.0.7", 1000, 2000);
    box.network.set_multicast("br0", 300);
    box.network.set_counters("br0", 0, 90); // the delay before the reboot
    configure({{"sys.schedulereboot.enable", "1"},
               {"sys.schedulereboot.type", "1"},
               {"sys.schedulereboot.start_time", "01:02"},
               {"sys.schedulereboot.end_time", "01:50"},
               {"sys.powersleep.enable", "1"},
               {"sys.powersleep.type", "0"},
               {"sys.powersleep.start_time", "01:05"},
               {"sys.powersleep.end_time", "01:08"},
               {"sys.sched.wifi.enable", "1"},
               {"nkgw.wlan.listnum", "1"},
               {"nkgw.wlan.offtime.list1", "01:10"},
               {"nkgw.wlan.ontime.list1", "01:13"},
               {"sys.sched.led.type", "time"},
               {"nkgw.led.listnum", "1"},
               {"nkgw.led.offtime.list1", "01:15"},
               {"nkgw.led.ontime.list1", "01:18"},
               {"time_check_debug", "on"},
               {"lan.ip", "192.168.0.1"}});
    schedule_world::radios("1", "1", "1");
    box.processes.set_share("httpd", 100);
    box.at(5, [] { box.post("6?op=1,string_info=minidlna"); });
    box.at(400, [] { box.processes.start("httpd", 413); });
    box.at(1200, [] {
        configure({{"wl.guest.dhcps_enable", "1"}, {"wl.guest.effective_time", "60"}});
        box.post("9?string_info=wl_guest");
    });
}

inline void wired()
{
    begin_night();
    configure({{"sys.workmode", "router"}, {"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "ap"}, {"wans.flag", "2"}});
    box.network.set_link(1, true);
    box.network.set_link(2, true);
    box.network.set_address("eth1", "203.0.113.9");
    box.network.set_wan(2, "eth2");
    box.network.set_internet(true);
    box.at(400, [] { box.network.set_internet(false); });
    box.at(800, [] { box.network.set_internet(true); });
    box.at(450, [] { box.network.set_name_server("192.0.2.1", false); });
    box.at(900, [] {
        box.network.set_link(1, false);
        box.network.set_address("eth1", "");
    });
    box.at(950, [] { box.network.set_address("ppp0", "192.168.0.77"); });
    box.at(970, [] { box.network.set_address("ppp0", ""); });
    box.at(1000, [] { box.network.set_link(1, true); });
}

inline void wisp()
{
    begin_night();
    configure({{"sys.workmode", "router"},
               {"wl2g.public.mode", "wisp"},
               {"wl5g.public.mode", "ap"},
               {"wans.flag", "1"},
               {"wl.wisp.ifname", "wlc0"},
               {"wl.wisp.access_mode", "pppoe"},
               {"wl.wisp.pppoe_name", "a b"},
               {"wl2g.extra.wpapsk_type", "psk2"},
               {"wl2g.extra.wpapsk_crypto", "aes"}});
    box.radios.set("wlc0", 3, 3);
    box.network.set_address("wlc0", "10.0.0.9");
    box.network.set_internet(true);
    box.processes.start("udhcpc_wan1", 500);
    box.at(600, [] { box.radios.set("wlc0", 1, 0); });
    box.at(900, [] { box.radios.set("wlc0", 3, 3); });
}

inline void ap_client()
{
    begin_night();
    configure({{"sys.workmode", "client+ap"},
               {"wl2g.public.mode", "apclient"},
               {"wl5g.public.mode", "ap"},
               {"wans.flag", "1"},
               {"wl2g.extra.wpapsk_type", "psk2"},
               {"wl2g.extra.wpapsk_crypto", "tkip+aes"}});
    box.radios.set("wlc0", 3, 3);
    box.at(600, [] { box.radios.set("wlc0", 1, 0); });
    box.at(900, [] { box.radios.set("wlc0", 3, 3); });
}

inline void wired_ap()
{
    begin_night();
    configure({{"sys.workmode", "ap"}, {"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "ap"}, {"wans.flag", "1"}});
    box.files.set("/etc/lan.ini", "gateway=192.168.0.254\n");
    box.network.set_reachable("192.168.0.254", "", true);
    box.at(600, [] { box.network.set_reachable("192.168.0.254", "", false); });
    box.at(660, [] { box.network.set_reachable("192.168.0.254", "", true); });
}

struct Night {
    const char *name;
    void (*prepare)();
};
inline constexpr std::array<Night, 4> NIGHTS = {
    {{"wired", wired}, {"wisp", wisp}, {"ap_client", ap_client}, {"wired_ap", wired_ap}}};

inline constexpr double NIGHT_S = 45 * 60.0;

// ---- what must hold ----

inline bool is_sane(const std::string &act)
{
    static const std::array<std::string, 10> words = {"set",  "commit", "command",       "exec",  "netctrl",
                                                      "leds", "reboot", "wan_lan_check", "write", "rename"};
    const std::string word = act.substr(0, act.find(' '));
    return (std::ranges::find(words, word) != words.end() || word == "unlink") &&
           std::ranges::all_of(act, [](unsigned char c) { return c >= 0x20 && c < 0x7f; });
}

// What is wrong at the end of the night, "" when nothing is.
inline std::string complaint()
{
    if (!box.running())
        return box.faults.made("RegMsgHandle") > 0 && !box.log.bodies().empty() &&
                       box.log.bodies().back() == "reg msg failed."
                   ? ""
                   : "the daemon has ended";
    const uint64_t ticks = box.ticks();
    box.run(60);
    if (box.ticks() < ticks + 5)
        return "the daemon ticks no more";
    if (!box.open_descriptors().empty())
        return "left open: " + box.open_descriptors().front();
    if (!box.files.unknown_paths().empty())
        return "unknown path: " + box.files.unknown_paths().front();
    const auto strange = std::ranges::find_if_not(box.journal.lines(), is_sane);
    return strange == box.journal.lines().end() ? "" : "strange act: " + *strange;
}

} // namespace busy_nights

#endif
