// What the daemon in the box reads of the processor's time, where BOX_CPU_CLOCK is "box": it goes by the box's clock. A
// program that has not slept since the last look has used a core for all of that time, also where the machine let it
// wait for one: its other work is none of the router's (decision 0181).
//
// Two files are other than the kernel's: the first line of /proc/stat, and the program's own times in /proc/PID/stat.
// The time stands still from one look at the first to the next, so that what lies between two reads is in neither.
#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

enum {
    TICKS_A_SECOND = 100,
    NS_A_TICK = 1000000000 / TICKS_A_SECOND,
    STATE_FIELD = 3,
    UTIME_FIELD = 14,
    CSTIME_FIELD = 17
};

static int is_on;
static unsigned long long looked; // at /proc/stat for the last time, in ticks of the box's clock

// The program that was looked at last: a table of one is enough for a daemon that watches one program.
static struct {
    long pid;
    int was_running;
    unsigned long long sleeps;  // how often it had gone to sleep
    unsigned long long seen;    // up to when
    unsigned long long used;    // ticks until then, since it was first looked at
    unsigned long long counted; // by the kernel
} program;

__attribute__((constructor)) static void read_setting(void)
{
    const char *clock = getenv("BOX_CPU_CLOCK");
    is_on = clock != NULL && strcmp(clock, "box") == 0 && strcmp(program_invocation_short_name, "time_check") == 0;
}

static unsigned long long box_ticks(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now); // the box's: the one beside this file
    return (unsigned long long)now.tv_sec * TICKS_A_SECOND + (unsigned long long)now.tv_nsec / NS_A_TICK;
}

static unsigned long long real_to_box(unsigned long long ticks)
{
    const char *rate = getenv("BOX_CLOCK_RATE");
    return ticks * (rate == NULL || atoll(rate) < 1 ? 1 : (unsigned long long)atoll(rate));
}

static int open_real(const char *path, int flags, mode_t mode)
{
    return (int)syscall(SYS_openat, AT_FDCWD, path, flags, mode);
}

// The file's text, terminated; 0 when it cannot be read, and errno says why.
static size_t read_whole(const char *path, char *text, size_t size)
{
    const int fd = open_real(path, O_RDONLY | O_CLOEXEC, 0);
    size_t length = 0;
    if (fd < 0)
        return 0;
    for (ssize_t got = 1; got > 0 && length + 1 < size; length += (size_t)(got > 0 ? got : 0))
        got = read(fd, text + length, size - 1 - length);
    close(fd);
    text[length] = '\0';
    return length;
}

static int descriptor_of(const char *head, const char *rest)
{
    const int fd = memfd_create("proc", MFD_CLOEXEC);
    if (fd < 0)
        return -1;
    if (dprintf(fd, "%s%s", head, rest) < 0 || lseek(fd, 0, SEEK_SET) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// ---- all processors together ----

static int open_machine(void)
{
    char text[1 << 16]; // what follows the processors' lines may be cut
    char head[128];
    unsigned cores = 0;
    if (read_whole("/proc/stat", text, sizeof text) == 0)
        return -1;
    for (const char *at = text; (at = strstr(at, "\ncpu")) != NULL; at++)
        cores++;
    looked = box_ticks();
    // The daemon adds them all up.
    snprintf(head, sizeof head, "cpu  0 0 0 %llu 0 0 0 0 0 0", looked * cores);
    return descriptor_of(head, strchr(text, '\n'));
}

// ---- one program ----

static const char *field_of(const char *text, int number)
{
    const char *at = strrchr(text, ')'); // the name, the second, may hold anything
    for (int field = 2; at != NULL && field < number; field++)
        at = strchr(at + 1, ' ');
    return at == NULL ? NULL : at + 1;
}

static unsigned long long sleeps_of(long pid)
{
    static const char name[] = "\nvoluntary_ctxt_switches:";
    char path[64];
    char text[8192];
    snprintf(path, sizeof path, "/proc/%ld/status", pid);
    if (read_whole(path, text, sizeof text) == 0)
        return 0;
    const char *const line = strstr(text, name);
    return line == NULL ? 0 : strtoull(line + sizeof name - 1, NULL, 10);
}

static void count_use(long pid, int is_running, unsigned long long sleeps, unsigned long long counted)
{
    if (pid != program.pid)
        memset(&program, 0, sizeof program);
    else if (is_running && program.was_running && sleeps == program.sleeps)
        program.used += looked - program.seen;
    else
        program.used += real_to_box(counted - program.counted);
    program.pid = pid;
    program.was_running = is_running;
    program.sleeps = sleeps;
    program.seen = looked;
    program.counted = counted;
}

static int open_program(long pid, const char *path)
{
    char text[4096];
    char times[64];
    if (read_whole(path, text, sizeof text) == 0)
        return -1;
    const char *const state = field_of(text, STATE_FIELD);
    const char *const from = field_of(text, UTIME_FIELD);
    const char *const rest = field_of(text, CSTIME_FIELD + 1);
    if (state == NULL || from == NULL || rest == NULL)
        return -1;
    char *end = NULL;
    unsigned long long counted = strtoull(from, &end, 10);
    counted += strtoull(end, NULL, 10);
    count_use(pid, *state == 'R', sleeps_of(pid), counted);
    snprintf(times, sizeof times, "%llu 0 0 0 ", program.used);
    char head[sizeof text + sizeof times];
    snprintf(head, sizeof head, "%.*s%s", (int)(from - text), text, times);
    return descriptor_of(head, rest);
}

// ---- the daemon's way to them ----

// -1: the path is not that of a program's times
static long pid_in(const char *path)
{
    char *end = NULL;
    if (strncmp(path, "/proc/", 6) != 0 || !isdigit((unsigned char)path[6]))
        return -1;
    const long pid = strtol(path + 6, &end, 10);
    return strcmp(end, "/stat") == 0 ? pid : -1;
}

static int open_any(const char *path, int flags, mode_t mode)
{
    const int reads = is_on && (flags & O_ACCMODE) == O_RDONLY;
    if (reads && strcmp(path, "/proc/stat") == 0)
        return open_machine();
    const long pid = reads ? pid_in(path) : -1;
    return pid >= 0 ? open_program(pid, path) : open_real(path, flags, mode);
}

// The headers give it the name that programs with 64-bit file sizes call.
int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return open_any(path, flags | O_LARGEFILE, mode);
}
