// Not built yet: registers its handler and does nothing.
#include "time_check/time_check_ap_connect.h"

#include "time_check/time_check_module.h"

static time_check_msg_ops time_check_ap_connect_ops = {
    .list = {},
    .module_id = TIME_CHECK_AP_CONNECT,
    .intent_module_id = TIME_CHECK_AP_CONNECT,
    .op_type_bits = ALL_OP_TYPES,
    .ops = time_check_ap_connect_handle,
};

void time_check_ap_connect_init()
{
    register_time_check_module_msg_opses(&time_check_ap_connect_ops, 1);
}

int32_t time_check_ap_connect_handle(TIME_CHECK_MODULES_COMMON_STRUCT * /*msg*/)
{
    return 1;
}

int32_t time_check_ap_connect()
{
    return 1;
}
