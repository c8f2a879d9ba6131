// Local time as libc converts it for the daemon: by the zone that it last read, which after a change is not the one
// that the machine has. Looked up once a minute: asked every second, the conversion would be a good part of a run.
//
// The zone of the test program itself is the machine's: setting it changes TZ in the environment and calls tzset. For
// the conversion by another zone the two are exchanged for the length of the call.
#ifndef PLATFORM_SIM_LOCAL_TIME_H
#define PLATFORM_SIM_LOCAL_TIME_H

#include <ctime>
#include <string>

namespace sim
{

class LocalTime
{
public:
    // ---- for the test ----

    // The machine has another zone, as a TZ text of POSIX ("CET-1CEST,M3.5.0,M10.5.0/3"); a name of the zone database
    // depends on the host. Not checked: libc takes what it cannot read for UTC. Test and journal go by it at once, the
    // daemon after its next sleep. The moment is the same before and after; only what it is called changes. A restart
    // keeps it.
    void set_zone(const std::string &posix_tz);

    // ---- for the model ----

    // Like localtime_r: the zone is read only if it never was. Null and errno: the year does not fit into `out`.
    struct tm *convert(time_t time, struct tm *out);
    // Like tzset.
    void read_zone();
    // The daemon comes up as a new process, which has read none.
    void machine_restarted();

private:
    bool look_up(time_t time);
    bool convert_by_zone_read(time_t time);

    std::string zone_; // the machine's
    std::string read_; // the daemon's libc's, if was_read_
    bool was_read_ = false;
    struct tm first_ = {}; // the second begin_
    time_t begin_ = 0;
    time_t end_ = 0; // up to here local time goes on from first_ within its minute
};

} // namespace sim

#endif
