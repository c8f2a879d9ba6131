// What every ground must do alike: one source, built for the Linux ground and for the virtual router.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/config_store.h"
#include "platform/network.h"
#include "platform/statistics.h"
#include "platform/system.h"
#include "platform/vos.h"
#include "platform/wifi.h"
#include "tests/contract/world.h"

namespace
{

class EveryGround : public testing::Test
{
protected:
    std::unique_ptr<World> world = World::make();
};

// ---- the store ----

TEST_F(EveryGround, StoredValueIsReadBackCutToTheBufferAndMissingOnesAreEmpty)
{
    char value[8] = "before";
    EXPECT_EQ(GetValue("test.absent", value), 0);
    EXPECT_STREQ(value, "");
    EXPECT_EQ(SetValue("test.key", "1234567890"), 1);
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "1234567");
    EXPECT_EQ(SetValue("test.key", ""), 1);
    EXPECT_EQ(GetValue("test.key", value), 1) << "empty is not missing";
    EXPECT_STREQ(value, "");
}

// ---- the machine ----

TEST_F(EveryGround, ModeIsTheStoresNumber)
{
    EXPECT_EQ(get_sys_mode(), 0);
    world->key("sys.mode", "2");
    EXPECT_EQ(get_sys_mode(), 2);
}

TEST_F(EveryGround, PauseMovesTheUptime)
{
    const int before = get_uptime();
    system_sleep(1);
    const int passed = get_uptime() - before;
    EXPECT_GE(passed, 1);
    EXPECT_LE(passed, 10);
}

TEST_F(EveryGround, ProcessIsFoundByExactlyItsName)
{
    EXPECT_EQ(check_app("dhttpd"), 0);
    world->process("dhttpd");
    EXPECT_EQ(check_app("dhttpd"), 1);
    EXPECT_EQ(check_app("dhttp"), 0);
    EXPECT_EQ(check_app("dhttpd2"), 0);
    EXPECT_EQ(check_app(""), 0);
    world->end_processes();
    EXPECT_EQ(check_app("dhttpd"), 0);
}

TEST_F(EveryGround, WeeklyTimeIsParsed)
{
    tm parsed = {};
    EXPECT_EQ(utc2tm("Fri..Mon 22:05", &parsed), 0);
    EXPECT_EQ(parsed.tm_hour, 22);
    EXPECT_EQ(parsed.tm_min, 5);
    EXPECT_EQ(parsed.tm_wday, 0b1100011);
    EXPECT_EQ(utc2tm("Fri..Mon 24:05", &parsed), -1);
}

TEST_F(EveryGround, SettingsFileGivesTheFirstLineWithTheKey)
{
    const std::string path =
        world->file("ip=10.0.0.9\n gateway = 10.0.0.1 \r\ngateway=10.0.0.2\nlast=1234567890123456");
    char value[VOS_FILE_VALUE_SIZE];
    EXPECT_EQ(vos_get_value_from_file(path.c_str(), "gateway", value), 0);
    EXPECT_STREQ(value, "10.0.0.1");
    EXPECT_EQ(vos_get_value_from_file(path.c_str(), "last", value), 0);
    EXPECT_STREQ(value, "123456789012345");
    EXPECT_EQ(vos_get_value_from_file(path.c_str(), "way", value), -1);
    EXPECT_STREQ(value, "");
}

// ---- the network ----

std::string wan_name(int wan, int conn_type)
{
    const char *const name = getWanIfName(wan, 0, conn_type);
    return name == nullptr ? "none" : name;
}

TEST_F(EveryGround, LanHasAName)
{
    EXPECT_STREQ(getLanIfName(), "br0");
}

TEST_F(EveryGround, ConnectionTypeIsOneOfTheTypes)
{
    EXPECT_EQ(getWanConnType(1), WAN_DHCP);
    world->key("wan1.connecttype", "2");
    EXPECT_EQ(getWanConnType(1), WAN_PPPOE);
    for (const char *odd : {"6", "-1", "99999999999", "pppoe", ""}) {
        world->key("wan1.connecttype", odd);
        EXPECT_EQ(getWanConnType(1), WAN_DHCP) << odd;
    }
}

// So it is the daemon that must not ask for as many as a setting says.
TEST_F(EveryGround, EveryNumberFromOneIsAWanWithAName)
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

TEST_F(EveryGround, AddressIsGivenWhileThereIsOneAndElseTheBufferIsLeftAlone)
{
    const char *const ifname = getWanIfName(1, 0, WAN_DHCP);
    ASSERT_NE(ifname, nullptr);
    char address[IF_ADDRESS_SIZE] = "as it was";
    char wan_address[WAN_ADDRESS_SIZE] = "as it was";
    world->wan_cable(true);
    EXPECT_EQ(getIfIp(ifname, address), -1);
    EXPECT_EQ(tpi_wan_get_ip(ifname, wan_address, 1), -1);
    EXPECT_STREQ(address, "as it was");
    EXPECT_STREQ(wan_address, "as it was");
    world->wan_address("192.168.100.200");
    EXPECT_EQ(getIfIp(ifname, address), 0);
    EXPECT_EQ(tpi_wan_get_ip(ifname, wan_address, 1), 0);
    EXPECT_STREQ(address, "192.168.100.200");
    EXPECT_STREQ(wan_address, "192.168.100.200");
    world->wan_address("");
    EXPECT_EQ(getIfIp(ifname, address), -1);
}

TEST_F(EveryGround, PortHasLinkWhileTheCableIsPlugged)
{
    const int port = wanid_to_sw_port(1);
    EXPECT_GE(port, 0);
    world->wan_cable(false);
    EXPECT_EQ(__GetPortLink(port), 0);
    world->wan_cable(true);
    EXPECT_NE(__GetPortLink(port), 0);
    EXPECT_EQ(__GetPortLink(77), 0);
}

TEST_F(EveryGround, PingsAreAnsweredByWhatIsThere)
{
    world->wan_cable(true);
    world->wan_address("10.91.0.2");
    const char *const ifname = getWanIfName(1, 0, WAN_DHCP);
    EXPECT_EQ(simple_ping("10.91.0.1"), 0);
    EXPECT_EQ(ping_by_interface("10.91.0.1", 2, ifname), 0);
    EXPECT_EQ(ping_by_interface("10.91.0.1", 2, nullptr), 0);
    EXPECT_EQ(ping_by_interface("10.91.0.1", 1, "absent9"), -1);
    EXPECT_EQ(simple_ping("10.91.0.77"), -1);
    EXPECT_EQ(simple_ping(""), -1);
}

TEST_F(EveryGround, WanInTheLansNetworkIsAClash)
{
    EXPECT_EQ(wan_lan_check("192.168.0.77", "255.255.255.0"), 0) << "there is no LAN yet";
    world->lan_address("192.168.0.1");
    EXPECT_EQ(wan_lan_check("192.168.0.77", "255.255.255.0"), 1);
    EXPECT_EQ(wan_lan_check("192.168.1.77", "255.255.255.0"), 0);
}

// ---- radios ----

TEST_F(EveryGround, AssociationIsSeen)
{
    const std::string ifname = world->radio(true);
    char name[WIFI_IFNAME_SIZE];
    EXPECT_EQ(tpi_wifi_get_ifname(24, TPI_WIFI_KIND_CLIENT, name), 0);
    EXPECT_EQ(name, ifname);
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check(name), TPI_CONNECTED);
    EXPECT_EQ(tpi_wifi_relay_phy_check(name), WIFI_RELAY_CONNECTED);
    EXPECT_EQ(tpi_wifi_wisp_connect_check(name, TPI_WAN_DHCP), TPI_CONNECTING) << "no address yet";
    world->radio(false);
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check(name), TPI_NOT_CONNECTED);
    EXPECT_NE(tpi_wifi_relay_phy_check(name), WIFI_RELAY_CONNECTED);
    EXPECT_EQ(tpi_wifi_wisp_connect_check(name, TPI_WAN_DHCP), TPI_NOT_CONNECTED);
    EXPECT_EQ(tpi_wifi_get_ifname(24, 3, name), -1);
    EXPECT_STREQ(name, "");
}

// ---- traffic ----

std::vector<std::pair<uint64_t, uint64_t>> counted()
{
    uint64_t first = 0;
    uint64_t second = 0;
    int count = -1;
    EXPECT_EQ(get_statistic_info(&first, &second, &count), 0);
    std::vector<std::pair<uint64_t, uint64_t>> hosts;
    for (int i = 0; i < count; i++)
        hosts.emplace_back(ip_info[i].up_bytes, ip_info[i].down_bytes);
    free(ip_info);
    ip_info = nullptr;
    std::sort(hosts.begin(), hosts.end());
    return hosts;
}

TEST_F(EveryGround, TrafficIsCountedForEachHost)
{
    using hosts = std::vector<std::pair<uint64_t, uint64_t>>;
    EXPECT_EQ(counted(), hosts());
    EXPECT_EQ(ip_info, nullptr) << "no hosts, no records";
    world->traffic("192.168.0.10", 3, 0);
    world->traffic("192.168.0.11", 5, 7);
    EXPECT_EQ(counted(), (hosts{{384, 0}, {640, 896}}));
}

// ---- commands ----

TEST_F(EveryGround, CommandsGiveTheirStatus)
{
    EXPECT_EQ(doSystemCmd("true"), 0);
    char program[] = "true";
    char *const argv[] = {program, nullptr};
    EXPECT_EQ(_eval(argv, nullptr, 0, nullptr), 0);
}

} // namespace
