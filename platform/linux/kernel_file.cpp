#include "platform/linux/kernel_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

static void close_keeping_errno(int fd)
{
    const int kept_errno = errno;
    close(fd);
    errno = kept_errno;
}

// `only_line`: nothing behind the first line end is wanted.
static int read_text(const char *path, char *buffer, size_t size, bool only_line)
{
    buffer[0] = '\0';
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    size_t length = 0;
    ssize_t got = 0;
    bool more = true;
    while (more) {
        got = read(fd, buffer + length, size - 1 - length);
        const bool has_line =
            got > 0 && only_line && memchr(buffer + length, '\n', static_cast<size_t>(got)) != nullptr;
        if (got > 0)
            length += static_cast<size_t>(got);
        more = (got > 0 && length < size - 1 && !has_line) || (got < 0 && errno == EINTR);
    }
    close_keeping_errno(fd);
    if (got < 0)
        length = 0;
    buffer[length] = '\0';
    return got < 0 ? -1 : static_cast<int>(length);
}

int read_kernel_file(const char *path, char *buffer, size_t size)
{
    return read_text(path, buffer, size, false);
}

bool read_first_line(const char *path, char *line, size_t size)
{
    if (read_text(path, line, size, true) < 0)
        return false;
    line[strcspn(line, "\n")] = '\0';
    return true;
}

bool write_kernel_file(const char *path, const char *text)
{
    const int fd = open(path, O_WRONLY | O_CLOEXEC | O_TRUNC);
    if (fd < 0)
        return false;
    const ssize_t length = static_cast<ssize_t>(strlen(text));
    const bool written = write(fd, text, static_cast<size_t>(length)) == length;
    close_keeping_errno(fd);
    return written;
}
