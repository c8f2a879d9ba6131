#include "time_check/time_check_debug.h"

#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"

uint32_t _DEBUG_LIST_[TIME_CHECK_MAX_MODULE_NUM]; // NOLINT(bugprone-reserved-identifier)
int32_t debug_tag;

static time_check_msg_ops sys_time_check_debug_ops = own_handler(TIME_CHECK_DBG_MODULE, time_check_debug_msg_handle);

static void tell_switches()
{
    static_assert(TIME_CHECK_MAX_MODULE_NUM <= 32); // a bit each
    uint32_t switches = 0;
    for (uint32_t id = 0; id < TIME_CHECK_MAX_MODULE_NUM; id++)
        switches |= (_DEBUG_LIST_[id] != 0 ? 1U : 0U) << id;
    status_note(&status_memory.main.debug, switches);
}

void time_check_debug_init()
{
    memset(_DEBUG_LIST_, 0, sizeof _DEBUG_LIST_);
    tell_switches();
    register_time_check_module_msg_opses(&sys_time_check_debug_ops, 1);
}

int32_t time_check_debug_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    if (msg->debug_id == TIME_CHECK_DBG_MODULE)
        show_time_check_all_module_entries();
    return set_time_check_debug_info(msg->debug_id);
}

// Both switches change with every request (compat 5).
// The numbers 56 and 63 belong to the lines' fixed text (compat 13).
int32_t set_time_check_debug_info(uint32_t id)
{
    if (id >= TIME_CHECK_MAX_MODULE_NUM)
        return 0;
    printf("___%d____debug_tag: %d_____\n", 56, debug_tag);
    debug_tag = debug_tag == 0;
    printf("___%d____debug_tag: %d_____\n", 63, debug_tag);
    _DEBUG_LIST_[id] = _DEBUG_LIST_[id] == 0;
    tell_switches();
    return 1;
}

int32_t get_time_check_debug_info(uint32_t id)
{
    return id < TIME_CHECK_MAX_MODULE_NUM && debug_tag == 1;
}

bool time_check_trace_is_on(DEBUG_LEVEL level)
{
    char value[8];
    return level == DEBUG_ERROR || (GetValue(KEY_DEBUG, value) == 1 && strcmp(value, "on") == 0);
}
