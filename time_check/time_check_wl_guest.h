// The guest Wi-Fi's expiry (module 9).
#ifndef TIME_CHECK_TIME_CHECK_WL_GUEST_H
#define TIME_CHECK_TIME_CHECK_WL_GUEST_H

#include "time_check/time_check.h"

void time_check_wl_guest_init();

// The tick.
void time_check_wl_guest();

int32_t time_check_wl_guest_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

#endif
