#include "platform/common/status_file.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

static_assert(sizeof(status_main) % sizeof(uint32_t) == 0 && sizeof(status_wans) % sizeof(uint32_t) == 0);

// ---- writing ----

// Each word is stored after what was stored before it, so that nobody sees words of a copy that its number does not yet
// speak of.
// NOLINTNEXTLINE(readability-non-const-parameter): it is what is written
static void store_words(uint32_t *copy, const char *from, size_t words)
{
    for (size_t i = 0; i < words; i++) {
        uint32_t word = 0;
        memcpy(&word, from + i * sizeof word, sizeof word);
        __atomic_store_n(&copy[i], word, __ATOMIC_RELEASE);
    }
}

// A second changes few of the blocks.
static void copy_to_readers(uint32_t *copy, const void *part, size_t words)
{
    constexpr size_t BLOCK = 16;
    const auto *from = static_cast<const char *>(part);
    for (size_t i = 0; i < words; i += BLOCK) {
        const size_t length = words - i < BLOCK ? words - i : BLOCK;
        const char *const block = from + i * sizeof(uint32_t);
        if (memcmp(copy + i, block, length * sizeof(uint32_t)) != 0)
            store_words(copy + i, block, length);
    }
}

void status_file_publish(status_file *file, status_part part, const time_check_status *page)
{
    uint32_t *number = part == STATUS_PART_MAIN ? &file->main_number : &file->wans_number;
    const uint32_t next = __atomic_load_n(number, __ATOMIC_RELAXED) + 1;
    if (part == STATUS_PART_MAIN)
        copy_to_readers(file->main[next % 2], &page->main, STATUS_MAIN_WORDS);
    else
        copy_to_readers(file->wans[next % 2], &page->wans, STATUS_WANS_WORDS);
    __atomic_store_n(number, next, __ATOMIC_RELEASE);
}

static void store_changed(uint32_t *copy, const char *from, const status_changes *changes)
{
    for (const uint16_t *word = changes->words; word != changes->words + changes->num; word++)
        store_words(copy + *word, from + *word * sizeof(uint32_t), 1);
}

static void store_acted(uint32_t *copy, const char *from, uint32_t rows)
{
    constexpr size_t WORDS = (sizeof(status_row) - offsetof(status_row, acted)) / sizeof(uint32_t);
    for (size_t at = offsetof(status_main, rows) + offsetof(status_row, acted); rows != 0; rows >>= 1) {
        if ((rows & 1) != 0)
            store_words(copy + at / sizeof(uint32_t), from + at, WORDS);
        at += sizeof(status_row);
    }
}

void status_file_publish_changes(status_file *file, const time_check_status *page, const status_changes *now,
                                 const status_changes *before)
{
    const uint32_t next = __atomic_load_n(&file->main_number, __ATOMIC_RELAXED) + 1;
    const auto *const from = reinterpret_cast<const char *>(&page->main);
    uint32_t *const copy = file->main[next % 2];
    store_changed(copy, from, before);
    store_changed(copy, from, now);
    store_acted(copy, from, before->acted | now->acted);
    __atomic_store_n(&file->main_number, next, __ATOMIC_RELEASE);
}

// ---- reading ----

static void copy_from_writer(void *part, const uint32_t *copy, size_t words)
{
    auto *to = static_cast<char *>(part);
    for (size_t i = 0; i < words; i++) {
        const uint32_t word = __atomic_load_n(&copy[i], __ATOMIC_ACQUIRE);
        memcpy(to + i * sizeof word, &word, sizeof word);
    }
}

// The writer is in the other copy while the number stays. It changes once a second: a reader that is overtaken so often
// looks at no page.
static bool read_part(void *part, const uint32_t *number, const uint32_t *copies, size_t words)
{
    constexpr int TRIES = 1000;
    for (int i = 0; i < TRIES; i++) {
        const uint32_t before = __atomic_load_n(number, __ATOMIC_ACQUIRE);
        copy_from_writer(part, copies + before % 2 * words, words);
        if (__atomic_load_n(number, __ATOMIC_RELAXED) == before)
            return true;
    }
    return false;
}

// The writer holds a lock, which goes with it however it ends.
static bool is_held(int fd)
{
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// Modulo 2^32, as the beat is.
static uint32_t milliseconds(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<uint32_t>(now.tv_sec) * 1000U + static_cast<uint32_t>(now.tv_nsec / 1000000);
}

static status_fault read_file(const status_file *file, status_reading *reading)
{
    if (memcmp(file->magic, STATUS_MAGIC, sizeof file->magic) != 0)
        return STATUS_NOT_A_PAGE;
    if (file->byte_order != STATUS_BYTE_ORDER)
        return file->byte_order == __builtin_bswap32(STATUS_BYTE_ORDER) ? STATUS_OTHER_BYTE_ORDER : STATUS_NOT_A_PAGE;
    if (file->version != STATUS_VERSION)
        return STATUS_OTHER_VERSION;
    if (file->size != sizeof *file ||
        !read_part(&reading->status.main, &file->main_number, file->main[0], STATUS_MAIN_WORDS) ||
        !read_part(&reading->status.wans, &file->wans_number, file->wans[0], STATUS_WANS_WORDS))
        return STATUS_NOT_A_PAGE;
    reading->pid = file->pid;
    reading->start = file->start;
    const uint32_t beat = __atomic_load_n(&file->beat, __ATOMIC_RELAXED);
    reading->age_ms = milliseconds(CLOCK_MONOTONIC) - beat;
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    reading->uptime = static_cast<int32_t>(now.tv_sec - reading->age_ms / 1000);
    reading->calendar = time(nullptr) - reading->age_ms / 1000;
    memcpy(reading->program, file->program, sizeof file->program);
    reading->program[sizeof file->program] = '\0';
    return STATUS_READ;
}

static status_fault read_opened(int fd, status_reading *reading)
{
    struct stat found = {};
    if (fstat(fd, &found) != 0)
        return STATUS_UNREADABLE;
    if (!S_ISREG(found.st_mode) || found.st_size < static_cast<off_t>(offsetof(status_file, size)))
        return STATUS_NOT_A_PAGE;
    // A page of another version may be shorter: its head says so, on the first of the memory pages.
    const bool is_whole = found.st_size >= static_cast<off_t>(sizeof(status_file));
    void *mapped = mmap(nullptr, static_cast<size_t>(found.st_size), PROT_READ, MAP_SHARED, fd, 0);
    if (mapped == MAP_FAILED)
        return STATUS_UNREADABLE;
    const auto *copy = static_cast<const status_file *>(mapped);
    status_fault fault = STATUS_NOT_A_PAGE;
    if (is_whole)
        fault = read_file(copy, reading);
    else if (memcmp(copy->magic, STATUS_MAGIC, sizeof copy->magic) == 0)
        fault = STATUS_OTHER_VERSION;
    munmap(mapped, static_cast<size_t>(found.st_size));
    return fault;
}

status_fault status_read(const char *path, status_reading *reading)
{
    memset(reading, 0, sizeof *reading);
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return errno == ENOENT || errno == ENOTDIR ? STATUS_NO_PAGE : STATUS_UNREADABLE;
    reading->is_alive = is_held(fd); // before the page is read: who dies meanwhile has left a whole second
    const status_fault fault = read_opened(fd, reading);
    close(fd);
    return fault;
}
