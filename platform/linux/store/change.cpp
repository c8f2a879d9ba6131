// Changes of the running store, each in one transaction.
#include "platform/linux/store/change.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/statvfs.h>

#include "platform/linux/deadline.h"
#include "platform/linux/run_directory.h"
#include "platform/linux/store/environment.h"
#include "platform/linux/store/state.h"

static constexpr size_t STORE_LIMIT = 1UL * 1024 * 1024;

static size_t pages_used(MDB_txn *transaction)
{
    MDB_stat stat = {};
    mdb_stat(transaction, STORE_DATABASE, &stat);
    return (stat.ms_branch_pages + stat.ms_leaf_pages + stat.ms_overflow_pages) * stat.ms_psize;
}

static int try_change(MDB_env *env, size_t limit, store_change change, void *context)
{
    MDB_txn *transaction = nullptr;
    int rc = mdb_txn_begin(env, nullptr, 0, &transaction);
    if (rc != 0)
        return rc;
    const size_t used = pages_used(transaction);
    rc = change(transaction, context);
    if (rc == 0 && pages_used(transaction) > limit && pages_used(transaction) > used)
        rc = STORE_FULL;
    if (rc == 0)
        return mdb_txn_commit(transaction);
    mdb_txn_abort(transaction);
    return rc;
}

// LMDB's texts do not say what to do about these two.
static const char *write_fault(int rc)
{
    struct statvfs system = {};
    if (rc == MDB_MAP_FULL)
        return "the change is too large, or a process that reads the store is stopped";
    if (rc == EIO && statvfs(run_directory(), &system) == 0 && system.f_bavail == 0)
        return strerror(ENOSPC); // some of the change still fitted
    return mdb_strerror(rc);
}

// The limit on what is stored leaves the map room for changes, so it is full only while somebody still looks at old
// pages: a dead process until its place is cleared, a living one until it gets the processor again.
static int change_once_there_is_room(MDB_env *env, size_t limit, store_change change, void *context)
{
    static constexpr timespec PAUSE = {0, 5 * NS_A_MS};
    static constexpr int64_t PATIENCE_MS = 1000; // half of what other writers wait
    int rc = try_change(env, limit, change, context);
    for (const int64_t deadline = monotonic_ms() + PATIENCE_MS; rc == MDB_MAP_FULL && monotonic_ms() < deadline;) {
        int dead_readers = 0;
        mdb_reader_check(env, &dead_readers);
        rc = try_change(env, limit, change, context);
        if (rc == MDB_MAP_FULL)
            clock_nanosleep(CLOCK_MONOTONIC, 0, &PAUSE, nullptr);
    }
    return rc;
}

static int change_in(MDB_env *env, size_t limit, store_change change, void *context)
{
    if (!store_take(STORE_WRITE_LOCK))
        return STORE_BUSY;
    const int rc = change_once_there_is_room(env, limit, change, context);
    store_release(STORE_WRITE_LOCK);
    if (rc == STORE_FULL)
        store_line("full: it holds no more than %zu KiB", STORE_LIMIT / 1024);
    else if (rc != 0 && rc != MDB_NOTFOUND)
        store_line("cannot write: %s", write_fault(rc));
    return rc;
}

int store_change_by(store_change change, void *context)
{
    MDB_env *env = store_environment();
    return env == nullptr ? STORE_BUSY : change_in(env, STORE_LIMIT, change, context);
}

// What was committed once must fit again, though its pages may have been fuller then.
int store_change_in(MDB_env *env, store_change change, void *context)
{
    return change_in(env, SIZE_MAX, change, context);
}

int store_put(MDB_txn *transaction, const char *key, const char *value)
{
    MDB_val wanted = store_lmdb_value(key);
    MDB_val stored = store_lmdb_value(value);
    return mdb_put(transaction, STORE_DATABASE, &wanted, &stored, 0);
}
