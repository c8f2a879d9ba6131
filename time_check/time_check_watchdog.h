// What the CPU watchdog and the liveness watchdog share.
#ifndef TIME_CHECK_TIME_CHECK_WATCHDOG_H
#define TIME_CHECK_TIME_CHECK_WATCHDOG_H

// Whether a message's target is every program instead of one.
bool time_check_names_all_programs(const char *target);

// Kills every process named `name`, then runs the shell command `command` (empty: none), with a line of `function`
// that says so. Both texts are the product's own, so neither is quoted.
void time_check_kill_program(const char *name, const char *command, const char *function = __builtin_FUNCTION());

#endif
