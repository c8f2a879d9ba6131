// platform/network.h. The world's network behind WAN 1 is 10.91.0.0/24, or what a check says.
#include <climits>
#include <cstdio>
#include <cstring>
#include <pthread.h>

#include "platform/config_store.h"
#include "platform/network.h"
#include "tests/contract/kit/kit.h"

static constexpr long long SOON_MS = 5000;

// ---- addresses ----

static void lan_name()
{
    const char *const name = getLanIfName();
    EXPECT(name != nullptr);
    EXPECT(name != nullptr && name[0] != '\0');
}

static void addresses()
{
    const char *const ifname = getWanIfName(1, 0, WAN_DHCP);
    if (!EXPECT(ifname != nullptr))
        return;
    char address[IF_ADDRESS_SIZE] = "as it was";
    char wan_address[WAN_ADDRESS_SIZE] = "as it was";
    WORLD(wan_cable, 1);
    EXPECT_NUMBER(getIfIp(ifname, address), -1);
    EXPECT_NUMBER(tpi_wan_get_ip(ifname, wan_address, 1), -1);
    EXPECT_TEXT(address, "as it was");
    EXPECT_TEXT(wan_address, "as it was");
    WORLD(wan_address, "192.168.100.200");
    EXPECT_NUMBER(getIfIp(ifname, address), 0);
    EXPECT_NUMBER(tpi_wan_get_ip(ifname, wan_address, 1), 0);
    EXPECT_TEXT(address, "192.168.100.200");
    EXPECT_TEXT(wan_address, "192.168.100.200");
    WORLD(wan_address, "");
    EXPECT_NUMBER(getIfIp(ifname, address), -1);
    EXPECT_TEXT(address, "192.168.100.200");
}

static void no_such_interface()
{
    char address[IF_ADDRESS_SIZE] = "as it was";
    EXPECT_NUMBER(getIfIp("absent9", address), -1);
    EXPECT_NUMBER(getIfIp("", address), -1);
    EXPECT_TEXT(address, "as it was");
}

// ---- WANs ----

static void no_such_wan()
{
    for (const int none : {0, -1, INT_MIN}) {
        EXPECT(getWanIfName(none, 0, WAN_DHCP) == nullptr);
        EXPECT(getWanIfName(none, 0, WAN_PPPOE) == nullptr);
        EXPECT_NUMBER(wanid_to_sw_port(none), -1);
    }
    EXPECT(get_eth_name(77) == nullptr);
}

static void first_wan()
{
    for (const int type : {WAN_DHCP, WAN_STATIC, WAN_PPPOE}) {
        const char *const name = getWanIfName(1, 0, type);
        EXPECT(name != nullptr && name[0] != '\0');
    }
    const char *const wired = get_eth_name(WAN_1);
    EXPECT(wired != nullptr && wired[0] != '\0');
}

static void *ask_for_another_wan(void * /*nothing*/)
{
    getWanIfName(2, 0, WAN_PPPOE);
    getWanIfName(3, 0, WAN_DHCP);
    get_eth_name(WAN_1);
    getLanIfName();
    return nullptr;
}

static void names_of_threads()
{
    NEEDS_REAL;
    const char *const name = getWanIfName(1, 0, WAN_DHCP);
    if (!EXPECT(name != nullptr))
        return;
    char before[64];
    snprintf(before, sizeof before, "%s", name);
    pthread_t other = {};
    EXPECT_NUMBER(pthread_create(&other, nullptr, ask_for_another_wan, nullptr), 0);
    pthread_join(other, nullptr);
    EXPECT_TEXT(name, before);
}

static void connection_types()
{
    EXPECT_NUMBER(getWanConnType(1), WAN_DHCP);
    EXPECT_NUMBER(SetValue("wan1.connecttype", "2"), 1);
    EXPECT_NUMBER(getWanConnType(1), WAN_PPPOE);
    for (const char *odd : {"6", "-1", "99999999999", "pppoe", ""}) {
        kit_about(odd);
        EXPECT_NUMBER(SetValue("wan1.connecttype", odd), 1);
        EXPECT_NUMBER(getWanConnType(1), WAN_DHCP);
    }
}

// ---- links ----

static void link_of_port()
{
    const int port = wanid_to_sw_port(1);
    EXPECT(port >= 0);
    WORLD(wan_cable, 0);
    EXPECT_NUMBER(__GetPortLink(port), 0);
    WORLD(wan_cable, 1);
    EXPECT(__GetPortLink(port) != 0);
    EXPECT_NUMBER(__GetPortLink(77), 0);
    EXPECT_NUMBER(__GetPortLink(-1), 0);
}

static void clash()
{
    EXPECT_NUMBER(wan_lan_check("192.168.0.77", "255.255.255.0"), 0); // there is no LAN yet
    WORLD(lan_address, "192.168.0.1");
    EXPECT_NUMBER(wan_lan_check("192.168.0.77", "255.255.255.0"), 1);
    EXPECT_NUMBER(wan_lan_check("192.168.1.77", "255.255.255.0"), 0);
}

// ---- echo requests ----

static void answered()
{
    WORLD(wan_cable, 1);
    WORLD(wan_address, "10.91.0.2");
    EXPECT_NUMBER(simple_ping("10.91.0.1"), 0);
    EXPECT_NUMBER(ping_by_interface("10.91.0.1", 2, getWanIfName(1, 0, WAN_DHCP)), 0);
    EXPECT_NUMBER(ping_by_interface("10.91.0.1", 2, nullptr), 0);
}

static void silent()
{
    WORLD(wan_cable, 1);
    WORLD(wan_address, "10.91.0.2");
    const long long begin = kit_ms();
    EXPECT_NUMBER(simple_ping("10.91.0.77"), -1);
    EXPECT_NUMBER(ping_by_interface("10.91.0.77", 2, getWanIfName(1, 0, WAN_DHCP)), -1);
    EXPECT(kit_ms() - begin < 3000 + SOON_MS);
}

static void not_pinged()
{
    for (const char *text : {"", "1.2.3", "300.1.1.1", "a name"}) {
        kit_about(text);
        EXPECT_NUMBER(simple_ping(text), -1);
        EXPECT_NUMBER(ping_by_interface(text, 1, nullptr), -1);
    }
}

static void by_interface_alone()
{
    WORLD(wan_cable, 1);
    WORLD(wan_address, "10.91.0.2");
    EXPECT_NUMBER(simple_ping("10.91.0.1"), 0);
    EXPECT_NUMBER(ping_by_interface("10.91.0.1", 1, "absent9"), -1);
}

static constexpr const char *NETWORK = "network.h";

static constexpr kit_check CHECKS[] = {
    {NETWORK, "getIfIp tpi_wan_get_ip", "an address is given while there is one; else the buffer stays", addresses},
    {NETWORK, "getIfIp", "an interface that is not there has none", no_such_interface},
    {NETWORK, "getLanIfName", "the LAN's bridge has a name", lan_name},
    {NETWORK, "getWanIfName get_eth_name", "the first WAN has a name, also while it is down", first_wan},
    {NETWORK, "getWanIfName get_eth_name wanid_to_sw_port", "a WAN that is none has no name and no port", no_such_wan},
    {NETWORK, "getWanIfName getLanIfName get_eth_name", "a name stays while another thread asks", names_of_threads},
    {NETWORK, "getWanConnType", "the connection type is one of the types, DHCP unless set", connection_types},
    {NETWORK, "wanid_to_sw_port __GetPortLink", "a WAN's port has link while its cable is in", link_of_port},
    {NETWORK, "wan_lan_check", "a WAN in the LAN's network clashes, another does not", clash},
    {NETWORK, "simple_ping ping_by_interface", "who is there answers", answered},
    {NETWORK, "simple_ping ping_by_interface", "who is not there does not, in bounded time", silent},
    {NETWORK, "simple_ping ping_by_interface", "what is no address is not pinged", not_pinged},
    {NETWORK, "ping_by_interface", "an interface that is not there fails, whatever the routing table says",
     by_interface_alone},
};

const kit_list network_checks = kit_list_of(CHECKS);
