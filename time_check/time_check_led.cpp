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
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"

enum { LED_TYPE_CLOSE = 0, LED_TYPE_OPEN = 1, LED_TYPE_TIME = 2 };

struct time_check_led {
    uint32_t type; // LED_TYPE_CLOSE until a setting has been read
    sched_rule led_time[SCHED_RULES_MAX];
    uint32_t num; // rules loaded; 0 unless LED_TYPE_TIME
};

static struct led_state {
    struct time_check_led time_check_led_struct;
    uint32_t time_check_led_start_flag = 1; // as Wi-Fi's, only kept: no rule asks for it (compat 52)
    uint32_t time_check_app_led_button;     // up-time of the app's last switching, seconds; 0: none to look at
    uint32_t tmp_last_time;                 // calendar seconds of the last look at the periods
    led_verdict verdict;
} state; // no "= {}", which would put the whole table of rules into the program file

static time_check_msg_ops sys_time_check_led_ops = own_handler(TIME_CHECK_LED, time_check_led_msg_handle);

// ---- configuration and messages ----

static void load_open()
{
    state.time_check_led_struct.type = LED_TYPE_OPEN;
    // The app overrides sleep, once.
    if (time_check_power_is_in_power_time() == 0 || state.time_check_app_led_button != 0)
        time_check_set_led_status(LED_AUTO);
    state.time_check_app_led_button = 0;
}

static void load_time()
{
    moment now = {};
    moment_read_clock(&now);
    if (!moment_clock_is_set(&now))
        state.time_check_led_start_flag = 1;
    state.time_check_led_struct.type = LED_TYPE_TIME;
    state.time_check_led_struct.num = load_sched_rules(LED_RULES, state.time_check_led_struct.led_time);
    if (state.time_check_app_led_button != 0 && state.time_check_app_led_button < static_cast<uint32_t>(get_uptime()))
        state.time_check_led_start_flag = time_check_get_led_sta() != LED_OFF;
    state.time_check_app_led_button = 0;
}

static TIMERCHECKINFO load()
{
    char type[16];
    memset(&state.time_check_led_struct, 0, sizeof state.time_check_led_struct);

    if (GetValue(KEY_LED_TYPE, type) == 0)
        return TIMER_CHECK_SUC;
    if (strcmp(type, "close") == 0)
        time_check_led_close();
    else if (strcmp(type, "open") == 0)
        load_open();
    else if (strcmp(type, "time") == 0)
        load_time();
    else
        return TIMER_CHECK_ERR;
    return TIMER_CHECK_SUC;
}

TIMERCHECKINFO set_time_check_led_info()
{
    const TIMERCHECKINFO result = load();
    tell_sched_rules(&status_memory.main.led, state.time_check_led_struct.type, state.time_check_led_struct.led_time,
                     state.time_check_led_struct.num);
    return result;
}

int32_t time_check_led_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    if (msg->relate_module_id == WIFI_MODULE && strcmp(msg->string_info, "first_time_start") == 0) {
        char text[16];
        snprintf(text, sizeof text, "%d", LED_AUTO);
        SetValue(KEY_LED_STATE, text);
        if (state.time_check_led_struct.type == LED_TYPE_CLOSE)
            time_check_set_led_status(LED_OFF);
    } else if (msg->relate_module_id == ALI_NIMBIX_MODULE && msg->string_info[0] != '\0') {
        state.time_check_app_led_button = static_cast<uint32_t>(time_check_atoi(msg->string_info));
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

// ---- what the rule finds ----

// The first rule alone and its days left out, unlike the tick (compat 51).
int32_t time_check_led_is_in_led_time()
{
    const struct tm *first = state.time_check_led_struct.led_time[0].tv;
    moment now = {};
    switch (state.time_check_led_struct.type) {
    case LED_TYPE_CLOSE:
        return 1;
    case LED_TYPE_TIME:
        moment_read_clock(&now);
        return moment_in_window(&now, sched_time_of_day(&first[WLAN_PWDN_TM]), sched_time_of_day(&first[WLAN_PWUP_TM]));
    default:
        return 0;
    }
}

int32_t time_check_ledclose_power_flag()
{
    if (!time_check_power_is_enabled()) // and the clock is not read
        return 0;
    moment now = {};
    moment_read_clock(&now);
    return time_check_power_is_in_power_time_at(&now) && moment_clock_is_set(&now);
}

// The rule for "close" and "open", which want the LEDs one way at all times, has one question.
static led_verdict judge_always(led_verdict wanted)
{
    return time_check_ledclose_power_flag() != 0 ? led_verdict::power_saving_first : wanted;
}

// Power saving is asked of the `present`, whatever moment the rules are looked at for.
static led_verdict judge_periods(const led_state *s, const moment *now, const moment *present)
{
    using enum led_verdict;
    if (s->time_check_led_struct.num == 0)
        return no_period;
    if (!moment_clock_is_set(now))
        return clock_unset;
    if (time_check_power_is_in_power_time_at(present))
        return power_saving_first;
    return sched_rules_hold(s->time_check_led_struct.led_time, s->time_check_led_struct.num, &now->local, nullptr)
               ? in_period
               : between_periods;
}

led_verdict time_check_led_verdict()
{
    return state.verdict;
}

// ---- the setting ----

static void carry_out(led_verdict verdict)
{
    state.verdict = verdict;
    status_judged(&status_memory.main.rows[STATUS_LED], verdict);
    switch (verdict) {
    case led_verdict::always_off:
    case led_verdict::in_period:
        time_check_set_led_status(LED_OFF);
        break;
    case led_verdict::always_on:
    case led_verdict::between_periods:
        time_check_set_led_status(LED_AUTO);
        break;
    default: // leave them
        break;
    }
}

void time_check_led_open()
{
    carry_out(judge_always(led_verdict::always_on));
}

void time_check_led_close()
{
    carry_out(judge_always(led_verdict::always_off));
}

void time_check_led_time()
{
    const time_t calendar = time(nullptr);
    if (sched_is_due(&state.tmp_last_time, calendar)) {
        moment now = {};
        if (state.time_check_led_struct.num > 0)
            moment_set_clock(&now, calendar);
        carry_out(judge_periods(&state, &now, &now));
    }
}

void time_check_led_for_time(time_t now)
{
    moment asked = {};
    moment present = {};
    moment_set_clock(&asked, now);
    moment_read_clock(&present);
    carry_out(judge_periods(&state, &asked, &present));
}

int32_t time_check_led()
{
    switch (state.time_check_led_struct.type) {
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
