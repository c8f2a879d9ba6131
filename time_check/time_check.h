// What every module shares: the decoded control message and result codes.
#ifndef TIME_CHECK_TIME_CHECK_H
#define TIME_CHECK_TIME_CHECK_H

#include <cstdint>

enum MODULE_COMMON_OP_TYPE {
    OP_DEFAULT = 0,
    OP_START = 1,
    OP_STOP = 2,
    OP_RESTART = 3,
    OP_ADD = 4,
    OP_DELETE = 5,
    OP_UPDATE = 6,
    OP_CLEAR = 7,
    COMMON_MSG_MAX = 8,
};

// Results of message handlers and setters.
enum TIMERCHECKINFO { TIMER_CHECK_ERR = 0, TIMER_CHECK_SUC = 1 };

// A decoded control message. Handlers take what they need during the call; the next message overwrites it.
struct TIME_CHECK_MODULES_COMMON_STRUCT {
    uint32_t op;               // a MODULE_COMMON_OP_TYPE, or any number that the module understands
    uint32_t debug_id;         // a module id, for the debug module
    uint32_t relate_module_id; // the netctrl module that the message is about
    char string_info[256];     // free text
};

// ---- control messages (time_check.cpp) ----

enum VAR_TYPE : int32_t {
    VAR_TYPE_NONE = 0,
    VAR_TYPE_STR = 1,
    VAR_TYPE_BOOL = 2,
    VAR_TYPE_SHORT = 3,
    VAR_TYPE_NUM = 4
};

// Where the value of one message key is stored.
struct COMMON_VAR_ITEM {
    const char *var; // null ends the table
    void *value;
    VAR_TYPE type;
};

extern TIME_CHECK_MODULES_COMMON_STRUCT modules_var;
extern COMMON_VAR_ITEM var_table[5];

// The bus callback: decodes `text` into modules_var and dispatches it. Always 0. Main thread, between ticks.
int TimeCheckMsgHandle(const char *sender, const char *text);

// Splits "MODULE[?ARGUMENTS]" into the module id (-1: no such name) and the arguments (256 bytes). Stores nothing when
// the text is null or over-long, and no id when the text names no module.
void parse_time_check_msg_string(const char *text, int32_t *id, char *args);

// Decodes a comma list of key=value items (the first 127 characters count) into modules_var (compat 81).
void init_time_check_module_var(const char *args);

// Stores one value in every field that var_table gives for `key`.
void set_time_check_module_var(const char *key, const char *value);

#endif
