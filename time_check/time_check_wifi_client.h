// The radio that is the router's uplink: its settings, and the fallback to a cipher that the upstream takes.
#ifndef TIME_CHECK_TIME_CHECK_WIFI_CLIENT_H
#define TIME_CHECK_TIME_CHECK_WIFI_CLIENT_H

#include <cstdint>
#include <cstring>

#include "platform/wifi.h"

constexpr int32_t RADIO_NOT_ASKED = -1; // what is told of a radio that is off or cannot be asked

// The uplink's settings as last read, and how far the cipher fallback has got.
struct wifi_connect {
    char wl_BSSID[34];   // the upstream network's SSID (compat 88)
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

// The one snapshot.
extern WIFI_CONNECT _WIFI_CONNECT_STRUCT_; // NOLINT(bugprone-reserved-identifier) its known name

// ---- settings ----

// Reads the settings and arms the cipher fallback.
void set_time_check_wifi_connect_info();

// Whether a mode, or another word of the settings, is `wanted`.
inline bool wifi_mode_is(const char *mode, const char *wanted)
{
    return strcmp(mode, wanted) == 0;
}

// ---- cipher fallback ----

// A tick of the fallback. 1: the supervision may run. 0 or -1: not in this tick.
int32_t wpa2_tkip_aes_connect(P_WIFI_CONNECT wifi);

// Restarts the radio and its authenticator. Always 1.
int32_t wpa2_tkip_aes_change(P_WIFI_CONNECT wifi, const char *crypto);

// Arms the fallback anew.
void restart_wpa2_tkip_aes_check();

#endif
