// The Wi-Fi schedule (module 3): the radios go off in weekly periods. Power saving comes first.
#ifndef TIME_CHECK_TIME_CHECK_WIFI_H
#define TIME_CHECK_TIME_CHECK_WIFI_H

#include <ctime>

#include "time_check/time_check.h"

// By which branch of the rule a look at the schedule went.
enum class wifi_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/wifi.def"
};

void time_check_wifi_init();

// The tick. Always 1.
int32_t time_check_wifi();

// What the last look found; a tick that is not due for one keeps it. Before the first, `no_period`.
wifi_verdict time_check_wifi_verdict();

// Always 1.
int32_t time_check_wifi_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Reloads the schedule from the store. Always TIMER_CHECK_ERR, which says nothing (compat 49).
TIMERCHECKINFO set_time_check_wifi_info();

// Makes each band's radio and main network agree with the user's switch. Only the first call does anything.
void time_check_wifi_enable();

// 1 when the schedule is enabled and wants Wi-Fi off at this moment, else 0.
int32_t time_check_wifi_is_in_wifi_time();

// Switches Wi-Fi at the edges of the periods, as of `now`.
void time_check_wifi_for_day(time_t now);

// Gives Wi-Fi back to the user: on, unless power saving has put it to sleep.
void time_check_wifi_stop();

// ---- for products ----

// Switches Wi-Fi on if nothing has been loaded yet. Nothing in the daemon calls it (compat 94).
void time_check_first_turn_on_wifi();

#endif
