#include "platform/linux/log_sink.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/deadline.h"

// A terminal draws a burst of lines, and a logger is scheduled, in less. In each second lines wait no longer
// altogether.
constexpr uint32_t PATIENCE_MS = 200;
constexpr uint32_t PATIENT_EVERY_MS = 1000;

// A file that lines go to. Standard output and standard error that are the same file share one, so that a half-written
// line of the one is ended before the other goes on.
struct outlet {
    dev_t device;
    ino_t inode;
    int descriptor;
    bool is_socket;
    bool has_stopped; // it took nothing when last tried
    uint32_t lost;
    uint32_t patient_since;
    size_t used;
    char text[2 * LOG_TEXT_MAX]; // not written yet; no more than a pipe takes whole or not at all
};

static outlet outlets[2];
static pthread_mutex_t outlets_mutex = PTHREAD_MUTEX_INITIALIZER;

// Pipes and terminals are opened once more: a write must not block even when another process fills them between poll
// and write, and the flag for that would be theirs, too, on the descriptor that they share. Without /proc, or when the
// file is another user's, the shared one must do.
static int descriptor_for(int fd, mode_t mode)
{
    if (!S_ISFIFO(mode) && !S_ISCHR(mode))
        return fd;
    char path[] = "/proc/self/fd/0";
    path[sizeof path - 2] = static_cast<char>('0' + fd);
    const int own = open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    return own < 0 ? fd : own;
}

static outlet *outlet_of(int fd)
{
    struct stat file = {};
    fstat(fd, &file);
    for (outlet &known : outlets)
        if (known.descriptor > 0 && known.inode == file.st_ino && known.device == file.st_dev)
            return &known;
    outlet *const fresh = &outlets[fd - STDOUT_FILENO];
    if (fresh->descriptor > STDERR_FILENO)
        close(fresh->descriptor);
    memset(fresh, 0, offsetof(outlet, text));
    fresh->device = file.st_dev;
    fresh->inode = file.st_ino;
    fresh->descriptor = descriptor_for(fd, file.st_mode);
    fresh->is_socket = S_ISSOCK(file.st_mode);
    return fresh;
}

static bool is_ready(outlet *to)
{
    pollfd writable = {.fd = to->descriptor, .events = POLLOUT, .revents = 0};
    timespec patience = {};
    int ready = ppoll(&writable, 1, &patience, nullptr);
    if (ready == 0 && !to->has_stopped) {
        const auto now = static_cast<uint32_t>(monotonic_ms());
        if (now - to->patient_since >= PATIENT_EVERY_MS)
            to->patient_since = now;
        if (now - to->patient_since < PATIENCE_MS)
            patience.tv_nsec = static_cast<long>(PATIENCE_MS - (now - to->patient_since)) * NS_A_MS;
        ready = ppoll(&writable, 1, &patience, nullptr);
    }
    to->has_stopped = ready == 0;
    return ready > 0;
}

static void write_out(outlet *to)
{
    if (to->used == 0 || !is_ready(to))
        return;
    const ssize_t written = to->is_socket ? send(to->descriptor, to->text, to->used, MSG_DONTWAIT)
                                          : write(to->descriptor, to->text, to->used);
    if (written <= 0)
        return;
    to->used -= static_cast<size_t>(written);
    memmove(to->text, to->text + written, to->used);
}

void log_write(int fd, const char *text, size_t length)
{
    const int kept_errno = errno;
    pthread_mutex_lock(&outlets_mutex);
    outlet *const to = outlet_of(fd);
    write_out(to);
    if (to->lost > 0 && to->used == 0) {
        to->used = static_cast<size_t>(snprintf(to->text, sizeof to->text, "%.64s: %u lines of the log were lost\n",
                                                program_invocation_short_name, to->lost));
        to->lost = 0;
    }
    if (to->lost == 0 && length <= sizeof to->text - to->used) {
        memcpy(to->text + to->used, text, length);
        to->used += length;
        write_out(to);
    } else {
        to->lost++;
    }
    pthread_mutex_unlock(&outlets_mutex);
    errno = kept_errno;
}
