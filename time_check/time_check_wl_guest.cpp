#include "time_check/time_check_wl_guest.h"

#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/netctrl.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_common.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"

static struct guest_state {
    uint64_t first_up_time; // up-time at which the guest network was switched on, seconds
    bool is_running;        // its time
    guest_verdict verdict;
} state;

static time_check_msg_ops sys_time_check_wl_guest_ops =
    own_handler(TIME_CHECK_WL_GUEST, time_check_wl_guest_msg_handle);

// ---- the store and netctrl ----

// How long the guest network may be open, in seconds; 0: for ever.
static int32_t lifetime()
{
    char value[64];
    GetValue(KEY_GUEST_EFFECTIVE_TIME, value);
    return time_check_atoi(value);
}

// An empty or missing value counts as on (compat 53).
static bool is_on(const char *guest_switch)
{
    return strncmp(guest_switch, "1", strlen(guest_switch)) == 0;
}

// A restart, whatever op was asked for (compat 56).
static void post_op_of_band(int wl_rate)
{
    char text[64];
    snprintf(text, sizeof text, "op=%d,wl_rate=%d,index=1", OP_RESTART, wl_rate);
    send_msg_to_netctrl(WIFI_MODULE, text);
}

void do_wifi_handle(int32_t wl2g_op, int32_t wl5g_op)
{
    if (wl2g_op < OP_DEFAULT || wl2g_op > OP_RESTART || wl5g_op < OP_DEFAULT || wl5g_op > OP_RESTART) {
        printf("[qx debug]:%s,%d,wl2g_op=%d,wl5g_op=%d\n", __func__, __LINE__, wl2g_op, wl5g_op);
        return;
    }
    if (wl2g_op != OP_DEFAULT)
        post_op_of_band(WL_RATE_2G);
    if (wl5g_op != OP_DEFAULT)
        post_op_of_band(WL_RATE_5G);
}

// ---- what it tells of itself ----

static void judged(guest_verdict verdict)
{
    state.verdict = verdict;
    status_judged(&status_memory.main.rows[STATUS_GUEST], verdict);
}

static void tell_time(int32_t effect_time)
{
    status_note(&status_memory.main.guest.limit, effect_time);
    status_note(&status_memory.main.guest.is_running, state.is_running);
    status_note(&status_memory.main.guest.since_uptime, state.first_up_time);
}

// ---- closing ----

static void have_netctrl_close_it()
{
    char text[16];
    snprintf(text, sizeof text, "op=%d", OP_WIFI_GUEST);
    send_msg_to_netctrl(WIFI_MODULE, text);
    do_wifi_handle(OP_RESTART, OP_RESTART);
}

// ---- start and messages ----

void time_check_wl_guest_first_init()
{
    char guest_switch[16];
    const int32_t effect_time = lifetime();
    GetValue(KEY_GUEST_DHCPS_ENABLE, guest_switch);
    LOG_TRACE(DEBUG_INFO, "guest_wifi_enable == %s, effect_time == %d\n", guest_switch, effect_time);
    if (!is_on(guest_switch) || effect_time == 0)
        return;
    LOG_TRACE(DEBUG_INFO, "guest wifi is going to shutdown!\n");
    time_check_close_guest_network(); // not committed (compat 54)
    have_netctrl_close_it();
}

void time_check_wl_guest_info()
{
    char guest_switch[16];
    GetValue(KEY_GUEST_DHCPS_ENABLE, guest_switch);
    if (!is_on(guest_switch))
        return;
    time_check_get_run_time(&state.first_up_time);
    LOG_TRACE(DEBUG_INFO, "get first start time of guest wifi: first_up_time == %llu\n",
              static_cast<unsigned long long>(state.first_up_time));
    state.is_running = true;
}

int32_t time_check_wl_guest_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    if (strcmp(msg->string_info, "wl_guest") != 0)
        return TIMER_CHECK_ERR;
    time_check_wl_guest_info();
    return TIMER_CHECK_SUC;
}

void time_check_wl_guest_init()
{
    time_check_wl_guest_first_init();
    register_time_check_module_msg_opses(&sys_time_check_wl_guest_ops, 1);
}

// ---- what the rule finds ----

// What the rule looks at. No clock: of a moment it would be the up-time alone.
struct guest_look {
    int32_t effect_time; // seconds, 0: no limit; a negative one is a huge one
    uint64_t interval;   // since the network was switched on, seconds. This and the next only while the time is running
    char guest_switch[16];
};

static bool counts(const guest_state *s, int32_t effect_time)
{
    return effect_time != 0 && s->is_running;
}

static guest_verdict judge(const guest_state *s, const guest_look *look)
{
    using enum guest_verdict;
    if (look->effect_time == 0)
        return no_limit;
    if (!s->is_running)
        return not_started;
    if (look->interval < static_cast<uint64_t>(static_cast<int64_t>(look->effect_time)))
        return time_left;
    return is_on(look->guest_switch) ? closing : closed_already;
}

guest_verdict time_check_wl_guest_verdict()
{
    return state.verdict;
}

// ---- the time ----

// The switch and the up-time are read, and what was read is printed, before it is judged: the line belongs between.
void time_check_wl_guest()
{
    guest_look look = {};
    look.effect_time = lifetime();
    if (counts(&state, look.effect_time)) {
        uint64_t now = 0;
        GetValue(KEY_GUEST_DHCPS_ENABLE, look.guest_switch);
        time_check_get_run_time(&now);
        look.interval = now - state.first_up_time;
        LOG_TRACE(DEBUG_INFO,
                  "guest_wifi_enable == %s, effect_time == %ds[ %d hours ], now_up_time == %llu, interval == %d\n",
                  look.guest_switch, look.effect_time, look.effect_time / 3600, static_cast<unsigned long long>(now),
                  static_cast<int32_t>(look.interval));
    } else {
        LOG_TRACE(DEBUG_INFO, "need not checking, effect_time == %d, time_up_flag == %d\n", look.effect_time,
                  state.is_running ? 1 : 0);
    }

    judged(judge(&state, &look));
    tell_time(look.effect_time);
    if (state.verdict != guest_verdict::closing)
        return;
    time_check_close_guest_network();
    state.is_running = false; // also when the commit fails (compat 55)
    LOG_TRACE(DEBUG_INFO, "guest wifi need to shutdown\n");
    if (CommitCfm() == 0) {
        judged(guest_verdict::not_stored);
        return;
    }
    LOG_TRACE(DEBUG_INFO, "guest wifi is going to shutdown\n");
    have_netctrl_close_it();
}
