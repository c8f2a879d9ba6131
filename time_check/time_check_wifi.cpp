#include "time_check/time_check_wifi.h"

#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/system.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_common.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_schedule.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"

struct time_check_wifi {
    uint32_t enabled;
    sched_rule wifi_time[SCHED_RULES_MAX];
    uint32_t num; // rules loaded
};

static struct wifi_state {
    struct time_check_wifi time_check_wifi_struct;
    uint32_t time_check_wifi_first_init = 1; // 1: nothing has been loaded yet
    uint32_t time_check_wifi_start_flag = 1; // 1: on, as the schedule sees it, which does not see switching by hand
    uint32_t time_check_wifi_button;         // up-time of the last switching by hand, seconds; 0: none to look at
    uint32_t tmp_last_time;                  // calendar seconds of the last look at the rules
    wifi_verdict verdict;
} state; // no "= {}", which would put the whole table of rules into the program file

static time_check_msg_ops sys_time_check_wifi_ops = own_handler(TIME_CHECK_WIFI, time_check_wifi_msg_handle);

// ---- the first load ----

// Gives what netctrl has to do with the band: OP_RESTART, OP_STOP, or OP_DEFAULT when its switches agreed already.
static int reconcile_band(const wifi_band *band)
{
    char enable[16];
    char public_enable[16];
    char ssid0_enable[16];
    GetValue(band->enable, enable);
    GetValue(band->public_enable, public_enable);
    GetValue(band->ssid0_enable, ssid0_enable);
    if (strcmp(enable, public_enable) == 0 && strcmp(enable, ssid0_enable) == 0)
        return OP_DEFAULT;

    const bool on = strcmp(enable, "1") == 0;
    time_check_store_band_switches(band, on ? "1" : "0");
    return on ? OP_RESTART : OP_STOP;
}

void time_check_wifi_enable()
{
    if (state.time_check_wifi_first_init != 1)
        return;
    int ops[BAND_NUM];
    for (int i = 0; i < BAND_NUM; i++)
        ops[i] = reconcile_band(&wifi_bands[i]);
    printf("wl2g_op:%d wl5g_op:%d \n", ops[BAND_2G], ops[BAND_5G]);

    const bool changed = ops[BAND_2G] != OP_DEFAULT || ops[BAND_5G] != OP_DEFAULT;
    if (changed && CommitCfm() != 0) {
        for (int i = 0; i < BAND_NUM; i++)
            if (ops[i] != OP_DEFAULT)
                time_check_post_wifi_op(&wifi_bands[i], ops[i]);
    }
    if (time_check_get_wifi_status() == WIFI_OFF) {
        puts("wifi is off , set TIME_CHECK_WIFI_START_FLAG");
        state.time_check_wifi_start_flag = 0;
    }
    state.time_check_wifi_first_init = 0;
}

// ---- configuration and messages ----

// Somebody switched Wi-Fi by hand: the schedule takes the state it finds for its own, so that it acts at the next edge
// (decision 0043).
static void take_over_button()
{
    const auto uptime = static_cast<uint32_t>(get_uptime());
    if (state.time_check_wifi_button != 0 && state.time_check_wifi_button < uptime)
        state.time_check_wifi_start_flag = time_check_get_wifi_status() != WIFI_OFF;
    state.time_check_wifi_button = 0;
}

TIMERCHECKINFO set_time_check_wifi_info()
{
    char value[64];
    memset(&state.time_check_wifi_struct, 0, sizeof state.time_check_wifi_struct);
    time_check_wifi_enable();
    GetValue(KEY_WIFI_SCHED_ENABLE, value);
    state.time_check_wifi_struct.enabled = static_cast<uint32_t>(time_check_atoi(value));
    state.time_check_wifi_struct.num = load_sched_rules(WIFI_RULES, state.time_check_wifi_struct.wifi_time);
    tell_sched_rules(&status_memory.main.wifi, state.time_check_wifi_struct.enabled,
                     state.time_check_wifi_struct.wifi_time, state.time_check_wifi_struct.num);
    take_over_button();
    return TIMER_CHECK_ERR;
}

void time_check_wifi_stop()
{
    if (time_check_power_is_in_sleep() == 0)
        time_check_set_wifi_status(WIFI_ON);
    state.time_check_wifi_start_flag = 1;
}

int32_t time_check_wifi_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    if (msg->string_info[0] != '\0') {
        state.time_check_wifi_button = static_cast<uint32_t>(time_check_atoi(msg->string_info));
        return TIMER_CHECK_SUC;
    }
    set_time_check_wifi_info();
    if (msg->op == OP_STOP)
        time_check_wifi_stop();
    return TIMER_CHECK_SUC;
}

void time_check_wifi_init()
{
    set_time_check_wifi_info();
    register_time_check_module_msg_opses(&sys_time_check_wifi_ops, 1);
}

// ---- what the rule finds ----

static bool rules_hold(const wifi_state *s, const moment *now, unknown_rule_fn report_unknown)
{
    return sched_rules_hold(s->time_check_wifi_struct.wifi_time, s->time_check_wifi_struct.num, &now->local,
                            report_unknown);
}

int32_t time_check_wifi_is_in_wifi_time()
{
    moment now = {};
    moment_read_clock(&now);
    return state.time_check_wifi_struct.enabled == 1 && rules_hold(&state, &now, nullptr);
}

static void report_unknown_rule(uint32_t number)
{
    LOG_ERROR_OF("time_check_wifi_for_day", "Unkown wlan schedule rule [ID:%d]\n", number); // compat 20
}

// Power saving is asked of the `present`, whatever moment the rules are looked at for. A rule of unknown type, which no
// load makes, is reported where it is looked at: between the rules before and after it. Whether Wi-Fi is on is in the
// store, and only read.
//
// Rules switch although "sys.sched.wifi.enable" is off; only time_check_wifi_is_in_wifi_time asks for it
// (compat 48).
static wifi_verdict judge(const wifi_state *s, const moment *now, const moment *present)
{
    using enum wifi_verdict;
    if (s->time_check_wifi_struct.num == 0)
        return no_period;
    // The switch is asked for by the reboot module's id: there is one for all (compat 50).
    if (!moment_clock_is_set(now) && get_time_check_debug_info(TIME_CHECK_REBOOT) == 0)
        return clock_unset;
    if (time_check_power_is_in_power_time_at(present))
        return power_saving_first;

    const bool on = time_check_get_wifi_status() == WIFI_ON;
    if (rules_hold(s, now, report_unknown_rule)) {
        if (!on)
            return in_period;
        return s->time_check_wifi_start_flag == 1 ? switching_off : on_by_hand;
    }
    if (on)
        return between_periods;
    return s->time_check_wifi_start_flag == 0 ? switching_on : off_by_hand;
}

wifi_verdict time_check_wifi_verdict()
{
    return state.verdict;
}

// ---- the schedule ----

static void carry_out(wifi_verdict verdict)
{
    state.verdict = verdict;
    status_judged(&status_memory.main.rows[STATUS_WIFI], verdict);
    switch (verdict) {
    case wifi_verdict::switching_off:
        time_check_set_wifi_status(WIFI_OFF);
        [[fallthrough]];
    case wifi_verdict::in_period:
    case wifi_verdict::on_by_hand:
        state.time_check_wifi_start_flag = 0;
        break;
    case wifi_verdict::switching_on:
        time_check_set_wifi_status(WIFI_ON);
        [[fallthrough]];
    case wifi_verdict::between_periods:
    case wifi_verdict::off_by_hand:
        state.time_check_wifi_start_flag = 1;
        break;
    default: // wait
        break;
    }
}

void time_check_wifi_for_day(time_t now)
{
    moment asked = {};
    moment present = {};
    moment_set_clock(&asked, now);
    moment_read_clock(&present);
    carry_out(judge(&state, &asked, &present));
}

int32_t time_check_wifi()
{
    const time_t calendar = time(nullptr);
    if (sched_is_due(&state.tmp_last_time, calendar)) {
        moment now = {};
        if (state.time_check_wifi_struct.num > 0)
            moment_set_clock(&now, calendar);
        carry_out(judge(&state, &now, &now));
    }
    return 1;
}

// ---- for products ----

void time_check_first_turn_on_wifi()
{
    if (state.time_check_wifi_first_init != 1)
        return;
    time_check_set_wifi_status(WIFI_ON);
    state.time_check_wifi_first_init = 0;
}
