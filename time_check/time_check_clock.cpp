#include "time_check/time_check_clock.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "platform/system.h"
#include "time_check/time_check_text.h"

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

bool time_check_clock_is_set(const time_check_clock *snapshot)
{
    return snapshot->tm_year + 1900 >= FIRST_VALID_YEAR;
}

uint32_t time_check_time_of_day(const time_check_clock *snapshot)
{
    return static_cast<uint32_t>(snapshot->tm_hour) * SECONDS_AN_HOUR +
           static_cast<uint32_t>(snapshot->tm_min) * SECONDS_A_MINUTE + static_cast<uint32_t>(snapshot->tm_sec);
}

int32_t time_check_in_time_check(uint32_t start, uint32_t end)
{
    time_check_clock snapshot;
    time_t calendar = 0;
    time_check_get_now_time(&snapshot, &calendar);
    const uint32_t now = time_check_time_of_day(&snapshot);
    if (start <= end)
        return start <= now && now <= end;
    return now >= start || now <= end;
}

// The bridge's byte count is the random number: traffic spreads the devices, no generator does. Kept on purpose.
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
