#include "time_check/time_check_wifi_client.h"

#include <cstdio>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/netctrl.h"
#include "platform/system.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"

constexpr uint32_t TRY_TICKS = 6; // of each stage of the cipher fallback

WIFI_CONNECT _WIFI_CONNECT_STRUCT_; // NOLINT(bugprone-reserved-identifier)

// ---- settings ----

// A radio that may carry the uplink, and where its settings are.
struct uplink_radio {
    const char *mode;
    const char *enable;
    const char *prefix;
    int band;
    const char *wpapsk_type_key;
    const char *crypto_key;
    const char *ssid_key;
};

// The first that is a client wins.
static const uplink_radio uplink_radios[] = {
    {.mode = _WIFI_CONNECT_STRUCT_.wl2g_mode,
     .enable = _WIFI_CONNECT_STRUCT_.wl2g_enable,
     .prefix = "wl0_",
     .band = WL_RATE_2G,
     .wpapsk_type_key = KEY_WL2G_EXTRA_WPAPSK_TYPE,
     .crypto_key = KEY_WL2G_EXTRA_WPAPSK_CRYPTO,
     .ssid_key = KEY_WL2G_EXTRA_SSID},
    {.mode = _WIFI_CONNECT_STRUCT_.wl5g_mode,
     .enable = _WIFI_CONNECT_STRUCT_.wl5g_enable,
     .prefix = "wl1_",
     .band = WL_RATE_5G,
     .wpapsk_type_key = KEY_WL5G_EXTRA_WPAPSK_TYPE,
     .crypto_key = KEY_WL5G_EXTRA_WPAPSK_CRYPTO,
     .ssid_key = KEY_WL5G_EXTRA_SSID},
};

static void arm_fallback(P_WIFI_CONNECT wifi)
{
    wifi->aes_try = TRY_TICKS;
    wifi->tkip_try = TRY_TICKS;
    wifi->tkip_aes_try = TRY_TICKS;
    wifi->first_time = 1;
}

static void forget_uplink(P_WIFI_CONNECT wifi)
{
    copy_text(wifi->wl_mode, sizeof wifi->wl_mode, "ap");
    wifi->prefix[0] = '\0';
    wifi->ifname[0] = '\0';
    wifi->wpapsk_type[0] = '\0';
    wifi->crypto[0] = '\0';
    wifi->wl_BSSID[0] = '\0';
}

static void take_uplink(P_WIFI_CONNECT wifi, const uplink_radio *radio)
{
    copy_text(wifi->wl_enable, sizeof wifi->wl_enable, radio->enable);
    copy_text(wifi->wl_mode, sizeof wifi->wl_mode, radio->mode);
    copy_text(wifi->prefix, sizeof wifi->prefix, radio->prefix);
    tpi_wifi_get_ifname(radio->band, TPI_WIFI_KIND_CLIENT, wifi->ifname);
    GetValue(radio->wpapsk_type_key, wifi->wpapsk_type);
    GetValue(radio->crypto_key, wifi->crypto);
    GetValue(radio->ssid_key, wifi->wl_BSSID);
}

static void choose_uplink(P_WIFI_CONNECT wifi)
{
    if (wifi_mode_is(wifi->wl2g_mode, "ap") && wifi_mode_is(wifi->wl5g_mode, "ap")) {
        forget_uplink(wifi);
        return;
    }
    for (const uplink_radio &radio : uplink_radios) {
        if (wifi_mode_is(radio.mode, "wisp") || wifi_mode_is(radio.mode, "apclient")) {
            take_uplink(wifi, &radio);
            return;
        }
    }
    // Without a client radio, yet not both access points, the uplink stays as it was (compat 72).
}

void set_time_check_wifi_connect_info()
{
    WIFI_CONNECT *wifi = &_WIFI_CONNECT_STRUCT_;
    GetValue(KEY_WL2G_PUBLIC_ENABLE, wifi->wl2g_enable);
    GetValue(KEY_WL5G_PUBLIC_ENABLE, wifi->wl5g_enable);
    GetValue(KEY_WL2G_PUBLIC_MODE, wifi->wl2g_mode);
    GetValue(KEY_WL5G_PUBLIC_MODE, wifi->wl5g_mode);
    GetValue(KEY_LAN_IP, wifi->lan_ip);
    GetValue(KEY_WISP_ACCESS_MODE, wifi->access_mode);
    arm_fallback(wifi);
    choose_uplink(wifi);
    status_uplink *told = &status_memory.main.uplink;
    status_note_text(told->interface, sizeof told->interface, wifi->ifname);
    status_note_text(told->mode, sizeof told->mode, wifi->wl_mode);
}

// ---- cipher fallback ----
// An upstream that says "tkip+aes" may take only one of them: tries "aes", then "tkip", then both again
// (decision 0055).

// The arguments' type is that of execvp, which writes to none of them.
static void run_on_console(const char *program, const char *argument)
{
    char *const argv[] = {const_cast<char *>(program), const_cast<char *>(argument), nullptr};
    _eval(argv, ">/dev/console", 0, nullptr);
}

int32_t wpa2_tkip_aes_change(P_WIFI_CONNECT wifi, const char *crypto)
{
    constexpr int LINE_NUMBER = 297; // belongs to the line's fixed text (compat 17)
    char key[32];
    char ifname[shell_quoted_size(sizeof wifi->ifname)];

    printf("[qx debug]:%s,%d,SET %s to continue!-\n", __func__, LINE_NUMBER, crypto);
    snprintf(key, sizeof key, "%scrypto", wifi->prefix); // written nowhere, the cipher is only named (compat 76)
    shell_quoted(ifname, sizeof ifname, wifi->ifname);
    doSystemCmd("wlconf %s down", ifname);
    run_on_console("killall", "nas");
    doSystemCmd("wlconf %s up", ifname);
    doSystemCmd("wlconf %s start", ifname);
    run_on_console("nas", nullptr);
    return 1;
}

// From an exhausted "aes" the count wraps to the largest number (compat 77).
static void fall_back_unasked(P_WIFI_CONNECT wifi)
{
    if (wifi->aes_try != TRY_TICKS)
        wifi->aes_try--;
    if (wifi->aes_try != 0 || wifi->tkip_try != TRY_TICKS)
        return;
    wpa2_tkip_aes_change(wifi, "tkip");
    wifi->tkip_try--;
}

static void fall_back(P_WIFI_CONNECT wifi)
{
    if (wifi->tkip_aes_try != 0) {
        wifi->tkip_aes_try--;
        return;
    }
    if (wifi->aes_try == TRY_TICKS) {
        wpa2_tkip_aes_change(wifi, "aes");
    } else if (wifi->aes_try == 0 && wifi->tkip_try == TRY_TICKS) {
        wpa2_tkip_aes_change(wifi, "tkip");
    } else if (wifi->aes_try == 0 && wifi->tkip_try == 0 && wifi->first_time == 1) {
        wpa2_tkip_aes_change(wifi, "tkip+aes");
        wifi->first_time = 0;
    }
    if (wifi->aes_try != 0)
        wifi->aes_try--;
    else if (wifi->tkip_try != 0)
        wifi->tkip_try--;
}

int32_t wpa2_tkip_aes_connect(P_WIFI_CONNECT wifi)
{
    if (wifi_mode_is(wifi->wl_mode, "ap"))
        return -1;
    if (wifi->aes_try == 0 && wifi->tkip_try == 0 && wifi->tkip_aes_try == 0 && wifi->first_time == 0)
        return 1;

    const int32_t phy = tpi_wifi_wisp_phy_link_check(wifi->ifname);
    if (phy == TPI_CONNECTED || strcmp(wifi->wpapsk_type, "psk2") != 0 || strcmp(wifi->crypto, "tkip+aes") != 0) {
        wifi->aes_try = 0;
        wifi->tkip_try = 0;
        wifi->tkip_aes_try = 0;
        wifi->first_time = 0;
        return 1;
    }
    if (phy == RADIO_NOT_ASKED) {
        fall_back_unasked(wifi);
        return -1;
    }
    fall_back(wifi);
    return 0;
}

void restart_wpa2_tkip_aes_check()
{
    LOG_TRACE(DEBUG_INFO, "restart wpa2_tkip_aes_check !!\n");
    arm_fallback(&_WIFI_CONNECT_STRUCT_);
}
