// Interfaces, addresses, links and probes.
#ifndef PLATFORM_NETWORK_H
#define PLATFORM_NETWORK_H

#ifdef __cplusplus
extern "C" {
#endif

// How a WAN gets its address: the integer value of the key "wan%d.connecttype".
typedef enum {
    WAN_DHCP = 0,
    WAN_STATIC = 1,
    WAN_PPPOE = 2,
    WAN_PPTP = 3,
    WAN_L2TP = 4,
    WAN_PPPOE_DOUBLE = 5,
    WAN_CONN_TYPE_MAX = 6,
} WANTYPE;

// Ids for get_eth_name.
typedef enum { WAN_1 = 10 } eth_interface_name_id;

// Buffer sizes, terminating zero included.
enum { IF_ADDRESS_SIZE = 64, WAN_ADDRESS_SIZE = 32 };

// The IPv4 address of an interface as dotted text into `address`, IF_ADDRESS_SIZE bytes.
// 0: it has one. -1: it has none, or there is no such interface; the buffer is left as it was. Any thread.
int getIfIp(const char *ifname, char *address);

// The LAN bridge's name. Never null. Any thread.
const char *getLanIfName(void);

// The interface over which WAN `wan_id` (from 1) reaches the internet, given the machine's mode and the connection type
// (a PPPoE WAN's is the ppp interface). Null: none. The text is valid until the same thread's next call. Any thread.
const char *getWanIfName(int wan_id, int sys_mode, int conn_type);

// The connection type of WAN `wan_id` (from 1), a WANTYPE; WAN_DHCP when nothing is configured. Any thread.
int getWanConnType(int wan_id);

// The name of the Ethernet interface with an eth_interface_name_id. Null: none. The text is valid until the same
// thread's next call. Any thread.
const char *get_eth_name(int id);

// The address of WAN `wan_id` on `ifname` as dotted text into `address`, WAN_ADDRESS_SIZE bytes.
// 0: it has one. -1: it has none; the buffer is left as it was. Any thread.
int tpi_wan_get_ip(const char *ifname, char *address, int wan_id);

// Told every tick that a dial-up WAN has `address`; looks whether its network (under `netmask`, dotted text) is also
// the LAN's, and has netctrl move the LAN when it is. 1: they clash. 0: they do not, or it cannot be told. Main thread.
int wan_lan_check(const char *address, const char *netmask);

// The switch port that WAN `wan_id` (from 1) is wired to; -1: none. Any thread.
int wanid_to_sw_port(int wan_id);

// Non-zero when the switch port has link, else 0. Any thread.
int __GetPortLink(int port); // NOLINT(bugprone-reserved-identifier)

// One echo request to a dotted IPv4 address by the routing table, one second for the answer.
// 0: answered. -1: not, or the address cannot be pinged. Blocks for at most about a second. Any thread.
int simple_ping(const char *address);

// `count` echo requests to a dotted IPv4 address, a second apart at the most, out of interface `ifname` (null: by the
// routing table). 0: one was answered. -1: none was. Blocks for at most about `count` seconds. Any thread.
int ping_by_interface(const char *address, int count, const char *ifname);

#ifdef __cplusplus
}
#endif

#endif
