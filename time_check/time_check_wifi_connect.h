// Supervision of the wireless uplink (module 7).
#ifndef TIME_CHECK_TIME_CHECK_WIFI_CONNECT_H
#define TIME_CHECK_TIME_CHECK_WIFI_CONNECT_H

#include "time_check/time_check.h"

void time_check_wifi_connect_init();

// The tick.
void time_check_wifi_connect();

int32_t time_check_wifi_connect_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

#endif
