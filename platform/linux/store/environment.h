// LMDB's side of the store, for the units of the store alone.
#ifndef PLATFORM_LINUX_STORE_ENVIRONMENT_H
#define PLATFORM_LINUX_STORE_ENVIRONMENT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <lmdb.h>

#include "platform/linux/store/text.h"

// The one unnamed database; LMDB gives it this number once it has been opened.
constexpr MDB_dbi STORE_DATABASE = 1;

// LMDB takes its keys as changeable, and does not change them.
inline MDB_val store_lmdb_value(const char *text)
{
    return {strlen(text), const_cast<char *>(text)};
}

// Gives a stored value to a caller's buffer of `size` bytes, cut to it, with an end.
inline void store_copy_value(char *value, size_t size, const void *stored, size_t stored_length)
{
    const size_t length = stored_length < size ? stored_length : size - 1;
    memcpy(value, stored, length);
    value[length] = '\0';
}

struct store_opened {
    MDB_env *env;
    uint32_t number; // never the same again, not even for files of the same names
    uint32_t users;  // threads that are in it, and one more while it is the current one
};

// Where this thread is. It stays open until the thread leaves it, which no other makes it do.
struct store_thread {
    store_opened *opened;
    MDB_txn *reader;
};

extern store_opened *store_current; // null: none is open
extern constinit thread_local store_thread store_here;

// The current environment, opened and filled if it was not; this thread is in it then. Null: a line says why.
MDB_env *store_environment();

// This thread's view of the store as it is now, to be ended by store_end_read. Null: a line says why.
MDB_txn *store_begin_read();
void store_end_read(MDB_txn *transaction);

// Adds what is committed, sorted: all keys but the published ones. Gives LMDB's result.
int store_put_settings(MDB_txn *transaction, store_text_writer *writer);

// One change of the store: gives LMDB's result, or one of its own below.
typedef int (*store_change)(MDB_txn *transaction, void *context);
constexpr int STORE_FULL = 1; // what is stored would pass the store's limit
constexpr int STORE_BUSY = 2; // another process holds the lock

// Makes one change in one transaction, all of it or nothing; the change may be called several times. Gives 0 or why
// not; a line says why, except for MDB_NOTFOUND.
int store_change_by(store_change change, void *context);

// The same while the environment is still being opened, without the limit.
int store_change_in(MDB_env *environment, store_change change, void *context);

// Stores one setting. Gives LMDB's result.
int store_put(MDB_txn *transaction, const char *key, const char *value);

// A text in memory of its own: `size` bytes and room for one more.
struct store_text {
    char *text;
    size_t size;
};

// Reads `fd` to its end. 0, or an errno.
int store_text_load(int fd, store_text *loaded);
void store_text_free(store_text *loaded);

// Turns a text into its settings, where it stands: each key and each value with its end behind it. False: a line for
// each bad one says why; `name` stands for the text in it.
bool store_text_parse(store_text *loaded, const char *name);

// A change: stores such settings.
struct store_settings {
    const store_text *parsed;
    bool is_import;       // takes published keys too; otherwise they are the first that are stored
    uint64_t transaction; // filled: the number of the change, unless there was nothing to store
};
int store_put_parsed(MDB_txn *transaction, void *settings);

// Fills the environment from the committed file, unless something is in it, and notes that it is made. False: it must
// not be used, a line says why. Called with STORE_OPEN_LOCK held.
bool store_fill(MDB_env *environment);

#endif
