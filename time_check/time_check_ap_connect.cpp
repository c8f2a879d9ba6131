#include "time_check/time_check_ap_connect.h"

#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/network.h"
#include "platform/vos.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_uplink.h"

constexpr int32_t UNREACHABLE = 1;
constexpr int32_t REACHABLE = 3;

static struct ap_connect_state {
    char lan_info_gw[VOS_FILE_VALUE_SIZE]; // the gateway's address; "" without one
    int32_t link_count;                    // ticks in a row whose ping was answered
    int32_t not_link_count;                // ticks in a row whose ping was not
    int32_t last_ping_status = REACHABLE;  // as netctrl was last told, or takes it to be at the start
    ap_connect_verdict verdict;            // the last tick's
} state;

static time_check_msg_ops time_check_ap_connect_ops = own_handler(TIME_CHECK_AP_CONNECT, time_check_ap_connect_handle);

// ---- what it tells of itself ----

static status_row *const row = &status_memory.main.rows[STATUS_AP_CONNECT];

static void judged(ap_connect_verdict verdict)
{
    state.verdict = verdict;
    status_judged(row, verdict);
}

// Counts that go on for as long as a gateway answers are told as far as they matter.
static void tell_counts()
{
    const uint32_t answered = time_check_settling_ticks(state.link_count);
    const uint32_t silent = time_check_settling_ticks(state.not_link_count);
    status_note(&status_memory.main.gateway.answered, answered);
    status_note(&status_memory.main.gateway.silent, silent);
    if (state.verdict == ap_connect_verdict::returning || state.verdict == ap_connect_verdict::failing)
        status_count(row, answered + silent, SETTLED_TICKS); // one of them is 0
}

// ---- settings and messages ----

void set_time_check_ap_connect_info()
{
    vos_get_value_from_file("/etc/lan.ini", "gateway", state.lan_info_gw);
    vos_str_trim(state.lan_info_gw);
    status_note_text(status_memory.main.gateway.address, sizeof status_memory.main.gateway.address, state.lan_info_gw);
}

int32_t time_check_ap_connect_handle(TIME_CHECK_MODULES_COMMON_STRUCT * /*var*/)
{
    set_time_check_ap_connect_info();
    return TIMER_CHECK_SUC;
}

void time_check_ap_connect_init()
{
    set_time_check_ap_connect_info();
    register_time_check_module_msg_opses(&time_check_ap_connect_ops, 1);
}

// ---- the tick ----

// What a ping says, once it has been counted; `lasts`: as many others before it said.
static ap_connect_verdict judge(const ap_connect_state *s, bool answered, bool lasts)
{
    if (answered == (s->last_ping_status == REACHABLE))
        return answered ? ap_connect_verdict::reachable : ap_connect_verdict::unreachable;
    if (!lasts)
        return answered ? ap_connect_verdict::returning : ap_connect_verdict::failing;
    return answered ? ap_connect_verdict::return_told : ap_connect_verdict::loss_told;
}

int32_t time_check_ap_connect_main()
{
    const bool answered = simple_ping(state.lan_info_gw) == 0;
    int32_t *count = answered ? &state.link_count : &state.not_link_count;
    int32_t *opposite_count = answered ? &state.not_link_count : &state.link_count;
    judged(judge(&state, answered, time_check_state_lasts(count, opposite_count)));
    switch (state.verdict) {
    case ap_connect_verdict::return_told:
    case ap_connect_verdict::loss_told:
        time_check_post_upstream(answered);
        *count = 0;
        state.last_ping_status = answered ? REACHABLE : UNREACHABLE;
        break;
    case ap_connect_verdict::no_access_point:
    case ap_connect_verdict::reachable:
    case ap_connect_verdict::unreachable:
    case ap_connect_verdict::returning:
    case ap_connect_verdict::failing:
        break;
    }
    tell_counts();
    return TIMER_CHECK_ERR;
}

int32_t time_check_ap_connect()
{
    char workmode[16];
    GetValue(KEY_SYS_WORKMODE, workmode);
    if (strcmp(workmode, "ap") == 0)
        time_check_ap_connect_main();
    else
        judged(ap_connect_verdict::no_access_point);
    return TIMER_CHECK_SUC;
}

ap_connect_verdict time_check_ap_connect_verdict()
{
    return state.verdict;
}
