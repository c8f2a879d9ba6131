// The clock, times of day and daily windows.
#ifndef TIME_CHECK_TIME_CHECK_CLOCK_H
#define TIME_CHECK_TIME_CHECK_CLOCK_H

#include <cstdint>
#include <ctime>

// Seconds since local midnight.
constexpr uint32_t SECONDS_AN_HOUR = 3600;
constexpr uint32_t SECONDS_A_MINUTE = 60;

// Before this year the clock has not been set.
constexpr int32_t FIRST_VALID_YEAR = 2001;

// Broken-down local time, with the C library's meanings.
struct time_check_clock {
    int32_t tm_sec;
    int32_t tm_min;
    int32_t tm_hour;
    int32_t tm_mday;
    int32_t tm_mon;
    int32_t tm_year;
};

// One moment, for rules that are to look at the same one throughout. What nobody read is 0.
struct moment {
    time_t calendar;   // seconds since 1970
    struct tm local;   // the same as broken-down local time
    uint64_t uptime_s; // since the machine started, seconds
};

// Read the clock or the up-time into a moment: apart, because a rule reads no more than it asks for. Any thread.
void moment_read_clock(moment *now);
void moment_read_uptime(moment *now);

// Makes it the moment of these calendar seconds. Reads nothing.
void moment_set_clock(moment *then, time_t calendar);

// Whether the clock had been set by then.
bool moment_clock_is_set(const moment *now);

// Seconds since local midnight.
uint32_t moment_time_of_day(const moment *now);

// Whether it lies in the daily window: both ends, seconds since midnight, are inside; end before start passes midnight.
bool moment_in_window(const moment *now, uint32_t start, uint32_t end);

// Reads the clock. Always 1.
int32_t time_check_get_now_time(time_check_clock *snapshot, time_t *now);

// Reads the seconds since the machine started. Always 1.
int32_t time_check_get_run_time(uint64_t *run_time);

// Whether the clock has been set.
bool time_check_clock_is_set(const time_check_clock *snapshot);

// Seconds since local midnight at `snapshot`.
uint32_t time_check_time_of_day(const time_check_clock *snapshot);

// The seconds between two moments, whichever comes first.
constexpr uint32_t time_check_seconds_apart(uint32_t one, uint32_t other)
{
    return one > other ? one - other : other - one;
}

// moment_in_window of the present moment, as 1 or 0.
int32_t time_check_in_time_check(uint32_t start, uint32_t end);

// A delay of 0 to 599 seconds.
uint32_t time_check_get_sleep_rand();

#endif
