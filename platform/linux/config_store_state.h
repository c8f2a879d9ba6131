// What the store keeps beside LMDB's own files in the run directory: locks between processes, and a note of what was
// committed last.
#ifndef PLATFORM_LINUX_CONFIG_STORE_STATE_H
#define PLATFORM_LINUX_CONFIG_STORE_STATE_H

#include <cstddef>
#include <cstdint>

constexpr size_t STORE_PATH_MAX = 512; // bytes of a path with its end

// ground_log for the store. A line that says the same as the one before is left out for a minute: a router whose store
// is full would print one in every tick.
void store_line(const char *format, ...) __attribute__((format(printf, 1, 2)));

// $TIME_CHECK_CONF_DIR, or /etc/time_check: where the committed file stands.
const char *store_conf_directory();

// Makes the run directory if it is not there and opens the file of locks. False: a line says why.
bool store_state_open();
void store_state_close();

// In the child of a fork: the parent's locks and descriptors are not ours.
void store_state_forget();

enum store_lock {
    STORE_OPEN_LOCK,   // held while an environment is opened or a reader takes its place
    STORE_WRITE_LOCK,  // held for one write transaction
    STORE_COMMIT_LOCK, // held while the committed file is written
    STORE_LOCKS,
};

// Takes a lock against all threads and processes. False: another process holds it and did not let go in time, because
// it is stopped; a line says which process. A process that dies lets go of its locks. Taken in the order of their
// numbers.
bool store_take(store_lock lock);
void store_release(store_lock lock);

// What the committed file looked like, and which state of the running store it holds.
struct store_note {
    uint64_t filled; // non-zero: the running store has been filled from the committed file
    uint64_t transaction;
    uint64_t device;
    uint64_t inode; // 0: nothing is known of the committed file
    uint64_t size;
    int64_t modified_s;
    int64_t modified_ns;
};

// All zero before the first store_write_note.
store_note store_read_note();
void store_write_note(const store_note *note);

#endif
