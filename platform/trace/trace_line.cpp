#include "platform/trace/trace_line.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <pthread.h>
#include <unistd.h>

#include "platform/common/secrets.h"
#include "platform/config_store.h"

constexpr size_t TEXT_MOST = 400; // of one text

static pthread_t main_thread; // 0: nobody has called yet
static int64_t first_call;

static int64_t now_us()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000) + now.tv_nsec / 1000;
}

void put(trace_line *to, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const size_t room = sizeof to->text - to->length;
    const int length = vsnprintf(to->text + to->length, room, format, arguments);
    va_end(arguments);
    to->length += length < 0 ? 0 : static_cast<size_t>(length) < room ? static_cast<size_t>(length) : room - 1;
}

// In quotes, what is not printable as \xNN.
static void put_text(trace_line *to, const char *text)
{
    if (text == nullptr) {
        put(to, "null");
        return;
    }
    put(to, "\"");
    size_t shown = 0;
    for (; text[shown] != '\0' && shown < TEXT_MOST; shown++) {
        const auto byte = static_cast<unsigned char>(text[shown]);
        if (byte == '"' || byte == '\\')
            put(to, "\\%c", byte);
        else if (byte >= ' ' && byte < 0x7f)
            put(to, "%c", byte);
        else
            put(to, "\\x%02x", byte);
    }
    put(to, text[shown] == '\0' ? "\"" : "\"...");
}

void put_value(trace_line *to, const char *key, const char *value)
{
    if (key != nullptr && is_secret_key(key))
        put(to, "\"***\"");
    else
        put_text(to, value);
}

void put_any(trace_line *to, int number)
{
    put(to, "%d", number);
}

void put_any(trace_line *to, size_t number)
{
    put(to, "%zu", number);
}

void put_any(trace_line *to, const char *text)
{
    put_text(to, text);
}

void put_any(trace_line *to, masked text)
{
    if (text.text == nullptr || !holds_a_secret(text.text, GetValue))
        put_text(to, text.text);
    else if (text.has_first_word)
        put(to, "\"%.*s ***\"", static_cast<int>(shown_of_secret(text.text)), text.text);
    else
        put(to, "\"***\"");
}

static int descriptor()
{
    const char *const told = getenv("TIME_CHECK_TRACE_FD");
    return told == nullptr || told[0] == '\0' ? STDERR_FILENO : atoi(told);
}

// One write a line, so that two threads' lines do not mix. What cannot be written is lost.
static void write_out(trace_line *to)
{
    if (to->length > sizeof to->text - 2)
        to->length = sizeof to->text - 2;
    to->text[to->length] = '\n';
    (void)!write(descriptor(), to->text, to->length + 1);
}

void begin(trace_line *to, const char *name)
{
    to->length = 0;
    to->started = now_us();
    to->comma = "";
    if (main_thread == 0) {
        main_thread = pthread_self();
        first_call = to->started;
    }
    const int64_t passed = to->started - first_call;
    put(to, "[%5d.%03d %s] ", static_cast<int>(passed / 1000000), static_cast<int>(passed / 1000 % 1000),
        pthread_equal(pthread_self(), main_thread) != 0 ? "main" : "wans");
    put(to, "%s(", name);
}

void waits(trace_line *to)
{
    const size_t length = to->length;
    put(to, ") ...");
    write_out(to);
    to->length = length;
}

void took(trace_line *to)
{
    const int64_t passed = now_us() - to->started;
    put(to, " <%d.%03d>", static_cast<int>(passed / 1000000), static_cast<int>(passed / 1000 % 1000));
    write_out(to);
}
