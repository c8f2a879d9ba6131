// What the store's calls cost, each beside LMDB doing the same by itself in the same program, on the same kind of file
// system and with as many keys.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

#include <benchmark/benchmark.h>
#include <lmdb.h>

#include "platform/config_store.h"
#include "platform/linux/config_store_admin.h"

namespace
{

constexpr int KEYS = 500; // about what a router has
constexpr const char *KEY = "wl2g.public.key250";

std::string key_of(int number)
{
    return "wl2g.public.key" + std::to_string(number);
}

// A folder in memory, gone with the program.
class Folder
{
public:
    Folder()
    {
        std::string name = "/dev/shm/store_bench_XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        path = name;
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::filesystem::path path;
};

void check(int result)
{
    if (result == 0)
        return;
    std::fprintf(stderr, "LMDB: %s\n", mdb_strerror(result));
    std::abort();
}

MDB_val lmdb_value(const std::string &text)
{
    return {text.size(), const_cast<char *>(text.data())};
}

void put(MDB_env *env, const std::string &key, const std::string &value)
{
    MDB_txn *transaction = nullptr;
    MDB_val key_value = lmdb_value(key);
    MDB_val stored = lmdb_value(value);
    check(mdb_txn_begin(env, nullptr, 0, &transaction));
    check(mdb_put(transaction, 1, &key_value, &stored, 0));
    check(mdb_txn_commit(transaction));
}

// LMDB by itself, opened as the store opens it.
MDB_env *raw()
{
    static Folder folder;
    static MDB_env *env = [] {
        MDB_env *opened = nullptr;
        MDB_txn *transaction = nullptr;
        MDB_dbi database = 0;
        check(mdb_env_create(&opened));
        check(mdb_env_set_mapsize(opened, 4UL * 1024 * 1024));
        check(mdb_env_open(opened, (folder.path / "raw.mdb").c_str(), MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOTLS, 0600));
        check(mdb_txn_begin(opened, nullptr, 0, &transaction));
        check(mdb_dbi_open(transaction, nullptr, 0, &database));
        check(mdb_txn_commit(transaction));
        for (int i = 0; i < KEYS; i++)
            put(opened, key_of(i), "some value " + std::to_string(i));
        return opened;
    }();
    return env;
}

void open_store()
{
    static Folder folder;
    static const bool opened = [] {
        setenv("TIME_CHECK_RUN_DIR", (folder.path / "run").c_str(), 1);
        setenv("TIME_CHECK_CONF_DIR", (folder.path / "conf").c_str(), 1);
        for (int i = 0; i < KEYS; i++)
            check(SetValue(key_of(i).c_str(), ("some value " + std::to_string(i)).c_str()) - 1);
        return true;
    }();
    benchmark::DoNotOptimize(opened);
}

// ---- reading ----

void get_value(benchmark::State &state)
{
    open_store();
    char value[64];
    for (auto pass : state) {
        benchmark::DoNotOptimize(GetValue(KEY, value));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(get_value);

void get_missing_value(benchmark::State &state)
{
    open_store();
    char value[64];
    for (auto pass : state)
        benchmark::DoNotOptimize(GetValue("wl2g.public.none", value));
}
BENCHMARK(get_missing_value);

// A read that sees what others wrote: a snapshot of its own, renewed; the value copied out.
void lmdb_read(benchmark::State &state)
{
    MDB_txn *transaction = nullptr;
    check(mdb_txn_begin(raw(), nullptr, MDB_RDONLY, &transaction));
    mdb_txn_reset(transaction);
    char value[64];
    MDB_val key = {strlen(KEY), const_cast<char *>(KEY)};
    for (auto pass : state) {
        MDB_val found;
        check(mdb_txn_renew(transaction));
        check(mdb_get(transaction, 1, &key, &found));
        memcpy(value, found.mv_data, found.mv_size);
        value[found.mv_size] = '\0';
        mdb_txn_reset(transaction);
        benchmark::ClobberMemory();
    }
    mdb_txn_abort(transaction);
}
BENCHMARK(lmdb_read);

// ---- writing ----

void set_value(benchmark::State &state)
{
    open_store();
    const char *const values[] = {"some value", "another one"};
    size_t pass_number = 0;
    for (auto pass : state)
        check(SetValue(KEY, values[pass_number++ % 2]) - 1);
}
BENCHMARK(set_value);

void set_same_value(benchmark::State &state)
{
    open_store();
    check(SetValue(KEY, "some value") - 1);
    for (auto pass : state)
        check(SetValue(KEY, "some value") - 1);
}
BENCHMARK(set_same_value);

void lmdb_write(benchmark::State &state)
{
    MDB_env *env = raw();
    const std::string values[] = {"some value", "another one"};
    const std::string key = KEY;
    size_t pass_number = 0;
    for (auto pass : state)
        put(env, key, values[pass_number++ % 2]);
}
BENCHMARK(lmdb_write);

// ---- committing ----

void commit(benchmark::State &state)
{
    open_store();
    const char *const values[] = {"some value", "another one"};
    size_t pass_number = 0;
    for (auto pass : state) {
        state.PauseTiming();
        check(SetValue(KEY, values[pass_number++ % 2]) - 1);
        state.ResumeTiming();
        check(CommitCfm() - 1);
    }
}
BENCHMARK(commit);

void commit_without_a_change(benchmark::State &state)
{
    open_store();
    check(CommitCfm() - 1);
    for (auto pass : state)
        check(CommitCfm() - 1);
}
BENCHMARK(commit_without_a_change);

// What LMDB has to offer in place of a text: a copy of the whole environment, synced.
void lmdb_copy(benchmark::State &state)
{
    MDB_env *env = raw();
    const Folder folder;
    const std::string path = folder.path / "copy.mdb";
    for (auto pass : state) {
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        check(mdb_env_copyfd(env, fd));
        fsync(fd);
        close(fd);
    }
}
BENCHMARK(lmdb_copy);

} // namespace
