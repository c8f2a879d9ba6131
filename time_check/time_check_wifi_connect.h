// Supervision of the wireless uplink (module 7): a radio that is the client of an upstream access point, either for the
// router's WAN (WISP) or bridged to the LAN (AP client).
#ifndef TIME_CHECK_TIME_CHECK_WIFI_CONNECT_H
#define TIME_CHECK_TIME_CHECK_WIFI_CONNECT_H

#include "time_check/time_check.h"
#include "time_check/time_check_wifi_client.h"

// By which branch of the rule a tick went.
enum class wifi_connect_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/wifi_connect.def"
};

// ---- settings and messages ----

void time_check_wifi_connect_init();

// Any message reads the settings anew and gives TIMER_CHECK_SUC, except "wifi_connect_init" as string_info, which does
// nothing and gives TIMER_CHECK_ERR: the reverse of what the text says (compat 73).
int32_t time_check_wifi_connect_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *var);

// ---- WISP ----

// A tick of the supervision: the link, then the PPPoE client.
void wifi_wisp_check(P_WIFI_CONNECT wifi);
void wifi_wisp_link_check(P_WIFI_CONNECT wifi);
void check_wisp_pppoe_exist(P_WIFI_CONNECT wifi);

// ---- AP client ----

// A tick of the supervision.
void wifi_apclient_check(P_WIFI_CONNECT wifi);
void wifi_apclient_link_check(P_WIFI_CONNECT wifi);

// 0 when the AP client is associated, else 1.
int32_t wl_get_sta_info(const char *ifname);

// Switches the router's own DHCP server on and has netctrl start it: the AP client has found no upstream.
void APclientOpenDHCPS(P_WIFI_CONNECT wifi);

// ---- the tick ----

void time_check_wifi_connect();

// What the last tick found; before the first one, the first verdict.
wifi_connect_verdict time_check_wifi_connect_verdict();

// ---- for products ----

// Restarts the WISP radio unless the uplink is connected. Nothing in the daemon calls it (compat 96).
void wispRebootWifi(P_WIFI_CONNECT wifi);

// Restarts the AP client's radio while the LAN still has its configured address.
void apClientRebootWifi(P_WIFI_CONNECT wifi);

// Restarts the radio of whatever uplink there is. Nothing in the daemon calls it (compat 97).
void autoRebootWifi(P_WIFI_CONNECT wifi);

#endif
