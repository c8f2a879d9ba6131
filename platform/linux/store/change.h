// Changes of the running store, for the units of the store alone. Any thread.
#ifndef PLATFORM_LINUX_STORE_CHANGE_H
#define PLATFORM_LINUX_STORE_CHANGE_H

#include <lmdb.h>

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

#endif
