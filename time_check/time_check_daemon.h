// The process liveness watchdog (module 6).
#ifndef TIME_CHECK_TIME_CHECK_DAEMON_H
#define TIME_CHECK_TIME_CHECK_DAEMON_H

#include "time_check/time_check.h"

void time_check_daemon_init();

// The tick.
int32_t time_check_daemon();

int32_t time_check_daemon_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

#endif
