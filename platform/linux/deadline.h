// Points in time on the monotonic clock, in milliseconds.
#ifndef PLATFORM_LINUX_DEADLINE_H
#define PLATFORM_LINUX_DEADLINE_H

#include <cstdint>
#include <ctime>

constexpr int64_t MS_A_SECOND = 1000;
constexpr int64_t NS_A_MS = 1000000;

inline int64_t monotonic_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * MS_A_SECOND + now.tv_nsec / NS_A_MS;
}

// A waiting call's timeout; a negative one is none at all.
inline timespec timespec_of_ms(int64_t milliseconds)
{
    timespec span = {};
    if (milliseconds > 0) {
        span.tv_sec = static_cast<time_t>(milliseconds / MS_A_SECOND);
        span.tv_nsec = static_cast<long>(milliseconds % MS_A_SECOND * NS_A_MS);
    }
    return span;
}

#endif
