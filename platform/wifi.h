// The radios as uplinks.
#ifndef PLATFORM_WIFI_H
#define PLATFORM_WIFI_H

#ifdef __cplusplus
extern "C" {
#endif

// How the uplink gets its address.
typedef enum { TPI_WAN_DHCP = 0, TPI_WAN_STATIC = 1, TPI_WAN_PPPOE = 2 } TPI_WAN_CONN_TYPE;

// The state of a link or connection.
typedef enum { TPI_NO_WIRE = 0, TPI_NOT_CONNECTED = 1, TPI_CONNECTING = 2, TPI_CONNECTED = 3 } TPI_LINK_STATUS;

// The state of a relay (AP-client) association.
typedef enum {
    WIFI_RELAY_DOWN = 0,
    WIFI_RELAY_UP = 1,
    WIFI_RELAY_SCANNING = 2,
    WIFI_RELAY_CONNECTED = 3,
} WIFI_RELAY_LINK;

// The interface kind for tpi_wifi_get_ifname that means the radio's client (uplink) interface.
enum { TPI_WIFI_KIND_CLIENT = 4 };

// Buffer size for tpi_wifi_get_ifname, terminating zero included.
enum { WIFI_IFNAME_SIZE = 16 };

// The name of a radio's interface: band 24 or 5, kind TPI_WIFI_KIND_CLIENT, into `ifname`, WIFI_IFNAME_SIZE bytes.
// 0: found. -1: none; the buffer then holds "". Main thread.
int tpi_wifi_get_ifname(int band, int kind, char *ifname);

// The state of the WAN connection over radio interface `ifname`, a TPI_LINK_STATUS; `access_type` is a
// TPI_WAN_CONN_TYPE. TPI_CONNECTED: associated and holding an address. Any thread.
int tpi_wifi_wisp_connect_check(const char *ifname, int access_type);

// The state of the radio's association as WISP client, a TPI_LINK_STATUS, or -1 when the radio is off or cannot be
// asked. Main thread.
int tpi_wifi_wisp_phy_link_check(const char *ifname);

// The state of the radio's association as AP client, a WIFI_RELAY_LINK. Main thread.
int tpi_wifi_relay_phy_check(const char *ifname);

// Non-zero when supervision of the WISP uplink is wanted, 0 while the user is changing it. Main thread.
int tpi_wisp_get_webpage_status(void);

#ifdef __cplusplus
}
#endif

#endif
