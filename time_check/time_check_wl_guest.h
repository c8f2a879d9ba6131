// The guest Wi-Fi's expiry (module 9): a guest network opened for a limited time is closed when the time is up.
#ifndef TIME_CHECK_TIME_CHECK_WL_GUEST_H
#define TIME_CHECK_TIME_CHECK_WL_GUEST_H

#include "time_check/time_check.h"

// By which branch of the rule a tick went.
enum class guest_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/guest.def"
};

void time_check_wl_guest_init();

// The tick.
void time_check_wl_guest();

// What the last tick found; before the first one, `no_limit`.
guest_verdict time_check_wl_guest_verdict();

// Starts the time of the guest network for a message "wl_guest". 1 for that message, else 0.
int32_t time_check_wl_guest_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Closes a guest network that was opened for a limited time before the daemon started: how long ago is not known.
void time_check_wl_guest_first_init();

// Starts the time of the guest network, anew if it is running already, provided that the network is on.
void time_check_wl_guest_info();

// Has netctrl apply the guest network of each band whose op, 0 to 3, is not 0. Other numbers do nothing.
void do_wifi_handle(int32_t wl2g_op, int32_t wl5g_op);

#endif
