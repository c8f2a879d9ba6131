#include "time_check/time_check_reboot.h"

#include <cstdlib>
#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/netctrl.h"
#include "platform/network.h"
#include "platform/system.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_quiet.h"
#include "time_check/time_check_schedule.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"

constexpr daily_settings settings = {
    .enable = KEY_REBOOT_ENABLE,
    .type = KEY_REBOOT_TYPE,
    .wday = KEY_REBOOT_WDAY,
    .start_time = KEY_REBOOT_START_TIME,
    .end_time = KEY_REBOOT_END_TIME,
    .max_speed = KEY_REBOOT_MAX_SPEED,
    .default_start = "02:00",
    .default_end = "05:30",
    .default_max_speed = "5",
};

static struct reboot_state {
    daily_schedule time_check_reboot_struct;     // its start moved once by the random offset
    char wan_ifnames[16];                        // empty: no wired WAN
    int32_t default_time_check_reboot = 1;       // 1: the start time is the factory's
    int32_t first_check_stream = 1;              // 1 until the random offset has been applied
    uint32_t time_check_reboot_pack_check_speed; // bytes per second
    uint32_t time_check_reboot_no_client_check_count;
    // Its count is known as time_check_reboot_pack_check_count.
    forwarded_count forwarded = {.count = 0, .counters = {}, .seen = &status_memory.main.reboot.quiet};
    flow_counter bridges[4];  // LAN, WAN; received, sent. They share forwarded.count
    uint32_t tmp_last_time;   // calendar seconds of the last sample
    uint32_t rand_sleep_time; // seconds from then to the restart; 0: not armed
    reboot_verdict verdict;
} state;

static time_check_msg_ops sys_time_check_reboot_ops = own_handler(TIME_CHECK_REBOOT, time_check_reboot_msg_handle);

// ---- what it tells of itself ----

static status_row *const row = &status_memory.main.rows[STATUS_REBOOT];

static void judged(reboot_verdict verdict)
{
    state.verdict = verdict;
    status_judged(row, verdict);
}

static void tell_schedule()
{
    tell_daily_schedule(&status_memory.main.reboot, &state.time_check_reboot_struct, state.default_time_check_reboot);
}

static void tell_counts()
{
    time_check_tell_counts(row, &state.forwarded, state.time_check_reboot_no_client_check_count);
}

static void reset_counts()
{
    state.time_check_reboot_no_client_check_count = 0;
    state.forwarded.count = 0;
    tell_counts();
}

// ---- configuration and messages ----

// With a wireless uplink there is no wired WAN to measure.
static void read_wan_ifname(char (&ifname)[16])
{
    char mode_2g[16];
    char mode_5g[16];
    GetValue(KEY_WL2G_PUBLIC_MODE, mode_2g);
    GetValue(KEY_WL5G_PUBLIC_MODE, mode_5g);
    const bool wired = strcmp(mode_2g, "ap") == 0 && strcmp(mode_5g, "ap") == 0;
    const char *wan = wired ? get_eth_name(WAN_1) : nullptr;
    copy_text(ifname, sizeof ifname, wan == nullptr ? "" : wan);
}

int32_t set_time_check_reboot_info()
{
    state.default_time_check_reboot = load_daily_schedule(&state.time_check_reboot_struct, &settings);
    state.time_check_reboot_pack_check_speed = state.time_check_reboot_struct.max_speed * 1000;
    read_wan_ifname(state.wan_ifnames);
    reset_counts();
    tell_schedule();
    return time_check_reboot_info_printf();
}

int32_t set_time_check_reboot_wan_info()
{
    char ifname[sizeof state.wan_ifnames];
    read_wan_ifname(ifname);
    if (strcmp(ifname, state.wan_ifnames) != 0) {
        copy_text(state.wan_ifnames, sizeof state.wan_ifnames, ifname);
        reset_counts();
    }
    return time_check_reboot_info_printf();
}

int32_t time_check_reboot_info_printf()
{
    print_daily_schedule(&state.time_check_reboot_struct, state.time_check_reboot_pack_check_speed);
    LOG_INFO("\t\t wan_ifnames:%s\n", state.wan_ifnames);
    LOG_INFO("\t\t default_time_check_reboot:%d\n", state.default_time_check_reboot);
    return 1;
}

int32_t time_check_reboot_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    switch (msg->relate_module_id) {
    case WIFI_MODULE:
        LOG_PROGRESS("WIFI_MODULE mode function to be added...\n"); // compat 25
        set_time_check_reboot_wan_info();
        break;
    case WAN_MODULE:
    case VPN_PPTP_CLIENT_MODULE:
    case VPN_L2TP_CLIENT_MODULE:
        LOG_PROGRESS("WAN_MODULE mode function to be added...\n");
        set_time_check_reboot_wan_info();
        break;
    default:
        LOG_PROGRESS("SYS_SCHED_REBOOT mode function to be added...\n");
        set_time_check_reboot_info();
        break;
    }
    return TIMER_CHECK_SUC;
}

void time_check_reboot_init()
{
    state.first_check_stream = 1;
    set_time_check_reboot_info();
    register_time_check_module_msg_opses(&sys_time_check_reboot_ops, 1);
}

// ---- the quiet-network checks ----

// Counts a sample without a client; 1 when the machine was told to restart for it (compat 36). The lines are the
// caller's.
static int32_t count_no_client(const char *function = __builtin_FUNCTION())
{
    int32_t result = 0;
    if (state.time_check_reboot_no_client_check_count == NO_CLIENT_SAMPLES) {
        moment now = {};
        doSystemCmd("date");
        moment_read_clock(&now); // which the command may have let pass
        LOG_PROGRESS_OF(function, "now time:%02d:%02d\n", now.local.tm_hour, now.local.tm_min);
        LOG_PROGRESS_OF(function, "no client! reboot now!!\n");
        judged(reboot_verdict::restarting);
        tpi_systool_reboot();
        result = 1;
    }
    state.time_check_reboot_no_client_check_count++;
    state.forwarded.count = 0;
    return result;
}

int32_t flow_check_forword_reboot(uint32_t period)
{
    const int32_t clients = time_check_get_bridge_clients();
    if (clients == 0) {
        LOG_DEBUG(TIME_CHECK_REBOOT, "num %d:br_client = %d!!\n", state.time_check_reboot_no_client_check_count,
                  clients);
        return count_no_client();
    }
    state.time_check_reboot_no_client_check_count = 0;
    return time_check_count_forwarded(TIME_CHECK_REBOOT, &state.forwarded, state.time_check_reboot_pack_check_speed,
                                      period);
}

// ---- what the rule finds ----

// The debug switch lifts the looks at up-time and year.
static bool guards_are_lifted()
{
    return get_time_check_debug_info(TIME_CHECK_REBOOT) == 1;
}

// Up for at least the window's width, so that no window sees two reboots. For a window past midnight the unsigned width
// is huge and it never acts (compat 32).
static bool is_up_long_enough(const reboot_state *s, const moment *now)
{
    return guards_are_lifted() ||
           now->uptime_s >= s->time_check_reboot_struct.end_time - s->time_check_reboot_struct.start_time;
}

// What the counts have said so far. The sample itself is none of the verdict's: its probes print and count.
static reboot_verdict judge_counts(const reboot_state *s)
{
    if (s->time_check_reboot_no_client_check_count != 0)
        return reboot_verdict::counting_no_client;
    return s->forwarded.count != 0 ? reboot_verdict::counting_quiet : reboot_verdict::network_busy;
}

// The daily kinds' rule, whichever kind is set.
static reboot_verdict judge_daily(const reboot_state *s, uint32_t kind, const moment *now)
{
    using enum reboot_verdict;
    const bool waits_for_quiet = kind == TIMER_CHECK_EACH_DAY_FLOW;
    if (!is_up_long_enough(s, now))
        return not_up_long_enough;
    if (!guards_are_lifted() && !moment_clock_is_set(now))
        return clock_unset;
    if (waits_for_quiet && s->rand_sleep_time != 0) // nothing calls it off any more (compat 35)
        return s->tmp_last_time + s->rand_sleep_time < static_cast<uint32_t>(now->calendar) ? restarting : armed;
    if (!moment_in_window(now, s->time_check_reboot_struct.start_time, s->time_check_reboot_struct.end_time))
        return outside_window;
    if (s->default_time_check_reboot == 1 && s->first_check_stream == 1)
        return offset_owed;
    return waits_for_quiet ? judge_counts(s) : restarting;
}

static bool is_in_use(const daily_schedule *schedule)
{
    return schedule->enabled != 0 && schedule->type <= TIMER_CHECK_EACH_DAY_FLOW;
}

// What a schedule says that is not in use; no moment is needed for it, and filling one costs an idle second.
static reboot_verdict judge_unused(const reboot_state *s)
{
    using enum reboot_verdict;
    if (s->time_check_reboot_struct.enabled == 0)
        return off;
    return s->time_check_reboot_struct.type <= TIMER_CHECK_ONE_DAY_FLOW ? kind_without_behaviour : unknown_kind;
}

reboot_verdict time_check_reboot_verdict()
{
    return state.verdict;
}

// ---- the daily drivers ----

// The lines of the drivers' helpers are theirs.
constexpr const char *EACH_DAY = "time_check_reboot_each_day";
constexpr const char *EACH_DAY_FLOW = "time_check_reboot_each_day_flow";

// What the daily kinds' rule looks at: the clock not before the router has been up for long enough.
static void read_moment(moment *now)
{
    moment_read_uptime(now);
    if (is_up_long_enough(&state, now))
        moment_read_clock(now);
}

// Spreads the devices that still have the factory's start time, once a run (compat 33).
static void add_random_start_offset(const char *function)
{
    constexpr uint32_t STEPS = 1800;
    constexpr uint32_t STEP_S = 5;
    state.first_check_stream = 0;
    srandom(static_cast<unsigned>(get_uptime()));
    state.time_check_reboot_struct.start_time += static_cast<uint32_t>(random()) % STEPS * STEP_S;
    const uint32_t start = state.time_check_reboot_struct.start_time;
    tell_schedule();
    printf("[%s][%d]start_time+offset_time:%02d:%02d:%02d\n", function, __LINE__, start / 3600, start % 3600 / 60,
           start % 60);
}

static void arm(const moment *now)
{
    state.rand_sleep_time = time_check_get_sleep_rand(); // 0 is not armed, the next decision draws again (compat 34)
    judged(state.rand_sleep_time != 0 ? reboot_verdict::armed : reboot_verdict::counting_quiet);
    status_count(row, LOW_SAMPLES, LOW_SAMPLES);
    status_note(&row->next, state.rand_sleep_time != 0 ? state.tmp_last_time + state.rand_sleep_time + 1 : 0);
    doSystemCmd("date");
    LOG_PROGRESS_OF(EACH_DAY_FLOW, "now time:%02d:%02d\n", now->local.tm_hour, now->local.tm_min);
    LOG_PROGRESS_OF(EACH_DAY_FLOW, "sleep %dS after to reboot!!\n", state.rand_sleep_time);
}

// Takes this second's sample unless it has been taken.
static void take_sample(const moment *now)
{
    const auto seconds = static_cast<uint32_t>(now->calendar);
    const uint32_t period = time_check_seconds_apart(seconds, state.tmp_last_time);
    if (period == 0) {
        tell_counts();
        return;
    }
    const bool decided = flow_check_forword_reboot(period) == 1;
    state.tmp_last_time = seconds;
    if (decided) {
        arm(now);
    } else {
        judged(judge_counts(&state));
        tell_counts();
    }
}

static void carry_out(reboot_verdict verdict, uint32_t kind, const moment *now)
{
    judged(verdict);
    switch (verdict) {
    case reboot_verdict::outside_window:
        reset_counts();
        break;
    case reboot_verdict::offset_owed:
        add_random_start_offset(kind == TIMER_CHECK_EACH_DAY ? EACH_DAY : EACH_DAY_FLOW);
        break;
    case reboot_verdict::counting_no_client:
    case reboot_verdict::network_busy:
    case reboot_verdict::counting_quiet:
        take_sample(now);
        break;
    case reboot_verdict::restarting:
        tpi_systool_reboot();
        break;
    default: // wait
        break;
    }
}

static void drive(uint32_t kind)
{
    moment now = {};
    read_moment(&now);
    carry_out(judge_daily(&state, kind, &now), kind, &now);
}

void time_check_reboot_each_day()
{
    drive(TIMER_CHECK_EACH_DAY);
}

void time_check_reboot_each_day_flow()
{
    drive(TIMER_CHECK_EACH_DAY_FLOW);
}

int32_t time_check_reboot()
{
    if (is_in_use(&state.time_check_reboot_struct)) {
        drive(state.time_check_reboot_struct.type);
        return 1;
    }
    judged(judge_unused(&state));
    if (state.verdict == reboot_verdict::unknown_kind)
        LOG_ERROR("TIME_CHECK_REBOOT_STRUCT.type = %d to be added...\n", state.time_check_reboot_struct.type);
    return 1;
}

// ---- for products ----

// False: the LAN's counters cannot be read. The WAN's then stay as they were, as they do without a WAN.
static bool read_bridges()
{
    FLOW_SPEED lan = {};
    FLOW_SPEED second_lan = {};
    FLOW_SPEED wan = {};
    if (time_check_get_RX_TX_pack("br0", &lan) == 0)
        return false;
    if (time_check_get_RX_TX_pack("br1", &second_lan) == 1) {
        lan.rx_flow += second_lan.rx_flow;
        lan.tx_flow += second_lan.tx_flow;
    }
    state.bridges[0].now = lan.rx_flow;
    state.bridges[1].now = lan.tx_flow;
    if (time_check_get_RX_TX_pack(state.wan_ifnames, &wan) == 1) {
        state.bridges[2].now = wan.rx_flow;
        state.bridges[3].now = wan.tx_flow;
    }
    return true;
}

WITH_FRACTIONS int32_t flow_check_reboot(uint32_t period)
{
    const int32_t clients = time_check_get_bridge_clients();
    LOG_INFO("num %d:br_client = %d!!\n", state.time_check_reboot_no_client_check_count, clients);
    if (clients == 0)
        return count_no_client();
    state.time_check_reboot_no_client_check_count = 0;
    if (!read_bridges())
        return 0;

    double rates[4];
    for (size_t i = 0; i < 4; i++)
        rates[i] = static_cast<double>(time_check_flow_rate(state.bridges[i].now, state.bridges[i].before, period));
    const uint32_t number = state.forwarded.count + 1;
    LOG_INFO("num %d:rx = %.2fkB/s,tx = %.2fkB/s,wan_rx = %.2fkB/s,wan_tx = %.2fkB/s!!\n", number, rates[0], rates[1],
             rates[2], rates[3]);
    const QUIET_SAMPLE sample = time_check_quiet_sample(&state.forwarded.count, state.bridges, 4,
                                                        state.time_check_reboot_pack_check_speed * period);
    if (sample == QUIET_BUSY)
        LOG_PROGRESS("num %d:rx = %.2fkB/s,tx = %.2fkB/s,wan_rx = %.2fkB/s,wan_tx = %.2fkB/s!!\n", number, rates[0],
                     rates[1], rates[2], rates[3]);
    return sample == QUIET_LONG_ENOUGH;
}
