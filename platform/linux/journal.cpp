// The ring in the run directory. Memory alone is written while the daemon runs; its pages are all there from the start,
// so that no write can fail.
#include "platform/linux/journal.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/common/journal.h"
#include "platform/config_store.h"
#include "platform/linux/command.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/kernel_file.h"
#include "platform/linux/last_restart.h"
#include "platform/linux/run_directory.h"

static journal_ring *ring;                                     // null: nothing is kept
static uint32_t newest;                                        // its number
static bool was_refused;                                       // a restart
static pthread_mutex_t ring_mutex = PTHREAD_MUTEX_INITIALIZER; // held for a record's copy
static pthread_t main_thread;

// ---- opening ----

static journal_ring *map(int fd)
{
    void *const mapping = mmap(nullptr, sizeof(journal_ring), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    return mapping == MAP_FAILED ? nullptr : static_cast<journal_ring *>(mapping);
}

// The ring that stands there, if it is one that can go on; else null.
static journal_ring *open_standing(const char *path)
{
    const int fd = open(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return nullptr;
    struct stat file = {};
    const bool fits = fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && file.st_size == sizeof(journal_ring);
    journal_ring *found = fits ? map(fd) : nullptr;
    close(fd);
    const journal_head *const head = found == nullptr ? nullptr : journal_head_of(found, sizeof *found);
    if (found != nullptr && (head == nullptr || head->slots != JOURNAL_SLOTS)) {
        munmap(found, sizeof *found);
        found = nullptr;
    }
    return found;
}

// Written and not just made longer: a memory file system that is full says so now, and not by ending the daemon later.
static bool fill(int fd)
{
    const char nothing[1024] = {};
    for (size_t at = 0; at < sizeof(journal_ring); at += sizeof nothing)
        if (write(fd, nothing, sizeof nothing) != sizeof nothing)
            return false;
    return true;
}

static journal_ring *make(const char *path, const char *boot)
{
    char beside[RUN_PATH_MAX];
    run_path("journal.new", beside);
    unlink(beside);
    const int fd = open(beside, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    journal_ring *made = fd >= 0 && fill(fd) ? map(fd) : nullptr;
    if (fd >= 0)
        close(fd);
    if (made == nullptr) {
        ground_log("journal: cannot be kept in %s: %s", run_directory(), strerror(errno));
        unlink(beside);
        return nullptr;
    }
    journal_ring_make(made, boot);
    rename(beside, path);
    return made;
}

void journal_open()
{
    char path[RUN_PATH_MAX];
    char boot[JOURNAL_BOOT_SIZE];
    main_thread = pthread_self();
    run_path("journal", path);
    if (!read_first_line("/proc/sys/kernel/random/boot_id", boot, sizeof boot))
        boot[0] = '\0';
    journal_ring *const standing = open_standing(path);
    const bool goes_on = standing != nullptr && strcmp(standing->head.boot, boot) == 0;
    ring = goes_on ? standing : make(path, boot); // another boot's stays mapped, which is seldom and harmless
    newest = ring == nullptr ? 0 : journal_newest(ring, sizeof *ring);
    journal_record why = {};
    const char *const text = last_restart_take(goes_on, standing != nullptr, &why);
    journal_note_start(text, &why);
}

// ---- the end ----

void journal_save()
{
    if (ring != nullptr && !was_refused)
        last_restart_save(ring, newest);
}

void journal_restart_refused()
{
    if (ring != nullptr && !was_refused)
        last_restart_remove();
    was_refused = true;
}

void journal_end(const char *reason)
{
    journal_note_end(reason);
    was_refused = false;
    done_in_a_child(journal_save);
}

// ---- what the journal asks of its ground ----

void journal_write(const journal_record *record)
{
    if (ring == nullptr)
        return;
    pthread_mutex_lock(&ring_mutex);
    journal_ring_write(ring, &newest, record);
    pthread_mutex_unlock(&ring_mutex);
}

status_part journal_part()
{
    return ring == nullptr || pthread_equal(pthread_self(), main_thread) != 0 ? STATUS_PART_MAIN : STATUS_PART_WANS;
}

int journal_look_up(const char *key, char *value, size_t size)
{
    return GetValue(key, value, size);
}
