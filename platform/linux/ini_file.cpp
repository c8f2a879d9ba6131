// The values of files of "key=value" lines.
#include "platform/vos.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "platform/common/settings_line.h"

// What counts of one line; the rest of a longer one is skipped.
struct line_start {
    char text[512];
    size_t length;
};

// Takes bytes into the line until one ends it. True: the line is complete. How many were taken goes to *taken.
static bool take_line(line_start *line, const char *bytes, size_t available, size_t *taken)
{
    const char *const end = static_cast<const char *>(memchr(bytes, '\n', available));
    const size_t length = end == nullptr ? available : static_cast<size_t>(end - bytes);
    const size_t room = sizeof line->text - line->length;
    const size_t kept = length < room ? length : room;
    memcpy(line->text + line->length, bytes, kept);
    line->length += kept;
    *taken = end == nullptr ? length : length + 1;
    return end != nullptr;
}

static bool find_value(int fd, const char *key, char *value)
{
    line_start line = {};
    char bytes[512];
    for (;;) {
        const ssize_t got = read(fd, bytes, sizeof bytes);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) // the last line may lack its end
            return got == 0 && settings_line_value(line.text, line.length, key, value);
        size_t taken = 0;
        for (size_t next = 0; next < static_cast<size_t>(got); next += taken) {
            if (!take_line(&line, bytes + next, static_cast<size_t>(got) - next, &taken))
                continue;
            if (settings_line_value(line.text, line.length, key, value))
                return true;
            line.length = 0;
        }
    }
}

int vos_get_value_from_file(const char *file, const char *key, char *value)
{
    value[0] = '\0';
    const int fd = open(file, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    const bool found = find_value(fd, key, value);
    close(fd);
    return found ? 0 : -1;
}
