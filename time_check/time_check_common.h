// Probes, clock helpers and quiet-network counts that several modules share, and the text helpers with them.
#ifndef TIME_CHECK_TIME_CHECK_COMMON_H
#define TIME_CHECK_TIME_CHECK_COMMON_H

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "platform/netctrl.h"
#include "time_check/time_check_text.h" // IWYU pragma: export

// ---- clock ----

// Seconds since local midnight.
constexpr uint32_t SECONDS_AN_HOUR = 3600;
constexpr uint32_t SECONDS_A_MINUTE = 60;

// Before this year the clock has not been set.
constexpr int32_t FIRST_VALID_YEAR = 2001;

// The kind of a schedule.
enum TIMERCHECKTYPE : uint32_t {
    TIMER_CHECK_EACH_DAY = 0,      // act at the start of the daily window
    TIMER_CHECK_EACH_DAY_FLOW = 1, // act inside the daily window once traffic is low
    TIMER_CHECK_ONE_DAY = 2,       // accepted, without behaviour
    TIMER_CHECK_ONE_DAY_FLOW = 3,  // accepted, without behaviour
};

// Broken-down local time, with the C library's meanings.
struct time_check_clock {
    int32_t tm_sec;
    int32_t tm_min;
    int32_t tm_hour;
    int32_t tm_mday;
    int32_t tm_mon;
    int32_t tm_year;
};

// Reads the clock. Always 1.
int32_t time_check_get_now_time(time_check_clock *snapshot, time_t *now);

// Reads the seconds since the machine started. Always 1.
int32_t time_check_get_run_time(uint64_t *run_time);

// Whether the clock has been set.
bool time_check_clock_is_set(const time_check_clock *snapshot);

// Seconds since local midnight at `snapshot`.
uint32_t time_check_time_of_day(const time_check_clock *snapshot);

// The seconds between two moments, whichever comes first.
constexpr uint32_t time_check_seconds_apart(uint32_t one, uint32_t other)
{
    return one > other ? one - other : other - one;
}

// 1 when the local time of day lies in the daily window, both ends included; end before start passes midnight. Else 0.
int32_t time_check_in_time_check(uint32_t start, uint32_t end);

// A delay of 0 to 599 seconds.
uint32_t time_check_get_sleep_rand();

// ---- Wi-Fi and LED switching ----

enum TIMERCHECKWIFISTATUS { WIFI_OFF = 0, WIFI_ON = 1 };

enum TIMERCHECKLEDSTATUS : uint32_t {
    LED_OFF = 0,
    LED_ON = 1,
    LED_SPLASH = 2,
    LED_AUTO = 3, // as the board drives them by itself
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
    {.enable = "wl2g.enable",
     .public_enable = "wl2g.public.enable",
     .ssid0_enable = "wl2g.ssid0.enable",
     .wl_rate = WL_RATE_2G},
    {.enable = "wl5g.enable",
     .public_enable = "wl5g.public.enable",
     .ssid0_enable = "wl5g.ssid0.enable",
     .wl_rate = WL_RATE_5G},
};

// Whether the key holds exactly `text`, of at most 30 characters; a missing key holds "".
bool time_check_key_is(const char *key, const char *text);

// Whether the key holds exactly "1".
bool time_check_key_is_on(const char *key);

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

// 1 when the clock is set and inside the power-saving period, else 0.
int32_t time_check_ledclose_power_flag();

// ---- schedule settings ----

// Parses "HH:MM" into seconds since midnight; a text without two parts gives the default. Not range-checked.
uint32_t time_check_parse_time_of_day(const char *text, uint32_t default_hour, uint32_t default_minute);

// Parses seven ";"-separated day switches of one character each. Missing ones are 0, an empty one ends the list.
void time_check_parse_wday(const char *text, uint32_t (&wday_en)[7]);

// ---- traffic and clients ----

// Byte counts.
struct FLOW_SPEED {
    uint64_t rx_flow;
    uint64_t tx_flow;
};
using P_FLOW_SPEED = FLOW_SPEED *;

// 1 when the neighbour table holds a live entry on `ifname`, else 0.
int32_t time_check_get_client(const char *ifname);

// Replaces `flow` by the interface's byte counters. 1, or 0 when they cannot be read.
int32_t time_check_get_RX_TX_pack(const char *ifname, P_FLOW_SPEED flow);

// Adds the forwarded bytes of all LAN hosts to `flow`. Always 1.
int32_t time_check_get_forword_RX_TX_pack(P_FLOW_SPEED flow);

// Adds the multicast bytes sent into the LAN to the rx side of `flow`. 1, or 0 when they cannot be read.
int32_t time_check_get_multicast_forword_RX_TX_pack(P_FLOW_SPEED flow);

// 1 per LAN bridge ("br0", "br1") that has a client.
int32_t time_check_get_bridge_clients();

// The forwarded bytes, unicast and multicast together.
FLOW_SPEED time_check_get_forwarded_flow();

// ---- the quiet-network count, shared by the scheduled reboot and power saving ----

// A byte counter now and at the previous sample.
struct flow_counter {
    const uint64_t *now;
    uint64_t *before;
};

enum QUIET_SAMPLE {
    QUIET_BASELINE,    // the first sample of a count: nothing to compare with
    QUIET_WENT_BACK,   // a counter was reset: the sample does not count
    QUIET_LOW,         // all counters are low: the sample counts
    QUIET_BUSY,        // some counter is not low: the count starts again
    QUIET_LONG_ENOUGH, // quiet for long enough: the count starts again, nothing was compared
};

// Samples without a client after which the next one decides, tested before it is counted.
constexpr uint32_t NO_CLIENT_SAMPLES = 180;

// Counts one sample; `limit` is how many bytes a counter must stay below since the previous one to be low.
QUIET_SAMPLE time_check_quiet_sample(uint32_t *count, const flow_counter *counters, size_t counter_num, uint32_t limit);

// A counter's rate in kB/s over `period` seconds.
float time_check_flow_rate(uint64_t now, uint64_t before, uint32_t period);

// A module's count of the forwarded traffic, and in whose name its samples print.
struct forwarded_count {
    const char *function;
    uint32_t module; // whose debug switch shows them
    uint32_t *count;
    flow_counter counters[2]; // received, sent
};

// Counts one sample of the forwarded traffic, `period` seconds after the previous one, low below `speed` bytes per
// second, and prints its lines. 1 when it has been quiet for long enough, else 0.
int32_t time_check_count_forwarded(const forwarded_count *watch, uint32_t speed, uint32_t period);

#endif
