// What the WAN stoppage check says of itself: a tick for every verdict.
#include "tests/support/verdicts.h"
#include "tests/support/wan_world.h"
#include "time_check/time_check_stoppage_check.h"

using StoppageVerdicts = RouterTest;

namespace
{

const std::vector<NamedVerdict<stoppage_verdict>> VERDICTS = {
#define VERDICT(name, why) {stoppage_verdict::name, #name},
#include "platform/verdicts/stoppage.def"
};

} // namespace

TEST_F(StoppageVerdicts, EachIsReached)
{
    SeenVerdicts<stoppage_verdict> seen(VERDICTS, time_check_stoppage_verdict);
    const auto tick_at = [&](int uptime) {
        box.clock.set_uptime(uptime);
        time_check_stoppage();
        return seen.look();
    };
    make_wired_router(1);
    box.network.set_address("eth1", "");
    box.store.set("wan1_isonln", "1");
    EXPECT_EQ(tick_at(1000), "online");

    box.store.set("wan1_isonln", "0");
    box.store.set("sys.workmode", "ap");
    EXPECT_EQ(tick_at(1001), "not_a_router");
    box.store.set("sys.workmode", "router");

    box.network.set_wan(1, "");
    EXPECT_EQ(tick_at(1002), "no_interface");
    box.network.set_wan(1, "eth1");
    EXPECT_EQ(tick_at(1003), "no_fault");

    box.files.set("etc/dhcpc/noresp", "1\n");
    EXPECT_EQ(tick_at(1010), "fault_timed");
    box.network.set_wan(1, "");
    EXPECT_EQ(tick_at(1011), "interface_gone");
    box.network.set_wan(1, "eth1");
    box.network.set_link(1, false);
    EXPECT_EQ(tick_at(1100), "fault_changed");
    EXPECT_EQ(tick_at(1129), "fault_timed");
    EXPECT_EQ(tick_at(1130), "fault_lasts");
    plug_wan(1);
    EXPECT_EQ(tick_at(1131), "fault_gone");
    EXPECT_EQ(tick_at(1132), "no_fault");
    EXPECT_EQ(seen.unseen(), Lines{});
}
