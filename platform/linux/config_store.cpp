#include "platform/config_store.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "platform/linux/config_store_environment.h"
#include "platform/linux/config_store_state.h"
#include "platform/linux/deadline.h"
#include "platform/linux/run_directory.h"

// LMDB changes a page by writing it elsewhere, so the map needs room for the whole store a second time, and for what a
// reader still looks at. Both fit on a memory file system of a small router.
static constexpr size_t MAP_SIZE = 4UL * 1024 * 1024;
static constexpr size_t STORE_LIMIT = 1UL * 1024 * 1024;

// LMDB's own file of locks: a reader table of 126 places. Its memory is taken before LMDB maps it, since touching a map
// on a full file system is fatal.
static constexpr off_t LMDB_LOCK_FILE_SIZE = 8192;

static MDB_env *environment; // published with release order once it is open
static pthread_key_t reader_key;
static bool is_prepared; // reader_key and the fork handler are there
static thread_local MDB_txn *reader;
static uint32_t environments; // how many were opened: transactions are numbered in each

// ---- opening ----

// At the end of a thread its place in the reader table becomes free.
static void end_thread(void *transaction)
{
    mdb_txn_abort(static_cast<MDB_txn *>(transaction));
}

// LMDB's locks and reader places belong to the process that took them: the child opens an environment of its own.
static void forget_after_fork()
{
    environment = nullptr;
    reader = nullptr;
    pthread_setspecific(reader_key, nullptr);
    store_state_forget();
}

static bool prepare_once()
{
    if (!is_prepared)
        is_prepared = pthread_key_create(&reader_key, end_thread) == 0 &&
                      pthread_atfork(nullptr, nullptr, forget_after_fork) == 0;
    if (!is_prepared)
        store_line("cannot be opened: the process has no room for its keys");
    return is_prepared;
}

static int reserve_lock_file(const char *path)
{
    char lock_path[STORE_PATH_MAX];
    if (snprintf(lock_path, sizeof lock_path, "%s-lock", path) >= static_cast<int>(sizeof lock_path))
        return ENAMETOOLONG;
    const int fd = open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
        return errno;
    const int rc = posix_fallocate(fd, 0, LMDB_LOCK_FILE_SIZE);
    close(fd);
    return rc;
}

static int open_database(MDB_env *env)
{
    MDB_txn *transaction = nullptr;
    MDB_dbi database = 0;
    int rc = mdb_txn_begin(env, nullptr, MDB_RDONLY, &transaction);
    if (rc == 0)
        rc = mdb_dbi_open(transaction, nullptr, 0, &database);
    mdb_txn_abort(transaction);
    return rc;
}

static int open_files(MDB_env *env, const char *path)
{
    int rc = reserve_lock_file(path);
    if (rc == 0)
        rc = mdb_env_set_mapsize(env, MAP_SIZE);
    if (rc == 0) // nothing here outlives the machine, so nothing is synced
        rc = mdb_env_open(env, path, MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOTLS, 0600);
    int fd = -1;
    if (rc == 0)
        rc = mdb_env_get_fd(env, &fd);
    if (rc == 0)
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    int dead_readers = 0;
    if (rc == 0)
        rc = mdb_reader_check(env, &dead_readers);
    return rc == 0 ? open_database(env) : rc;
}

static MDB_env *open_environment()
{
    char path[STORE_PATH_MAX];
    snprintf(path, sizeof path, "%s/config.mdb", run_directory());
    MDB_env *env = nullptr;
    int rc = mdb_env_create(&env);
    if (rc == 0)
        rc = open_files(env, path);
    if (rc == 0) {
        store_fill(env);
        return env;
    }
    store_line("cannot open %s: %s", path, mdb_strerror(rc));
    mdb_env_close(env);
    return nullptr;
}

MDB_env *store_environment()
{
    MDB_env *env = __atomic_load_n(&environment, __ATOMIC_ACQUIRE);
    if (env != nullptr)
        return env;
    if (!store_state_open() || !store_take(STORE_OPEN_LOCK))
        return nullptr;
    env = environment;
    if (env == nullptr && prepare_once()) {
        env = open_environment();
        __atomic_add_fetch(&environments, 1, __ATOMIC_RELAXED);
        __atomic_store_n(&environment, env, __ATOMIC_RELEASE);
    }
    store_release(STORE_OPEN_LOCK);
    return env;
}

bool config_store_open()
{
    return store_environment() != nullptr;
}

void config_store_close()
{
    if (environment == nullptr)
        return;
    mdb_txn_abort(reader);
    reader = nullptr;
    pthread_setspecific(reader_key, nullptr);
    mdb_env_close(environment);
    environment = nullptr;
    store_state_close();
}

// ---- reading ----

static int begin_reader(MDB_env *env)
{
    MDB_txn *transaction = nullptr;
    int rc = mdb_txn_begin(env, nullptr, MDB_RDONLY, &transaction);
    int dead_readers = 0;
    if (rc == MDB_READERS_FULL && mdb_reader_check(env, &dead_readers) == 0)
        rc = mdb_txn_begin(env, nullptr, MDB_RDONLY, &transaction);
    if (rc == 0) {
        reader = transaction;
        pthread_setspecific(reader_key, transaction);
    }
    return rc;
}

// LMDB's own lock on the reader table has no deadline, so ours is taken first.
static MDB_txn *begin_first_read()
{
    MDB_env *env = store_environment();
    if (env == nullptr || !store_take(STORE_OPEN_LOCK))
        return nullptr;
    const int rc = begin_reader(env);
    store_release(STORE_OPEN_LOCK);
    if (rc == 0)
        return reader;
    store_line("cannot read: %s", mdb_strerror(rc));
    return nullptr;
}

MDB_txn *store_begin_read()
{
    if (reader == nullptr)
        return begin_first_read();
    const int rc = mdb_txn_renew(reader);
    if (rc == 0)
        return reader;
    store_line("cannot read: %s", mdb_strerror(rc));
    return nullptr;
}

void store_end_read(MDB_txn *transaction)
{
    mdb_txn_reset(transaction);
}

// LMDB takes its keys as changeable, and does not change them.
static MDB_val as_lmdb_value(const char *text)
{
    return {strlen(text), const_cast<char *>(text)};
}

// What was read lately. It holds as long as LMDB's transaction number stands still, which is asked without a lock.
struct remembered_value {
    bool is_fresh; // read from the snapshot that the memory is labelled with
    bool is_found;
    uint8_t key_length;
    uint8_t length;
    char text[60]; // the key, and behind it the value
};

constexpr size_t REMEMBERED = 48; // an idle tick reads ten keys, with a wireless uplink twice as many

struct value_memory {
    uint64_t transaction;
    uint32_t environment;
    uint32_t count;
    uint32_t last;             // the place that was asked for last
    uint8_t after[REMEMBERED]; // the place that was asked for after each: a tick asks as the tick before
    uint8_t marks[REMEMBERED]; // of the keys: what stands together is looked at first, the keys lie further apart
    remembered_value values[REMEMBERED];
};

static thread_local value_memory memory;

static uint64_t latest_transaction(MDB_env *env)
{
    MDB_envinfo info;
    mdb_env_info(env, &info);
    return info.me_last_txnid;
}

static bool memory_holds()
{
    MDB_env *const env = __atomic_load_n(&environment, __ATOMIC_ACQUIRE);
    return env != nullptr && memory.environment == __atomic_load_n(&environments, __ATOMIC_RELAXED) &&
           memory.transaction == latest_transaction(env);
}

static uint8_t mark_of(const MDB_val *key)
{
    const auto *const bytes = static_cast<const uint8_t *>(key->mv_data);
    const auto length = static_cast<uint32_t>(key->mv_size);
    return static_cast<uint8_t>(length == 0 ? 0 : length + 3U * bytes[length - 1] + 5U * bytes[length / 2]);
}

// Null: there is none.
static remembered_value *place_of(const MDB_val *key)
{
    const uint8_t mark = mark_of(key);
    uint8_t place = memory.after[memory.last];
    for (uint32_t left = memory.count; left > 0; left--, place++) {
        if (place >= memory.count)
            place = 0;
        remembered_value *const kept = memory.values + place;
        if (memory.marks[place] == mark && kept->key_length == key->mv_size &&
            memcmp(kept->text, key->mv_data, key->mv_size) == 0) {
            memory.after[memory.last] = place;
            memory.last = place;
            return kept;
        }
    }
    return nullptr;
}

static void label_memory(uint64_t transaction)
{
    const uint32_t current = __atomic_load_n(&environments, __ATOMIC_RELAXED);
    if (memory.transaction == transaction && memory.environment == current)
        return;
    for (uint32_t i = 0; i < memory.count; i++)
        memory.values[i].is_fresh = false;
    memory.transaction = transaction;
    memory.environment = current;
}

static remembered_value *new_place(const MDB_val *key)
{
    if (memory.count == REMEMBERED)
        memory.count = 0;
    const uint32_t place = memory.count++;
    memory.after[memory.last] = static_cast<uint8_t>(place);
    memory.last = place;
    memory.marks[place] = mark_of(key);
    remembered_value *const kept = memory.values + place;
    memcpy(kept->text, key->mv_data, key->mv_size);
    kept->key_length = static_cast<uint8_t>(key->mv_size);
    return kept;
}

// `kept` is null for a key that has no place yet.
static void remember(MDB_txn *transaction, const MDB_val *key, remembered_value *kept, const MDB_val *found,
                     bool is_found)
{
    const size_t length = is_found ? found->mv_size : 0;
    if (key->mv_size + length > sizeof kept->text)
        return;
    label_memory(mdb_txn_id(transaction));
    if (kept == nullptr)
        kept = new_place(key);
    memcpy(kept->text + kept->key_length, found->mv_data, length);
    kept->length = static_cast<uint8_t>(length);
    kept->is_found = is_found;
    kept->is_fresh = true;
}

static void copy_value(char *value, size_t size, const void *stored, size_t stored_length)
{
    const size_t length = stored_length < size ? stored_length : size - 1;
    memcpy(value, stored, length);
    value[length] = '\0';
}

static bool read_value(MDB_val *key, remembered_value *kept, char *value, size_t size)
{
    MDB_txn *transaction = store_begin_read();
    if (transaction == nullptr)
        return false;
    MDB_val found = {0, value}; // stays so for a missing key
    const int rc = mdb_get(transaction, STORE_DATABASE, key, &found);
    if (rc == 0)
        copy_value(value, size, found.mv_data, found.mv_size);
    if (rc == 0 || rc == MDB_NOTFOUND)
        remember(transaction, key, kept, &found, rc == 0);
    store_end_read(transaction);
    return rc == 0;
}

int GetValue(const char *key, char *value, size_t size)
{
    value[0] = '\0';
    MDB_val wanted = as_lmdb_value(key);
    remembered_value *const kept = place_of(&wanted);
    if (kept == nullptr || !kept->is_fresh || !memory_holds())
        return read_value(&wanted, kept, value, size) ? 1 : 0;
    copy_value(value, size, kept->text + kept->key_length, kept->length);
    return kept->is_found ? 1 : 0;
}

static bool holds(const char *key, const char *value)
{
    MDB_txn *transaction = store_begin_read();
    if (transaction == nullptr)
        return false;
    MDB_val wanted = as_lmdb_value(key);
    const MDB_val expected = as_lmdb_value(value);
    MDB_val found;
    const bool same = mdb_get(transaction, STORE_DATABASE, &wanted, &found) == 0 && found.mv_size == expected.mv_size &&
                      memcmp(found.mv_data, value, found.mv_size) == 0;
    store_end_read(transaction);
    return same;
}

// ---- writing ----

static size_t pages_used(MDB_txn *transaction)
{
    MDB_stat stat = {};
    mdb_stat(transaction, STORE_DATABASE, &stat);
    return (stat.ms_branch_pages + stat.ms_leaf_pages + stat.ms_overflow_pages) * stat.ms_psize;
}

static int try_change(MDB_env *env, store_change change, void *context)
{
    MDB_txn *transaction = nullptr;
    int rc = mdb_txn_begin(env, nullptr, 0, &transaction);
    if (rc != 0)
        return rc;
    const size_t used = pages_used(transaction);
    rc = change(transaction, context);
    if (rc == 0 && pages_used(transaction) > STORE_LIMIT && pages_used(transaction) > used)
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
static int change_once_there_is_room(MDB_env *env, store_change change, void *context)
{
    static constexpr timespec PAUSE = {0, 5 * NS_A_MS};
    static constexpr int64_t PATIENCE_MS = 1000; // half of what other writers wait
    int rc = try_change(env, change, context);
    for (const int64_t deadline = monotonic_ms() + PATIENCE_MS; rc == MDB_MAP_FULL && monotonic_ms() < deadline;) {
        int dead_readers = 0;
        mdb_reader_check(env, &dead_readers);
        rc = try_change(env, change, context);
        if (rc == MDB_MAP_FULL)
            nanosleep(&PAUSE, nullptr);
    }
    return rc;
}

int store_change_in(MDB_env *env, store_change change, void *context)
{
    if (!store_take(STORE_WRITE_LOCK))
        return STORE_BUSY;
    const int rc = change_once_there_is_room(env, change, context);
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
    return env == nullptr ? STORE_BUSY : store_change_in(env, change, context);
}

struct setting {
    const char *key;
    const char *value;
};

int store_put(MDB_txn *transaction, const char *key, const char *value)
{
    MDB_val wanted = as_lmdb_value(key);
    MDB_val stored = as_lmdb_value(value);
    return mdb_put(transaction, STORE_DATABASE, &wanted, &stored, 0);
}

static int put_setting(MDB_txn *transaction, void *context)
{
    const auto *wanted = static_cast<const setting *>(context);
    return store_put(transaction, wanted->key, wanted->value);
}

int SetValue(const char *key, const char *value)
{
    const char *fault = store_key_fault(key);
    if (fault == nullptr)
        fault = store_value_fault(value);
    if (fault != nullptr) {
        store_line("'%.80s' is not set: %s", key, fault);
        return 0;
    }
    if (holds(key, value))
        return 1;
    setting wanted = {key, value};
    const int rc = store_change_by(put_setting, &wanted);
    if (rc != 0)
        store_line("'%.80s' is not set", key);
    return rc == 0 ? 1 : 0;
}

static int delete_key(MDB_txn *transaction, void *context)
{
    MDB_val key = as_lmdb_value(static_cast<const char *>(context));
    return mdb_del(transaction, STORE_DATABASE, &key, nullptr);
}

int config_store_unset(const char *key)
{
    if (store_key_fault(key) != nullptr)
        return 0;
    const int rc = store_change_by(delete_key, const_cast<char *>(key));
    if (rc == 0)
        return 1;
    return rc == MDB_NOTFOUND ? 0 : -1;
}
