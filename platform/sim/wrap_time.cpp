// The daemon's clocks, pauses and threads: its libc calls, led to the machine.
#include <cerrno>

#include "platform/sim/virtual_router.h"
#include "platform/sim/wrap.h"

using sim::Call;
using sim::router;
using sim::SECOND;

extern "C" {

time_t sim_time(time_t *out)
{
    const time_t now = router().clock.wall();
    if (out != nullptr)
        *out = now;
    return now;
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

} // extern "C"
