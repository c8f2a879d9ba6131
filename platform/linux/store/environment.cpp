// The running store's files: opening them, making them anew when they cannot be used, and noticing that they were
// replaced.
#include "platform/linux/store/environment.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/run_directory.h"
#include "platform/linux/store/admin.h"
#include "platform/linux/store/committed.h"
#include "platform/linux/store/state.h"
#include "platform/system.h"

// LMDB changes a page by writing it elsewhere, so the map needs room for the whole store a second time, and for what a
// reader still looks at. Both fit on a memory file system of a small router (decision 0012).
static constexpr size_t MAP_SIZE = 4UL * 1024 * 1024;

// LMDB's own file of locks: a reader table of 126 places. Its memory is taken before LMDB maps it, since touching a map
// on a full file system is fatal.
static constexpr off_t LMDB_LOCK_FILE_SIZE = 8192;

static constexpr char DATA[] = "config.mdb";
static constexpr char DATA_LOCK[] = "config.mdb-lock"; // LMDB's name for it
static constexpr char ASIDE[] = "config.mdb.damaged";  // for people to look at

// The environment, and those before it that a thread has not left: one that reads nothing any more stays in its own for
// ever. The daemon has two threads, so there is always a free place.
constexpr int PLACES = 4;
static store_opened environments[PLACES];
static uint32_t opened_so_far;
store_opened *store_current; // published with release order
constinit thread_local store_thread store_here = {};

static pthread_key_t thread_key;
static bool is_prepared; // thread_key and the fork handler are there

// ---- the threads in an environment ----

// By whoever is the last: a thread that leaves it, or the one that opened another.
static void let_go(store_opened *opened)
{
    if (__atomic_sub_fetch(&opened->users, 1, __ATOMIC_ACQ_REL) != 0)
        return;
    mdb_env_close(opened->env);
    __atomic_store_n(&opened->env, nullptr, __ATOMIC_RELEASE);
}

static void leave()
{
    store_opened *const left = store_here.opened;
    if (left == nullptr)
        return;
    mdb_txn_abort(store_here.reader);
    store_here = {};
    pthread_setspecific(thread_key, nullptr);
    let_go(left);
}

// At the end of a thread its place in the reader table becomes free.
static void end_thread(void * /*opened*/)
{
    leave();
}

// Takes this thread a place in the current environment's reader table, behind STORE_OPEN_LOCK: LMDB's own lock on the
// table has no deadline.
static bool join()
{
    store_opened *const current = store_current;
    MDB_txn *transaction = nullptr;
    int rc = mdb_txn_begin(current->env, nullptr, MDB_RDONLY, &transaction);
    int dead_readers = 0;
    if (rc == MDB_READERS_FULL && mdb_reader_check(current->env, &dead_readers) == 0)
        rc = mdb_txn_begin(current->env, nullptr, MDB_RDONLY, &transaction);
    if (rc != 0) {
        store_line("cannot read: %s", mdb_strerror(rc));
        return false;
    }
    mdb_txn_reset(transaction);
    store_here = {current, transaction};
    pthread_setspecific(thread_key, current);
    __atomic_add_fetch(&current->users, 1, __ATOMIC_RELAXED); // it is current as long as the lock is held
    return true;
}

// LMDB's locks and reader places belong to the process that took them: the child opens an environment of its own.
static void forget_after_fork()
{
    memset(environments, 0, sizeof environments);
    store_current = nullptr;
    store_here = {};
    pthread_setspecific(thread_key, nullptr);
    store_state_forget();
}

static bool prepare_once()
{
    if (!is_prepared)
        is_prepared = pthread_key_create(&thread_key, end_thread) == 0 &&
                      pthread_atfork(nullptr, nullptr, forget_after_fork) == 0;
    if (!is_prepared)
        store_line("cannot be opened: the process has no room for its keys");
    return is_prepared;
}

// ---- opening ----

static int reserve_lock_file()
{
    char path[RUN_PATH_MAX];
    run_path(DATA_LOCK, path);
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
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

static int open_files(MDB_env *env, unsigned flags)
{
    char path[RUN_PATH_MAX];
    run_path(DATA, path);
    int rc = (flags & MDB_RDONLY) != 0 ? 0 : reserve_lock_file();
    if (rc == 0)
        rc = mdb_env_set_mapsize(env, MAP_SIZE);
    if (rc == 0) // nothing here outlives the machine, so nothing is synced
        rc = mdb_env_open(env, path, MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOTLS | flags, 0600);
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

static int try_open(MDB_env **env, unsigned flags)
{
    int rc = mdb_env_create(env);
    if (rc == 0)
        rc = open_files(*env, flags);
    if (rc != 0) {
        mdb_env_close(*env);
        *env = nullptr;
    }
    return rc;
}

static void remove_file(const char *name)
{
    char path[RUN_PATH_MAX];
    run_path(name, path);
    unlink(path);
}

// A store that cannot be used makes way for a new one. First the note and the file of locks, so that whoever comes
// after a process that died in here does the rest of it (decision 0113). 0, or an errno.
static int set_aside(const char *why)
{
    const store_note nothing = {};
    char from[RUN_PATH_MAX];
    char to[RUN_PATH_MAX];
    run_path(DATA, from);
    run_path(ASIDE, to);
    if (!store_write_note(&nothing))
        return EIO;
    remove_file(DATA_LOCK);
    if (rename(from, to) != 0)
        return errno == ENOENT ? 0 : errno;
    store_line("%s cannot be used (%s): it is %s now and made anew", from, why, ASIDE);
    return 0;
}

// What could not be made or filled is of no use to anybody: the next attempt begins without it.
static void remove_unmade()
{
    store_note note;
    if (!store_read_note(&note) || note.made != 0)
        return;
    remove_file(DATA_LOCK);
    remove_file(DATA);
}

// LMDB's files that were not made and filled beside the file of locks make way. 0, or an errno.
static int make_way()
{
    store_note note;
    char path[RUN_PATH_MAX];
    run_path(DATA_LOCK, path);
    if (!store_read_note(&note))
        return EIO;
    return note.made != 0 && is_there(path) ? 0 : set_aside("not whole");
}

static bool is_damage(int rc)
{
    return rc == MDB_INVALID || rc == MDB_VERSION_MISMATCH || rc == MDB_CORRUPTED;
}

// With all of its memory: nobody died while he made it.
static bool is_lock_file_whole(const char *path)
{
    static constexpr off_t BLOCK = 512; // what stat counts in
    struct stat found = {};
    return lstat(path, &found) == 0 && S_ISREG(found.st_mode) && found.st_size >= LMDB_LOCK_FILE_SIZE &&
           found.st_blocks * BLOCK >= LMDB_LOCK_FILE_SIZE;
}

// A store that is whole and holds something need not be made ready for changes, which is a third of the opening
// (decision 0232). Null: it is not, or there is none.
static MDB_env *open_to_read()
{
    MDB_env *env = nullptr;
    MDB_envinfo info = {};
    store_note note;
    char path[RUN_PATH_MAX];
    run_path(DATA_LOCK, path);
    if (!store_read_note(&note) || note.made == 0 || !is_lock_file_whole(path) || try_open(&env, MDB_RDONLY) != 0)
        return nullptr;
    mdb_env_info(env, &info);
    if (info.me_last_txnid != 0)
        return env;
    mdb_env_close(env);
    return nullptr;
}

static MDB_env *open_environment()
{
    MDB_env *env = nullptr;
    int rc = make_way();
    if (rc == 0)
        rc = try_open(&env, 0);
    if (is_damage(rc)) {
        rc = set_aside(mdb_strerror(rc));
        if (rc == 0)
            rc = try_open(&env, 0);
    }
    if (rc != 0)
        store_line("cannot open %s/%s: %s", run_directory(), DATA, mdb_strerror(rc));
    else if (store_fill(env))
        return env;
    mdb_env_close(env);
    remove_unmade();
    return nullptr;
}

static store_opened *free_place()
{
    store_opened *place = environments;
    while (place < environments + PLACES && __atomic_load_n(&place->env, __ATOMIC_ACQUIRE) != nullptr)
        place++;
    return place < environments + PLACES ? place : nullptr;
}

static bool open_current(MDB_env *(*opens)())
{
    store_opened *const place = free_place();
    MDB_env *const env = place != nullptr && prepare_once() ? opens() : nullptr;
    if (env == nullptr)
        return false;
    store_opened *const before = store_current;
    *place = {env, ++opened_so_far, 1}; // being current counts as a user
    __atomic_store_n(&store_current, place, __ATOMIC_RELEASE);
    if (before != nullptr)
        let_go(before);
    return true;
}

static MDB_env *enter()
{
    if (!store_state_open() || !store_take(STORE_OPEN_LOCK))
        return nullptr;
    leave();
    const bool is_in = (store_current != nullptr || open_current(open_environment)) && join();
    store_release(STORE_OPEN_LOCK);
    return is_in ? store_here.opened->env : nullptr;
}

MDB_env *store_environment()
{
    const store_opened *const opened = store_here.opened;
    if (opened != nullptr && opened == __atomic_load_n(&store_current, __ATOMIC_ACQUIRE))
        return opened->env;
    return enter();
}

bool config_store_open()
{
    return store_environment() != nullptr;
}

bool config_store_open_to_read()
{
    if (store_current == nullptr) {
        if (!store_state_open() || !store_take(STORE_OPEN_LOCK))
            return false;
        if (open_current(open_to_read))
            join();
        store_release(STORE_OPEN_LOCK);
    }
    return config_store_open(); // as by anybody, when that did not open it
}

void config_store_wait()
{
    while (!config_store_open()) {
        store_line("waiting until it can be opened"); // once a minute, as the line that says why
        system_sleep(1);
    }
}

void config_store_close()
{
    leave();
    store_current = nullptr;
    for (store_opened &opened : environments) {
        mdb_env_close(opened.env);
        opened = {};
    }
    store_state_close();
}

void config_store_leave()
{
    leave();
}

// ---- what people's tools ask ----

bool config_store_is_there()
{
    char path[RUN_PATH_MAX];
    run_path(DATA, path);
    return is_there(path);
}

unsigned long long config_store_changes()
{
    MDB_env *const env = store_environment();
    MDB_envinfo info = {};
    if (env != nullptr)
        mdb_env_info(env, &info);
    return info.me_last_txnid;
}

// ---- reading ----

MDB_txn *store_begin_read()
{
    if (store_environment() == nullptr)
        return nullptr;
    const int rc = mdb_txn_renew(store_here.reader);
    if (rc == 0)
        return store_here.reader;
    store_line("cannot read: %s", mdb_strerror(rc));
    return nullptr;
}

void store_end_read(MDB_txn *transaction)
{
    mdb_txn_reset(transaction);
}

// ---- files that were replaced ----

static bool stands(const store_opened *opened)
{
    char path[RUN_PATH_MAX];
    run_path(DATA, path);
    int fd = -1;
    mdb_env_get_fd(opened->env, &fd);
    return store_state_stands() && still_stands(fd, path);
}

// A thread that is still in the old environment leaves it at its next read; it is closed by the last one.
static void open_anew()
{
    if (!store_take(STORE_OPEN_LOCK))
        return;
    if (make_way() == 0 && !stands(store_current))
        open_current(open_environment);
    store_release(STORE_OPEN_LOCK);
}

bool config_store_look()
{
    if (store_current == nullptr || stands(store_current))
        return true;
    store_line("the files in %s were replaced: it is opened anew, what was not committed is lost", run_directory());
    if (store_state_renew())
        open_anew();
    return false;
}
