// Local time as libc converts it for the daemon: by the zone that it last read, which after a change is not the one
// that the machine has. Looked up once a minute: asked every second, the conversion would be a good part of a run.
#ifndef PLATFORM_SIM_LOCAL_TIME_H
#define PLATFORM_SIM_LOCAL_TIME_H

#include <ctime>
#include <string>

namespace sim
{

class LocalTime
{
public:
    // Like localtime_r: the zone is read only if it never was.
    struct tm *convert(time_t time, struct tm *out);
    // Like tzset.
    void read_zone();
    // The machine has another zone; test and journal go by it at once.
    void set_zone(const std::string &posix_tz);
    // The daemon comes up as a new process, which has read none.
    void machine_restarted();

private:
    bool look_up(time_t time);
    bool convert_by_zone_read(time_t time);

    std::string zone_;
    std::string read_;
    bool was_read_ = false;
    struct tm first_ = {}; // the second begin_
    time_t begin_ = 0;
    time_t end_ = 0; // up to here local time goes on from first_ within its minute
};

} // namespace sim

#endif
