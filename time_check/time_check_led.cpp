#include "time_check/time_check_led.h"

#include <cstdio>
#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/netctrl.h"
#include "platform/system.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_common.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_schedule.h"
#include "time_check/time_check_text.h"

enum { LED_TYPE_CLOSE = 0, LED_TYPE_OPEN = 1, LED_TYPE_TIME = 2 };

struct time_check_led {
    uint32_t type; // LED_TYPE_CLOSE until a setting has been read
    sched_rule led_time[SCHED_RULES_MAX];
    uint32_t num; // rules loaded; 0 unless LED_TYPE_TIME
};

static struct time_check_led time_check_led_struct;
[[maybe_unused]] static uint32_t time_check_led_start_flag = 1; // as Wi-Fi's, only kept: no rule asks for it
static uint32_t time_check_app_led_button; // up-time of the app's last switching, seconds; 0: none to look at

static time_check_msg_ops sys_time_check_led_ops = own_handler(TIME_CHECK_LED, time_check_led_msg_handle);

// ---- configuration and messages ----

static void load_open()
{
    time_check_led_struct.type = LED_TYPE_OPEN;
    if (time_check_power_is_in_power_time() == 0 || time_check_app_led_button != 0) // the app overrides sleep, once
        time_check_set_led_status(LED_AUTO);
    time_check_app_led_button = 0;
}

static void load_time(const time_check_clock *clock)
{
    if (!time_check_clock_is_set(clock))
        time_check_led_start_flag = 1;
    time_check_led_struct.type = LED_TYPE_TIME;
    time_check_led_struct.num = load_sched_rules(LED_RULES, time_check_led_struct.led_time);
    if (time_check_app_led_button != 0 && time_check_app_led_button < static_cast<uint32_t>(get_uptime()))
        time_check_led_start_flag = time_check_get_led_sta() != LED_OFF;
    time_check_app_led_button = 0;
}

TIMERCHECKINFO set_time_check_led_info()
{
    char type[16];
    time_check_clock clock;
    time_t now = 0;
    time_check_get_now_time(&clock, &now);
    memset(&time_check_led_struct, 0, sizeof time_check_led_struct);

    if (GetValue(KEY_LED_TYPE, type) == 0)
        return TIMER_CHECK_SUC;
    if (strcmp(type, "close") == 0)
        time_check_led_close();
    else if (strcmp(type, "open") == 0)
        load_open();
    else if (strcmp(type, "time") == 0)
        load_time(&clock);
    else
        return TIMER_CHECK_ERR;
    return TIMER_CHECK_SUC;
}

int32_t time_check_led_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    if (msg->relate_module_id == WIFI_MODULE && strcmp(msg->string_info, "first_time_start") == 0) {
        char state[16];
        snprintf(state, sizeof state, "%d", LED_AUTO);
        SetValue(KEY_LED_STATE, state);
        if (time_check_led_struct.type == LED_TYPE_CLOSE)
            time_check_set_led_status(LED_OFF);
    } else if (msg->relate_module_id == ALI_NIMBIX_MODULE && msg->string_info[0] != '\0') {
        time_check_app_led_button = static_cast<uint32_t>(time_check_atoi(msg->string_info));
    } else {
        set_time_check_led_info();
    }
    return TIMER_CHECK_SUC;
}

void time_check_led_init()
{
    set_time_check_led_info();
    register_time_check_module_msg_opses(&sys_time_check_led_ops, 1);
}

// ---- the setting ----

// The first rule alone and its days left out, unlike the tick: kept on purpose.
int32_t time_check_led_is_in_led_time()
{
    const struct tm *first = time_check_led_struct.led_time[0].tv;
    switch (time_check_led_struct.type) {
    case LED_TYPE_CLOSE:
        return 1;
    case LED_TYPE_TIME:
        return time_check_in_time_check(sched_time_of_day(&first[WLAN_PWDN_TM]),
                                        sched_time_of_day(&first[WLAN_PWUP_TM]));
    default:
        return 0;
    }
}

int32_t time_check_ledclose_power_flag()
{
    if (time_check_power_is_in_power_time() == 0)
        return 0;
    time_check_clock clock;
    time_t now = 0;
    time_check_get_now_time(&clock, &now);
    return time_check_clock_is_set(&clock);
}

void time_check_led_open()
{
    if (time_check_ledclose_power_flag() == 0)
        time_check_set_led_status(LED_AUTO);
}

void time_check_led_close()
{
    if (time_check_ledclose_power_flag() == 0)
        time_check_set_led_status(LED_OFF);
}

void time_check_led_time()
{
    static uint32_t tmp_last_time; // calendar seconds of the last evaluation

    const time_t now = time(nullptr);
    if (sched_is_due(&tmp_last_time, now))
        time_check_led_for_time(now);
}

void time_check_led_for_time(time_t now)
{
    if (time_check_led_struct.num == 0)
        return;
    struct tm local = {};
    localtime_r(&now, &local);
    if (local.tm_year + 1900 < FIRST_VALID_YEAR || time_check_power_is_in_power_time() > 0)
        return;
    const bool off = sched_rules_hold(time_check_led_struct.led_time, time_check_led_struct.num, &local, nullptr);
    time_check_set_led_status(off ? LED_OFF : LED_AUTO);
}

int32_t time_check_led()
{
    switch (time_check_led_struct.type) {
    case LED_TYPE_OPEN:
        time_check_led_open();
        break;
    case LED_TYPE_CLOSE:
        time_check_led_close();
        break;
    case LED_TYPE_TIME:
        time_check_led_time();
        break;
    default:
        return 0;
    }
    return 1;
}
