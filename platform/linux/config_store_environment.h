// LMDB's side of the store, for the units of the store alone.
#ifndef PLATFORM_LINUX_CONFIG_STORE_ENVIRONMENT_H
#define PLATFORM_LINUX_CONFIG_STORE_ENVIRONMENT_H

#include <cstddef>
#include <cstdint>
#include <lmdb.h>

#include "platform/linux/config_store_text.h"

// The one unnamed database; LMDB gives it this number once it has been opened.
constexpr MDB_dbi STORE_DATABASE = 1;

// The environment, opened and filled if it was not. Null: a line says why.
MDB_env *store_environment();

// This thread's view of the store as it is now, to be ended by store_end_read. Null: a line says why.
MDB_txn *store_begin_read();
void store_end_read(MDB_txn *transaction);

// Adds the settings whose keys begin with `prefix`, sorted. Gives LMDB's result.
int store_put_settings(MDB_txn *transaction, const char *prefix, store_text_writer *writer);

// One change of the store: gives LMDB's result, or one of its own below.
typedef int (*store_change)(MDB_txn *transaction, void *context);
constexpr int STORE_FULL = 1; // what is stored would pass the store's limit
constexpr int STORE_BUSY = 2; // another process holds the lock

// Makes one change in one transaction, all of it or nothing; the change may be called several times. Gives 0 or why
// not; a line says why, except for MDB_NOTFOUND.
int store_change_by(store_change change, void *context);

// The same while the environment is still being opened.
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
    uint64_t transaction; // filled: the change's number
};
int store_put_parsed(MDB_txn *transaction, void *settings);

// Fills the new environment from the committed file, unless that has been done since the router started. Called with
// STORE_OPEN_LOCK held.
void store_fill(MDB_env *environment);

#endif
