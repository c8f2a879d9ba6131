// The running store's LMDB environment and each thread's view of it, for the units of the store alone.
#ifndef PLATFORM_LINUX_STORE_ENVIRONMENT_H
#define PLATFORM_LINUX_STORE_ENVIRONMENT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <lmdb.h>

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

#endif
