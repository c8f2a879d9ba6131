// The daemon's clocks, pauses and threads: its libc calls, led to the scheduler.
#include <cerrno>

#include "platform/sim/virtual_router.h"
#include "platform/sim/wrap.h"

using sim::Call;
using sim::Micros;
using sim::router;
using sim::SECOND;

// For divisions that round towards minus infinity: clocks may be set before 1970.
static struct timespec split(Micros time)
{
    Micros seconds = time / SECOND;
    if (time % SECOND < 0)
        seconds--;
    return {.tv_sec = static_cast<time_t>(seconds), .tv_nsec = static_cast<long>((time - seconds * SECOND) * 1000)};
}

extern "C" {

time_t sim_time(time_t *out)
{
    const time_t now = router().clock.wall();
    if (out != nullptr)
        *out = now;
    return now;
}

int sim_gettimeofday(struct timeval *out, void * /*zone*/)
{
    const struct timespec now = split(router().clock.wall_us());
    *out = {.tv_sec = now.tv_sec, .tv_usec = static_cast<suseconds_t>(now.tv_nsec / 1000)};
    return 0;
}

int sim_clock_gettime(clockid_t clock, struct timespec *out)
{
    const bool wall = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
    *out = split(wall ? router().clock.wall_us() : router().clock.now());
    return 0;
}

struct tm *sim_localtime_r(const time_t *time, struct tm *out)
{
    return router().local_time.convert(*time, out);
}

unsigned sim_sleep(unsigned seconds)
{
    router().sleep_for_messages(seconds * SECOND);
    if (router().runs_main_thread())
        router().local_time.read_zone(); // the ground's duty between ticks
    return 0;
}

int sim_usleep(useconds_t duration)
{
    router().wait(static_cast<Micros>(duration));
    return 0;
}

// No signal ends it early, so nothing is left.
int sim_nanosleep(const struct timespec *duration, struct timespec * /*left*/)
{
    if (duration->tv_sec < 0 || duration->tv_nsec < 0 || duration->tv_nsec >= SECOND * 1000) {
        errno = EINVAL;
        return -1;
    }
    router().wait(duration->tv_sec * SECOND + (duration->tv_nsec + 999) / 1000);
    return 0;
}

int sim_select(int count, fd_set * /*readable*/, fd_set * /*writable*/, fd_set * /*exceptional*/,
               struct timeval *timeout)
{
    if (router().faults.hits(Call::select))
        return -1;
    if (count < 0 || (timeout != nullptr && (timeout->tv_sec < 0 || timeout->tv_usec < 0))) {
        errno = EINVAL;
        return -1;
    }
    if (count != 0 || timeout == nullptr) {
        errno = EBADF; // no virtual descriptor can be waited for
        return -1;
    }
    router().wait(timeout->tv_sec * SECOND + timeout->tv_usec);
    *timeout = {};
    return 0;
}

int sim_pthread_create(pthread_t *thread, const pthread_attr_t * /*attributes*/, void *(*body)(void *), void *argument)
{
    if (router().faults.hits(Call::pthread_create))
        return errno;
    *thread = static_cast<pthread_t>(router().start_thread([body, argument] { body(argument); }));
    return 0;
}

int sim_pthread_detach(pthread_t /*thread*/)
{
    return 0;
}

pthread_t sim_pthread_self(void)
{
    return static_cast<pthread_t>(router().current_thread());
}

void sim_pthread_exit(void * /*result*/)
{
    router().end_thread();
}

} // extern "C"
