// The switches of Wi-Fi and LEDs that several modules ask for and set.
#ifndef TIME_CHECK_TIME_CHECK_COMMON_H
#define TIME_CHECK_TIME_CHECK_COMMON_H

#include <cstdint>

#include "platform/config_keys.h"
#include "platform/netctrl.h"

enum TIMERCHECKWIFISTATUS { WIFI_OFF = 0, WIFI_ON = 1 };

enum TIMERCHECKLEDSTATUS : uint32_t {
    LED_OFF = 0,
    LED_ON = 1,
    LED_SPLASH = 2, // compat 91
    LED_AUTO = 3,   // as the board drives them by itself
    LED_ERROR = 4,
};

// The store's switches of one band, and the band's name in netctrl's messages.
struct wifi_band {
    const char *enable;        // the user's wish
    const char *public_enable; // the radio
    const char *ssid0_enable;  // its main network
    int wl_rate;
};

enum { BAND_2G, BAND_5G, BAND_NUM };
inline constexpr wifi_band wifi_bands[BAND_NUM] = {
    {.enable = KEY_WL2G_ENABLE,
     .public_enable = KEY_WL2G_PUBLIC_ENABLE,
     .ssid0_enable = KEY_WL2G_SSID0_ENABLE,
     .wl_rate = WL_RATE_2G},
    {.enable = KEY_WL5G_ENABLE,
     .public_enable = KEY_WL5G_PUBLIC_ENABLE,
     .ssid0_enable = KEY_WL5G_SSID0_ENABLE,
     .wl_rate = WL_RATE_5G},
};

// Has netctrl start, stop or restart a band: OP_START, OP_STOP or OP_RESTART.
void time_check_post_wifi_op(const wifi_band *band, int op);

// Turns a band's radio and main network on ("1") or off ("0") in the store.
void time_check_store_band_switches(const wifi_band *band, const char *value);

// Turns the guest network's switches off in the store.
void time_check_close_guest_network();

// 1 when at least one band has both its radio and its main network on, else 0.
int32_t time_check_get_wifi_status();

// WIFI_ON: switches on the bands that the user enabled, unless one is on already. WIFI_OFF: switches off both, and the
// guest network unless its lifetime is exactly "0". netctrl is told only when the change could be committed. Pauses for
// a second between the bands. Always 1.
int32_t time_check_set_wifi_status(int32_t on);

// LED_AUTO while the store has the LEDs in any state but off, else LED_OFF.
int32_t time_check_get_led_sta();

// Stores an LED state (LED_OFF to LED_AUTO) unless it is the stored one, and sets the LEDs; those of a product whose
// schedule cuts the LEDs' power are not turned off by it. Always 1.
int32_t time_check_set_led_status(uint32_t state);

#endif
