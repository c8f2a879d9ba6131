#include "platform/linux/ground_log.h"

#include <cerrno> // program_invocation_short_name
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <unistd.h>

#include "platform/linux/log_sink.h"
#include "platform/linux/printable.h"

void ground_log(const char *format, ...)
{
    char line[512];
    constexpr size_t ROOM = sizeof line - 1; // the last place is the line end's
    int prefix = snprintf(line, ROOM, "%s: ", program_invocation_short_name);
    if (prefix < 0 || static_cast<size_t>(prefix) >= ROOM)
        prefix = 0;
    va_list arguments;
    va_start(arguments, format);
    const int body = vsnprintf(line + prefix, ROOM - static_cast<size_t>(prefix), format, arguments);
    va_end(arguments);

    size_t length = static_cast<size_t>(prefix) + (body < 0 ? 0U : static_cast<size_t>(body));
    if (length > ROOM - 1)
        length = ROOM - 1;
    make_printable(line, length);
    line[length++] = '\n';
    log_write(STDERR_FILENO, line, length);
}
