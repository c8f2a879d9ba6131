#include "time_check/time_check_module.h"

#include <cstring>

#include "time_check/time_check_ap_connect.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_daemon.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_reboot.h"
#include "time_check/time_check_wifi.h"
#include "time_check/time_check_wifi_connect.h"
#include "time_check/time_check_wl_guest.h"

static time_check_module_entry time_check_modules[] = {
    {.id = TIME_CHECK_DBG_MODULE,
     .name = "time_check_debug",
     .ops_num = 0,
     .init = time_check_debug_init,
     .ops_head = {}},
    {.id = TIME_CHECK_REBOOT,
     .name = "time_check_reboot",
     .ops_num = 0,
     .init = time_check_reboot_init,
     .ops_head = {}},
    {.id = TIME_CHECK_POWER, .name = "time_check_power", .ops_num = 0, .init = time_check_power_init, .ops_head = {}},
    {.id = TIME_CHECK_WIFI, .name = "time_check_wifi", .ops_num = 0, .init = time_check_wifi_init, .ops_head = {}},
    {.id = TIME_CHECK_LED, .name = "time_check_led", .ops_num = 0, .init = time_check_led_init, .ops_head = {}},
    {.id = TIME_CHECK_CPU, .name = "time_check_cpu", .ops_num = 0, .init = time_check_cpu_init, .ops_head = {}},
    {.id = TIME_CHECK_DAEMON,
     .name = "time_check_daemon",
     .ops_num = 0,
     .init = time_check_daemon_init,
     .ops_head = {}},
    {.id = TIME_CHECK_WIFI_CONNECT,
     .name = "time_check_wifi_connect",
     .ops_num = 0,
     .init = time_check_wifi_connect_init,
     .ops_head = {}},
    {.id = TIME_CHECK_AP_CONNECT,
     .name = "time_check_ap_connect",
     .ops_num = 0,
     .init = time_check_ap_connect_init,
     .ops_head = {}},
    {.id = TIME_CHECK_WL_GUEST,
     .name = "time_check_wl_guest",
     .ops_num = 0,
     .init = time_check_wl_guest_init,
     .ops_head = {}},
};
constexpr int32_t MODULE_ROWS = sizeof time_check_modules / sizeof time_check_modules[0];
static_assert(MODULE_ROWS == TIME_CHECK_MAX_MODULE_NUM);

constexpr uint8_t NO_ROW = 0xff;
static uint8_t time_check_module_index[TIME_CHECK_MAX_MODULE_NUM];

static bool is_module_id(int32_t id)
{
    return id >= 0 && id < TIME_CHECK_MAX_MODULE_NUM;
}

static time_check_module_entry *find_entry(int32_t id)
{
    const uint8_t row = is_module_id(id) ? time_check_module_index[id] : NO_ROW;
    return row < MODULE_ROWS ? &time_check_modules[row] : nullptr;
}

static time_check_msg_ops *record_of(list_node *node)
{
    static_assert(offsetof(time_check_msg_ops, list) == 0);
    return reinterpret_cast<time_check_msg_ops *>(node);
}

void init_time_check_module_index()
{
    memset(time_check_module_index, NO_ROW, sizeof time_check_module_index);
    for (int32_t row = 0; row < MODULE_ROWS; row++)
        time_check_module_index[time_check_modules[row].id] = static_cast<uint8_t>(row);
}

void init_time_check_module_entries()
{
    LOG_DEBUG(TIME_CHECK_DBG_MODULE, "init module entries.\n");
    init_time_check_module_index();
    for (time_check_module_entry &entry : time_check_modules)
        INIT_LIST_HEAD(&entry.ops_head);
    for (const time_check_module_entry &entry : time_check_modules)
        if (entry.init != nullptr)
            entry.init();
}

int32_t find_time_check_module_id_by_name(const char *name)
{
    for (const time_check_module_entry &entry : time_check_modules) {
        if (strcmp(entry.name, name) == 0) {
            LOG_ERROR("found msg id:{name:%10s,id:%2d}\n", entry.name, entry.id);
            return entry.id;
        }
    }
    // The line names the last row, not the name searched for: its readers know it so.
    LOG_ERROR("not found msg id[%s]\n", time_check_modules[MODULE_ROWS - 1].name);
    return -1;
}

// The entry whose messages the record is for, or null, with a line of `function` unless there is no record.
static time_check_module_entry *intent_entry(const time_check_msg_ops *ops, const char *function)
{
    if (ops == nullptr)
        return nullptr;
    if (!is_module_id(ops->intent_module_id)) {
        LOG_ERROR_OF(function, "invalid intent module id:%d\n", ops->intent_module_id);
        return nullptr;
    }
    time_check_module_entry *entry = find_entry(ops->intent_module_id);
    if (entry == nullptr)
        LOG_ERROR_OF(function, "not found module:%d\n", ops->intent_module_id);
    return entry;
}

int32_t register_time_check_module_msg_ops(time_check_msg_ops *ops)
{
    time_check_module_entry *entry = intent_entry(ops, __func__);
    if (entry == nullptr)
        return -1;

    // A handler of another module goes second, so that the module's own stays first.
    const bool listens_in = ops->intent_module_id != ops->module_id;
    list_append(&ops->list, entry->ops_num > 0 && listens_in ? entry->ops_head.next : &entry->ops_head);
    entry->ops_num++;
    return 1;
}

void register_time_check_module_msg_opses(time_check_msg_ops *array, int32_t count)
{
    for (int32_t i = 0; i < count; i++) {
        if (register_time_check_module_msg_ops(&array[i]) == -1) {
            LOG_ERROR("register msg ops error.\n");
            return;
        }
    }
}

int32_t unregister_time_check_module_msg_ops(const time_check_msg_ops *ops)
{
    time_check_module_entry *entry = intent_entry(ops, __func__);
    if (entry == nullptr)
        return -1;

    for (list_node *node = entry->ops_head.next; node != &entry->ops_head; node = node->next)
        if (record_of(node)->module_id == ops->module_id)
            list_del(node);
    entry->ops_num--; // once, however many were removed: kept on purpose
    return 0;
}

static bool accepts(const time_check_msg_ops *record, uint32_t op)
{
    return op == OP_DEFAULT || record->op_type_bits == 0 || (record->op_type_bits & (1U << (op & 31U))) != 0;
}

void handle_time_check_module_msg(int32_t module_id, TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    if (!is_module_id(module_id)) {
        LOG_ERROR("invalid module_id[%d]\n", module_id);
        return;
    }
    time_check_module_entry *entry = find_entry(module_id);
    if (entry == nullptr) {
        LOG_ERROR("not found module entry:%d\n", module_id);
        return;
    }
    LOG_DEBUG(TIME_CHECK_DBG_MODULE, "start handle module[%2d,%10s]'s msg,op=%d.\n", entry->id, entry->name,
              static_cast<int32_t>(msg->op));
    for (list_node *node = entry->ops_head.next; node != &entry->ops_head; node = node->next) {
        const time_check_msg_ops *record = record_of(node);
        if (record->ops != nullptr && accepts(record, msg->op))
            record->ops(msg);
    }
}

static void show_handlers(time_check_module_entry *entry)
{
    for (list_node *node = entry->ops_head.next; node != &entry->ops_head; node = node->next) {
        const time_check_module_entry *owner = find_entry(record_of(node)->module_id);
        if (owner != nullptr)
            printf("%s,", owner->name);
    }
}

void show_time_check_all_module_entries()
{
    for (int32_t id = 0; id < TIME_CHECK_MAX_MODULE_NUM; id++) {
        time_check_module_entry *entry = find_entry(id);
        if (entry == nullptr)
            continue;
        printf("id:%d\n", entry->id);
        printf("name:%s\n", entry->name);
        printf("ops_module:");
        if (entry->ops_num > 0)
            show_handlers(entry);
        printf("\n");
    }
}
