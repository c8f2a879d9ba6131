// The status page as other processes see it: a file of which one process writes two copies in turn, so that a reader
// finds a whole second in one of them at any moment, also when the writer was killed in the middle of the other.
#ifndef PLATFORM_COMMON_STATUS_FILE_H
#define PLATFORM_COMMON_STATUS_FILE_H

#include <cstddef>
#include <cstdint>

#include "platform/status.h"

constexpr size_t STATUS_MAIN_WORDS = sizeof(status_main) / sizeof(uint32_t);
constexpr size_t STATUS_WANS_WORDS = sizeof(status_wans) / sizeof(uint32_t);

// Numbers lie as on the machine that wrote them; `byte_order` tells which way that is.
struct status_file {
    char magic[8];        // STATUS_MAGIC
    uint32_t byte_order;  // STATUS_BYTE_ORDER
    uint32_t version;     // STATUS_VERSION
    uint32_t size;        // of all of this
    int32_t pid;          // the writer's, as it sees it
    int32_t start;        // the up-time when it began, seconds
    char program[16];     // its version
    uint32_t beat;        // when the main loop last ended a second, milliseconds of the monotonic clock modulo 2^32
    uint32_t main_number; // how often a part was published: the last time into copy number % 2
    uint32_t wans_number;
    uint32_t main[2][STATUS_MAIN_WORDS];
    uint32_t wans[2][STATUS_WANS_WORDS];
};

constexpr char STATUS_MAGIC[8] = {'t', 'c', 's', 't', 'a', 't', 'u', 's'};
constexpr uint32_t STATUS_BYTE_ORDER = 0x01020304;

// Puts a part of the page where readers find it. One thread a part.
void status_file_publish(status_file *file, status_part part, const time_check_status *page);

// The same for `main` of which nothing has changed but that: `now` since it was last published, and `before` by then,
// which the copy that is written now has not yet.
void status_file_publish_changes(status_file *file, const time_check_status *page, const status_changes *now,
                                 const status_changes *before);

// What a reader learns.
struct status_reading {
    time_check_status status;
    bool is_alive;    // the writer
    int32_t pid;      // as the writer saw it
    int32_t start;    // the up-time when the writer began, seconds
    uint32_t age_ms;  // how long ago the main loop last ended a second, or began; of a dead writer modulo 49 days
    int32_t uptime;   // of that second, seconds
    int64_t calendar; // the same by the clock as it is now, seconds since 1970
    char program[17]; // the writer's version
};

enum status_fault {
    STATUS_READ = 0,
    STATUS_NO_PAGE,          // there is no such file
    STATUS_UNREADABLE,       // errno says why
    STATUS_NOT_A_PAGE,       // it is something else, or damaged
    STATUS_OTHER_VERSION,    // of an older or a newer daemon
    STATUS_OTHER_BYTE_ORDER, // of another machine
};

// Reads the page of a daemon that may be running, or have run. Any thread; waits for nobody.
status_fault status_read(const char *path, status_reading *reading);

#endif
