// A line about one call of the contract: begun before the call, given its arguments, written when it is over.
#ifndef PLATFORM_TRACE_TRACE_LINE_H
#define PLATFORM_TRACE_TRACE_LINE_H

#include <cstddef>
#include <cstdint>

struct trace_line {
    char text[1200]; // what does not fit is cut
    size_t length;
    int64_t started;   // microseconds
    const char *comma; // before the next argument
};

// A text that may hold a secret: then it is "***", behind the first word of a command or a message.
struct masked {
    const char *text;
    bool has_first_word = false;
};

[[gnu::format(printf, 2, 3)]] void put(trace_line *to, const char *format, ...);

void put_any(trace_line *to, int number);
void put_any(trace_line *to, size_t number);
void put_any(trace_line *to, const char *text); // in quotes, what is not printable as \xNN
void put_any(trace_line *to, masked text);
void put_value(trace_line *to, const char *key, const char *value); // "***" when the key is a secret one

// Up to the arguments.
void begin(trace_line *to, const char *name);

template <typename Argument>
void argue(trace_line *to, Argument argument)
{
    put(to, "%s", to->comma);
    put_any(to, argument);
    to->comma = ", ";
}

// The call may wait: the line is written before it, too, in case it never ends.
void waits(trace_line *to);

template <typename Result>
void give(trace_line *to, Result result)
{
    put(to, ") = ");
    put_any(to, result);
}

// The call is over: how long it took, and the line is written.
void took(trace_line *to);

#endif
