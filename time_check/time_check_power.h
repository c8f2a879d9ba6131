// The scheduled power saving (module 2).
#ifndef TIME_CHECK_TIME_CHECK_POWER_H
#define TIME_CHECK_TIME_CHECK_POWER_H

#include "time_check/time_check.h"

void time_check_power_init();

// The tick.
int32_t time_check_power();

int32_t time_check_power_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

#endif
