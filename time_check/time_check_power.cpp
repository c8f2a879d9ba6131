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
#include "time_check/time_check_status.h"
#include "time_check/time_check_wifi.h"

constexpr daily_settings settings = {
    .enable = KEY_POWER_ENABLE,
    .type = KEY_POWER_TYPE,
    .wday = KEY_POWER_WDAY,
    .start_time = KEY_POWER_START_TIME,
    .end_time = KEY_POWER_END_TIME,
    .max_speed = KEY_POWER_MAX_SPEED,
    .default_start = "00:00",
    .default_end = "07:00",
    .default_max_speed = "3",
};

static struct power_state {
    daily_schedule time_check_power_struct;
    // 0: put to sleep in this period; outside it: a wake-up is owed (compat 42).
    uint32_t time_check_power_start_flag = 1;
    uint32_t time_check_power_in_power;         // 1: for this period sleep is decided on
    int32_t nimbix_wake_up_time;                // seconds for which the app has suspended power saving
    uint32_t time_check_power_pack_check_speed; // bytes per second
    uint32_t time_check_power_no_client_check_count;
    // Its count is known as time_check_power_pack_check_count.
    forwarded_count forwarded = {.count = 0, .counters = {}, .seen = &status_memory.main.power.quiet};
    uint32_t tmp_last_time; // calendar seconds of the last sample
    power_verdict verdict;
} state;

static time_check_msg_ops sys_time_check_power_ops = own_handler(TIME_CHECK_POWER, time_check_power_msg_handle);

// ---- what it tells of itself ----

static status_row *const row = &status_memory.main.rows[STATUS_POWER];

static void judged(power_verdict verdict)
{
    state.verdict = verdict;
    status_judged(row, verdict);
}

static void tell_counts()
{
    time_check_tell_counts(row, &state.forwarded, state.time_check_power_no_client_check_count);
}

static void tell_suspension()
{
    status_note(&status_memory.main.power.suspended, state.nimbix_wake_up_time);
}

// ---- the period ----

static bool in_period(const power_state *s, const moment *now)
{
    return moment_in_window(now, s->time_check_power_struct.start_time, s->time_check_power_struct.end_time);
}

// ---- configuration and queries ----

void set_time_check_power_info()
{
    const int32_t has_factory_start = load_daily_schedule(&state.time_check_power_struct, &settings);
    state.time_check_power_pack_check_speed = state.time_check_power_struct.max_speed * 1000;
    state.forwarded.count = 0;
    state.time_check_power_no_client_check_count = 0;
    tell_daily_schedule(&status_memory.main.power, &state.time_check_power_struct, has_factory_start);
    tell_counts();
    time_check_power_info_printf();
}

void time_check_power_info_printf()
{
    print_daily_schedule(&state.time_check_power_struct, state.time_check_power_pack_check_speed);
}

int32_t time_check_power_is_in_sleep()
{
    return time_check_key_is_on(KEY_PWR_SAVE_MODE);
}

int32_t time_check_power_is_in_power_time()
{
    if (!time_check_power_is_enabled())
        return 0;
    moment now = {};
    moment_read_clock(&now);
    return in_period(&state, &now);
}

bool time_check_power_is_enabled()
{
    return state.time_check_power_struct.enabled == 1;
}

bool time_check_power_is_in_power_time_at(const moment *now)
{
    return time_check_power_is_enabled() && in_period(&state, now);
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
    moment present = {};
    moment_read_clock(&present);
    const uint32_t now = moment_time_of_day(&present);
    const uint32_t start = state.time_check_power_struct.start_time;
    const uint32_t end = state.time_check_power_struct.end_time;

    uint32_t left = 0;
    if (end < start) {
        if (now >= start)
            left = end - now + DAY_S;
        else if (now <= end)
            left = end - now;
    } else if (start <= now && now <= end) {
        left = end - now;
    }
    state.nimbix_wake_up_time = static_cast<int32_t>(left);
    tell_suspension();
    LOG_INFO("\t\t nimbix_wake_up_time: %d\n", state.nimbix_wake_up_time);
}

void time_check_power_stop()
{
    if (time_check_power_is_in_sleep() == 1)
        time_check_power_change_status(TIMER_CHECK_POWER_ON);
}

int32_t time_check_power_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    LOG_PROGRESS("SYS_SCHED_POWER mode function to be added...\n"); // compat 26
    set_time_check_power_info();
    if (strcmp(msg->string_info, "nimbix_wake_up") == 0)
        update_nimbix_wake_up_time();
    else
        state.nimbix_wake_up_time = 0;
    tell_suspension();

    moment now = {};
    switch (msg->op) {
    case OP_STOP:
        time_check_power_stop();
        state.time_check_power_in_power = 0;
        moment_read_clock(&now);
        state.time_check_power_start_flag =
            in_period(&state, &now) ? 1 : 0; // outside, the driver then wakes the router once more
        break;
    case OP_START:
    case OP_RESTART:
        state.time_check_power_start_flag = 1;
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
        LOG_DEBUG(TIME_CHECK_POWER, "num %d:br_client = %d!!\n", state.time_check_power_no_client_check_count, clients);
        state.forwarded.count = 0;
        return state.time_check_power_no_client_check_count++ == NO_CLIENT_SAMPLES;
    }
    state.time_check_power_no_client_check_count = 0;
    return time_check_count_forwarded(TIME_CHECK_POWER, &state.forwarded, state.time_check_power_pack_check_speed,
                                      interval);
}

// ---- what the rule finds ----

// What the counts have said so far. The sample itself is none of the verdict's: its probes print and count.
static power_verdict judge_counts(const power_state *s)
{
    if (s->time_check_power_no_client_check_count != 0)
        return power_verdict::counting_no_client;
    return s->forwarded.count != 0 ? power_verdict::counting_quiet : power_verdict::network_busy;
}

// The daily kinds' rule, whichever kind is set. The debug switch lifts the look at the year.
static power_verdict judge_daily(const power_state *s, uint32_t kind, const moment *now)
{
    using enum power_verdict;
    if (get_time_check_debug_info(TIME_CHECK_POWER) == 0 && !moment_clock_is_set(now))
        return clock_unset;
    if (!in_period(s, now))
        return s->time_check_power_in_power == 1 || s->time_check_power_start_flag == 0 ? waking : outside_period;
    if (kind == TIMER_CHECK_EACH_DAY_FLOW)
        return s->time_check_power_in_power == 1 ? asleep : judge_counts(s);
    return s->time_check_power_start_flag == 0 ? asleep : falling_asleep;
}

static bool is_in_use(const power_state *s)
{
    return s->time_check_power_struct.enabled != 0 && s->nimbix_wake_up_time < 1 &&
           s->time_check_power_struct.type <= TIMER_CHECK_EACH_DAY_FLOW;
}

// What a schedule says that is not in use; no moment is needed for it, and filling one costs an idle second.
static power_verdict judge_unused(const power_state *s)
{
    using enum power_verdict;
    if (s->time_check_power_struct.enabled == 0) // any other number enables the driver (compat 41)
        return off;
    if (s->nimbix_wake_up_time >= 1)
        return suspended;
    return s->time_check_power_struct.type <= TIMER_CHECK_ONE_DAY_FLOW ? kind_without_behaviour : unknown_kind;
}

power_verdict time_check_power_verdict()
{
    return state.verdict;
}

// ---- the daily drivers ----

static void sleep_in_period()
{
    state.time_check_power_in_power = 1;
    if (state.time_check_power_start_flag == 0) {
        judged(power_verdict::asleep);
        return;
    }
    judged(power_verdict::falling_asleep);
    time_check_power_change_status(TIMER_CHECK_POWER_OFF);
    state.time_check_power_start_flag = 0;
}

static void wake_outside_period()
{
    time_check_power_change_status(TIMER_CHECK_POWER_ON);
    state.time_check_power_start_flag = 1;
    state.time_check_power_in_power = 0;
}

// Takes this second's sample unless it has been taken. The counts outlast the period: the next day's goes on where this
// one ended (decision 0042, compat 39).
static void take_sample(const moment *now)
{
    const auto seconds = static_cast<uint32_t>(now->calendar);
    const uint32_t interval = time_check_seconds_apart(seconds, state.tmp_last_time);
    if (interval == 0) {
        tell_counts();
        return;
    }
    state.tmp_last_time = seconds;
    if (flow_check_forword_power(interval) == 0) {
        judged(judge_counts(&state));
        tell_counts();
        return;
    }
    LOG_PROGRESS_OF("time_check_power_each_day_flow", "now time:%02d:%02d\n", now->local.tm_hour, now->local.tm_min);
    sleep_in_period();
}

static void carry_out(power_verdict verdict, const moment *now)
{
    judged(verdict);
    switch (verdict) {
    case power_verdict::clock_unset: // there is no period, and the router is left as it is
        state.time_check_power_in_power = 0;
        break;
    case power_verdict::waking:
        wake_outside_period();
        break;
    case power_verdict::counting_no_client:
    case power_verdict::network_busy:
    case power_verdict::counting_quiet:
        take_sample(now);
        break;
    case power_verdict::asleep:
        state.time_check_power_in_power = 1;
        break;
    case power_verdict::falling_asleep:
        sleep_in_period();
        break;
    default: // wait
        break;
    }
}

static void drive(uint32_t kind)
{
    moment now = {};
    moment_read_clock(&now);
    carry_out(judge_daily(&state, kind, &now), &now);
}

void time_check_power_each_day()
{
    drive(TIMER_CHECK_EACH_DAY);
}

void time_check_power_each_day_flow()
{
    drive(TIMER_CHECK_EACH_DAY_FLOW);
}

int32_t time_check_power()
{
    if (is_in_use(&state)) {
        drive(state.time_check_power_struct.type);
        return 1;
    }
    judged(judge_unused(&state));
    if (state.verdict == power_verdict::suspended)
        update_nimbix_wake_up_time();
    else if (state.verdict == power_verdict::unknown_kind)
        LOG_ERROR("TIME_CHECK_POWER_STRUCT.type = %d to be added...\n", state.time_check_power_struct.type);
    return 1;
}
