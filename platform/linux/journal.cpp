// The ring in the run directory. Memory alone is written while the daemon runs; its pages are all there from the start,
// so that no write can fail.
#include "platform/linux/journal.h"

#include <cerrno>
#include <cstring>
#include <pthread.h>
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
static bool has_begun;                                         // a restart that may end the daemon first
static pthread_mutex_t ring_mutex = PTHREAD_MUTEX_INITIALIZER; // held for a record's copy
static pthread_t main_thread;
static bool is_daemon; // that is, journal_open was called: before there was another thread

// ---- opening ----

static journal_ring *standing_ring(int dir)
{
    return static_cast<journal_ring *>(journal_file_map(dir, "journal", JOURNAL_SLOTS, true));
}

static journal_ring *new_ring(int dir, const char *boot)
{
    journal_head head;
    journal_head_make(&head, boot);
    if (journal_file_write(dir, "journal", JOURNAL_SLOTS, &head, nullptr, 0))
        return standing_ring(dir);
    ground_log("journal: cannot be kept in %s: %s", run_directory(), strerror(errno));
    return nullptr;
}

void journal_open()
{
    char boot[JOURNAL_BOOT_SIZE];
    main_thread = pthread_self();
    is_daemon = true;
    if (!read_first_line("/proc/sys/kernel/random/boot_id", boot, sizeof boot))
        boot[0] = '\0';
    const int dir = journal_folder(run_directory());
    journal_ring *const standing = standing_ring(dir);
    const bool goes_on = standing != nullptr && strcmp(standing->head.boot, boot) == 0;
    ring = goes_on ? standing : new_ring(dir, boot); // another boot's stays mapped, which is seldom and harmless
    newest = ring == nullptr ? 0 : journal_newest(ring, sizeof *ring);
    journal_record why;
    const char *const text = last_restart_take(dir, goes_on, standing != nullptr, &why);
    close(dir);
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
    has_begun = false;
}

void journal_restart_is_tried()
{
    was_refused = false;
}

void journal_restart_has_begun()
{
    has_begun = true;
}

void journal_end(const char *reason)
{
    journal_note_end(reason);
    was_refused = false;
    if (!has_begun)
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

int journal_is_kept()
{
    return is_daemon ? 1 : 0;
}

status_part journal_part()
{
    return pthread_equal(pthread_self(), main_thread) != 0 ? STATUS_PART_MAIN : STATUS_PART_WANS;
}

int journal_look_up(const char *key, char *value, size_t size)
{
    return GetValue(key, value, size);
}
