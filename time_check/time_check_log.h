// The kinds of log lines. Their bodies are part of the interface: people and programs read them.
#ifndef TIME_CHECK_TIME_CHECK_LOG_H
#define TIME_CHECK_TIME_CHECK_LOG_H

#include <cstdint>
#include <cstdio>

// The modules' switches by their known name; how many there are is nothing to the lines, and stands in
// time_check_ids.h.
extern uint32_t _DEBUG_LIST_[]; // NOLINT(bugprone-reserved-identifier,readability-redundant-declaration)

// What the lines begin with is in these calls, once, and not in each line's format.
// Both threads may call them; a line is never mixed with the other thread's.
__attribute__((format(printf, 3, 4))) void time_check_log_error(const char *function, int32_t line, const char *body,
                                                                ...);
__attribute__((format(printf, 3, 4))) void time_check_log_info(const char *function, int32_t line, const char *body,
                                                               ...);
__attribute__((format(printf, 3, 4))) void time_check_log_debug(const char *function, int32_t line, const char *body,
                                                                ...);

// The _OF forms print a line of the function named. They are for helpers, which learn their caller's name from a
// default argument: const char *function = __builtin_FUNCTION().

// The red line, printed always: something failed (compat 9).
#define LOG_ERROR_OF(function, ...) time_check_log_error(function, __LINE__, __VA_ARGS__)
#define LOG_ERROR(...)              LOG_ERROR_OF(__func__, __VA_ARGS__)

// The same red line, by which its readers know it, for plain progress.
#define LOG_PROGRESS_OF(function, ...) LOG_ERROR_OF(function, __VA_ARGS__)
#define LOG_PROGRESS(...)              LOG_PROGRESS_OF(__func__, __VA_ARGS__)

// The green line, printed always (compat 10).
#define LOG_INFO_OF(function, ...) time_check_log_info(function, __LINE__, __VA_ARGS__)
#define LOG_INFO(...)              LOG_INFO_OF(__func__, __VA_ARGS__)

// Printed while the module's debug switch is on (compat 11). A DUMP line is printed always, by who has asked for the
// switch before the first of many.
#define LOG_DUMP_OF(function, ...) time_check_log_debug(function, __LINE__, __VA_ARGS__)
#define LOG_DEBUG_OF(module, function, ...)                                                                            \
    do {                                                                                                               \
        if (_DEBUG_LIST_[module] == 1)                                                                                 \
            LOG_DUMP_OF(function, __VA_ARGS__);                                                                        \
    } while (0)
#define LOG_DEBUG(module, ...) LOG_DEBUG_OF(module, __func__, __VA_ARGS__)

enum DEBUG_LEVEL { DEBUG_NONE = 0, DEBUG_INFO = 1, DEBUG_ERROR = 2, DEBUG_MAX_LEVEL = 3 };

// The colours of trace lines, by level; the last is the prefix's.
inline constexpr const char *debug_color[] = {"\033[0m", "\033[0;32m", "\033[0;31m", "\033[0;33m"};

// Printed while the store's "time_check_debug" reads "on" (looked at anew for each line), errors always (compat 12).
#define LOG_TRACE(level, ...)                                                                                          \
    do {                                                                                                               \
        if (time_check_trace_is_on(level))                                                                             \
            time_check_log_trace(level, __func__, __LINE__, __VA_ARGS__);                                              \
    } while (0)

__attribute__((format(printf, 4, 5))) void time_check_log_trace(DEBUG_LEVEL level, const char *function, int32_t line,
                                                                const char *body, ...);
bool time_check_trace_is_on(DEBUG_LEVEL level);

#endif
