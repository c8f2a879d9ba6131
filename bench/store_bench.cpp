// What the store's calls cost, in turn with LMDB doing the same by itself in the same program, on the same kind of file
// system and with as many keys.
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include <lmdb.h>

#include "bench/alternate.h"
#include "platform/config_store.h"
#include "platform/linux/store/admin.h"

namespace
{

constexpr int KEYS = 500;      // about what a router has
constexpr int TICK_READS = 40; // keys that a tick asks for

const std::string KEY = "wl2g.public.key250";
const std::string MISSING_KEY = "wl2g.public.none";
const std::string OTHER_KEY = "wl2g.public.key499"; // beyond those of a tick

std::string key_of(int number)
{
    return "wl2g.public.key" + std::to_string(number);
}

// A folder that is gone with the program.
class Folder
{
public:
    explicit Folder(const std::filesystem::path &place)
    {
        std::string name = place / "store_bench_XXXXXX";
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
    Folder(Folder &&) = delete;
    Folder &operator=(Folder &&) = delete;

    std::filesystem::path path;
};

void check(bool good)
{
    if (!good)
        std::abort();
}

// ---- LMDB by itself ----

MDB_env *raw;
MDB_txn *reader;

void put(const std::string &key, const std::string &value)
{
    MDB_txn *transaction = nullptr;
    MDB_val key_value = {key.size(), const_cast<char *>(key.data())};  // NOLINT(*-const-cast): the library's signature
    MDB_val stored = {value.size(), const_cast<char *>(value.data())}; // NOLINT(*-const-cast)
    check(mdb_txn_begin(raw, nullptr, 0, &transaction) == 0);
    check(mdb_put(transaction, 1, &key_value, &stored, 0) == 0);
    check(mdb_txn_commit(transaction) == 0);
}

// Opened as the store opens it.
void open_raw(const Folder &folder)
{
    MDB_txn *transaction = nullptr;
    MDB_dbi database = 0;
    check(mdb_env_create(&raw) == 0);
    check(mdb_env_set_mapsize(raw, 4UL * 1024 * 1024) == 0);
    check(mdb_env_open(raw, (folder.path / "raw.mdb").c_str(), MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOTLS, 0600) == 0);
    check(mdb_txn_begin(raw, nullptr, 0, &transaction) == 0);
    check(mdb_dbi_open(transaction, nullptr, 0, &database) == 0);
    check(mdb_txn_commit(transaction) == 0);
    for (int i = 0; i < KEYS; i++)
        put(key_of(i), "some value " + std::to_string(i));
    check(mdb_txn_begin(raw, nullptr, MDB_RDONLY, &reader) == 0);
    mdb_txn_reset(reader);
}

// A read that sees what others wrote: a snapshot of its own, renewed; the value copied out.
void get_raw(const std::string &key)
{
    char value[64] = "";
    MDB_val asked = {key.size(), const_cast<char *>(key.data())}; // NOLINT(*-const-cast)
    MDB_val found;
    check(mdb_txn_renew(reader) == 0);
    if (mdb_get(reader, 1, &asked, &found) == 0) {
        memcpy(value, found.mv_data, found.mv_size);
        value[found.mv_size] = '\0';
    }
    mdb_txn_reset(reader);
    asm volatile("" : : "r"(value) : "memory");
}

// A copy of the whole environment, synced: what LMDB has to offer in place of a text.
void copy_raw(const std::string &path)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    check(fd >= 0 && mdb_env_copyfd(raw, fd) == 0 && fsync(fd) == 0);
    close(fd);
}

// ---- the store ----

void get(const std::string &key)
{
    char value[64];
    GetValue(key.c_str(), value);
    asm volatile("" : : "r"(value) : "memory");
}

void open_store(const Folder &folder)
{
    setenv("TIME_CHECK_RUN_DIR", (folder.path / "run").c_str(), 1);   // NOLINT(concurrency-mt-unsafe)
    setenv("TIME_CHECK_CONF_DIR", (folder.path / "conf").c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    for (int i = 0; i < KEYS; i++)
        check(SetValue(key_of(i).c_str(), ("some value " + std::to_string(i)).c_str()) == 1);
}

// Another value at each call.
const char *next_value()
{
    static bool odd;
    odd = !odd;
    return odd ? "some value" : "another one";
}

void set(const std::string &key, const char *value)
{
    check(SetValue(key.c_str(), value) == 1);
}

void commit()
{
    check(CommitCfm() != 0);
}

bool append(void *text, const char *piece, size_t length)
{
    static_cast<std::string *>(text)->append(piece, length);
    return true;
}

// The least that leaves the old contents or the new ones after a power cut: a new file in one write, synced, which
// takes the name of the old one, and its folder synced.
void replace_bare(const std::filesystem::path &folder, const std::string &contents)
{
    const std::string beside = folder / "bare.new";
    const int dir = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int fd = open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    check(dir >= 0 && fd >= 0);
    check(write(fd, contents.data(), contents.size()) == static_cast<ssize_t>(contents.size()));
    check(fsync(fd) == 0);
    close(fd);
    check(rename(beside.c_str(), (folder / "bare").c_str()) == 0 && fsync(dir) == 0);
    close(dir);
}

// ---- what is compared ----

void reads()
{
    static std::vector<std::string> keys;
    keys.reserve(TICK_READS);
    for (int i = 0; i < TICK_READS; i++)
        keys.push_back(key_of(i * 10));
    const auto each = [](void (*call)(const std::string &)) {
        return [call] {
            for (const std::string &key : keys)
                call(key);
        };
    };
    bench::alternate("GetValue while nothing changed", {"GetValue", [] { get(KEY); }, {}},
                     {"LMDB get, own snapshot", [] { get_raw(KEY); }, {}}, {15, 40, 1000});
    bench::alternate("GetValue of a missing key", {"GetValue", [] { get(MISSING_KEY); }, {}},
                     {"LMDB get, own snapshot", [] { get_raw(MISSING_KEY); }, {}}, {15, 40, 1000});
    bench::alternate("40 GetValue after a change", {"GetValue", each(get), [] { set(OTHER_KEY, next_value()); }},
                     {"LMDB get, own snapshot", each(get_raw), [] { put(OTHER_KEY, next_value()); }}, {15, 500, 1});
}

void writes(const std::string &copy)
{
    bench::alternate("SetValue", {"SetValue", [] { set(KEY, next_value()); }, {}},
                     {"LMDB put and commit", [] { put(KEY, next_value()); }, {}}, {15, 40, 50});
    bench::alternate("SetValue of what is there", {"SetValue", [] { set(OTHER_KEY, "the same"); }, {}},
                     {"LMDB put and commit", [] { put(OTHER_KEY, "the same"); }, {}}, {15, 40, 50});
    bench::alternate("CommitCfm", {"CommitCfm", commit, [] { set(KEY, next_value()); }},
                     {"LMDB copy of the environment", [&] { copy_raw(copy); }, {}}, {15, 40, 1});
    bench::alternate("CommitCfm of nothing new", {"CommitCfm", commit, {}},
                     {"LMDB copy of the environment", [&] { copy_raw(copy); }, {}}, {15, 40, 1});
}

// Where syncs cost what they cost, next to the program, and in memory, where the rest is seen.
void commits_in(const char *what, const std::filesystem::path &place)
{
    const Folder folder(place);
    std::string contents;
    setenv("TIME_CHECK_CONF_DIR", folder.path.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    check(config_store_export(append, &contents));
    bench::alternate(what, {"CommitCfm", commit, [] { set(KEY, next_value()); }},
                     {"one write and two syncs", [&] { replace_bare(folder.path, contents); }, {}}, {15, 40, 1});
}

} // namespace

int main()
{
    const std::filesystem::path memory = "/dev/shm";
    const Folder folder(memory);
    open_raw(folder);
    open_store(folder);
    reads();
    writes(folder.path / "copy.mdb");
    commits_in("commit on the disk", std::filesystem::read_symlink("/proc/self/exe").parent_path());
    commits_in("commit in memory", memory);
    mdb_txn_abort(reader);
    mdb_env_close(raw);
}
