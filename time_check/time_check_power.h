// The scheduled power saving (module 2): Wi-Fi and LEDs off in a daily period, or once the network has gone quiet in
// it.
#ifndef TIME_CHECK_TIME_CHECK_POWER_H
#define TIME_CHECK_TIME_CHECK_POWER_H

#include "time_check/time_check.h"
#include "time_check/time_check_clock.h"

// By which branch of the rule a tick went.
enum class power_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/power.def"
};

enum TIMERCHECKPOWERSTATUS : uint32_t {
    TIMER_CHECK_POWER_OFF = 0, // to sleep
    TIMER_CHECK_POWER_ON = 1,  // awake
};

void time_check_power_init();

// The tick. Always 1.
int32_t time_check_power();

// What the last tick found; before the first one, `off`.
power_verdict time_check_power_verdict();

// The drivers of the two daily kinds.
void time_check_power_each_day();
void time_check_power_each_day_flow();

// Always 1.
int32_t time_check_power_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Reloads the configuration from the store and prints it.
void set_time_check_power_info();

void time_check_power_info_printf();

// 1 while the store says that the router sleeps, else 0.
int32_t time_check_power_is_in_sleep();

// 1 when power saving is enabled and now is in its period, asleep or not, else 0. Wi-Fi and LED schedules then stand
// still.
int32_t time_check_power_is_in_power_time();

// Whether power saving is enabled as that question means it: else it need not be asked.
bool time_check_power_is_enabled();

// The same of another moment than the present one, without a look at the clock.
bool time_check_power_is_in_power_time_at(const moment *now);

// Puts the router to sleep or wakes it, a TIMERCHECKPOWERSTATUS; what a schedule wants off stays off on waking. Other
// numbers do nothing.
void time_check_power_change_status(uint32_t status);

// Suspends power saving for what is left of the period: none outside it.
void update_nimbix_wake_up_time();

// Wakes the router if it sleeps.
void time_check_power_stop();

// One sample of the network, `interval` seconds after the previous one (at least 1). 1 when it has been quiet, or
// without a LAN client, for long enough, else 0.
int32_t flow_check_forword_power(uint32_t interval);

#endif
