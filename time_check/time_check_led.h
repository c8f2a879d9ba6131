// The LED schedule (module 4).
#ifndef TIME_CHECK_TIME_CHECK_LED_H
#define TIME_CHECK_TIME_CHECK_LED_H

#include "time_check/time_check.h"

void time_check_led_init();

// The tick.
int32_t time_check_led();

int32_t time_check_led_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

#endif
