#include "platform/linux/store/state.h"

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
#include "platform/linux/store/text.h"

static int state_fd = -1;
static pthread_mutex_t state_mutex = PTHREAD_MUTEX_INITIALIZER;

// The kernel's record locks are between processes; these stand before them between the threads of one (decision 0010).
static pthread_mutex_t thread_locks[STORE_LOCKS] = {PTHREAD_MUTEX_INITIALIZER, PTHREAD_MUTEX_INITIALIZER,
                                                    PTHREAD_MUTEX_INITIALIZER};

// A write is over in microseconds; a commit waits for the disk.
static constexpr int32_t LOCK_DEADLINE_MS[STORE_LOCKS] = {2000, 2000, 10000};
static constexpr int64_t REPEATED_LINE_MS = 60000;

// ---- lines ----

struct said_line {
    uint32_t crc;
    int64_t when_ms;
};

static pthread_mutex_t line_mutex = PTHREAD_MUTEX_INITIALIZER;
static said_line said_lines[8]; // one failure says two or three

static bool is_new_line(const char *line)
{
    const int64_t now = monotonic_ms();
    const uint32_t crc = store_text_crc(line, strlen(line));
    pthread_mutex_lock(&line_mutex);
    said_line *oldest = said_lines;
    bool is_new = true;
    for (said_line &said : said_lines) {
        if (said.crc == crc && now - said.when_ms < REPEATED_LINE_MS)
            is_new = false;
        if (said.when_ms < oldest->when_ms)
            oldest = &said;
    }
    if (is_new)
        *oldest = {crc, now};
    pthread_mutex_unlock(&line_mutex);
    return is_new;
}

void store_line(const char *format, ...)
{
    char line[512] = "";
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

static constexpr char STATE[] = "config.state";
static constexpr size_t LONGEST_NAME = 25; // of a file in the run directory, with the slash and its end

static int open_state_file()
{
    if (!make_run_directory()) {
        char fault[RUN_FAULT_MAX];
        store_line("%s", run_directory_fault(fault));
        return -1;
    }
    if (strlen(run_directory()) + LONGEST_NAME > RUN_PATH_MAX) {
        store_line("the run directory's name is too long");
        return -1;
    }
    char path[RUN_PATH_MAX];
    run_path(STATE, path);
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
        store_line("cannot open %s: %s", path, strerror(errno));
    return fd;
}

bool store_state_open()
{
    pthread_mutex_lock(&state_mutex);
    if (state_fd < 0)
        state_fd = open_state_file();
    const bool is_open = state_fd >= 0;
    pthread_mutex_unlock(&state_mutex);
    return is_open;
}

bool store_state_stands()
{
    char path[RUN_PATH_MAX];
    run_path(STATE, path);
    return still_stands(state_fd, path);
}

// The number stays the same: the other thread may be about to take a lock on it.
bool store_state_renew()
{
    if (store_state_stands())
        return true;
    const int fd = open_state_file();
    const bool is_renewed = fd >= 0 && dup2(fd, state_fd) >= 0 && fcntl(state_fd, F_SETFD, FD_CLOEXEC) == 0;
    if (fd >= 0)
        close(fd);
    return is_renewed;
}

void store_state_close()
{
    memset(said_lines, 0, sizeof said_lines);
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

bool store_try(store_lock lock)
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
    if (store_try(lock))
        return true;
    const int64_t deadline = monotonic_ms() + LOCK_DEADLINE_MS[lock];
    for (struct timespec pause = {0, 20000}; monotonic_ms() < deadline;) {
        clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
        if (store_try(lock))
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

bool store_read_note(store_note *note)
{
    size_t length = 0;
    ssize_t got = 1;
    while (got > 0 && length < sizeof *note) {
        got = pread(state_fd, static_cast<char *>(static_cast<void *>(note)) + length, sizeof *note - length,
                    static_cast<off_t>(length));
        length += got > 0 ? static_cast<size_t>(got) : 0;
    }
    if (got < 0)
        store_line("cannot read its note: %s", strerror(errno));
    else if (length < sizeof *note)
        *note = {};
    return got >= 0;
}

bool store_write_note(const store_note *note)
{
    if (pwrite(state_fd, note, sizeof *note, 0) == static_cast<ssize_t>(sizeof *note))
        return true;
    store_line("cannot write its note: %s", strerror(errno));
    return false;
}
