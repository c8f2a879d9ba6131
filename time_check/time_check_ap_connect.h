// The wired AP mode's gateway check (module 8).
#ifndef TIME_CHECK_TIME_CHECK_AP_CONNECT_H
#define TIME_CHECK_TIME_CHECK_AP_CONNECT_H

#include "time_check/time_check.h"

void time_check_ap_connect_init();

// The tick.
int32_t time_check_ap_connect();

int32_t time_check_ap_connect_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

#endif
