// A router whose WANs work, for the tests of the reachability check.
#ifndef TESTS_SUPPORT_WAN_WORLD_H
#define TESTS_SUPPORT_WAN_WORLD_H

#include <string>

#include "tests/support/router_test.h"

inline std::string wan_interface(int wan_id)
{
    return "eth" + std::to_string(wan_id);
}

// The three probe hosts have addresses of their own, and everything answers.
inline void give_internet()
{
    box.network.set_name("www.google.com", "192.0.2.1");
    box.network.set_name("www.cloudflare.com", "192.0.2.2");
    box.network.set_name("www.wikipedia.org", "192.0.2.3");
    box.network.set_name("www.baidu.com", "192.0.2.11");
    box.network.set_name("www.qq.com", "192.0.2.12");
    box.network.set_name("www.163.com", "192.0.2.13");
    box.network.set_dns(true);
    box.network.set_reachable("*", "", true);
}

inline void plug_wan(int wan_id)
{
    const std::string number = std::to_string(wan_id);
    box.network.set_link(wan_id, true);
    box.network.set_wan(wan_id, wan_interface(wan_id));
    box.network.set_address(wan_interface(wan_id), "198.51.100." + number);
}

// A wired router with `wans` WANs that reach the internet.
inline void make_wired_router(int wans)
{
    box.store.set("wans.flag", std::to_string(wans));
    configure({{"sys.workmode", "router"},
               {"wl2g.public.mode", "ap"},
               {"wl5g.public.mode", "ap"},
               {"wl2g.public.country", "DE"},
               {"lan.ip", "192.168.0.1"}});
    for (int wan_id = 1; wan_id <= wans; wan_id++) {
        box.store.set("wan" + std::to_string(wan_id) + ".connecttype", "0");
        plug_wan(wan_id);
    }
    give_internet();
}

#endif
