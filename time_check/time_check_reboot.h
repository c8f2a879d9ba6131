// The scheduled reboot (module 1): once a day, at the start of a window or once the network has gone quiet inside it.
#ifndef TIME_CHECK_TIME_CHECK_REBOOT_H
#define TIME_CHECK_TIME_CHECK_REBOOT_H

#include "time_check/time_check.h"
#include "time_check/time_check_fractions.h"

// By which branch of the rule a tick went.
enum class reboot_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/reboot.def"
};

void time_check_reboot_init();

// The tick. Always 1.
int32_t time_check_reboot();

// What the last tick found; before the first one, `off`.
reboot_verdict time_check_reboot_verdict();

// The drivers of the two daily kinds.
void time_check_reboot_each_day();
void time_check_reboot_each_day_flow();

// Always 1.
int32_t time_check_reboot_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Reloads the whole schedule from the store and prints it (compat 82).
int32_t set_time_check_reboot_info();

// Decides the WAN interface anew and prints the schedule.
int32_t set_time_check_reboot_wan_info();

int32_t time_check_reboot_info_printf();

// One sample of the network, `period` seconds after the previous one (at least 1). 1 when it has been quiet for long
// enough, else 0; restarts the machine by itself when no LAN client has been seen for long enough.
int32_t flow_check_forword_reboot(uint32_t period);

// ---- for products ----

// flow_check_forword_reboot on the bridges' own counters and the WAN interface's. Nothing in the daemon calls it
// (compat 93).
WITH_FRACTIONS int32_t flow_check_reboot(uint32_t period);

#endif
