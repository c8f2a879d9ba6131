// The process CPU watchdog (module 5).
#ifndef TIME_CHECK_TIME_CHECK_CPU_H
#define TIME_CHECK_TIME_CHECK_CPU_H

#include "time_check/time_check.h"

void time_check_cpu_init();

// The tick.
int32_t time_check_cpu();

int32_t time_check_cpu_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

#endif
