// Local time as libc converts it, once a minute: asked every second, the conversion would be a good part of a run.
#ifndef PLATFORM_SIM_LOCAL_TIME_H
#define PLATFORM_SIM_LOCAL_TIME_H

#include <ctime>

namespace sim
{

class LocalTime
{
public:
    // Like localtime_r.
    struct tm *convert(time_t time, struct tm *out);
    // To be told when libc's time zone is another.
    void zone_changed();

private:
    bool look_up(time_t time);

    struct tm first_ = {}; // the second begin_
    time_t begin_ = 0;
    time_t end_ = 0; // up to here local time goes on from first_ within its minute
};

} // namespace sim

#endif
