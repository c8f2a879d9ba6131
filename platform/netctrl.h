// What the daemon says to netctrl, the process that reconfigures radios, WANs and services: "MODULE?op=OP,...".
#ifndef PLATFORM_NETCTRL_H
#define PLATFORM_NETCTRL_H

#ifdef __cplusplus
extern "C" {
#endif

// netctrl's modules, as far as the daemon sends to them or is told of them in `relate_module_id`.
enum netctrl_module {
    WAN_MODULE = 2,
    DHCP_SERVER_MODULE = 3,
    WIFI_MODULE = 19,
    VPN_PPTP_CLIENT_MODULE = 22,
    VPN_L2TP_CLIENT_MODULE = 23,
    LAN_DHCPC_MODULE = 35,
    ALI_NIMBIX_MODULE = 50,
    USB_MODULE = 51,
    LOAD_BALANCE_MODULE = 52,
    DHTTPD_MODULE = 53,
};

// WAN_MODULE
enum { OP_WISP_UP = 12 };

// WIFI_MODULE; 1, 2 and 3 start, stop and restart the band named by wl_rate.
enum { OP_WIFI_GUEST = 9, OP_WISP_STOP = 15, OP_WISP_START = 16 };

// The band in "wl_rate=%d".
enum { WL_RATE_2G = 24, WL_RATE_5G = 5 };

// LAN_DHCPC_MODULE
enum { OP_LAN_DHCPC_LAN_UP = 8, OP_LAN_DHCPC_LAN_DOWN = 9 };

// LOAD_BALANCE_MODULE
enum { OP_WAN_PING_RESULT_INTERNET = 15, OP_WAN_PING_RESULT_INTERNAL = 16 };

// Posts "MODULE?text" to netctrl, for example send_msg_to_netctrl(19, "op=9") posts "19?op=9".
// 0: netctrl's queue has it. -1: it has not (nobody holds the name, or its queue stayed full); a line says why.
// Main thread; waits a bounded time for room.
int send_msg_to_netctrl(int module, const char *text);

#ifdef __cplusplus
}
#endif

#endif
