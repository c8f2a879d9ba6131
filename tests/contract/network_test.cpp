// Names, links and addresses of interfaces, on interfaces of the test's own.
#include "platform/network.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "platform/linux/bus.h"
#include "platform/message_bus.h"
#include "platform/system.h"
#include "tests/contract/contract_support.h"
#include "tests/contract/memory_store.h"
#include "tests/contract/network_support.h"

namespace
{

std::string text_or_none(const char *text)
{
    return text == nullptr ? "none" : text;
}

class Network : public NetworkTest
{
protected:
    Network()
    {
        stored().clear();
    }
};

// ---- names ----

TEST_F(Network, LanIsBr0UnlessTheStoreSaysOtherwise)
{
    EXPECT_STREQ(getLanIfName(), "br0");
    stored()["lan.ifname"] = "br-lan";
    EXPECT_STREQ(getLanIfName(), "br-lan");
    stored()["lan.ifname"] = "a_name_that_is_too_long";
    EXPECT_STREQ(getLanIfName(), "br0");
}

TEST_F(Network, WiredWanHasItsPortsInterface)
{
    EXPECT_EQ(text_or_none(getWanIfName(1, 0, WAN_DHCP)), "wan1");
    EXPECT_EQ(text_or_none(getWanIfName(2, 0, WAN_STATIC)), "wan2");
    stored()["wan2.ifname"] = "eth3";
    EXPECT_EQ(text_or_none(getWanIfName(2, 0, WAN_DHCP)), "eth3");
    stored()["wan2.ifname"] = "";
    EXPECT_EQ(text_or_none(getWanIfName(2, 0, WAN_DHCP)), "none");
    EXPECT_EQ(text_or_none(getWanIfName(0, 0, WAN_DHCP)), "none");
}

TEST_F(Network, DialledWanHasThePppInterface)
{
    for (const int type : {WAN_PPPOE, WAN_PPTP, WAN_L2TP, WAN_PPPOE_DOUBLE}) {
        EXPECT_EQ(text_or_none(getWanIfName(1, 0, type)), "ppp0");
        EXPECT_EQ(text_or_none(getWanIfName(2, 0, type)), "ppp1");
    }
    stored()["wan1.ppp.ifname"] = "ppp45";
    EXPECT_EQ(text_or_none(getWanIfName(1, 0, WAN_PPPOE)), "ppp45");
}

TEST_F(Network, FirstWanIsTheRadioOfAWispClient)
{
    stored() = {{"wl.wisp.ifname", "apcli0"}, {"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "wisp"}};
    EXPECT_EQ(text_or_none(getWanIfName(1, 0, WAN_DHCP)), "apcli0");
    EXPECT_EQ(text_or_none(getWanIfName(2, 0, WAN_DHCP)), "wan2");
    EXPECT_EQ(text_or_none(getWanIfName(1, 0, WAN_PPPOE)), "ppp0");
    stored()["wl5g.public.mode"] = "ap";
    EXPECT_EQ(text_or_none(getWanIfName(1, 0, WAN_DHCP)), "wan1");
}

TEST_F(Network, NamesOfTwoCallsAndTwoThreadsDoNotMix)
{
    const char *const wan = getWanIfName(2, 0, WAN_DHCP);
    EXPECT_EQ(text_or_none(get_eth_name(WAN_1)), "wan1");
    EXPECT_EQ(__GetPortLink(1), 0);
    EXPECT_STREQ(wan, "wan2");
    std::thread([] { getWanIfName(3, 0, WAN_DHCP); }).join();
    EXPECT_STREQ(wan, "wan2");
}

TEST_F(Network, ConnectionTypeIsTheStoresNumber)
{
    EXPECT_EQ(getWanConnType(1), WAN_DHCP);
    stored()["wan1.connecttype"] = "2";
    EXPECT_EQ(getWanConnType(1), WAN_PPPOE);
    for (const char *odd : {"6", "-1", "99999999999", "pppoe", ""}) {
        stored()["wan1.connecttype"] = odd;
        EXPECT_EQ(getWanConnType(1), WAN_DHCP) << odd;
    }
}

TEST_F(Network, EthernetNameIsTheFirstWansOnly)
{
    EXPECT_EQ(text_or_none(get_eth_name(WAN_1)), "wan1");
    stored()["wan1.ifname"] = "eth1";
    EXPECT_EQ(text_or_none(get_eth_name(WAN_1)), "eth1");
    EXPECT_EQ(text_or_none(get_eth_name(11)), "none");
    EXPECT_EQ(text_or_none(get_eth_name(0)), "none");
}

TEST_F(Network, SystemModeIsTheStoresNumber)
{
    EXPECT_EQ(get_sys_mode(), 0);
    stored()["sys.mode"] = "3";
    EXPECT_EQ(get_sys_mode(), 3);
    stored()["sys.mode"] = "router";
    EXPECT_EQ(get_sys_mode(), 0);
}

// ---- links ----

TEST_F(Network, WanHasThePortOfItsNumberUnlessTheStoreSaysOtherwise)
{
    EXPECT_EQ(wanid_to_sw_port(1), 1);
    EXPECT_EQ(wanid_to_sw_port(2), 2);
    EXPECT_EQ(wanid_to_sw_port(0), -1);
    stored()["wan1.port"] = "4";
    EXPECT_EQ(wanid_to_sw_port(1), 4);
    stored()["wan1.port"] = "-3";
    EXPECT_EQ(wanid_to_sw_port(1), -1);
}

TEST_F(Network, PortHasLinkWhileItsCableIsPlugged)
{
    EXPECT_EQ(__GetPortLink(1), 0);
    const OtherMachine provider;
    wire("wan1", provider);
    EXPECT_NE(__GetPortLink(1), 0);
    EXPECT_EQ(__GetPortLink(2), 0);
    EXPECT_EQ(__GetPortLink(0), 0);
    EXPECT_EQ(__GetPortLink(-1), 0);
    provider.sh("ip link set eth0 down");
    EXPECT_EQ(__GetPortLink(1), 0);
    provider.sh("ip link set eth0 up");
    EXPECT_NE(__GetPortLink(1), 0);
    stored()["wan1.port"] = "4";
    EXPECT_EQ(__GetPortLink(1), 0);
    EXPECT_NE(__GetPortLink(4), 0);
}

// ---- addresses ----

TEST_F(Network, AddressIsTheInterfaces)
{
    const OtherMachine provider;
    wire("wan1", provider);
    char address[IF_ADDRESS_SIZE] = "as it was";
    EXPECT_EQ(getIfIp("wan1", address), -1);
    EXPECT_EQ(getIfIp("wan9", address), -1);
    EXPECT_EQ(getIfIp("", address), -1);
    EXPECT_EQ(getIfIp("a_name_that_is_too_long", address), -1);
    EXPECT_STREQ(address, "as it was");
    sh("ip addr add 192.168.100.200/24 dev wan1");
    EXPECT_EQ(getIfIp("wan1", address), 0);
    EXPECT_STREQ(address, "192.168.100.200");

    char wan_address[WAN_ADDRESS_SIZE] = "";
    EXPECT_EQ(tpi_wan_get_ip("wan1", wan_address, 1), 0);
    EXPECT_STREQ(wan_address, "192.168.100.200");
    sh("ip addr flush dev wan1");
    EXPECT_EQ(tpi_wan_get_ip("wan1", wan_address, 1), -1);
    EXPECT_STREQ(wan_address, "192.168.100.200");
}

TEST_F(Network, AddressThatCameWhileTheLoopSleptIsSeenAfterIt)
{
    in_own_process([] {
        const TemporaryFolder folder;
        setenv("TIME_CHECK_RUN_DIR", (folder.path() / "run").c_str(), 1);
        sh("ip link add wan5 type bridge");
        ASSERT_EQ(RegMsgHandle("address_test", "*", [](const char *, const char *) { return 0; }), 1);
        EXPECT_FALSE(has_address("wan5"));
        sleep(1);
        EXPECT_FALSE(has_address("wan5"));
        std::thread provider([] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            sh("ip addr add 192.168.100.200/24 dev wan5");
            sh("ip addr add 192.168.100.201/24 dev wan5");
        });
        EXPECT_GE(time_taken([] { sleep(1); }), std::chrono::milliseconds(990));
        provider.join();
        EXPECT_TRUE(has_address("wan5"));
    });
}

TEST_F(Network, AddressBehindAHundredOthersIsFound)
{
    const OtherMachine provider;
    wire("wan1", provider);
    sh("ip link add wan5 type bridge"); // without an address
    sh("ip addr add 192.168.100.200/24 dev wan1");
    for (const int others : {63, 64, 100}) {
        sh("for i in $(seq 1 " + std::to_string(others) +
           "); do echo address replace 10.9.0.$i/32 dev lo; done | ip -batch -");
        char address[IF_ADDRESS_SIZE] = "";
        EXPECT_EQ(getIfIp("wan1", address), 0) << others;
        EXPECT_STREQ(address, "192.168.100.200") << others;
        for (const char *none : {"wan5", "wan9", "", ".", "..", "../net/wan1", "wan1/", "a_name_that_is_too_long"})
            EXPECT_EQ(getIfIp(none, address), -1) << others << " " << none;
        EXPECT_STREQ(address, "192.168.100.200") << others;
    }
    sh("ip link set wan1 down");
    char address[IF_ADDRESS_SIZE] = "";
    EXPECT_EQ(getIfIp("wan1", address), 0) << "a switched off interface keeps its address";
    sh("ip link add br0 type bridge && ip addr add 192.168.0.1/24 dev br0");
    error_lines_of([] { EXPECT_EQ(wan_lan_check("192.168.0.77", "255.255.255.0"), 1); });
    error_lines_of([] { EXPECT_EQ(wan_lan_check("192.168.1.77", "255.255.255.0"), 0); });
    sh("ip addr flush dev lo");
}

TEST_F(Network, ClashOfWanAndLanIsToldOnce)
{
    const TemporaryFolder folder;
    setenv("TIME_CHECK_RUN_DIR", (folder.path() / "run").c_str(), 1);
    bus_end netctrl = {};
    ASSERT_EQ(bus_open("netctrl", &netctrl), BUS_DONE);
    stored()["lan.clash.message"] = "7?op=1";
    EXPECT_EQ(wan_lan_check("192.168.0.77", "255.255.255.0"), 0) << "there is no LAN yet";
    sh("ip link add br0 type bridge && ip addr add 192.168.0.1/24 dev br0");

    const std::string lines = error_lines_of([] {
        EXPECT_EQ(wan_lan_check("192.168.0.77", "255.255.255.0"), 1);
        EXPECT_EQ(wan_lan_check("192.168.0.77", "255.255.255.0"), 1);
        EXPECT_EQ(wan_lan_check("192.168.1.77", "255.255.255.0"), 0);
        EXPECT_EQ(wan_lan_check("192.168.1.77", "255.255.255.0"), 0);
    });
    EXPECT_NE(lines.find("network: the WAN's address 192.168.0.77 lies in the LAN's network\n"), std::string::npos);
    EXPECT_NE(lines.find("network: WAN and LAN no longer share a network\n"), std::string::npos);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines;
    bus_message message;
    ASSERT_EQ(bus_receive(&netctrl, &message), BUS_DONE);
    EXPECT_STREQ(message.text, "7?op=1");
    EXPECT_EQ(bus_receive(&netctrl, &message), BUS_NOTHING);
    bus_close(&netctrl);
}

TEST_F(Network, NetworksOfDifferentSizesClashWhenOneHoldsTheOther)
{
    sh("ip link add br0 type bridge && ip addr add 10.1.2.1/16 dev br0");
    error_lines_of([] {
        EXPECT_EQ(wan_lan_check("10.1.200.9", "255.255.255.0"), 1);
        EXPECT_EQ(wan_lan_check("10.2.2.9", "255.255.255.0"), 0);
        EXPECT_EQ(wan_lan_check("10.2.2.9", "255.0.0.0"), 1);
        EXPECT_EQ(wan_lan_check("not an address", "255.255.255.0"), 0);
        EXPECT_EQ(wan_lan_check("10.1.2.3", ""), 0);
    });
}

} // namespace
