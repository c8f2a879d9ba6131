#include "time_check/time_check_log.h"

#include <cstdarg>

// A line's head and body are two calls of printf. Between these they stay one line beside the other thread's, also on
// grounds that print by libc.
__attribute__((format(printf, 1, 0))) static void end_line(const char *body, va_list arguments)
{
    vfprintf(stdout, body, arguments);
    funlockfile(stdout);
}

void time_check_log_error(const char *function, int32_t line, const char *body, ...)
{
    va_list arguments;
    va_start(arguments, body);
    flockfile(stdout);
    printf("\033[1;31m[TIMER_CHECK >>%s(%d)]:\033[m", function, line);
    end_line(body, arguments);
    va_end(arguments);
}

void time_check_log_info(const char *function, int32_t line, const char *body, ...)
{
    va_list arguments;
    va_start(arguments, body);
    flockfile(stdout);
    printf("\033[1;32m[TIMER_CHECK >>%s(%d)]:\033[m", function, line);
    end_line(body, arguments);
    va_end(arguments);
}

void time_check_log_debug(const char *function, int32_t line, const char *body, ...)
{
    va_list arguments;
    va_start(arguments, body);
    flockfile(stdout);
    printf("\033[1;32m[TIMER_CHECK_DEBUG >>%s(%d)]:\033[m", function, line);
    end_line(body, arguments);
    va_end(arguments);
}

void time_check_log_trace(DEBUG_LEVEL level, const char *function, int32_t line, const char *body, ...)
{
    va_list arguments;
    va_start(arguments, body);
    flockfile(stdout);
    printf("%s[%s:%s:%d] %s", debug_color[3], "time_check", function, line, debug_color[level]);
    vfprintf(stdout, body, arguments);
    printf("\033[0m");
    funlockfile(stdout);
    va_end(arguments);
}
