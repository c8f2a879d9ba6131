// What the reachability check says of a WAN: a pass for every verdict.
#include "platform/wifi.h"
#include "tests/support/verdicts.h"
#include "tests/support/wan_world.h"
#include "time_check/wan_surf_check.h"

using ReachabilityVerdicts = RouterTest;

namespace
{

const std::vector<NamedVerdict<reachability_verdict>> VERDICTS = {
#define VERDICT(name, why) {reachability_verdict::name, #name},
#include "platform/verdicts/reachability.def"
};

SeenVerdicts<reachability_verdict> seen_of_first()
{
    return {VERDICTS, [] { return wan_surf_verdict(1); }};
}

} // namespace

TEST_F(ReachabilityVerdicts, EachIsReached)
{
    SeenVerdicts<reachability_verdict> seen = seen_of_first();
    int interval_s = 0;
    int wans = 1;
    const auto pass = [&] {
        surf_check(&interval_s, wans);
        return seen.look();
    };
    make_wired_router(1);
    wan_surf_check_init();
    box.network.set_link(1, false);
    EXPECT_EQ(pass(), "no_link");
    box.network.set_link(1, true);
    box.network.set_address("eth1", "");
    EXPECT_EQ(pass(), "no_address");
    box.network.set_wan(1, "");
    EXPECT_EQ(pass(), "no_address");
    plug_wan(1);
    EXPECT_EQ(pass(), "reachable");
    box.network.set_reachable("*", "", false);
    for (int grace = 1; grace <= 5; grace++)
        EXPECT_EQ(pass(), "forgiven") << grace;
    EXPECT_EQ(pass(), "unreachable");
    box.files.set("/etc/resolv.conf", "nameserver 192.0.2.53\n");
    box.store.set("wan1_isonln", "0");
    box.network.set_dns(false);
    EXPECT_EQ(pass(), "unresolved");
    give_internet();

    box.store.set("wl2g.public.mode", "wisp");
    box.store.set("wl.wisp.ifname", "wlc0");
    box.radios.set("wlc0", TPI_NOT_CONNECTED, WIFI_RELAY_DOWN);
    wan_surf_check_init();
    EXPECT_EQ(pass(), "not_connected");
    box.radios.set("wlc0", TPI_CONNECTED, WIFI_RELAY_DOWN);
    box.radios.set_connection("wlc0", TPI_CONNECTED);
    EXPECT_EQ(pass(), "reachable");
    wans = 2;
    EXPECT_EQ(pass(), "not_supported");
    EXPECT_EQ(seen.unseen(), Lines{});
}

TEST_F(ReachabilityVerdicts, AnApClientIsProbedToo)
{
    SeenVerdicts<reachability_verdict> seen = seen_of_first();
    int interval_s = 0;
    make_wired_router(1);
    box.store.set("wl2g.public.mode", "apclient");
    wan_surf_check_init();
    surf_check(&interval_s, 1);
    EXPECT_EQ(seen.look(), "reachable");
    surf_check(&interval_s, 2);
    EXPECT_EQ(seen.look(), "not_supported");
}

TEST_F(ReachabilityVerdicts, EachWanHasItsOwn)
{
    int interval_s = 0;
    make_wired_router(2);
    wan_surf_check_init();
    box.network.set_link(2, false);
    surf_check(&interval_s, 2);
    EXPECT_EQ(wan_surf_verdict(1), reachability_verdict::reachable);
    EXPECT_EQ(wan_surf_verdict(2), reachability_verdict::no_link);
}
