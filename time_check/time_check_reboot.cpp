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
#include "time_check/time_check_text.h"

struct time_check_reboot {
    uint32_t enabled;
    uint32_t type;        // a TIMERCHECKTYPE, or a number that is none
    uint32_t wday_en[7];  // read and printed; no rule asks for the day
    uint32_t start_time;  // seconds since midnight; moved once by the random offset
    uint32_t end_time;    // seconds since midnight
    uint32_t max_speed;   // kB/s, 1 kB = 1000 bytes
    char wan_ifnames[16]; // empty: no wired WAN
};

static struct time_check_reboot time_check_reboot_struct;
static uint32_t time_check_reboot_no_client_check_count;
static forwarded_count forwarded;
static uint32_t time_check_reboot_pack_check_speed; // bytes per second
static int32_t first_check_stream = 1;              // 1 until the random offset has been applied
static int32_t default_time_check_reboot = 1;       // 1: the start time is the factory's

static time_check_msg_ops sys_time_check_reboot_ops = own_handler(TIME_CHECK_REBOOT, time_check_reboot_msg_handle);

static void reset_counts()
{
    time_check_reboot_no_client_check_count = 0;
    forwarded.count = 0;
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
    char value[64];
    memset(&time_check_reboot_struct, 0, sizeof time_check_reboot_struct);

    GetValue(KEY_REBOOT_ENABLE, value);
    time_check_reboot_struct.enabled = static_cast<uint32_t>(time_check_atoi(value));
    GetValue(KEY_REBOOT_TYPE, value);
    time_check_reboot_struct.type = static_cast<uint32_t>(time_check_atoi(value));
    GetValue(KEY_REBOOT_WDAY, value);
    time_check_parse_wday(value, time_check_reboot_struct.wday_en);

    GetValue(KEY_REBOOT_START_TIME, value);
    default_time_check_reboot = value[0] == '\0' || strcmp(value, "02:00") == 0;
    time_check_reboot_struct.start_time = time_check_parse_time_of_day(value, 2, 0);
    GetValue(KEY_REBOOT_END_TIME, value);
    time_check_reboot_struct.end_time = time_check_parse_time_of_day(value, 5, 30);

    GetValue(KEY_REBOOT_MAX_SPEED, value);
    time_check_reboot_struct.max_speed = static_cast<uint32_t>(time_check_atoi(value[0] == '\0' ? "5" : value));
    time_check_reboot_pack_check_speed = time_check_reboot_struct.max_speed * 1000;

    read_wan_ifname(time_check_reboot_struct.wan_ifnames);
    reset_counts();
    return time_check_reboot_info_printf();
}

int32_t set_time_check_reboot_wan_info()
{
    char ifname[sizeof time_check_reboot_struct.wan_ifnames];
    read_wan_ifname(ifname);
    if (strcmp(ifname, time_check_reboot_struct.wan_ifnames) != 0) {
        copy_text(time_check_reboot_struct.wan_ifnames, sizeof time_check_reboot_struct.wan_ifnames, ifname);
        reset_counts();
    }
    return time_check_reboot_info_printf();
}

int32_t time_check_reboot_info_printf()
{
    const struct time_check_reboot *s = &time_check_reboot_struct;
    const uint32_t *day = s->wday_en;
    LOG_INFO("\t\t enable:%d\n", s->enabled);
    LOG_INFO("\t\t type:%d\n", s->type);
    LOG_INFO("\t\t wday_en:%d;%d;%d;%d;%d;%d;%d\n", day[0], day[1], day[2], day[3], day[4], day[5], day[6]);
    LOG_INFO("\t\t start_time:%02d:%02d\n", s->start_time / 3600, s->start_time % 3600 / 60);
    LOG_INFO("\t\t end_time:%02d:%02d\n", s->end_time / 3600, s->end_time % 3600 / 60);
    LOG_INFO("\t\t max_speed:%d\n", s->max_speed);
    LOG_INFO("\t\t check_speed=%d\n", time_check_reboot_pack_check_speed);
    LOG_INFO("\t\t wan_ifnames:%s\n", s->wan_ifnames);
    LOG_INFO("\t\t default_time_check_reboot:%d\n", default_time_check_reboot);
    return 1;
}

int32_t time_check_reboot_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    switch (msg->relate_module_id) {
    case WIFI_MODULE:
        LOG_PROGRESS("WIFI_MODULE mode function to be added...\n");
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
    first_check_stream = 1;
    set_time_check_reboot_info();
    register_time_check_module_msg_opses(&sys_time_check_reboot_ops, 1);
}

// ---- the quiet-network checks ----

// Counts a sample without a client; 1 when the machine was told to restart for it. The lines are the caller's.
static int32_t count_no_client(const char *function = __builtin_FUNCTION())
{
    int32_t result = 0;
    if (time_check_reboot_no_client_check_count == NO_CLIENT_SAMPLES) {
        time_check_clock clock;
        time_t now = 0;
        doSystemCmd("date");
        time_check_get_now_time(&clock, &now);
        LOG_PROGRESS_OF(function, "now time:%02d:%02d\n", clock.tm_hour, clock.tm_min);
        LOG_PROGRESS_OF(function, "no client! reboot now!!\n");
        tpi_systool_reboot();
        result = 1;
    }
    time_check_reboot_no_client_check_count++;
    forwarded.count = 0;
    return result;
}

int32_t flow_check_forword_reboot(uint32_t period)
{
    const int32_t clients = time_check_get_bridge_clients();
    if (clients == 0) {
        LOG_DEBUG(TIME_CHECK_REBOOT, "num %d:br_client = %d!!\n", time_check_reboot_no_client_check_count, clients);
        return count_no_client();
    }
    time_check_reboot_no_client_check_count = 0;
    return time_check_count_forwarded(TIME_CHECK_REBOOT, &forwarded, time_check_reboot_pack_check_speed, period);
}

int32_t flow_check_reboot(uint32_t period)
{
    static flow_counter counters[4]; // LAN, WAN; received, sent

    const int32_t clients = time_check_get_bridge_clients();
    LOG_INFO("num %d:br_client = %d!!\n", time_check_reboot_no_client_check_count, clients);
    if (clients == 0)
        return count_no_client();
    time_check_reboot_no_client_check_count = 0;

    FLOW_SPEED lan = {};
    FLOW_SPEED second_lan = {};
    FLOW_SPEED wan = {};
    if (time_check_get_RX_TX_pack("br0", &lan) == 0)
        return 0;
    if (time_check_get_RX_TX_pack("br1", &second_lan) == 1) {
        lan.rx_flow += second_lan.rx_flow;
        lan.tx_flow += second_lan.tx_flow;
    }
    counters[0].now = lan.rx_flow;
    counters[1].now = lan.tx_flow;
    if (time_check_get_RX_TX_pack(time_check_reboot_struct.wan_ifnames, &wan) == 1) {
        counters[2].now = wan.rx_flow;
        counters[3].now = wan.tx_flow;
    }

    double rates[4];
    for (size_t i = 0; i < 4; i++)
        rates[i] = static_cast<double>(time_check_flow_rate(counters[i].now, counters[i].before, period));
    const uint32_t number = forwarded.count + 1;
    LOG_INFO("num %d:rx = %.2fkB/s,tx = %.2fkB/s,wan_rx = %.2fkB/s,wan_tx = %.2fkB/s!!\n", number, rates[0], rates[1],
             rates[2], rates[3]);
    const QUIET_SAMPLE sample =
        time_check_quiet_sample(&forwarded.count, counters, 4, time_check_reboot_pack_check_speed * period);
    if (sample == QUIET_BUSY)
        LOG_PROGRESS("num %d:rx = %.2fkB/s,tx = %.2fkB/s,wan_rx = %.2fkB/s,wan_tx = %.2fkB/s!!\n", number, rates[0],
                     rates[1], rates[2], rates[3]);
    return sample == QUIET_LONG_ENOUGH;
}

// ---- the daily drivers ----

// Whether a driver may act: up for at least the window's width, so that no window sees two reboots, and the clock set.
// For a window past midnight the unsigned width is huge and it never acts: kept on purpose. The debug switch lifts
// both.
static bool may_act(time_check_clock *clock, time_t *now)
{
    const bool debug = get_time_check_debug_info(TIME_CHECK_REBOOT) == 1;
    uint64_t run_time = 0;
    time_check_get_run_time(&run_time);
    const uint32_t width = time_check_reboot_struct.end_time - time_check_reboot_struct.start_time;
    if (!debug && run_time < width)
        return false;
    time_check_get_now_time(clock, now);
    return debug || time_check_clock_is_set(clock);
}

static bool owes_random_start_offset()
{
    return default_time_check_reboot == 1 && first_check_stream == 1;
}

// Spreads the devices that still have the factory's start time. The line is the caller's.
static void add_random_start_offset(const char *function = __builtin_FUNCTION())
{
    constexpr uint32_t STEPS = 1800;
    constexpr uint32_t STEP_S = 5;
    first_check_stream = 0;
    srandom(static_cast<unsigned>(get_uptime()));
    time_check_reboot_struct.start_time += static_cast<uint32_t>(random()) % STEPS * STEP_S;
    const uint32_t start = time_check_reboot_struct.start_time;
    printf("[%s][%d]start_time+offset_time:%02d:%02d:%02d\n", function, __LINE__, start / 3600, start % 3600 / 60,
           start % 60);
}

static bool in_window()
{
    return time_check_in_time_check(time_check_reboot_struct.start_time, time_check_reboot_struct.end_time) != 0;
}

void time_check_reboot_each_day()
{
    time_check_clock clock;
    time_t now = 0;
    if (!may_act(&clock, &now))
        return;
    if (!in_window())
        reset_counts();
    else if (owes_random_start_offset())
        add_random_start_offset();
    else
        tpi_systool_reboot();
}

void time_check_reboot_each_day_flow()
{
    static uint32_t rand_sleep_time; // seconds; 0: not armed
    static uint32_t tmp_last_time;   // calendar seconds of the previous sample

    time_check_clock clock;
    time_t calendar = 0;
    if (!may_act(&clock, &calendar))
        return;
    const uint32_t now = static_cast<uint32_t>(calendar);
    if (rand_sleep_time != 0) {
        if (tmp_last_time + rand_sleep_time < now)
            tpi_systool_reboot();
        return;
    }
    if (!in_window()) {
        reset_counts();
        return;
    }
    if (owes_random_start_offset()) {
        add_random_start_offset();
        return;
    }
    const uint32_t period = time_check_seconds_apart(now, tmp_last_time);
    if (period > 0) {
        if (flow_check_forword_reboot(period) == 1) {
            rand_sleep_time = time_check_get_sleep_rand(); // a delay of 0 is not armed, the next decision draws again
            doSystemCmd("date");
            LOG_PROGRESS("now time:%02d:%02d\n", clock.tm_hour, clock.tm_min);
            LOG_PROGRESS("sleep %dS after to reboot!!\n", rand_sleep_time);
        }
        tmp_last_time = now;
    }
}

int32_t time_check_reboot()
{
    if (time_check_reboot_struct.enabled == 0)
        return 1;
    switch (time_check_reboot_struct.type) {
    case TIMER_CHECK_EACH_DAY_FLOW:
        time_check_reboot_each_day_flow();
        break;
    case TIMER_CHECK_EACH_DAY:
        time_check_reboot_each_day();
        break;
    case TIMER_CHECK_ONE_DAY:
    case TIMER_CHECK_ONE_DAY_FLOW:
        break;
    default:
        LOG_ERROR("TIME_CHECK_REBOOT_STRUCT.type = %d to be added...\n", time_check_reboot_struct.type);
        break;
    }
    return 1;
}
