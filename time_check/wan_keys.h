// The store keys of the WANs, and how many of these there are. No state: both threads ask.
#ifndef TIME_CHECK_WAN_KEYS_H
#define TIME_CHECK_WAN_KEYS_H

#include <cstdint>

// WANs are numbered from 1; records exist for so many (decision 0030).
constexpr int WAN_NUM = 2;

// The number of WANs that "wans.flag" gives, whatever it is.
int32_t wans_in_settings();

// The same, WAN_NUM at the most.
int configured_wans();

// A store key of one WAN: "wan", the number, `field`.
struct wan_key_name {
    char text[48];
};
wan_key_name wan_key(int wan_id, const char *field);

#endif
