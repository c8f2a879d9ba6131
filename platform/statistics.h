// Traffic that the router forwarded for each LAN host.
#ifndef PLATFORM_STATISTICS_H
#define PLATFORM_STATISTICS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// One LAN host. The counters only grow while the router runs.
typedef struct users_info {
    uint64_t up_bytes;   // sent by the host
    uint64_t down_bytes; // received by the host
} users_info;

// Where get_statistic_info leaves its records; null when there are none. Defined by the daemon, which frees it.
extern users_info *ip_info;

// Takes the counters of all LAN hosts: `count` records, malloc'ed, in `ip_info`; the caller frees them and sets it to
// null. `first` and `second` are totals of the ground's own choosing, which the daemon does not use.
// 0: done. Non-zero: the counters cannot be read; nothing was written. Main thread.
int get_statistic_info(uint64_t *first, uint64_t *second, int *count);

#ifdef __cplusplus
}
#endif

#endif
