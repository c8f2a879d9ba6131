// The Wi-Fi schedule (module 3).
#ifndef TIME_CHECK_TIME_CHECK_WIFI_H
#define TIME_CHECK_TIME_CHECK_WIFI_H

#include "time_check/time_check.h"

void time_check_wifi_init();

// The tick.
int32_t time_check_wifi();

int32_t time_check_wifi_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

#endif
