// The router's interfaces: their names, links and addresses.
#include "platform/network.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <net/if.h>

#include "platform/common/journal.h"
#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/linux/bus.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/interface.h"
#include "platform/linux/store_setting.h"

constexpr int MOST_WANS = 8; // how far a port's WAN is looked for

using wan_key = char[32];
using ifname_text = char[IFNAMSIZ];

static void make_wan_key(wan_key &key, int wan_id, const char *field)
{
    snprintf(key, sizeof key, "wan%d%s", wan_id, field);
}

// ---- names ----

// What the calls hand out, until the same thread calls the same again.
static thread_local ifname_text getLanIfName_result;
static thread_local ifname_text getWanIfName_result;
static thread_local ifname_text get_eth_name_result;

const char *getLanIfName(void)
{
    ifname_text &ifname = getLanIfName_result;
    return setting_text(KEY_LAN_IFNAME, "br0", ifname, sizeof ifname) ? ifname : "br0";
}

// False: the key is there but empty, so there is no such interface.
static bool wan_ifname(ifname_text &ifname, int wan_id, const char *field, const char *default_prefix,
                       int default_number)
{
    wan_key key;
    ifname_text fallback;
    make_wan_key(key, wan_id, field);
    snprintf(fallback, sizeof fallback, "%s%d", default_prefix, default_number);
    return setting_text(key, fallback, ifname, sizeof ifname);
}

static bool wired_wan_ifname(ifname_text &ifname, int wan_id)
{
    return wan_ifname(ifname, wan_id, WAN_FIELD_IFNAME, "wan", wan_id);
}

static bool is_dialled(int conn_type)
{
    return conn_type == WAN_PPPOE || conn_type == WAN_PPTP || conn_type == WAN_L2TP || conn_type == WAN_PPPOE_DOUBLE;
}

static bool radio_is_uplink(const char *mode_key)
{
    char mode[16];
    return GetValue(mode_key, mode) == 1 && strcmp(mode, "wisp") == 0;
}

// A radio that is a WISP client carries WAN 1.
static bool wireless_wan_ifname(ifname_text &ifname)
{
    return (radio_is_uplink(KEY_WL2G_PUBLIC_MODE) || radio_is_uplink(KEY_WL5G_PUBLIC_MODE)) &&
           setting_text(KEY_WISP_IFNAME, "", ifname, sizeof ifname);
}

// On plain Linux the mode's number says nothing beyond what the radios' modes say.
const char *getWanIfName(int wan_id, int /*sys_mode*/, int conn_type)
{
    ifname_text &ifname = getWanIfName_result;
    bool found = false;
    if (wan_id >= 1 && is_dialled(conn_type))
        found = wan_ifname(ifname, wan_id, WAN_FIELD_PPP_IFNAME, "ppp", wan_id - 1);
    else if (wan_id >= 1)
        found = (wan_id == 1 && wireless_wan_ifname(ifname)) || wired_wan_ifname(ifname, wan_id);
    return found ? ifname : nullptr;
}

int getWanConnType(int wan_id)
{
    wan_key key;
    make_wan_key(key, wan_id, WAN_FIELD_CONNECTTYPE);
    const int type = setting_number(key, WAN_DHCP);
    return type >= WAN_DHCP && type < WAN_CONN_TYPE_MAX ? type : WAN_DHCP;
}

const char *get_eth_name(int id)
{
    ifname_text &ifname = get_eth_name_result;
    return id == WAN_1 && wired_wan_ifname(ifname, 1) ? ifname : nullptr;
}

// ---- links ----

int wanid_to_sw_port(int wan_id)
{
    if (wan_id < 1)
        return -1;
    wan_key key;
    make_wan_key(key, wan_id, WAN_FIELD_PORT);
    const int port = setting_number(key, wan_id);
    return port < 0 ? -1 : port;
}

int __GetPortLink(int port) // NOLINT(bugprone-reserved-identifier)
{
    for (int wan_id = 1; port >= 0 && wan_id <= MOST_WANS; wan_id++) {
        if (wanid_to_sw_port(wan_id) != port)
            continue;
        ifname_text ifname;
        return wired_wan_ifname(ifname, wan_id) && link_of_interface(ifname) >= LINK_PENDING ? 1 : 0;
    }
    return 0;
}

// ---- addresses ----

static bool lan_clashed; // with the WAN, when last asked: that is every second, and it is told once

static int address_text(const char *ifname, char *address, socklen_t size)
{
    in_addr found = {};
    if (ifname == nullptr || !address_of_interface(ifname, &found, nullptr))
        return -1;
    return inet_ntop(AF_INET, &found, address, size) == nullptr ? -1 : 0;
}

int getIfIp(const char *ifname, char *address)
{
    return address_text(ifname, address, IF_ADDRESS_SIZE);
}

int tpi_wan_get_ip(const char *ifname, char *address, int /*wan_id*/)
{
    return address_text(ifname, address, WAN_ADDRESS_SIZE);
}

// Two networks overlap when they agree as far as the shorter of their masks goes.
static bool clashes_with_lan(const char *address, const char *netmask)
{
    in_addr wan = {};
    in_addr wan_mask = {};
    in_addr lan = {};
    in_addr lan_mask = {};
    if (inet_pton(AF_INET, address, &wan) != 1 || inet_pton(AF_INET, netmask, &wan_mask) != 1 ||
        !address_of_interface(getLanIfName(), &lan, &lan_mask))
        return false;
    const in_addr_t mask = wan_mask.s_addr & lan_mask.s_addr;
    return (wan.s_addr & mask) == (lan.s_addr & mask);
}

// Which of netctrl's messages moves the LAN is a product's own, so the store names it; without one a line must do
// (decision 0025).
static void ask_for_another_lan(const char *address)
{
    char message[256];
    ground_log("network: the WAN's address %s lies in the LAN's network", address);
    if (!setting_text(KEY_LAN_CLASH_MESSAGE, "", message, sizeof message))
        return;
    const bus_result result = bus_post("netctrl", message);
    if (result != BUS_DONE)
        ground_log("bus: cannot post \"%s\" to netctrl: %s", message, bus_result_text(result));
}

int wan_lan_check(const char *address, const char *netmask)
{
    journal_wan_lan_check(address, netmask);
    const bool clash = clashes_with_lan(address, netmask);
    if (clash && !lan_clashed)
        ask_for_another_lan(address);
    else if (!clash && lan_clashed)
        ground_log("network: WAN and LAN no longer share a network");
    lan_clashed = clash;
    return clash ? 1 : 0;
}
