// Probes, clock helpers and quiet-network counts that several modules share, and the text helpers with them.
#ifndef TIME_CHECK_TIME_CHECK_COMMON_H
#define TIME_CHECK_TIME_CHECK_COMMON_H

#include <cstddef>
#include <cstdint>
#include <ctime>

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
