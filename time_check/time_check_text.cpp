#include "time_check/time_check_text.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

static const char blanks[] = " \t\n\v\f\r";

// By itself and not by strtoll, which asks the locale and costs an idle tick as much as all else that it converts.
int32_t time_check_atoi(const char *text)
{
    constexpr int64_t LARGEST = int64_t{INT32_MAX} + 1; // as far from zero as any result gets
    text += strspn(text, blanks);
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+')
        text++;
    int64_t number = 0;
    for (; *text >= '0' && *text <= '9'; text++)
        number = number * 10 + (*text - '0') < LARGEST ? number * 10 + (*text - '0') : LARGEST;
    if (negative)
        return static_cast<int32_t>(-number);
    return number < LARGEST ? static_cast<int32_t>(number) : INT32_MAX;
}

void copy_text(char *buffer, size_t size, const char *text)
{
    copy_text_n(buffer, size, text, strlen(text));
}

void copy_text_n(char *buffer, size_t size, const char *text, size_t length)
{
    const size_t kept = length < size ? length : size - 1;
    memcpy(buffer, text, kept);
    buffer[kept] = '\0';
}

bool copy_column(char *buffer, size_t size, const char *text, unsigned number)
{
    text += strspn(text, blanks);
    for (unsigned i = 1; i < number; i++) {
        text += strcspn(text, blanks);
        text += strspn(text, blanks);
    }
    const size_t length = strcspn(text, blanks);
    copy_text_n(buffer, size, text, length);
    return length > 0;
}

const char *shell_quoted(char *buffer, size_t size, const char *text)
{
    static const char plain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_@%+=:,./-";
    static const char quote[] = "'\\''"; // ends the quotes, adds one of its own, opens them again
    if (text[strspn(text, plain)] == '\0') {
        copy_text(buffer, size, text);
        return buffer;
    }

    const size_t room = size - 2; // all but the closing quote and the end
    size_t length = 0;
    buffer[length++] = '\'';
    for (; *text != '\0'; text++) {
        const bool is_quote = *text == '\'';
        const size_t needed = is_quote ? strlen(quote) : 1;
        if (length + needed > room)
            break;
        memcpy(buffer + length, is_quote ? quote : text, needed);
        length += needed;
    }
    buffer[length++] = '\'';
    buffer[length] = '\0';
    return buffer;
}

bool open_lines(line_reader *reader, const char *path)
{
    reader->fd = open(path, O_RDONLY | O_CLOEXEC);
    reader->failed = false;
    reader->begin = 0;
    reader->end = 0;
    return reader->fd >= 0;
}

static bool fill(line_reader *reader)
{
    ssize_t got = 0;
    do
        got = read(reader->fd, reader->buffer, sizeof reader->buffer);
    while (got < 0 && errno == EINTR);
    reader->failed = reader->failed || got < 0;
    reader->begin = 0;
    reader->end = got > 0 ? static_cast<size_t>(got) : 0;
    return reader->end > 0;
}

bool read_line(line_reader *reader, char *line, size_t size)
{
    size_t length = 0;
    bool ended = false;
    while (!ended && length < size - 1 && (reader->begin < reader->end || fill(reader))) {
        const char *const text = reader->buffer + reader->begin;
        const size_t room = size - 1 - length;
        size_t piece = reader->end - reader->begin < room ? reader->end - reader->begin : room;
        const auto *const line_end = static_cast<const char *>(memchr(text, '\n', piece));
        ended = line_end != nullptr;
        if (ended)
            piece = static_cast<size_t>(line_end - text) + 1;
        memcpy(line + length, text, piece);
        length += piece;
        reader->begin += piece;
    }
    line[length] = '\0';
    return length > 0;
}

void close_lines(line_reader *reader)
{
    close(reader->fd);
}
