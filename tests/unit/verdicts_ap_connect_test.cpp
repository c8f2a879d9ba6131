// What the gateway check says of itself: a tick for every verdict.
#include "tests/support/router_test.h"
#include "tests/support/verdicts.h"
#include "time_check/time_check_ap_connect.h"

using ApConnectVerdicts = RouterTest;

namespace
{

const std::vector<NamedVerdict<ap_connect_verdict>> VERDICTS = {
#define VERDICT(name, why) {ap_connect_verdict::name, #name},
#include "platform/verdicts/ap_connect.def"
};

constexpr char GATEWAY[] = "192.168.1.254";

} // namespace

TEST_F(ApConnectVerdicts, EachIsReached)
{
    SeenVerdicts<ap_connect_verdict> seen(VERDICTS, time_check_ap_connect_verdict);
    const auto tick = [&] {
        time_check_ap_connect();
        return seen.look();
    };
    box.files.set("/etc/lan.ini", "gateway=192.168.1.254\n");
    set_time_check_ap_connect_info();
    EXPECT_EQ(tick(), "no_access_point");
    box.store.set("sys.workmode", "ap");

    box.network.set_reachable(GATEWAY, "", true);
    EXPECT_EQ(tick(), "reachable");
    box.network.set_reachable(GATEWAY, "", false);
    EXPECT_EQ(tick(), "failing");
    EXPECT_EQ(tick(), "failing");
    EXPECT_EQ(tick(), "loss_told");
    EXPECT_EQ(tick(), "unreachable");
    box.network.set_reachable(GATEWAY, "", true);
    EXPECT_EQ(tick(), "returning");
    EXPECT_EQ(tick(), "returning");
    EXPECT_EQ(tick(), "return_told");
    EXPECT_EQ(tick(), "reachable");
    EXPECT_EQ(seen.unseen(), Lines{});
}
