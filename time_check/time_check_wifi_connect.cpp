// Not built yet: registers its handler and does nothing.
#include "time_check/time_check_wifi_connect.h"

#include "time_check/time_check_module.h"

static time_check_msg_ops sys_time_check_wifi_connect_ops = {
    .list = {},
    .module_id = TIME_CHECK_WIFI_CONNECT,
    .intent_module_id = TIME_CHECK_WIFI_CONNECT,
    .op_type_bits = ALL_OP_TYPES,
    .ops = time_check_wifi_connect_msg_handle,
};

void time_check_wifi_connect_init()
{
    register_time_check_module_msg_opses(&sys_time_check_wifi_connect_ops, 1);
}

int32_t time_check_wifi_connect_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT * /*msg*/)
{
    return 1;
}

void time_check_wifi_connect()
{
}
