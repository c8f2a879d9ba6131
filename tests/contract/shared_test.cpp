// What the plain-Linux ground and the virtual router do alike beyond the contract, which the conformance kit shows
// (kit/).
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "platform/network.h"
#include "tests/contract/kit/world.h"

namespace
{

class BothGrounds : public testing::Test
{
protected:
    BothGrounds()
    {
        EXPECT_EQ(kit_world.begin(), 0);
    }
    ~BothGrounds() override
    {
        if (kit_world.end != nullptr)
            kit_world.end();
    }
};

std::string wan_name(int wan, int conn_type)
{
    const char *const name = getWanIfName(wan, 0, conn_type);
    return name == nullptr ? "none" : name;
}

TEST_F(BothGrounds, LanHasAName)
{
    EXPECT_STREQ(getLanIfName(), "br0");
}

// So it is the daemon that must not ask for as many as a setting says.
TEST_F(BothGrounds, EveryNumberFromOneIsAWanWithAName)
{
    EXPECT_EQ(wan_name(1, WAN_DHCP), "wan1");
    for (const int wan : {2, 3, 100000, INT32_MAX}) {
        const std::string number = std::to_string(wan);
        EXPECT_EQ(wan_name(wan, WAN_DHCP), "wan" + number);
        EXPECT_EQ(wan_name(wan, WAN_PPPOE), "ppp" + std::to_string(wan - 1));
        EXPECT_EQ(getWanConnType(wan), WAN_DHCP) << number;
        EXPECT_EQ(wanid_to_sw_port(wan), wan);
    }
    for (const int none : {0, -1, INT32_MIN}) {
        EXPECT_EQ(wan_name(none, WAN_DHCP), "none") << none;
        EXPECT_EQ(wan_name(none, WAN_PPPOE), "none") << none;
        EXPECT_EQ(wanid_to_sw_port(none), -1) << none;
    }
}

} // namespace
