#include "time_check/time_check_clock.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "platform/system.h"
#include "time_check/time_check_text.h"

void moment_set_clock(moment *then, time_t calendar)
{
    then->calendar = calendar;
    localtime_r(&calendar, &then->local);
}

void moment_read_clock(moment *now)
{
    moment_set_clock(now, time(nullptr));
}

void moment_read_uptime(moment *now)
{
    time_check_get_run_time(&now->uptime_s);
}

int32_t time_check_get_now_time(time_check_clock *snapshot, time_t *now)
{
    *now = time(nullptr);
    struct tm local = {};
    localtime_r(now, &local);
    *snapshot = {.tm_sec = local.tm_sec,
                 .tm_min = local.tm_min,
                 .tm_hour = local.tm_hour,
                 .tm_mday = local.tm_mday,
                 .tm_mon = local.tm_mon,
                 .tm_year = local.tm_year};
    return 1;
}

int32_t time_check_get_run_time(uint64_t *run_time)
{
    *run_time = static_cast<uint64_t>(static_cast<int64_t>(get_uptime()));
    return 1;
}

static bool is_valid_year(int32_t tm_year)
{
    return tm_year + 1900 >= FIRST_VALID_YEAR;
}

bool time_check_clock_is_set(const time_check_clock *snapshot)
{
    return is_valid_year(snapshot->tm_year);
}

bool moment_clock_is_set(const moment *now)
{
    return is_valid_year(now->local.tm_year);
}

static uint32_t seconds_of(int32_t hours, int32_t minutes, int32_t seconds)
{
    return static_cast<uint32_t>(hours) * SECONDS_AN_HOUR + static_cast<uint32_t>(minutes) * SECONDS_A_MINUTE +
           static_cast<uint32_t>(seconds);
}

uint32_t time_check_time_of_day(const time_check_clock *snapshot)
{
    return seconds_of(snapshot->tm_hour, snapshot->tm_min, snapshot->tm_sec);
}

uint32_t moment_time_of_day(const moment *now)
{
    return seconds_of(now->local.tm_hour, now->local.tm_min, now->local.tm_sec);
}

bool moment_in_window(const moment *now, uint32_t start, uint32_t end)
{
    const uint32_t time_of_day = moment_time_of_day(now);
    if (start <= end) // both ends are inside (compat 31)
        return start <= time_of_day && time_of_day <= end;
    return time_of_day >= start || time_of_day <= end;
}

int32_t time_check_in_time_check(uint32_t start, uint32_t end)
{
    moment present = {};
    moment_read_clock(&present);
    return moment_in_window(&present, start, end);
}

// The bridge's byte count is the random number: traffic spreads the devices, no generator does (compat 27).
uint32_t time_check_get_sleep_rand()
{
    constexpr uint32_t RANGE_S = 600;
    char text[64 + 1];
    const int fd = open("/sys/class/net/br0/statistics/tx_bytes", O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        srand(static_cast<unsigned>(time(nullptr)));
        return static_cast<uint32_t>(rand()) % RANGE_S;
    }
    const ssize_t got = read(fd, text, sizeof text - 1);
    close(fd);
    text[got > 0 ? got : 0] = '\0';
    return static_cast<uint32_t>(time_check_atoi(text)) % RANGE_S;
}
