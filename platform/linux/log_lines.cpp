// The daemon's printf: its lines are put together here, what comes from outside is made printable, and they go out
// whole without ever blocking. Every call of printf, vfprintf, puts and putchar in the program time_check comes
// here, by the linker's option --wrap.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "platform/linux/log_sink.h"
#include "platform/linux/printable.h"

// The line that a thread has begun. Arguments cannot take the last places, so that a long one does not cost the line
// its end.
struct begun_line {
    size_t length;
    char text[LOG_TEXT_MAX + 1]; // and the end that snprintf puts behind an argument
};
constexpr size_t ARGUMENTS_END = LOG_TEXT_MAX - 128;

static thread_local begun_line line;

// Foreign text must not hold line ends, escape sequences and their like. Colours of the daemon's own come as arguments,
// too; one that stands alone can do no more than colour a line.
static bool is_colour(const char *text)
{
    return strncmp(text, "\033[0", 3) == 0 && strcmp(text + 3 + strspn(text + 3, ";123"), "m") == 0;
}

struct arguments {
    va_list list;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // a conversion of a format that the compiler has checked

// Adds what the conversion at `format` makes of its argument, and gives what is behind it. The house rules see to it
// that the daemon uses none but these.
static const char *add_conversion(const char *format, arguments *from)
{
    const size_t last = 1 + strspn(format + 1, "-+ #0123456789.l");
    char conversion[16] = "%s";
    if (last < sizeof conversion - 1)
        memcpy(conversion, format, last + 1);
    char *const to = line.text + line.length;
    const size_t room =
        line.length < ARGUMENTS_END ? ARGUMENTS_END - line.length : 1; // 1: for the end of an empty text
    int length = 0;
    if (format[last] == 's') { // NOLINT(bugprone-branch-clone): each takes another kind of argument
        length = snprintf(to, room, conversion, va_arg(from->list, const char *));
    } else if (format[last] == 'f') {
        length = snprintf(to, room, conversion, va_arg(from->list, double));
    } else if (format[last - 1] == 'l' && (format[last - 2] == 'l' || sizeof(long) == sizeof(long long))) {
        length = snprintf(to, room, conversion, va_arg(from->list, long long));
    } else {
        length = snprintf(to, room, conversion, va_arg(from->list, int));
    }
    const size_t added = length < 0 ? 0 : static_cast<size_t>(length) < room ? static_cast<size_t>(length) : room - 1;
    if (!is_colour(to))
        make_printable(to, added);
    line.length += added;
    return format + last + 1;
}

#pragma GCC diagnostic pop

// What has an end goes out with all that was begun before it.
static int print(const char *format, arguments *from)
{
    const size_t begun = line.length;
    bool has_end = false;
    while (*format != '\0') {
        if (*format == '%' && format[1] != '%') {
            format = add_conversion(format, from);
            continue;
        }
        format += *format == '%'; // "%%"
        has_end |= *format == '\n';
        if (line.length < LOG_TEXT_MAX)
            line.text[line.length++] = *format;
        format++;
    }
    const auto printed = static_cast<int>(line.length - begun);
    if (line.length == LOG_TEXT_MAX) { // longer than any line of the daemon's
        line.text[LOG_TEXT_MAX - 1] = '\n';
        has_end = true;
    }
    if (has_end) {
        log_write(STDOUT_FILENO, line.text, line.length);
        line.length = 0;
    }
    return printed;
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" int __wrap_printf(const char *format, ...);
extern "C" int __wrap___printf_chk(int flag, const char *format, ...);
extern "C" int __wrap_vfprintf(FILE *stream, const char *format, va_list list);
extern "C" int __wrap___vfprintf_chk(FILE *stream, int flag, const char *format, va_list list);
extern "C" int __wrap_puts(const char *text);
extern "C" int __wrap_putchar(int character);

int __wrap_vfprintf(FILE * /*stdout*/, const char *format, va_list list)
{
    arguments given;
    va_copy(given.list, list);
    const int printed = print(format, &given);
    va_end(given.list);
    return printed;
}

int __wrap_printf(const char *format, ...)
{
    va_list list;
    va_start(list, format);
    const int printed = __wrap_vfprintf(stdout, format, list);
    va_end(list);
    return printed;
}

// What the compiler makes of the two under _FORTIFY_SOURCE.
int __wrap___vfprintf_chk(FILE *stream, int /*flag*/, const char *format, va_list list)
{
    return __wrap_vfprintf(stream, format, list);
}

int __wrap___printf_chk(int /*flag*/, const char *format, ...)
{
    va_list list;
    va_start(list, format);
    const int printed = __wrap_vfprintf(stdout, format, list);
    va_end(list);
    return printed;
}

// The compiler makes these of printf("TEXT\n"), printf("%s\n", text), printf("\n") and printf("%c", character).
int __wrap_puts(const char *text)
{
    return __wrap_printf("%s\n", text);
}

int __wrap_putchar(int character)
{
    return __wrap_printf(character == '\n' ? "\n" : "%c", character);
}
// NOLINTEND(bugprone-reserved-identifier)
