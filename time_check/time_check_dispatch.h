// The way of messages: which handlers take those of each module.
//
// Filled at start-up by the main thread and never changed afterwards; no locks. Modules know this unit and not the
// table (time_check_module.h), which knows them.
#ifndef TIME_CHECK_TIME_CHECK_DISPATCH_H
#define TIME_CHECK_TIME_CHECK_DISPATCH_H

#include "time_check/time_check.h"

// A link of an intrusive doubly linked list. A head that points at itself is an empty list.
struct list_node {
    list_node *next;
    list_node *prev;
};

inline void INIT_LIST_HEAD(list_node *head)
{
    head->next = head;
    head->prev = head;
}

// Inserts `node` directly after `pos`; after the head means in front.
inline void list_append(list_node *node, list_node *pos)
{
    pos->next->prev = node;
    node->next = pos->next;
    node->prev = pos;
    pos->next = node;
}

inline void __list_del(list_node *prev, list_node *next) // NOLINT(bugprone-reserved-identifier) the list's known name
{
    next->prev = prev;
    prev->next = next;
}

// Takes `node` out and leaves its own links as they were, so that a walk may still follow them.
inline void list_del(list_node *node)
{
    __list_del(node->prev, node->next);
}

using msg_handle_fn = int32_t (*)(TIME_CHECK_MODULES_COMMON_STRUCT *msg); // the result is ignored
using module_init_fn = void (*)();

// One handler's registration; static, owned by the module that registers it.
struct time_check_msg_ops {
    list_node list;
    int32_t module_id;        // whose handler this is
    int32_t intent_module_id; // whose messages it takes
    uint32_t op_type_bits;    // bit n: takes op n; 0: takes all
    msg_handle_fn ops;
};

constexpr uint32_t ALL_OP_TYPES = 0xffff;

// The record with which a module takes its own messages, whatever their op.
constexpr time_check_msg_ops own_handler(int32_t id, msg_handle_fn handler)
{
    return {.list = {}, .module_id = id, .intent_module_id = id, .op_type_bits = ALL_OP_TYPES, .ops = handler};
}

struct time_check_module_entry {
    int32_t id;
    char name[128];
    int32_t ops_num;
    module_init_fn init; // may be null
    list_node ops_head;
};

// Takes the table's `num` rows, each of an id of its own. Until then there is no module.
void dispatch_to_modules(time_check_module_entry *rows, int32_t num);

// 1, or -1 for a null record or an unknown module. Registering a record twice is not detected.
int32_t register_time_check_module_msg_ops(time_check_msg_ops *ops);

// Registers `count` consecutive records and stops at the first that fails.
void register_time_check_module_msg_opses(time_check_msg_ops *array, int32_t count);

// Hands a message to the module's handlers, in list order, on the caller's thread.
void handle_time_check_module_msg(int32_t module_id, TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Prints every module and whose handlers it has.
void show_time_check_all_module_entries();

// ---- for products ----

// Removes all handlers of the record's module from the list that it listens to. 0, or -1 for a null record or an
// unknown module. Nothing in the daemon calls it (compat 92).
int32_t unregister_time_check_module_msg_ops(const time_check_msg_ops *ops);

#endif
