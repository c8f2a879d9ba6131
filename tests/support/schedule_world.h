// Words in which the tests of schedules, power saving and the guest network speak.
#ifndef TESTS_SUPPORT_SCHEDULE_WORLD_H
#define TESTS_SUPPORT_SCHEDULE_WORLD_H

#include <initializer_list>
#include <string>
#include <string_view>

#include "tests/support/router_test.h"
#include "time_check/time_check.h"

namespace schedule_world
{

// The acts of switching, with the user's switches on and the guest network spared.
inline const Lines WIFI_GOES_OFF = {"set wl2g.public.enable=0",
                                    "set wl2g.ssid0.enable=0",
                                    "set wl5g.public.enable=0",
                                    "set wl5g.ssid0.enable=0",
                                    "commit",
                                    "command cfm post netctrl 19?op=2,wl_rate=24",
                                    "command cfm post netctrl 19?op=2,wl_rate=5"};
inline const Lines WIFI_COMES_ON = {"set wl2g.public.enable=1",
                                    "set wl2g.ssid0.enable=1",
                                    "set wl5g.public.enable=1",
                                    "set wl5g.ssid0.enable=1",
                                    "commit",
                                    "command cfm post netctrl 19?op=1,wl_rate=24",
                                    "command cfm post netctrl 19?op=1,wl_rate=5"};
inline const Lines LEDS_GO_OFF = {"set nkgw.led.state=0", "commit", "leds 0"};
inline const Lines LEDS_COME_ON = {"set nkgw.led.state=3", "commit", "leds 3"};

inline Lines together(std::initializer_list<Lines> parts)
{
    Lines all;
    for (const Lines &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline TIME_CHECK_MODULES_COMMON_STRUCT message(uint32_t op, std::string_view text = "", uint32_t relate_module_id = 0)
{
    TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
    msg.op = op;
    msg.relate_module_id = relate_module_id;
    text.copy(msg.string_info, sizeof msg.string_info - 1);
    return msg;
}

// What has been done since the last question.
inline Lines acts()
{
    Lines done = box.journal.lines();
    box.journal.clear();
    return done;
}

// What has been printed since the last question: bodies, source line numbers left out.
inline Lines lines()
{
    Lines printed = box.log.bodies();
    box.log.clear();
    for (std::string &line : printed) {
        const size_t bracket = line.find(']');
        const size_t colon = line.rfind(':', bracket);
        if (line.starts_with('[') && bracket != std::string::npos && colon != std::string::npos)
            line.erase(colon, bracket - colon);
    }
    return printed;
}

inline void forget()
{
    box.journal.clear();
    box.log.clear();
}

// Sets what the user enabled ("0" or "1") and whether the radios and main networks are on.
inline void radios(std::string_view user_2g, std::string_view user_5g, std::string_view on)
{
    box.store.set("wl2g.enable", user_2g);
    box.store.set("wl5g.enable", user_5g);
    for (const char *key : {"wl2g.public.enable", "wl2g.ssid0.enable", "wl5g.public.enable", "wl5g.ssid0.enable"})
        box.store.set(key, on);
}

inline bool radio_is_on()
{
    return box.store.get("wl2g.public.enable") == "1" && box.store.get("wl2g.ssid0.enable") == "1";
}

inline bool leds_are_on()
{
    return box.store.get("nkgw.led.state") != "0";
}

// One weekly rule of a family, "nkgw.wlan" or "nkgw.led".
inline void rule(const std::string &family, int number, std::string_view off, std::string_view on)
{
    box.store.set(family + ".offtime.list" + std::to_string(number), off);
    box.store.set(family + ".ontime.list" + std::to_string(number), on);
}

inline void only_rule(const std::string &family, std::string_view off, std::string_view on)
{
    box.store.set(family + ".listnum", "1");
    rule(family, 1, off, on);
}

inline void power_saving(std::string_view type, std::string_view start, std::string_view end)
{
    configure({{"sys.powersleep.enable", "1"},
               {"sys.powersleep.type", type},
               {"sys.powersleep.start_time", start},
               {"sys.powersleep.end_time", end}});
}

inline bool asleep()
{
    return box.store.get("sys.is.pwr.save.mode") == "1";
}

// A live LAN client.
inline void client()
{
    box.network.set_neighbour("192.168.0.100", "0x2", "02:00:00:00:00:01", "br0");
}

} // namespace schedule_world

#endif
