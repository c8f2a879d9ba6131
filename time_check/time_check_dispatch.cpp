#include "time_check/time_check_dispatch.h"

#include <cstddef>
#include <cstring>

#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"

static time_check_module_entry *modules; // the table's rows
static int32_t module_rows;              // 0 until the table is handed over: a ground may have a message by then
static uint8_t time_check_module_index[TIME_CHECK_MAX_MODULE_NUM]; // an id's row

constexpr uint8_t NO_ROW = 0xff;
static_assert(TIME_CHECK_MAX_MODULE_NUM <= NO_ROW);

static bool is_module_id(int32_t id)
{
    return id >= 0 && id < TIME_CHECK_MAX_MODULE_NUM;
}

static time_check_module_entry *find_entry(int32_t id)
{
    const uint8_t row = is_module_id(id) ? time_check_module_index[id] : NO_ROW;
    return row < module_rows ? &modules[row] : nullptr;
}

static time_check_msg_ops *record_of(list_node *node)
{
    static_assert(offsetof(time_check_msg_ops, list) == 0);
    return reinterpret_cast<time_check_msg_ops *>(node);
}

void dispatch_to_modules(time_check_module_entry *rows, int32_t num)
{
    modules = rows;
    module_rows = num;
    memset(time_check_module_index, NO_ROW, sizeof time_check_module_index);
    for (int32_t row = 0; row < num; row++)
        time_check_module_index[rows[row].id] = static_cast<uint8_t>(row);
}

// The entry whose messages the record is for, or null, with a line of the caller's unless there is no record.
static time_check_module_entry *intent_entry(const time_check_msg_ops *ops, const char *function = __builtin_FUNCTION())
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
    time_check_module_entry *entry = intent_entry(ops);
    if (entry == nullptr)
        return -1;

    // A handler of another module goes second, so that the module's own stays first (compat 2).
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

// Op 0 and a record without bits pass; of an op the low five bits count (compat 4).
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
        status_begin(static_cast<uint8_t>(record->module_id), STATUS_BY_MESSAGE);
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

// ---- for products ----

int32_t unregister_time_check_module_msg_ops(const time_check_msg_ops *ops)
{
    time_check_module_entry *entry = intent_entry(ops);
    if (entry == nullptr)
        return -1;

    for (list_node *node = entry->ops_head.next; node != &entry->ops_head; node = node->next)
        if (record_of(node)->module_id == ops->module_id)
            list_del(node);
    entry->ops_num--; // once, however many were removed (compat 3)
    return 0;
}
