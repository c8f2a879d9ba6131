// What the CPU watchdog and the liveness watchdog share.
#ifndef TIME_CHECK_TIME_CHECK_WATCHDOG_H
#define TIME_CHECK_TIME_CHECK_WATCHDOG_H

#include <cstdint>

#include "platform/status.h"

// Whether a message's target is every program instead of one.
bool time_check_names_all_programs(const char *target);

// Tells what a look at a program has found, in its own part and the module's row.
void time_check_tell_look(status_row *row, status_program *program, uint8_t verdict);

// A share in tenths of a percent, the largest number for one that is beyond all machines.
uint32_t time_check_tenths(float percent);

// Kills every process named `name`, then runs the shell command `command` (empty: none), with a line of `function`
// that says so. Both texts are the product's own, so neither is quoted.
void time_check_kill_program(const char *name, const char *command, const char *function = __builtin_FUNCTION());

#endif
