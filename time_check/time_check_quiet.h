// Whether the network is quiet: who is on it, what goes through it, and the count of samples which the scheduled reboot
// and power saving share.
#ifndef TIME_CHECK_TIME_CHECK_QUIET_H
#define TIME_CHECK_TIME_CHECK_QUIET_H

#include <cstddef>
#include <cstdint>

#include "platform/status.h"
#include "time_check/time_check_fractions.h"

// ---- traffic and clients ----

// Byte counts.
struct FLOW_SPEED {
    uint64_t rx_flow;
    uint64_t tx_flow;
};
using P_FLOW_SPEED = FLOW_SPEED *;

// Whether the ARP table knows a client behind `ifname`: 1 or 0.
int32_t time_check_get_client(const char *ifname);

// Replaces `flow` by the interface's byte counters. 1, or 0 when they cannot be read.
int32_t time_check_get_RX_TX_pack(const char *ifname, P_FLOW_SPEED flow);

// Adds the forwarded bytes of all LAN hosts to `flow`. Always 1 (compat 83).
int32_t time_check_get_forword_RX_TX_pack(P_FLOW_SPEED flow);

// Adds what the LAN was sent as multicast to `flow`, rx side. 1, or 0 when they cannot be read.
int32_t time_check_get_multicast_forword_RX_TX_pack(P_FLOW_SPEED flow);

// 1 per LAN bridge that has a client: "br0" and "br1"; when neither has, the LAN's and the guests' of other names.
int32_t time_check_get_bridge_clients();

// The forwarded bytes, unicast and multicast together.
FLOW_SPEED time_check_get_forwarded_flow();

// ---- the quiet-network count ----

// A byte counter now and at the previous sample.
struct flow_counter {
    uint64_t now;
    uint64_t before;
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

// Low samples after which the next one decides: half an hour of them, the first the baseline.
constexpr uint32_t LOW_SAMPLES = 1800;

// Counts one sample; `limit` is how many bytes a counter must stay below since the previous one to be low. Counters
// that count become the previous ones.
QUIET_SAMPLE time_check_quiet_sample(uint32_t *count, flow_counter *counters, size_t counter_num, uint32_t limit);

// A counter's rate in kB/s over `period` seconds.
WITH_FRACTIONS float time_check_flow_rate(uint64_t now, uint64_t before, uint32_t period);

// A module's count of the forwarded traffic.
struct forwarded_count {
    uint32_t count;           // samples in a row that were low, the baseline included
    flow_counter counters[2]; // received, sent
    status_quiet *seen;       // where it tells what it saw
};

// Tells how far a module's counts are: samples in a row without a client, else those with little traffic.
void time_check_tell_counts(status_row *row, const forwarded_count *watch, uint32_t no_client);

// Reads the forwarded traffic and counts one sample of it, `period` seconds after the previous one, low below `speed`
// bytes per second, and prints the caller's lines, some of them while the debug switch of `module` is on. 1 when it has
// been quiet for long enough, else 0.
WITH_FRACTIONS int32_t time_check_count_forwarded(uint32_t module, forwarded_count *watch, uint32_t speed,
                                                  uint32_t period, const char *function = __builtin_FUNCTION());

#endif
