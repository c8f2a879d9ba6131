// The box's clock, preloaded into its programs: time passes BOX_CLOCK_RATE times as fast as outside, and the wall clock
// stands at BOX_CLOCK_ZERO_MS (since 1970) when the up-time is 0. A pause between two looks at the kernel's counters
// takes real time, BOX_CLOCK_PAUSE_MS if that is longer (decision 0090).
//
// Everything is computed from the kernel's up-time of the box, nothing is remembered: so a program, its children and
// one started an hour later all agree. A call that waits, waits the shorter real time; one that reports time, reports
// the box's. Statically linked programs do not see it, nor, on a 32-bit machine, those whose time_t has 32 bits: the
// calls of the others have names of their own there, which the headers give to the definitions below.
//
// At this pace a program on a busy machine cannot look at each of its seconds. BOX_CLOCK_LOOKS names a file to which
// the daemon's main loop, the one that waits for more than two things, adds the second at which it looks again
// (decision 0200).
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

// The kernel's calls that take 64-bit times, which a 32-bit machine has beside older ones.
#ifdef SYS_clock_gettime64
enum {
    CLOCK_GETTIME = SYS_clock_gettime64,
    CLOCK_NANOSLEEP = SYS_clock_nanosleep_time64,
    PPOLL = SYS_ppoll_time64,
    PSELECT = SYS_pselect6_time64
};
#else
enum {
    CLOCK_GETTIME = SYS_clock_gettime,
    CLOCK_NANOSLEEP = SYS_clock_nanosleep,
    PPOLL = SYS_ppoll,
    PSELECT = SYS_pselect6
};
#endif

enum { NS_A_SECOND = 1000000000, NS_A_MILLISECOND = 1000000, NS_A_MICROSECOND = 1000, KERNEL_SIGSET_SIZE = 8 };

typedef long long ns_t;

static ns_t rate = 1;
static ns_t zero;
static ns_t shortest_pause;
static const char *looks; // a file's name, or NULL
static __thread int begins_to_look;
static int counts_real_time = 1; // what the kernel counts of a program's use; else that goes by the box's clock, too

static ns_t number_from(const char *variable, ns_t otherwise)
{
    const char *text = getenv(variable);
    const ns_t number = text == NULL ? 0 : atoll(text);
    return number > 0 ? number : otherwise;
}

__attribute__((constructor)) static void read_settings(void)
{
    rate = number_from("BOX_CLOCK_RATE", 1);
    zero = number_from("BOX_CLOCK_ZERO_MS", 0) * NS_A_MILLISECOND;
    shortest_pause = number_from("BOX_CLOCK_PAUSE_MS", 0) * NS_A_MILLISECOND;
    looks = getenv("BOX_CLOCK_LOOKS");
    counts_real_time = getenv("BOX_CPU_CLOCK") == NULL || strcmp(getenv("BOX_CPU_CLOCK"), "box") != 0;
}

static ns_t to_ns(const struct timespec *time)
{
    return time->tv_sec * (ns_t)NS_A_SECOND + time->tv_nsec;
}

static struct timespec from_ns(ns_t ns)
{
    return (struct timespec){.tv_sec = ns / NS_A_SECOND, .tv_nsec = (long)(ns % NS_A_SECOND)};
}

static ns_t timeval_ns(const struct timeval *time)
{
    return time->tv_sec * (ns_t)NS_A_SECOND + time->tv_usec * (ns_t)NS_A_MICROSECOND;
}

static struct timeval to_timeval(ns_t ns)
{
    return (struct timeval){.tv_sec = ns / NS_A_SECOND, .tv_usec = ns % NS_A_SECOND / NS_A_MICROSECOND};
}

// A wait of the box's time as real time; never 0 for a wait that was not.
static struct timespec real_wait(ns_t ns)
{
    return from_ns(ns > 0 && ns < rate ? 1 : ns / rate);
}

static ns_t box_now(clockid_t clock)
{
    struct timespec time;
    switch (clock) {
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
    case CLOCK_TAI:
        syscall(CLOCK_GETTIME, CLOCK_BOOTTIME, &time);
        return zero + to_ns(&time) * rate;
    default:
        syscall(CLOCK_GETTIME, clock, &time);
        return to_ns(&time) * rate;
    }
}

static int is_cpu_clock(clockid_t clock)
{
    return clock < 0 || clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID;
}

// ---- what time it is ----

int clock_gettime(clockid_t clock, struct timespec *time)
{
    if (is_cpu_clock(clock))
        return (int)syscall(CLOCK_GETTIME, clock, time);
    *time = from_ns(box_now(clock));
    return 0;
}

static void note_look(time_t now)
{
    const int file = open(looks, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    begins_to_look = 0;
    dprintf(file, "%lld\n", (long long)now);
    close(file);
}

time_t time(time_t *seconds)
{
    const time_t now = box_now(CLOCK_REALTIME) / NS_A_SECOND;
    if (begins_to_look)
        note_look(now);
    if (seconds != NULL)
        *seconds = now;
    return now;
}

int gettimeofday(struct timeval *restrict time, void *restrict zone)
{
    (void)zone;
    *time = to_timeval(box_now(CLOCK_REALTIME));
    return 0;
}

int sysinfo(struct sysinfo *info)
{
    const int result = (int)syscall(SYS_sysinfo, info);
    info->uptime = (long)(box_now(CLOCK_BOOTTIME) / NS_A_SECOND);
    return result;
}

// ---- sleeping ----

static int sleep_ns(ns_t ns, struct timespec *left)
{
    const struct timespec wait = real_wait(ns);
    struct timespec real_left = {0};
    const int result = (int)syscall(CLOCK_NANOSLEEP, CLOCK_MONOTONIC, 0, &wait, &real_left);
    if (result != 0 && left != NULL)
        *left = from_ns(to_ns(&real_left) * rate);
    return result;
}

int nanosleep(const struct timespec *wait, struct timespec *left)
{
    return sleep_ns(to_ns(wait), left);
}

int clock_nanosleep(clockid_t clock, int flags, const struct timespec *wait, struct timespec *left)
{
    const int absolute = (flags & TIMER_ABSTIME) != 0;
    const ns_t ns = absolute ? to_ns(wait) - box_now(clock) : to_ns(wait);
    if (ns <= 0)
        return 0;
    return sleep_ns(ns, absolute ? NULL : left) == 0 ? 0 : errno;
}

unsigned sleep(unsigned seconds)
{
    struct timespec left = {0};
    return sleep_ns(seconds * (ns_t)NS_A_SECOND, &left) == 0 ? 0 : (unsigned)left.tv_sec;
}

int usleep(useconds_t microseconds)
{
    return sleep_ns(microseconds * (ns_t)NS_A_MICROSECOND, NULL);
}

// ---- waiting for something, with a deadline ----

int poll(struct pollfd *fds, nfds_t count, int timeout_ms)
{
    struct timespec wait = real_wait(timeout_ms * (ns_t)NS_A_MILLISECOND);
    return (int)syscall(PPOLL, fds, count, timeout_ms < 0 ? NULL : &wait, NULL, KERNEL_SIGSET_SIZE);
}

int ppoll(struct pollfd *fds, nfds_t count, const struct timespec *timeout, const sigset_t *mask)
{
    struct timespec wait = real_wait(timeout == NULL ? 0 : to_ns(timeout));
    begins_to_look = looks != NULL && count > 2;
    return (int)syscall(PPOLL, fds, count, timeout == NULL ? NULL : &wait, mask, KERNEL_SIGSET_SIZE);
}

int select(int count, fd_set *restrict reads, fd_set *restrict writes, fd_set *restrict others,
           struct timeval *restrict timeout)
{
    if (timeout == NULL)
        return (int)syscall(PSELECT, count, reads, writes, others, NULL, NULL);
    if (count == 0 && counts_real_time) { // a pause between two looks at the kernel's counters
        const ns_t asked = timeval_ns(timeout);
        const struct timespec pause = from_ns(asked > shortest_pause ? asked : shortest_pause);
        return (int)syscall(CLOCK_NANOSLEEP, CLOCK_MONOTONIC, 0, &pause, NULL);
    }
    struct timespec wait = real_wait(timeval_ns(timeout));
    const int result = (int)syscall(PSELECT, count, reads, writes, others, &wait, NULL);
    *timeout = to_timeval(to_ns(&wait) * rate);
    return result;
}

int epoll_wait(int epoll, struct epoll_event *events, int count, int timeout_ms)
{
    struct timespec wait = real_wait(timeout_ms * (ns_t)NS_A_MILLISECOND);
    return (int)syscall(SYS_epoll_pwait2, epoll, events, count, timeout_ms < 0 ? NULL : &wait, NULL,
                        KERNEL_SIGSET_SIZE);
}

// ---- timers ----

// A timer as the kernel takes it, which has numbers of the machine's width everywhere.
struct kernel_itimer {
    long interval_s, interval_us, value_s, value_us;
};

static void to_real(struct timeval box, ns_t faster, long *seconds, long *microseconds)
{
    const ns_t ns = timeval_ns(&box);
    const struct timeval real = to_timeval(ns / faster);
    const int too_short = ns > 0 && real.tv_sec == 0 && real.tv_usec == 0; // 0 would disarm the timer
    *seconds = (long)real.tv_sec;
    *microseconds = too_short ? 1 : (long)real.tv_usec;
}

static struct timeval from_real(long seconds, long microseconds, ns_t faster)
{
    const struct timeval real = {.tv_sec = seconds, .tv_usec = microseconds};
    return to_timeval(timeval_ns(&real) * faster);
}

int setitimer(__itimer_which_t which, const struct itimerval *restrict new, struct itimerval *restrict old)
{
    const ns_t faster = which == ITIMER_REAL ? rate : 1; // the others count the processor's time
    struct kernel_itimer real;
    struct kernel_itimer before = {0};
    to_real(new->it_interval, faster, &real.interval_s, &real.interval_us);
    to_real(new->it_value, faster, &real.value_s, &real.value_us);
    const int result = (int)syscall(SYS_setitimer, which, &real, &before);
    if (old != NULL) {
        old->it_interval = from_real(before.interval_s, before.interval_us, faster);
        old->it_value = from_real(before.value_s, before.value_us, faster);
    }
    return result;
}

unsigned alarm(unsigned seconds)
{
    const struct itimerval new = {.it_value = {.tv_sec = (time_t)seconds}};
    struct itimerval old = {0};
    setitimer(ITIMER_REAL, &new, &old);
    return (unsigned)old.it_value.tv_sec;
}
