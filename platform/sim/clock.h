// The machine's clocks. They stand still unless the machine lets time pass: asking, setting and stepping take none, and
// the daemon's own instructions take none either. All of it is arithmetic on one count of microseconds; the clocks of
// the host are never asked, so a run of a year gives the same journal today and tomorrow.
#ifndef PLATFORM_SIM_CLOCK_H
#define PLATFORM_SIM_CLOCK_H

#include <cstdint>
#include <ctime>
#include <string>

namespace sim
{

using Micros = int64_t;
inline constexpr Micros SECOND = 1000000;
inline constexpr Micros MILLISECOND = 1000;

// "YYYY-MM-DD HH:MM:SS" in the router's time zone, the one that the machine has now (LocalTime::set_zone), whichever
// the daemon has read.
std::string local_text(time_t time);
// And back. What is no such text throws std::invalid_argument, and so does the last second of 1969 UTC. Fields beyond
// their range run over as with mktime (February 30 is March 2), what follows the seconds is not looked at, and of an
// hour that comes twice libc chooses one.
time_t from_local_text(const std::string &text);

class Clock
{
public:
    // ---- what the clocks show ----

    // Since the program started; no restart of the machine and no setting of a clock changes it.
    Micros now() const
    {
        return now_;
    }
    // The wall clock in microseconds and in seconds since 1970, below 0 before; in seconds it is rounded down.
    Micros wall_us() const
    {
        return wall_offset_ + now_;
    }
    time_t wall() const
    {
        return static_cast<time_t>(seconds(wall_us()));
    }
    // The wall clock in the router's zone.
    std::string local() const
    {
        return local_text(wall());
    }
    // Whole seconds since the machine was started, as get_uptime() tells the daemon; below 0 while it restarts.
    int uptime() const
    {
        return static_cast<int>(seconds(now_ - started_));
    }

    // ---- for the test ----
    //
    // The daemon sees a clock that was set when it asks next. Nothing is told of it, and nobody wakes earlier or later:
    // pauses, and changes ordered with Machine::at, go by time that passes. Machine::run_until alone looks at the wall
    // clock. A restart leaves the wall clock as it is and goes on from there, so a router that loses its time at power
    // loss is one whose test sets it back.

    // Sets the wall clock to a local time "YYYY-MM-DD HH:MM:SS" (another text throws std::invalid_argument), or to
    // seconds since 1970. The up-time goes on. The factory's is 2026-01-01 12:00:00.
    void set(const std::string &local)
    {
        set(from_local_text(local));
    }
    void set(time_t wall)
    {
        wall_offset_ = static_cast<Micros>(wall) * SECOND - now_;
        changes_++;
    }
    // Steps the wall clock by seconds, forwards or back.
    void step(int64_t by)
    {
        wall_offset_ += by * SECOND;
        changes_++;
    }
    // As if the machine had been started that many seconds ago; a wall clock and counters stay. The next restart begins
    // at 0 as ever.
    void set_uptime(int seconds)
    {
        started_ = now_ - seconds * SECOND;
    }

    // Both to the microsecond: the wall clock since 1970, and the up-time.
    void set_exactly(Micros wall, Micros uptime)
    {
        wall_offset_ = wall - now_;
        started_ = now_ - uptime;
        changes_++;
    }
    // The wall clock alone.
    void set_exactly(Micros wall)
    {
        set_exactly(wall, now_ - started_);
    }

    // ---- for the machine alone ----

    // Moments are of now(). No clock runs backwards by them: whoever calls sees to it.
    void pass_to(Micros moment)
    {
        now_ = moment;
    }
    void machine_starts_at(Micros moment)
    {
        started_ = moment;
    }
    // How often the wall clock was set or stepped; a run up to a wall time looks anew when this changed.
    uint64_t changes() const
    {
        return changes_;
    }

private:
    static int64_t seconds(Micros time)
    {
        return time >= 0 ? time / SECOND : -((-time + SECOND - 1) / SECOND);
    }

    Micros now_ = 0;
    Micros wall_offset_ = 0;
    Micros started_ = 0;
    uint64_t changes_ = 0;
};

} // namespace sim

#endif
