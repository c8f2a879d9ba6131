// Points in time on the monotonic clock, in milliseconds.
#ifndef PLATFORM_LINUX_DEADLINE_H
#define PLATFORM_LINUX_DEADLINE_H

#include <algorithm>
#include <cstdint>
#include <ctime>

// As wide as a register: a 32-bit processor divides anything wider by a library's two kilobytes.
constexpr int32_t MS_A_SECOND = 1000;
constexpr long NS_A_MS = 1000000;

inline int64_t monotonic_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * MS_A_SECOND + now.tv_nsec / NS_A_MS;
}

// A waiting call's timeout; a negative one is none at all, and one of more than 24 days is cut to that.
inline timespec timespec_of_ms(int64_t milliseconds)
{
    const auto span_ms = static_cast<int32_t>(std::clamp<int64_t>(milliseconds, 0, INT32_MAX));
    return {.tv_sec = span_ms / MS_A_SECOND, .tv_nsec = span_ms % MS_A_SECOND * NS_A_MS};
}

#endif
