#include "time_check/time_check_power.h"

#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_common.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_quiet.h"
#include "time_check/time_check_schedule.h"
#include "time_check/time_check_setting.h"
#include "time_check/time_check_text.h"
#include "time_check/time_check_wifi.h"

struct time_check_power {
    uint32_t enabled;
    uint32_t type;       // a TIMERCHECKTYPE, or a number that is none
    uint32_t wday_en[7]; // read and printed; the period is every day's
    uint32_t start_time; // seconds since midnight
    uint32_t end_time;   // seconds since midnight; before start_time: the period passes midnight
    uint32_t max_speed;  // kB/s, 1 kB = 1000 bytes
};

static struct time_check_power time_check_power_struct;
static uint32_t time_check_power_start_flag = 1;   // 0: put to sleep in this period, or a wake-up is owed
static uint32_t time_check_power_in_power;         // 1: for this period sleep is decided on
static uint32_t time_check_power_pack_check_speed; // bytes per second
static forwarded_count forwarded;
static uint32_t time_check_power_no_client_check_count;
static int32_t nimbix_wake_up_time; // seconds for which the app has suspended power saving

static time_check_msg_ops sys_time_check_power_ops = own_handler(TIME_CHECK_POWER, time_check_power_msg_handle);

static bool in_period()
{
    return time_check_in_time_check(time_check_power_struct.start_time, time_check_power_struct.end_time) != 0;
}

// ---- configuration and queries ----

void set_time_check_power_info()
{
    char value[64];
    memset(&time_check_power_struct, 0, sizeof time_check_power_struct);

    GetValue(KEY_POWER_ENABLE, value);
    time_check_power_struct.enabled = static_cast<uint32_t>(time_check_atoi(value));
    GetValue(KEY_POWER_TYPE, value);
    time_check_power_struct.type = static_cast<uint32_t>(time_check_atoi(value));
    GetValue(KEY_POWER_WDAY, value);
    time_check_parse_wday(value, time_check_power_struct.wday_en);
    GetValue(KEY_POWER_START_TIME, value);
    time_check_power_struct.start_time = time_check_parse_time_of_day(value, 0, 0);
    GetValue(KEY_POWER_END_TIME, value);
    time_check_power_struct.end_time = time_check_parse_time_of_day(value, 7, 0);

    GetValue(KEY_POWER_MAX_SPEED, value);
    time_check_power_struct.max_speed = static_cast<uint32_t>(time_check_atoi(value[0] == '\0' ? "3" : value));
    time_check_power_pack_check_speed = time_check_power_struct.max_speed * 1000;

    forwarded.count = 0;
    time_check_power_no_client_check_count = 0;
    time_check_power_info_printf();
}

void time_check_power_info_printf()
{
    const struct time_check_power *s = &time_check_power_struct;
    const uint32_t *day = s->wday_en;
    LOG_INFO("\t\t enable:%d\n", s->enabled);
    LOG_INFO("\t\t type:%d\n", s->type);
    LOG_INFO("\t\t wday_en:%d;%d;%d;%d;%d;%d;%d\n", day[0], day[1], day[2], day[3], day[4], day[5], day[6]);
    LOG_INFO("\t\t start_time:%02d:%02d\n", s->start_time / 3600, s->start_time % 3600 / 60);
    LOG_INFO("\t\t end_time:%02d:%02d\n", s->end_time / 3600, s->end_time % 3600 / 60);
    LOG_INFO("\t\t max_speed:%d\n", s->max_speed);
    LOG_INFO("\t\t check_speed=%d\n", time_check_power_pack_check_speed);
}

int32_t time_check_power_is_in_sleep()
{
    return time_check_key_is_on(KEY_PWR_SAVE_MODE);
}

int32_t time_check_power_is_in_power_time()
{
    return time_check_power_struct.enabled == 1 && in_period();
}

// ---- switching, wake-up and messages ----

static void enter_sleep()
{
    // The LEDs were set anew while the router slept: they are on as far as the store goes, so that they go off again.
    if (time_check_key_is_on(KEY_POWER_CLOSETYPE_CHANGED)) {
        SetValue(KEY_POWER_CLOSETYPE_CHANGED, "0");
        SetValue(KEY_LED_STATE, "3");
    }
    time_check_set_led_status(LED_OFF);
    time_check_set_wifi_status(WIFI_OFF);
    SetValue(KEY_PWR_SAVE_MODE, "1");
    CommitCfm();
}

static void leave_sleep()
{
    if (time_check_led_is_in_led_time() == 0)
        time_check_set_led_status(LED_AUTO);
    if (time_check_wifi_is_in_wifi_time() == 0)
        time_check_set_wifi_status(WIFI_ON);
    SetValue(KEY_PWR_SAVE_MODE, "0");
    CommitCfm();
}

void time_check_power_change_status(uint32_t status)
{
    if (status == TIMER_CHECK_POWER_OFF)
        enter_sleep();
    else if (status == TIMER_CHECK_POWER_ON)
        leave_sleep();
}

void update_nimbix_wake_up_time()
{
    constexpr uint32_t DAY_S = 24 * SECONDS_AN_HOUR;
    time_check_clock clock;
    time_t calendar = 0;
    time_check_get_now_time(&clock, &calendar);
    const uint32_t now = time_check_time_of_day(&clock);
    const uint32_t start = time_check_power_struct.start_time;
    const uint32_t end = time_check_power_struct.end_time;

    uint32_t left = 0;
    if (end < start) {
        if (now >= start)
            left = end - now + DAY_S;
        else if (now <= end)
            left = end - now;
    } else if (start <= now && now <= end) {
        left = end - now;
    }
    nimbix_wake_up_time = static_cast<int32_t>(left);
    LOG_INFO("\t\t nimbix_wake_up_time: %d\n", nimbix_wake_up_time);
}

void time_check_power_stop()
{
    if (time_check_power_is_in_sleep() == 1)
        time_check_power_change_status(TIMER_CHECK_POWER_ON);
}

int32_t time_check_power_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    LOG_PROGRESS("SYS_SCHED_POWER mode function to be added...\n");
    set_time_check_power_info();
    if (strcmp(msg->string_info, "nimbix_wake_up") == 0)
        update_nimbix_wake_up_time();
    else
        nimbix_wake_up_time = 0;

    switch (msg->op) {
    case OP_STOP:
        time_check_power_stop();
        time_check_power_in_power = 0;
        time_check_power_start_flag = in_period() ? 1 : 0; // outside, the driver then wakes the router once more
        break;
    case OP_START:
    case OP_RESTART:
        time_check_power_start_flag = 1;
        break;
    default:
        break;
    }
    return TIMER_CHECK_SUC;
}

void time_check_power_init()
{
    set_time_check_power_info();
    register_time_check_module_msg_opses(&sys_time_check_power_ops, 1);
    SetValue(KEY_PWR_SAVE_MODE, "0");
    CommitCfm();
}

// ---- the quiet-network check ----

// Counts as the scheduled reboot's does; but a long enough time without a client is only reported, and the count runs
// on past it, so that it is reported once.
int32_t flow_check_forword_power(uint32_t interval)
{
    const int32_t clients = time_check_get_bridge_clients();
    if (clients == 0) {
        LOG_DEBUG(TIME_CHECK_POWER, "num %d:br_client = %d!!\n", time_check_power_no_client_check_count, clients);
        forwarded.count = 0;
        return time_check_power_no_client_check_count++ == NO_CLIENT_SAMPLES;
    }
    time_check_power_no_client_check_count = 0;
    return time_check_count_forwarded(TIME_CHECK_POWER, &forwarded, time_check_power_pack_check_speed, interval);
}

// ---- the daily drivers ----

// Without a valid clock there is no period: the router is left as it is. The debug switch lifts that.
static bool may_act(time_check_clock *clock, time_t *now)
{
    time_check_get_now_time(clock, now);
    if (get_time_check_debug_info(TIME_CHECK_POWER) != 0 || time_check_clock_is_set(clock))
        return true;
    time_check_power_in_power = 0;
    return false;
}

static void sleep_in_period()
{
    time_check_power_in_power = 1;
    if (time_check_power_start_flag == 1) {
        time_check_power_change_status(TIMER_CHECK_POWER_OFF);
        time_check_power_start_flag = 0;
    }
}

static void wake_outside_period()
{
    if (time_check_power_in_power == 1) {
        time_check_power_change_status(TIMER_CHECK_POWER_ON);
        time_check_power_start_flag = 1;
        time_check_power_in_power = 0;
    }
    if (time_check_power_start_flag == 0) {
        time_check_power_change_status(TIMER_CHECK_POWER_ON);
        time_check_power_start_flag = 1;
    }
}

void time_check_power_each_day()
{
    time_check_clock clock;
    time_t now = 0;
    if (!may_act(&clock, &now))
        return;
    if (in_period())
        sleep_in_period();
    else
        wake_outside_period();
}

// The counts outlast the period: the next day's goes on where this one ended. Kept on purpose.
void time_check_power_each_day_flow()
{
    static uint32_t tmp_last_time; // calendar seconds of the last sample

    time_check_clock clock;
    time_t calendar = 0;
    if (!may_act(&clock, &calendar))
        return;
    if (!in_period()) {
        wake_outside_period();
        return;
    }
    if (time_check_power_in_power == 1)
        return;
    const auto now = static_cast<uint32_t>(calendar);
    const uint32_t interval = time_check_seconds_apart(now, tmp_last_time);
    if (interval > 0) {
        if (flow_check_forword_power(interval) == 1) {
            LOG_PROGRESS("now time:%02d:%02d\n", clock.tm_hour, clock.tm_min);
            sleep_in_period();
        }
        tmp_last_time = now;
    }
}

int32_t time_check_power()
{
    if (time_check_power_struct.enabled == 0)
        return 1;
    if (nimbix_wake_up_time >= 1) {
        update_nimbix_wake_up_time();
        return 1;
    }
    switch (time_check_power_struct.type) {
    case TIMER_CHECK_EACH_DAY_FLOW:
        time_check_power_each_day_flow();
        break;
    case TIMER_CHECK_EACH_DAY:
        time_check_power_each_day();
        break;
    case TIMER_CHECK_ONE_DAY:
    case TIMER_CHECK_ONE_DAY_FLOW:
        break;
    default:
        LOG_ERROR("TIME_CHECK_POWER_STRUCT.type = %d to be added...\n", time_check_power_struct.type);
        break;
    }
    return 1;
}
