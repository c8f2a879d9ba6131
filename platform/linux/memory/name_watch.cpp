#include "platform/linux/memory/name_watch.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <linux/perf_event.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

// The kernel writes a record into a ring of each processor when a process takes a name: by running a program or by
// asking for it. It does so for all namespaces, on every kernel with performance events.

constexpr int MOST_PROCESSORS = 32;
constexpr size_t RING_PAGES = 4;         // some 160 processes between two looks
constexpr size_t ROOM_FOR_RECORDS = 128; // with less free, some may have found no room
constexpr size_t WORD = sizeof(uint64_t);

struct name_record {
    perf_event_header header;
    uint32_t pid;
    uint32_t tid;
    char name[16];
};

struct name_rings {
    bool is_started;
    int number; // 0: not told
    size_t page;
    perf_event_mmap_page *rings[MOST_PROCESSORS]; // a page of its own before those of records
};

static thread_local name_rings watch;

// ---- starting ----

static int open_event(int processor)
{
    perf_event_attr attributes = {};
    attributes.size = PERF_ATTR_SIZE_VER0;
    attributes.type = PERF_TYPE_SOFTWARE;
    attributes.config = PERF_COUNT_SW_DUMMY;
    attributes.comm = 1;
    return static_cast<int>(
        syscall(SYS_perf_event_open, &attributes, -1, processor, -1, static_cast<unsigned long>(PERF_FLAG_FD_CLOEXEC)));
}

// Every processor that there can be must tell: of one that is off now, names would be missed later.
static bool start_rings(name_rings *to)
{
    to->page = static_cast<size_t>(getpagesize());
    for (int processor = 0; processor < MOST_PROCESSORS; processor++) {
        const int event = open_event(processor);
        if (event < 0)
            return errno == EINVAL && processor > 0; // there is no such processor
        void *const ring = mmap(nullptr, (1 + RING_PAGES) * to->page, PROT_READ | PROT_WRITE, MAP_SHARED, event, 0);
        close(event); // the mapping keeps it
        if (ring == MAP_FAILED)
            return false;
        to->rings[to->number++] = static_cast<perf_event_mmap_page *>(ring);
    }
    return false;
}

// The rings are not mapped in the child.
static void forget_after_fork()
{
    watch = {};
}

static void start(name_rings *to)
{
    to->is_started = true;
    if (pthread_atfork(nullptr, nullptr, forget_after_fork) == 0 && start_rings(to))
        return;
    while (to->number > 0)
        munmap(to->rings[--to->number], (1 + RING_PAGES) * to->page);
}

// ---- reading ----

// Positions grow for ever and wrap as the kernel's word does. A record may pass the end of the ring, but no eight bytes
// do.
static void copy_record(name_record *record, const perf_event_mmap_page *ring, unsigned long position)
{
    const char *const records = reinterpret_cast<const char *>(ring) + watch.page;
    const unsigned long last = RING_PAGES * watch.page - 1;
    for (size_t i = 0; i < sizeof *record; i += WORD)
        memcpy(reinterpret_cast<char *>(record) + i, records + ((position + i) & last), WORD);
    record->name[sizeof record->name - 1] = '\0';
}

static bool empty_ring(perf_event_mmap_page *ring, void (*taken)(const char *name))
{
    volatile perf_event_mmap_page *const shared = ring;
    unsigned long position = static_cast<unsigned long>(shared->data_tail);
    const unsigned long end = static_cast<unsigned long>(shared->data_head);
    if (position == end)
        return true;
    bool complete = end - position <= RING_PAGES * watch.page - ROOM_FOR_RECORDS;
    if (!complete) // to read them all would cost much and settle nothing
        position = end;
    __sync_synchronize(); // what the records say was written before their end
    name_record record;
    for (; position != end; position += record.header.size) {
        copy_record(&record, ring, position);
        if (record.header.type == PERF_RECORD_COMM)
            taken(record.name);
        else if (record.header.type == PERF_RECORD_LOST) // others come along
            complete = false;
    }
    __sync_synchronize();
    shared->data_tail = end;
    return complete;
}

NAMES_TOLD next_names(void (*taken)(const char *name))
{
    if (!watch.is_started) {
        start(&watch);
        return watch.number > 0 ? NAMES_MISSED : NAMES_UNTOLD;
    }
    if (watch.number == 0)
        return NAMES_UNTOLD;
    bool complete = true;
    for (int i = 0; i < watch.number; i++)
        complete = empty_ring(watch.rings[i], taken) && complete;
    return complete ? NAMES_COMPLETE : NAMES_MISSED;
}
