// The LED setting (module 4): always off, always on, or off in weekly periods. Power saving comes first.
#ifndef TIME_CHECK_TIME_CHECK_LED_H
#define TIME_CHECK_TIME_CHECK_LED_H

#include <ctime>

#include "time_check/time_check.h"

// By which branch of the rule a tick went.
enum class led_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/led.def"
};

void time_check_led_init();

// The tick: what the setting says, again and again. 1, or 0 for an unknown setting.
int32_t time_check_led();

// What was found when the LEDs were last looked after; a tick that is not due for a look at the periods keeps it.
// Before the first, `no_period`.
led_verdict time_check_led_verdict();

// Always 1.
int32_t time_check_led_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Reloads the setting from the store and applies "close" and "open" at once. TIMER_CHECK_ERR for an unknown word.
TIMERCHECKINFO set_time_check_led_info();

// 1 when the setting wants the LEDs off at this moment, else 0. Of weekly periods only the first is looked at, as a
// daily one.
int32_t time_check_led_is_in_led_time();

// 1 when the clock is set and inside the power-saving period, else 0.
int32_t time_check_ledclose_power_flag();

// What the tick does in each setting.
void time_check_led_open();
void time_check_led_close();
void time_check_led_time();

// Sets the LEDs as the weekly periods want them at `now`.
void time_check_led_for_time(time_t now);

#endif
