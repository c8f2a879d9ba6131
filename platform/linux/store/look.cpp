// Whether the running store holds what is committed, known without comparing the two: the note says of which of the
// store's states that was true, and of which file (decision 0207).
#include <cstring>
#include <fcntl.h>
#include <lmdb.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/run_directory.h"
#include "platform/linux/store/admin.h"
#include "platform/linux/store/committed.h"
#include "platform/linux/store/state.h"

struct store_look {
    store_note note;
    uint64_t transaction; // the running store's last one; 0: not known
    bool is_noted;        // the committed file is the one of the note
};

static store_look seen;

// LMDB reads the number from the file's map, as for config_store_changes: it takes no lock, no place in the table of
// readers, and none of the memory that a writer needs.
static uint64_t last_transaction()
{
    MDB_env *env = nullptr;
    MDB_envinfo info = {};
    char path[RUN_PATH_MAX];
    run_path("config.mdb", path);
    if (mdb_env_create(&env) == 0 && mdb_env_open(env, path, MDB_NOSUBDIR | MDB_RDONLY | MDB_NOLOCK, 0) == 0)
        mdb_env_info(env, &info);
    mdb_env_close(env);
    return info.me_last_txnid;
}

static store_look look()
{
    store_look now = {};
    if (!store_read_note(&now.note) || now.note.made == 0)
        return {};
    now.is_noted = store_stands_as_noted(&now.note);
    if (now.is_noted)
        now.transaction = last_transaction();
    return now;
}

bool config_store_is_noted()
{
    seen = store_state_open() ? look() : store_look{};
    return seen.transaction != 0 && seen.transaction == seen.note.transaction;
}

// Whoever changes the note holds one of the two locks.
void config_store_note()
{
    if (seen.transaction == 0 || !store_state_open() || !store_try(STORE_OPEN_LOCK))
        return;
    if (store_try(STORE_COMMIT_LOCK)) {
        store_look now = look();
        if (now.transaction == seen.transaction && memcmp(&now.note, &seen.note, sizeof now.note) == 0) {
            now.note.transaction = now.transaction;
            store_write_note(&now.note);
        }
        store_release(STORE_COMMIT_LOCK);
    }
    store_release(STORE_OPEN_LOCK);
}
