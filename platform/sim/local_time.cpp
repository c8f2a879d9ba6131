#include "platform/sim/local_time.h"

namespace sim
{

bool LocalTime::look_up(time_t time)
{
    struct tm last = {};
    zone_changed();
    if (localtime_r(&time, &first_) == nullptr)
        return false;
    begin_ = time;
    end_ = time + 1;
    const time_t last_of_minute = time + 59 - first_.tm_sec;
    if (localtime_r(&last_of_minute, &last) != nullptr && last.tm_sec == 59 && last.tm_min == first_.tm_min &&
        last.tm_hour == first_.tm_hour && last.tm_isdst == first_.tm_isdst)
        end_ = last_of_minute + 1;
    return true;
}

struct tm *LocalTime::convert(time_t time, struct tm *out)
{
    if ((time < begin_ || time >= end_) && !look_up(time))
        return nullptr;
    *out = first_;
    out->tm_sec += static_cast<int>(time - begin_);
    return out;
}

void LocalTime::zone_changed()
{
    begin_ = end_ = 0;
}

} // namespace sim
