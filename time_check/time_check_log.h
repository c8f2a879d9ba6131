// The kinds of log lines. Their bodies are part of the interface: people and programs read them.
#ifndef TIME_CHECK_TIME_CHECK_LOG_H
#define TIME_CHECK_TIME_CHECK_LOG_H

#include <cstdint>
#include <cstdio>

// The modules' switches by their known name; how many there are is nothing to the lines, and stands in
// time_check_ids.h.
extern uint32_t _DEBUG_LIST_[]; // NOLINT(bugprone-reserved-identifier,readability-redundant-declaration)

// The _OF forms print a line of the function named. They are for helpers, which learn their caller's name from a
// default argument: const char *function = __builtin_FUNCTION().

// The red line, printed always: something failed.
#define LOG_ERROR_OF(function, body, ...)                                                                              \
    printf("\033[1;31m[TIMER_CHECK >>%s(%d)]:\033[m" body, function, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define LOG_ERROR(body, ...) LOG_ERROR_OF(__func__, body __VA_OPT__(, ) __VA_ARGS__)

// The same red line, by which its readers know it, for plain progress.
#define LOG_PROGRESS_OF(function, body, ...) LOG_ERROR_OF(function, body __VA_OPT__(, ) __VA_ARGS__)
#define LOG_PROGRESS(body, ...)              LOG_PROGRESS_OF(__func__, body __VA_OPT__(, ) __VA_ARGS__)

// The green line, printed always.
#define LOG_INFO(body, ...)                                                                                            \
    printf("\033[1;32m[TIMER_CHECK >>%s(%d)]:\033[m" body, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// Printed while the module's debug switch is on.
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
