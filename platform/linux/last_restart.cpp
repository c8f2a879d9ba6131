#include "platform/linux/last_restart.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "platform/linux/run_directory.h"
#include "platform/linux/store/state.h"

static constexpr char NAME[] = "last_restart";
static constexpr char BESIDE[] = "last_restart.new";
static constexpr size_t FILE_SIZE = sizeof(journal_head) + JOURNAL_LAST_SLOTS * sizeof(journal_record);

static journal_record no_record; // fills the slots of a young journal

static int open_folder(const char *path)
{
    return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// ---- writing ----

// In one call: a flash file system keeps what is written piece by piece in pieces.
static bool write_records(int fd, journal_ring *ring, uint32_t newest)
{
    journal_head head = ring->head;
    head.slots = JOURNAL_LAST_SLOTS;
    iovec parts[1 + JOURNAL_LAST_SLOTS];
    for (iovec &part : parts)
        part = {.iov_base = &no_record, .iov_len = sizeof no_record};
    parts[0] = {.iov_base = &head, .iov_len = sizeof head};
    for (uint32_t i = 0; i < JOURNAL_LAST_SLOTS && i < newest; i++)
        parts[1 + (newest - i) % JOURNAL_LAST_SLOTS].iov_base = &ring->slots[(newest - i) % JOURNAL_SLOTS];
    return writev(fd, parts, 1 + JOURNAL_LAST_SLOTS) == static_cast<ssize_t>(FILE_SIZE);
}

void last_restart_save(journal_ring *ring, uint32_t newest)
{
    const int dir = open_folder(store_conf_directory());
    unlinkat(dir, BESIDE, 0); // left by one that was cut short
    const int fd = openat(dir, BESIDE, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const bool is_whole = fd >= 0 && write_records(fd, ring, newest) && fsync(fd) == 0;
    if (fd >= 0)
        close(fd);
    if (is_whole && renameat(dir, BESIDE, dir, NAME) == 0)
        fsync(dir);
    else
        unlinkat(dir, BESIDE, 0);
    if (dir >= 0)
        close(dir);
}

void last_restart_remove()
{
    const int dir = open_folder(store_conf_directory());
    unlinkat(dir, NAME, 0);
    if (dir >= 0)
        close(dir);
}

// ---- the next start ----

static const void *map(int dir)
{
    const int fd = openat(dir, NAME, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return nullptr;
    struct stat file = {};
    const bool fits = fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && file.st_size == static_cast<off_t>(FILE_SIZE);
    void *const mapping = fits ? mmap(nullptr, FILE_SIZE, PROT_READ, MAP_PRIVATE, fd, 0) : MAP_FAILED;
    close(fd);
    return mapping == MAP_FAILED ? nullptr : mapping;
}

// The newest restart or end in it. False: there is none, or it is no journal.
static bool find_why(const void *bytes, journal_record *why)
{
    for (uint32_t number = journal_newest(bytes, FILE_SIZE); number != 0; number--)
        if (journal_read(bytes, FILE_SIZE, number - 1, why, 1) != 0 &&
            (why->kind == JOURNAL_REBOOT || why->kind == JOURNAL_END))
            return true;
    return false;
}

static void copy_to_run_directory(const void *bytes)
{
    char path[RUN_PATH_MAX];
    char beside[RUN_PATH_MAX];
    run_path(NAME, path);
    run_path(BESIDE, beside);
    unlink(beside);
    const int fd = open(beside, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    const bool is_whole = write(fd, bytes, FILE_SIZE) == static_cast<ssize_t>(FILE_SIZE);
    close(fd);
    if (!is_whole || rename(beside, path) != 0)
        unlink(beside);
}

const char *last_restart_take(bool goes_on, bool had_one, journal_record *why)
{
    const int dir = open_folder(store_conf_directory());
    const void *const bytes = map(dir);
    journal_record found;
    const bool is_told = bytes != nullptr && find_why(bytes, &found);
    if (bytes != nullptr) {
        copy_to_run_directory(bytes);
        munmap(const_cast<void *>(bytes), FILE_SIZE);
    }
    unlinkat(dir, NAME, 0);
    if (dir >= 0)
        close(dir);

    *why = {};
    why->who = STATUS_NOBODY;
    why->verdict = STATUS_UNJUDGED;
    if (goes_on)
        return is_told ? "the daemon alone, after an end in order" : "the daemon alone, which had been killed";
    if (!is_told)
        return had_one ? "after a power cut or crash" : "first start, or after a power cut or crash";
    if (found.kind == JOURNAL_END)
        return "after a restart by others";
    *why = found;
    return "after the daemon's restart of the machine";
}
