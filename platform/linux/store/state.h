// What the store keeps beside LMDB's own files in the run directory: locks between processes, and a note of what was
// committed last.
#ifndef PLATFORM_LINUX_STORE_STATE_H
#define PLATFORM_LINUX_STORE_STATE_H

#include <cstddef>
#include <cstdint>

// ground_log for the store. A line that says the same as one of the last few is left out for a minute: a router whose
// store is full would print some in every tick.
void store_line(const char *format, ...) __attribute__((format(printf, 1, 2)));

// $TIME_CHECK_CONF_DIR, or /etc/time_check: where the committed file stands.
const char *store_conf_directory();

// Makes the run directory if it is not there and opens the file of locks. False: a line says why.
bool store_state_open();
void store_state_close();

// Whether the open file of locks is the one in the run directory, and what makes it so. False: a line says why.
bool store_state_stands();
bool store_state_renew();

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

// Takes it if it is free. False: somebody holds it; there is no line.
bool store_try(store_lock lock);

// A committed text, told from others by its contents: a file may be copied, or its file system mounted again.
struct store_content {
    uint32_t size; // 0: none
    uint32_t crc;
};

// A file as it was at one moment. Without padding, so that its bytes can be compared.
struct store_file {
    uint64_t device;
    uint64_t inode; // 0: none
    int64_t modified_s;
    int64_t modified_ns;
};

// The committed texts that a running store knows.
enum store_known {
    STORE_READ,     // what it was filled from, or last committed
    STORE_WRITTEN,  // by a commit that may have been killed before its end
    STORE_IMPORTED, // by the last import since
    STORE_KNOWN,
};

// What the processes of one running store know of the committed file.
struct store_note {
    uint64_t transaction; // the state of the running store that the committed file holds
    store_file file;      // the committed file
    store_content known[STORE_KNOWN];
    uint64_t made; // non-zero: LMDB's files beside this one are whole, and filled. Last: a note that is cut is none
};

// All zero before the first store_write_note. False: a line says why it could not be read or written.
bool store_read_note(store_note *note);
bool store_write_note(const store_note *note);

#endif
