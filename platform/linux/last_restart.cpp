#include "platform/linux/last_restart.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "platform/linux/store/state.h"

static constexpr char NAME[] = "last_restart";
static constexpr char BESIDE[] = "journal.new";

static journal_record no_record; // fills the slots of a young journal

static constexpr size_t size_of(uint32_t slots)
{
    return sizeof(journal_head) + slots * sizeof(journal_record);
}

int journal_folder(const char *path)
{
    return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// In one call: a flash file system keeps what is written piece by piece in pieces. And all of it is written, not just
// made longer: a memory file system that is full says so now, and not by ending who writes to a mapping.
static bool write_records(int fd, uint32_t slots, const journal_head *like, journal_record *records, uint32_t newest)
{
    journal_head head = *like;
    head.slots = slots;
    iovec parts[1 + JOURNAL_SLOTS];
    for (iovec &part : parts)
        part = {.iov_base = &no_record, .iov_len = sizeof no_record};
    parts[0].iov_base = &head;
    for (uint32_t i = 0; i < slots && i < newest; i++)
        parts[1 + (newest - i) % slots].iov_base = &records[(newest - i) % JOURNAL_SLOTS];
    return writev(fd, parts, static_cast<int>(1 + slots)) == static_cast<ssize_t>(size_of(slots));
}
static_assert(sizeof(journal_head) == sizeof(journal_record));

bool journal_file_write(int dir, const char *name, uint32_t slots, const journal_head *like, journal_record *records,
                        uint32_t newest)
{
    unlinkat(dir, BESIDE, 0); // left by one that was cut short
    const int fd = openat(dir, BESIDE, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const bool is_written =
        write_records(fd, slots, like, records, newest) && fsync(fd) == 0 && renameat(dir, BESIDE, dir, name) == 0;
    close(fd);
    if (is_written)
        fsync(dir);
    else
        unlinkat(dir, BESIDE, 0);
    return is_written;
}

void *file_map(int fd, size_t size, bool is_written)
{
    struct stat file = {};
    void *mapping = MAP_FAILED;
    if (fd < 0)
        return nullptr;
    if (fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && file.st_size == static_cast<off_t>(size))
        mapping = mmap(nullptr, size, is_written ? PROT_READ | PROT_WRITE : PROT_READ,
                       is_written ? MAP_SHARED : MAP_PRIVATE, fd, 0);
    close(fd);
    return mapping == MAP_FAILED ? nullptr : mapping;
}

void *journal_file_map(int dir, const char *name, uint32_t slots, bool is_written)
{
    const int fd = openat(dir, name, (is_written ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    void *const mapping = file_map(fd, size_of(slots), is_written);
    if (mapping == nullptr)
        return nullptr;
    const journal_head *const head = journal_head_of(mapping, size_of(slots));
    if (head != nullptr && head->slots == slots)
        return mapping;
    munmap(mapping, size_of(slots));
    return nullptr;
}

void last_restart_save(journal_ring *ring, uint32_t newest)
{
    const int dir = journal_folder(store_conf_directory());
    journal_file_write(dir, NAME, JOURNAL_LAST_SLOTS, &ring->head, ring->slots, newest);
    close(dir);
}

void last_restart_remove()
{
    const int dir = journal_folder(store_conf_directory());
    if (unlinkat(dir, NAME, 0) == 0)
        fsync(dir); // otherwise a power cut soon after brings it back, and is taken for what it tells of
    close(dir);
}

// ---- the next start ----

static constexpr size_t FILE_SIZE = size_of(JOURNAL_LAST_SLOTS);

// The newest restart or end in it. False: there is none, or it is no journal.
static bool find_why(const void *bytes, journal_record *why)
{
    for (uint32_t number = journal_newest(bytes, FILE_SIZE); number != 0; number--)
        if (journal_read(bytes, FILE_SIZE, number - 1, why, 1) != 0 &&
            (why->kind == JOURNAL_REBOOT || why->kind == JOURNAL_END))
            return true;
    return false;
}

static void copy_to(int run_dir, const void *bytes)
{
    unlinkat(run_dir, NAME, 0);
    const int fd = openat(run_dir, NAME, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0 && write(fd, bytes, FILE_SIZE) != static_cast<ssize_t>(FILE_SIZE))
        unlinkat(run_dir, NAME, 0);
    close(fd);
}

const char *last_restart_take(int run_dir, bool goes_on, bool had_one, journal_record *why)
{
    const int dir = journal_folder(store_conf_directory());
    void *const bytes = journal_file_map(dir, NAME, JOURNAL_LAST_SLOTS, false);
    journal_record found;
    const bool is_told = bytes != nullptr && find_why(bytes, &found);
    if (bytes != nullptr) {
        copy_to(run_dir, bytes);
        munmap(bytes, FILE_SIZE);
    }
    close(dir);
    last_restart_remove();

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
