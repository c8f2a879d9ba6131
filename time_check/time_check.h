// What every module shares: module ids, the decoded control message, result codes and log lines.
#ifndef TIME_CHECK_TIME_CHECK_H
#define TIME_CHECK_TIME_CHECK_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

enum {
    TIME_CHECK_DBG_MODULE = 0,
    TIME_CHECK_REBOOT = 1,
    TIME_CHECK_POWER = 2,
    TIME_CHECK_WIFI = 3,
    TIME_CHECK_LED = 4,
    TIME_CHECK_CPU = 5,
    TIME_CHECK_DAEMON = 6,
    TIME_CHECK_WIFI_CONNECT = 7,
    TIME_CHECK_AP_CONNECT = 8,
    TIME_CHECK_WL_GUEST = 9,
    TIME_CHECK_MAX_MODULE_NUM = 10,
};

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

// Decodes a comma list of key=value items (the first 127 characters count) into modules_var.
void init_time_check_module_var(const char *args);

// Stores one value in every field that var_table gives for `key`.
void set_time_check_module_var(const char *key, const char *value);

// ---- log lines ----
// The bodies of the lines are part of the interface: people and programs read them.

extern uint32_t
    _DEBUG_LIST_[TIME_CHECK_MAX_MODULE_NUM]; // NOLINT(bugprone-reserved-identifier) the switches' known name

// The red line, printed always; several modules also use it for plain progress. LOG_ERROR_OF is for a helper that
// prints a line of the function named.
#define LOG_ERROR_OF(function, body, ...)                                                                              \
    printf("\033[1;31m[TIMER_CHECK >>%s(%d)]:\033[m" body, function, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define LOG_ERROR(body, ...) LOG_ERROR_OF(__func__, body __VA_OPT__(, ) __VA_ARGS__)

// The green line, printed always.
#define LOG_INFO(body, ...)                                                                                            \
    printf("\033[1;32m[TIMER_CHECK >>%s(%d)]:\033[m" body, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// Printed while the module's debug switch is on. LOG_DEBUG_OF as LOG_ERROR_OF.
#define LOG_DEBUG_OF(module, function, body, ...)                                                                      \
    do {                                                                                                               \
        if (_DEBUG_LIST_[module] == 1)                                                                                 \
            printf("\033[1;32m[TIMER_CHECK_DEBUG >>%s(%d)]:\033[m" body, function,                                     \
                   __LINE__ __VA_OPT__(, ) __VA_ARGS__);                                                               \
    } while (0)
#define LOG_DEBUG(module, body, ...) LOG_DEBUG_OF(module, __func__, body __VA_OPT__(, ) __VA_ARGS__)

enum DEBUG_LEVEL { DEBUG_NONE = 0, DEBUG_INFO = 1, DEBUG_ERROR = 2, DEBUG_MAX_LEVEL = 3 };

// The colours of trace lines, by level; the last is the prefix's.
inline constexpr const char *debug_color[] = {"\033[0m", "\033[0;32m", "\033[0;31m", "\033[0;33m"};

// Printed while the store's "time_check_debug" reads "on" (looked at anew for each line), errors always.
#define LOG_TRACE(level, body, ...)                                                                                    \
    do {                                                                                                               \
        if (time_check_trace_is_on(level))                                                                             \
            printf("%s[%s:%s:%d] %s" body "\033[0m", debug_color[3], "time_check", __func__, __LINE__,                 \
                   debug_color[level] __VA_OPT__(, ) __VA_ARGS__);                                                     \
    } while (0)

bool time_check_trace_is_on(DEBUG_LEVEL level);

#endif
