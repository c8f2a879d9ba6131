#include "platform/sim/local_time.h"

#include <cerrno>
#include <cstdlib>

namespace sim
{

static void make_own_zone(const std::string &posix_tz)
{
    setenv("TZ", posix_tz.c_str(), 1);
    tzset();
}

bool LocalTime::convert_by_zone_read(time_t time)
{
    struct tm last = {};
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

bool LocalTime::look_up(time_t time)
{
    begin_ = end_ = 0;
    if (!was_read_)
        read_zone();
    if (read_ == zone_)
        return convert_by_zone_read(time);
    make_own_zone(read_);
    const bool converted = convert_by_zone_read(time);
    const int error = errno; // looking for a zone's file leaves one
    make_own_zone(zone_);
    errno = error;
    return converted;
}

struct tm *LocalTime::convert(time_t time, struct tm *out)
{
    if ((time < begin_ || time >= end_) && !look_up(time))
        return nullptr;
    *out = first_;
    out->tm_sec += static_cast<int>(time - begin_);
    return out;
}

void LocalTime::read_zone()
{
    if (was_read_ && read_ == zone_)
        return;
    read_ = zone_;
    was_read_ = true;
    begin_ = end_ = 0;
}

void LocalTime::set_zone(const std::string &posix_tz)
{
    zone_ = posix_tz;
    make_own_zone(zone_);
}

void LocalTime::machine_restarted()
{
    was_read_ = false;
    begin_ = end_ = 0;
}

} // namespace sim
