// Supervision of the wireless uplink (module 7): a radio that is the client of an upstream access point, either for the
// router's WAN (WISP) or bridged to the LAN (AP client).
#ifndef TIME_CHECK_TIME_CHECK_WIFI_CONNECT_H
#define TIME_CHECK_TIME_CHECK_WIFI_CONNECT_H

#include "platform/wifi.h"
#include "time_check/time_check.h"

// The uplink's settings as last read, and how far the cipher fallback has got.
struct wifi_connect {
    char wl_BSSID[34];   // the upstream network's SSID
    char wl2g_enable[8]; // "1": on
    char wl5g_enable[8];
    char wl_enable[8];  // that of the uplink's radio
    char wl2g_mode[16]; // "ap", "wisp", "apclient" or another
    char wl5g_mode[16];
    char wl_mode[16]; // "ap" (no wireless uplink), "wisp" or "apclient"
    char ifname[WIFI_IFNAME_SIZE];
    char prefix[8];       // "wl0_" for 2.4 GHz, "wl1_" for 5 GHz
    char wpapsk_type[16]; // e.g. "psk2"
    char crypto[16];      // "aes", "tkip" or "tkip+aes"
    char lan_ip[32];      // the configured LAN address
    char access_mode[16]; // "static", "dhcp" or "pppoe"
    uint32_t aes_try;     // ticks left to each stage, 6 when the fallback is armed
    uint32_t tkip_try;
    uint32_t tkip_aes_try;
    uint32_t first_time; // 0 once the last stage, "tkip+aes", was reached. All four 0: the fallback is over
};
using WIFI_CONNECT = struct wifi_connect;
using P_WIFI_CONNECT = WIFI_CONNECT *;

// ---- settings and messages ----

void time_check_wifi_connect_init();

// Any message reads the settings anew and gives TIMER_CHECK_SUC, except "wifi_connect_init" as string_info, which does
// nothing and gives TIMER_CHECK_ERR: the reverse of what the text says, kept on purpose.
int32_t time_check_wifi_connect_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *var);

// Reads the settings and arms the cipher fallback.
void set_time_check_wifi_connect_info();

// ---- WISP ----

// A tick of the supervision: the link, then the PPPoE client.
void wifi_wisp_check(P_WIFI_CONNECT wifi);
void wifi_wisp_link_check(P_WIFI_CONNECT wifi);
void check_wisp_pppoe_exist(P_WIFI_CONNECT wifi);

// Restarts the WISP radio unless the uplink is connected. Nothing in the daemon calls it; products may.
void wispRebootWifi(P_WIFI_CONNECT wifi);

// Restarts the radio of whatever uplink there is. Nothing in the daemon calls it; products may.
void autoRebootWifi(P_WIFI_CONNECT wifi);

// ---- AP client ----

// A tick of the supervision.
void wifi_apclient_check(P_WIFI_CONNECT wifi);
void wifi_apclient_link_check(P_WIFI_CONNECT wifi);

// 0 when the AP client is associated, else 1.
int32_t wl_get_sta_info(const char *ifname);

// Switches the router's own DHCP server on and has netctrl start it: the AP client has found no upstream.
void APclientOpenDHCPS(P_WIFI_CONNECT wifi);

// Restarts the AP client's radio while the LAN still has its configured address.
void apClientRebootWifi(P_WIFI_CONNECT wifi);

// ---- cipher fallback ----

// A tick of the fallback. 1: the supervision may run. 0 or -1: not in this tick.
int32_t wpa2_tkip_aes_connect(P_WIFI_CONNECT wifi);

// Restarts the radio and its authenticator. Always 1.
int32_t wpa2_tkip_aes_change(P_WIFI_CONNECT wifi, const char *crypto);

// Arms the fallback anew.
void restart_wpa2_tkip_aes_check();

// ---- the tick ----

void time_check_wifi_connect();

#endif
