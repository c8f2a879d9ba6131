#include "time_check/time_check_ap_connect.h"

#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/network.h"
#include "platform/vos.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_uplink.h"

constexpr int32_t UNREACHABLE = 1;
constexpr int32_t REACHABLE = 3;

static char lan_info_gw[VOS_FILE_VALUE_SIZE]; // the gateway's address; "" without one
static int32_t link_count;                    // ticks in a row whose ping was answered
static int32_t not_link_count;                // ticks in a row whose ping was not
static int32_t last_ping_status = REACHABLE;  // as netctrl was last told, or takes it to be at the start

static time_check_msg_ops time_check_ap_connect_ops = own_handler(TIME_CHECK_AP_CONNECT, time_check_ap_connect_handle);

void set_time_check_ap_connect_info()
{
    vos_get_value_from_file("/etc/lan.ini", "gateway", lan_info_gw);
    vos_str_trim(lan_info_gw);
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

int32_t time_check_ap_connect_main()
{
    const int32_t status = simple_ping(lan_info_gw) == 0 ? REACHABLE : UNREACHABLE;
    int32_t *count = status == REACHABLE ? &link_count : &not_link_count;
    int32_t *opposite_count = status == REACHABLE ? &not_link_count : &link_count;
    if (time_check_state_lasts(count, opposite_count) && last_ping_status != status) {
        time_check_post_upstream(status == REACHABLE);
        *count = 0;
        last_ping_status = status;
    }
    return TIMER_CHECK_ERR;
}

int32_t time_check_ap_connect()
{
    char workmode[16];
    GetValue(KEY_SYS_WORKMODE, workmode);
    if (strcmp(workmode, "ap") == 0)
        time_check_ap_connect_main();
    return TIMER_CHECK_SUC;
}
