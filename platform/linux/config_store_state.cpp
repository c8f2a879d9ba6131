#include "platform/linux/config_store_state.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "platform/linux/deadline.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/run_directory.h"

static int state_fd = -1;
static pthread_mutex_t state_mutex = PTHREAD_MUTEX_INITIALIZER;

// The kernel's record locks are between processes; these stand before them between the threads of one.
static pthread_mutex_t thread_locks[STORE_LOCKS] = {PTHREAD_MUTEX_INITIALIZER, PTHREAD_MUTEX_INITIALIZER,
                                                    PTHREAD_MUTEX_INITIALIZER};

// A write is over in microseconds; a commit waits for the disk.
static constexpr int32_t LOCK_DEADLINE_MS[STORE_LOCKS] = {2000, 2000, 10000};
static constexpr int64_t REPEATED_LINE_MS = 60000;

// ---- lines ----

static pthread_mutex_t line_mutex = PTHREAD_MUTEX_INITIALIZER;
static char last_line[512];
static int64_t last_line_ms;

static bool is_new_line(const char *line)
{
    const int64_t now = monotonic_ms();
    pthread_mutex_lock(&line_mutex);
    const bool is_new = strcmp(line, last_line) != 0 || now - last_line_ms >= REPEATED_LINE_MS;
    if (is_new) {
        memcpy(last_line, line, sizeof last_line);
        last_line_ms = now;
    }
    pthread_mutex_unlock(&line_mutex);
    return is_new;
}

void store_line(const char *format, ...)
{
    char line[sizeof last_line] = {};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (is_new_line(line))
        ground_log("store: %s", line);
}

// ---- folders and the file ----

const char *store_conf_directory()
{
    const char *configured = getenv("TIME_CHECK_CONF_DIR");
    return configured == nullptr || configured[0] == '\0' ? "/etc/time_check" : configured;
}

static bool open_state_file()
{
    if (!make_run_directory()) {
        store_line("cannot use the run directory %s: %s", run_directory(), strerror(errno));
        return false;
    }
    char path[STORE_PATH_MAX];
    if (snprintf(path, sizeof path, "%s/config.state", run_directory()) >= static_cast<int>(sizeof path)) {
        store_line("the run directory's name is too long");
        return false;
    }
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        store_line("cannot open %s: %s", path, strerror(errno));
        return false;
    }
    state_fd = fd;
    return true;
}

bool store_state_open()
{
    pthread_mutex_lock(&state_mutex);
    const bool is_open = state_fd >= 0 || open_state_file();
    pthread_mutex_unlock(&state_mutex);
    return is_open;
}

void store_state_close()
{
    last_line[0] = '\0';
    if (state_fd >= 0)
        close(state_fd);
    state_fd = -1;
}

void store_state_forget()
{
    store_state_close();
    pthread_mutex_init(&state_mutex, nullptr);
    pthread_mutex_init(&line_mutex, nullptr);
    for (size_t lock = 0; lock < STORE_LOCKS; lock++)
        pthread_mutex_init(thread_locks + lock, nullptr);
}

// ---- locks ----

static struct flock lock_record(store_lock lock, short type)
{
    struct flock record = {};
    record.l_type = type;
    record.l_whence = SEEK_SET;
    record.l_start = lock;
    record.l_len = 1;
    return record;
}

static bool try_lock(store_lock lock)
{
    if (pthread_mutex_trylock(&thread_locks[lock]) != 0)
        return false;
    struct flock record = lock_record(lock, F_WRLCK);
    if (fcntl(state_fd, F_SETLK, &record) == 0)
        return true;
    pthread_mutex_unlock(&thread_locks[lock]);
    return false;
}

static void say_who_holds(store_lock lock)
{
    static const char *const WHAT[STORE_LOCKS] = {"opening", "writing", "committing"};
    struct flock record = lock_record(lock, F_WRLCK);
    const bool known = fcntl(state_fd, F_GETLK, &record) == 0 && record.l_type != F_UNLCK;
    store_line("process %d is %s it and did not let go within %d s", known ? static_cast<int>(record.l_pid) : 0,
               WHAT[lock], LOCK_DEADLINE_MS[lock] / MS_A_SECOND);
}

bool store_take(store_lock lock)
{
    static constexpr long LONGEST_PAUSE_NS = 500000; // a writer in a loop lets go for moments only
    if (try_lock(lock))
        return true;
    const int64_t deadline = monotonic_ms() + LOCK_DEADLINE_MS[lock];
    for (struct timespec pause = {0, 20000}; monotonic_ms() < deadline;) {
        nanosleep(&pause, nullptr);
        if (try_lock(lock))
            return true;
        if (pause.tv_nsec < LONGEST_PAUSE_NS)
            pause.tv_nsec *= 2;
    }
    say_who_holds(lock);
    return false;
}

void store_release(store_lock lock)
{
    struct flock record = lock_record(lock, F_UNLCK);
    fcntl(state_fd, F_SETLK, &record);
    pthread_mutex_unlock(&thread_locks[lock]);
}

// ---- the note ----

store_note store_read_note()
{
    store_note note = {};
    if (pread(state_fd, &note, sizeof note, 0) != static_cast<ssize_t>(sizeof note))
        note = {};
    return note;
}

void store_write_note(const store_note *note)
{
    if (pwrite(state_fd, note, sizeof *note, 0) != static_cast<ssize_t>(sizeof *note)) {
        // an old note only makes the next commit look at the file itself
    }
}
