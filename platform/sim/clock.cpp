#include "platform/sim/clock.h"

#include <cstdio>
#include <stdexcept>

namespace sim
{

std::string local_text(time_t time)
{
    struct tm local = {};
    char text[64];
    localtime_r(&time, &local);
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

time_t from_local_text(const std::string &text)
{
    struct tm local = {};
    time_t time = -1;
    if (sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &local.tm_year, &local.tm_mon, &local.tm_mday, &local.tm_hour,
               &local.tm_min, &local.tm_sec) == 6) {
        local.tm_year -= 1900;
        local.tm_mon -= 1;
        local.tm_isdst = -1;
        time = mktime(&local);
    }
    if (time == -1)
        throw std::invalid_argument("not a local time \"YYYY-MM-DD HH:MM:SS\": " + text);
    return time;
}

} // namespace sim
