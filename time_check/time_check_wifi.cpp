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
#include "time_check/time_check_text.h"

struct time_check_wifi {
    uint32_t enabled;
    sched_rule wifi_time[SCHED_RULES_MAX];
    uint32_t num; // rules loaded
};

static struct time_check_wifi time_check_wifi_struct;
static uint32_t time_check_wifi_start_flag = 1; // 1: as the schedule sees it, Wi-Fi is on
static uint32_t time_check_wifi_button;         // up-time of the last switching by hand, seconds; 0: none to look at
static uint32_t time_check_wifi_first_init = 1; // 1: nothing has been loaded yet

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
    if (time_check_wifi_first_init != 1)
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
        time_check_wifi_start_flag = 0;
    }
    time_check_wifi_first_init = 0;
}

void time_check_first_turn_on_wifi()
{
    if (time_check_wifi_first_init != 1)
        return;
    time_check_set_wifi_status(WIFI_ON);
    time_check_wifi_first_init = 0;
}

// ---- configuration and messages ----

// Somebody switched Wi-Fi by hand: the schedule takes the state it finds for its own, so that it acts at the next edge.
static void take_over_button()
{
    const auto uptime = static_cast<uint32_t>(get_uptime());
    if (time_check_wifi_button != 0 && time_check_wifi_button < uptime)
        time_check_wifi_start_flag = time_check_get_wifi_status() != WIFI_OFF;
    time_check_wifi_button = 0;
}

TIMERCHECKINFO set_time_check_wifi_info()
{
    char value[64];
    memset(&time_check_wifi_struct, 0, sizeof time_check_wifi_struct);
    time_check_wifi_enable();
    GetValue(KEY_WIFI_SCHED_ENABLE, value);
    time_check_wifi_struct.enabled = static_cast<uint32_t>(time_check_atoi(value));
    time_check_wifi_struct.num = load_sched_rules(WIFI_RULES, time_check_wifi_struct.wifi_time);
    take_over_button();
    return TIMER_CHECK_ERR;
}

void time_check_wifi_stop()
{
    if (time_check_power_is_in_sleep() == 0)
        time_check_set_wifi_status(WIFI_ON);
    time_check_wifi_start_flag = 1;
}

int32_t time_check_wifi_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    if (msg->string_info[0] != '\0') {
        time_check_wifi_button = static_cast<uint32_t>(time_check_atoi(msg->string_info));
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

// ---- the schedule ----

int32_t time_check_wifi_is_in_wifi_time()
{
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    return time_check_wifi_struct.enabled == 1 &&
           sched_rules_hold(time_check_wifi_struct.wifi_time, time_check_wifi_struct.num, &local, nullptr);
}

static void report_unknown_rule(uint32_t number)
{
    LOG_ERROR_OF("time_check_wifi_for_day", "Unkown wlan schedule rule [ID:%d]\n", number);
}

// Rules switch although "sys.sched.wifi.enable" is off; only time_check_wifi_is_in_wifi_time asks for it. Kept on
// purpose.
void time_check_wifi_for_day(time_t now)
{
    if (time_check_wifi_struct.num == 0)
        return;
    struct tm local = {};
    localtime_r(&now, &local);
    const int32_t status = time_check_get_wifi_status();
    // The switch is asked for by the reboot module's id: there is one for all.
    if (local.tm_year + 1900 < FIRST_VALID_YEAR && get_time_check_debug_info(TIME_CHECK_REBOOT) == 0)
        return;
    if (time_check_power_is_in_power_time() != 0)
        return;

    if (sched_rules_hold(time_check_wifi_struct.wifi_time, time_check_wifi_struct.num, &local, report_unknown_rule)) {
        if (status == WIFI_ON && time_check_wifi_start_flag == 1)
            time_check_set_wifi_status(WIFI_OFF);
        time_check_wifi_start_flag = 0;
    } else {
        if (status == WIFI_OFF && time_check_wifi_start_flag == 0)
            time_check_set_wifi_status(WIFI_ON);
        time_check_wifi_start_flag = 1;
    }
}

int32_t time_check_wifi()
{
    static uint32_t tmp_last_time; // calendar seconds of the last evaluation

    const time_t now = time(nullptr);
    if (sched_is_due(&tmp_last_time, now))
        time_check_wifi_for_day(now);
    return 1;
}
