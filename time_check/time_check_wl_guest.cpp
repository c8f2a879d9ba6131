// Not built yet: registers its handler and does nothing.
#include "time_check/time_check_wl_guest.h"

#include "time_check/time_check_module.h"

static time_check_msg_ops sys_time_check_wl_guest_ops = {
    .list = {},
    .module_id = TIME_CHECK_WL_GUEST,
    .intent_module_id = TIME_CHECK_WL_GUEST,
    .op_type_bits = ALL_OP_TYPES,
    .ops = time_check_wl_guest_msg_handle,
};

void time_check_wl_guest_init()
{
    register_time_check_module_msg_opses(&sys_time_check_wl_guest_ops, 1);
}

int32_t time_check_wl_guest_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT * /*msg*/)
{
    return 1;
}

void time_check_wl_guest()
{
}
