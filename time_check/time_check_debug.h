// The debug module (id 0): by message, the debug lines of any module come and go while the daemon runs.
#ifndef TIME_CHECK_TIME_CHECK_DEBUG_H
#define TIME_CHECK_TIME_CHECK_DEBUG_H

#include "time_check/time_check.h"

extern int32_t debug_tag; // the master switch

void time_check_debug_init();

int32_t time_check_debug_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Toggles the master switch and module `id`'s switch. 1, or 0 when there is no such module.
int32_t set_time_check_debug_info(uint32_t id);

// 1 when the master switch is on and `id` is a module, else 0. The module's own switch is not asked: all
// callers share the one master switch (compat 6).
int32_t get_time_check_debug_info(uint32_t id);

#endif
