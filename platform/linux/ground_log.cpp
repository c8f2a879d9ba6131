#include "platform/linux/ground_log.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <unistd.h>

void ground_log(const char *format, ...)
{
    const int kept_errno = errno;
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
    for (size_t i = 0; i < length; i++)
        if (static_cast<unsigned char>(line[i]) < ' ' || line[i] == '\177')
            line[i] = '?';
    line[length++] = '\n';
    ssize_t written = 0;
    do
        written = write(STDERR_FILENO, line, length);
    while (written < 0 && errno == EINTR);
    errno = kept_errno;
}
