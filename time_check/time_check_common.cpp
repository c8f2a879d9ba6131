#include "time_check/time_check_common.h"

#include <cstdio>
#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/system.h"
#include "time_check/time_check.h"
#include "time_check/time_check_setting.h"

constexpr int BAND_PAUSE_S = 1; // netctrl takes the bands one after the other (decision 0041)

void time_check_post_wifi_op(const wifi_band *band, int op)
{
    doSystemCmd("cfm post netctrl %d?op=%d,wl_rate=%d", WIFI_MODULE, op, band->wl_rate);
}

void time_check_close_guest_network()
{
    SetValue(KEY_GUEST_DHCPS_ENABLE, "0");
    SetValue(KEY_WL5G_SSID1_ENABLE, "0");
    SetValue(KEY_WL2G_SSID1_ENABLE, "0");
    SetValue(KEY_WL2G_SSID1_GUEST_ENABLE, "0");
    SetValue(KEY_WL5G_SSID1_GUEST_ENABLE, "0");
}

void time_check_store_band_switches(const wifi_band *band, const char *value)
{
    SetValue(band->public_enable, value);
    SetValue(band->ssid0_enable, value);
}

int32_t time_check_get_wifi_status()
{
    for (const wifi_band &band : wifi_bands)
        if (time_check_key_is_on(band.public_enable) && time_check_key_is_on(band.ssid0_enable))
            return 1;
    return 0;
}

// The lines are the caller's.
static void switch_wifi_on(const char *function = __builtin_FUNCTION())
{
    char enable_2g[16];
    char enable_5g[16];
    GetValue(wifi_bands[BAND_2G].enable, enable_2g);
    GetValue(wifi_bands[BAND_5G].enable, enable_5g);
    const bool on_2g = strcmp(enable_2g, "1") == 0;
    const bool on_5g = strcmp(enable_5g, "1") == 0;

    printf("[%s:%d] wl2g.enable == %s, wl5g.enable == %s\n", function, __LINE__, enable_2g, enable_5g);
    if (on_2g)
        time_check_store_band_switches(&wifi_bands[BAND_2G], "1");
    if (on_5g)
        time_check_store_band_switches(&wifi_bands[BAND_5G], "1");
    if (CommitCfm() == 0)
        return;

    printf("[%s:%d] wl2g.enable == %s, wl5g.enable == %s\n", function, __LINE__, enable_2g, enable_5g);
    if (on_2g) {
        printf("[%s:%d] wl2g.enable == %s\n", function, __LINE__, enable_2g);
        time_check_post_wifi_op(&wifi_bands[BAND_2G], OP_START);
        system_sleep(BAND_PAUSE_S);
    }
    if (on_5g) {
        printf("[%s:%d] wl2g.enable == %s\n", function, __LINE__, enable_2g); // the other band's text (compat 44)
        time_check_post_wifi_op(&wifi_bands[BAND_5G], OP_START);
    }
}

static void switch_wifi_off()
{
    for (const wifi_band &band : wifi_bands)
        time_check_store_band_switches(&band, "0");
    // Even a missing lifetime closes the guest network (compat 45).
    if (!time_check_key_is(KEY_GUEST_EFFECTIVE_TIME, "0"))
        time_check_close_guest_network();
    if (CommitCfm() == 0)
        return;

    time_check_post_wifi_op(&wifi_bands[BAND_2G], OP_STOP);
    system_sleep(BAND_PAUSE_S);
    time_check_post_wifi_op(&wifi_bands[BAND_5G], OP_STOP);
}

int32_t time_check_set_wifi_status(int32_t on)
{
    const int32_t status = time_check_get_wifi_status();
    if (on == WIFI_ON && status == WIFI_OFF)
        switch_wifi_on();
    else if (on == WIFI_OFF && status == WIFI_ON)
        switch_wifi_off();
    return 1;
}

int32_t time_check_get_led_sta()
{
    char state[16];
    const bool found = GetValue(KEY_LED_STATE, state) == 1;
    return found && strcmp(state, "0") != 0 ? LED_AUTO : LED_OFF;
}

// Whether a schedule that is in use turns the LEDs off by other means than the LEDs' own switch.
static bool leds_close_unpowered()
{
    return time_check_key_is(KEY_LED_CLOSETYPE, "unpowerClose") &&
           (time_check_key_is(KEY_LED_TYPE, "time") || time_check_key_is_on(KEY_POWER_ENABLE));
}

int32_t time_check_set_led_status(uint32_t state)
{
    if (state > LED_AUTO || state == static_cast<uint32_t>(time_check_get_led_sta()))
        return 1;
    char text[16];
    snprintf(text, sizeof text, "%u", state);
    SetValue(KEY_LED_STATE, text);
    CommitCfm();
    if (state != LED_OFF || !leds_close_unpowered())
        set_all_led(static_cast<int>(state));
    return 1;
}
