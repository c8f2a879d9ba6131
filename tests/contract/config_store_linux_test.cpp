// What the plain-Linux ground's store does beyond its contract: limits, damage, full file systems, power cuts.
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <random>
#include <sched.h>
#include <string>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "platform/linux/store/environment.h"
#include "tests/contract/config_store_folders.h"
#include "tests/contract/own_process.h"

// ---- the calls by which a commit changes the disk, so that a test can count, fail or end them ----

namespace
{

std::atomic<bool> watching;
std::atomic<int> syncs;
std::atomic<int> changes;
std::atomic<int> last_change = -1; // after this many changes the process is gone
std::atomic<int> failing_sync;     // the number of the one that fails

void change()
{
    if (watching && changes++ == last_change)
        _exit(0);
}

} // namespace

extern "C" int fsync(int fd)
{
    change();
    if (++syncs == failing_sync) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" ssize_t write(int fd, const void *data, size_t size)
{
    if (watching && size > 1) { // a cut in the middle of the text is possible too
        change();
        size /= 2;
    }
    return syscall(SYS_write, fd, data, size);
}

extern "C" int unlinkat(int dir, const char *name, int flags) noexcept
{
    change();
    return static_cast<int>(syscall(SYS_unlinkat, dir, name, flags));
}

extern "C" int linkat(int from_dir, const char *from, int to_dir, const char *to, int flags) noexcept
{
    change();
    return static_cast<int>(syscall(SYS_linkat, from_dir, from, to_dir, to, flags));
}

extern "C" int renameat(int from_dir, const char *from, int to_dir, const char *to) noexcept
{
    change();
    return static_cast<int>(syscall(SYS_renameat2, from_dir, from, to_dir, to, 0));
}

namespace
{

class LinuxStore : public testing::Test
{
protected:
    StoreFolders folders;
};

std::string exported()
{
    std::string text;
    return config_store_export(append_piece, &text) ? text : "(failed)";
}

bool import_text(const std::string &text)
{
    const int fd = memfd_create("text", 0);
    EXPECT_EQ(pwrite(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    const bool imported = config_store_import(fd, "the text");
    close(fd);
    return imported;
}

// A memory file system of `size` at `path`, in this process's own view of the file systems.
bool mount_small(const std::filesystem::path &path, const std::string &size)
{
    std::filesystem::create_directories(path);
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("small", path.c_str(), "tmpfs", 0, ("mode=0700,size=" + size).c_str()) == 0;
}

// ---- folders ----

TEST_F(LinuxStore, SaysWhyTheRunDirectoryCannotBeMade)
{
    setenv("TIME_CHECK_RUN_DIR", (folders.run() / "deeper").c_str(), 1);
    char value[8] = "before";
    const std::string line = said([&] { EXPECT_EQ(GetValue("a", value), 0); });
    EXPECT_STREQ(value, "");
    EXPECT_NE(
        line.find("store: run directory " + (folders.run() / "deeper").string() + ": No such file or directory\n"),
        std::string::npos)
        << line;
    EXPECT_EQ(SetValue("a", "1"), 0);
    EXPECT_EQ(CommitCfm(), 0);
}

TEST_F(LinuxStore, SaysTheSameLineOnceForManyCalls)
{
    setenv("TIME_CHECK_RUN_DIR", (folders.run() / "deeper").c_str(), 1);
    char value[8];
    const std::string lines = said([&] {
        for (int i = 0; i < 100; i++)
            GetValue("a", value);
    });
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1);
}

TEST_F(LinuxStore, OpensOnceTheRunDirectoryCanBeMade)
{
    const auto deeper = folders.run() / "deeper";
    setenv("TIME_CHECK_RUN_DIR", deeper.c_str(), 1);
    EXPECT_EQ(SetValue("a", "1"), 0);
    std::filesystem::create_directory(folders.run());
    EXPECT_EQ(SetValue("a", "1"), 1);
}

// ---- limits ----

TEST_F(LinuxStore, TakesTheLongestKeyAndValue)
{
    const std::string key(511, 'k');
    const std::string value(65536, 'v');
    EXPECT_EQ(SetValue(key.c_str(), value.c_str()), 1);
    EXPECT_EQ(value_of(key), value);
}

TEST_F(LinuxStore, RefusesWhatItCannotHold)
{
    const std::string long_key(512, 'k');
    const std::string long_value(65537, 'v');
    const struct {
        const char *key;
        const char *value;
        const char *why;
    } refused[] = {
        {"", "1", "store: '' is not set: the key is empty\n"},
        {"a=b", "1", "store: 'a=b' is not set: a key cannot hold '='\n"},
        {"#a", "1", "store: '#a' is not set: a key cannot begin with '#'\n"},
        {"a\nb", "1", "store: 'a?b' is not set: a key cannot hold control characters\n"},
        {long_key.c_str(), "1", "' is not set: the key is longer than 511 bytes\n"},
        {"a", long_value.c_str(), "store: 'a' is not set: the value is longer than 65536 bytes\n"},
    };
    for (const auto &row : refused) {
        const std::string line = said([&] { EXPECT_EQ(SetValue(row.key, row.value), 0) << row.key; });
        EXPECT_NE(line.find(row.why), std::string::npos) << line;
    }
    EXPECT_EQ(listed(""), "");
}

TEST_F(LinuxStore, FullStoreKeepsItsValuesAndTakesMoreOnceThereIsRoom)
{
    const std::string value(60000, 'v');
    int stored = 0;
    while (stored < 100 && SetValue(("key" + std::to_string(stored)).c_str(), value.c_str()) == 1)
        stored++;
    EXPECT_GE(stored, 15);
    EXPECT_LE(stored, 17);
    const std::string line = said([&] { EXPECT_EQ(SetValue("one more", value.c_str()), 0); });
    EXPECT_NE(line.find("store: 'one more' is not set\n"), std::string::npos) << line;
    for (int i = 0; i < stored; i++)
        EXPECT_EQ(value_of("key" + std::to_string(i)), value);
    EXPECT_EQ(config_store_unset("key0"), 1);
    EXPECT_EQ(SetValue("one more", value.c_str()), 1);
}

TEST_F(LinuxStore, FullStoreStillTakesOtherValuesUnderItsKeys)
{
    const std::string value(60000, 'v');
    for (int i = 0; SetValue(("key" + std::to_string(i)).c_str(), value.c_str()) == 1;)
        i++;
    for (int i = 0; i < 200; i++)
        ASSERT_EQ(SetValue("key0", std::string(60000, static_cast<char>('a' + i % 26)).c_str()), 1) << i;
}

TEST_F(LinuxStore, FullRunFileSystemFailsWritesAndKeepsValues)
{
    elsewhere([&] {
        if (!mount_small(folders.run(), "256k"))
            GTEST_SKIP() << "no mounts here";
        const std::string value(20000, 'v');
        int stored = 0;
        const std::string lines = said([&] {
            while (stored < 100 && SetValue(("key" + std::to_string(stored)).c_str(), value.c_str()) == 1)
                stored++;
        });
        EXPECT_NE(lines.find("store: cannot write: No space left on device\n"), std::string::npos) << lines;
        EXPECT_GT(stored, 3);
        EXPECT_LT(stored, 13);
        for (int i = 0; i < stored; i++)
            EXPECT_EQ(value_of("key" + std::to_string(i)), value);
        EXPECT_EQ(config_store_unset("key0"), 1);
        EXPECT_EQ(value_of("key1"), value);
    });
}

TEST_F(LinuxStore, RunFileSystemThatIsFullFromTheStartFailsClearly)
{
    elsewhere([&] {
        if (!mount_small(folders.run(), "32k"))
            GTEST_SKIP() << "no mounts here";
        write_file(folders.run() / "filler", std::string(32768, 'x'));
        const std::string line = said([] { EXPECT_EQ(SetValue("a", "1"), 0); });
        EXPECT_NE(line.find("No space left on device"), std::string::npos) << line;
        std::filesystem::remove(folders.run() / "filler");
        EXPECT_EQ(SetValue("a", "1"), 1);
    });
}

// ---- processes ----

TEST_F(LinuxStore, MoreProcessesThanReaderPlacesMayReadAndDie)
{
    SetValue("key", "1");
    for (int i = 0; i < 300; i++) {
        const pid_t child = fork();
        if (child == 0) {
            const bool read = value_of("key") == "1";
            raise(read ? SIGKILL : SIGTERM);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_EQ(WTERMSIG(status), SIGKILL) << i;
    }
}

TEST_F(LinuxStore, ProcessThatDiedWhileReadingDoesNotFillTheStore)
{
    SetValue("key", "1");
    const pid_t child = fork();
    if (child == 0) {
        store_begin_read();
        raise(SIGKILL);
    }
    waitpid(child, nullptr, 0);
    for (int i = 0; i < 300; i++)
        ASSERT_EQ(SetValue("key", std::string(50000, static_cast<char>('a' + i % 26)).c_str()), 1) << i;
}

TEST_F(LinuxStore, ChildOfAForkHasAStoreOfItsOwn)
{
    SetValue("key", "parent");
    elsewhere([] {
        EXPECT_EQ(value_of("key"), "parent");
        EXPECT_EQ(SetValue("key", "child"), 1);
        EXPECT_NE(CommitCfm(), 0);
    });
    EXPECT_EQ(value_of("key"), "child");
    EXPECT_EQ(SetValue("key", "parent again"), 1);
}

TEST_F(LinuxStore, NoDescriptorOfItReachesACommand)
{
    SetValue("key", "1");
    FILE *listing = popen("ls -l /proc/self/fd", "r");
    std::array<char, 4096> text = {};
    EXPECT_GT(fread(text.data(), 1, text.size() - 1, listing), 0U);
    pclose(listing);
    EXPECT_EQ(std::string(text.data()).find("config."), std::string::npos) << text.data();
}

// ---- filling ----

TEST_F(LinuxStore, RacingProcessesAllFindTheStoreFilled)
{
    SetValue("first", "1");
    SetValue("last", std::string(50000, 'v').c_str());
    ASSERT_NE(CommitCfm(), 0);
    folders.restart();
    std::vector<pid_t> children;
    for (int i = 0; i < 20; i++) {
        children.push_back(fork());
        if (children.back() == 0)
            _exit(value_of("first") == "1" && value_of("last").size() == 50000 ? 0 : 1);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    MDB_envinfo info = {};
    ASSERT_EQ(mdb_env_info(store_environment(), &info), 0);
    EXPECT_EQ(info.me_last_txnid, 1U) << "filled more than once";
}

TEST_F(LinuxStore, KeysRemovedFromTheRunningStoreDoNotComeBack)
{
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    EXPECT_EQ(config_store_unset("key"), 1);
    config_store_close();
    EXPECT_EQ(value_of("key"), "(none)");
}

TEST_F(LinuxStore, StartsEmptyWithoutAWordWhenNothingWasCommitted)
{
    EXPECT_EQ(said([] { EXPECT_EQ(value_of("key"), "(none)"); }), "");
}

TEST_F(LinuxStore, FileCutAtAnyByteFallsBackToThePreviousOne)
{
    SetValue("key", "older");
    ASSERT_NE(CommitCfm(), 0);
    SetValue("key", "newer");
    ASSERT_NE(CommitCfm(), 0);
    const std::string whole = read_file(folders.committed());
    for (size_t length = 0; length < whole.size(); length++) {
        write_file(folders.committed(), whole.substr(0, length));
        folders.restart();
        const std::string lines = said([&] { EXPECT_EQ(value_of("key"), "older") << length; });
        EXPECT_NE(lines.find("config.txt is damaged: it"), std::string::npos) << lines;
        EXPECT_NE(lines.find("config.txt.previous instead\n"), std::string::npos) << lines;
    }
}

TEST_F(LinuxStore, FileWithAnyByteChangedFallsBackToThePreviousOne)
{
    SetValue("key", "older");
    ASSERT_NE(CommitCfm(), 0);
    SetValue("key", "newer");
    ASSERT_NE(CommitCfm(), 0);
    const std::string whole = read_file(folders.committed());
    for (size_t i = 0; i < whole.size(); i++) {
        std::string changed = whole;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        write_file(folders.committed(), changed);
        folders.restart();
        said([&] { EXPECT_EQ(value_of("key"), "older") << i; });
    }
}

TEST_F(LinuxStore, StartsEmptyWithALineWhenBothFilesAreDamaged)
{
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    SetValue("key", "2");
    ASSERT_NE(CommitCfm(), 0);
    write_file(folders.committed(), "key=3\n");
    write_file(folders.conf() / "config.txt.previous", "");
    folders.restart();
    const std::string lines = said([] { EXPECT_EQ(value_of("key"), "(none)"); });
    EXPECT_NE(lines.find("config.txt is damaged: its last line is missing; "), std::string::npos) << lines;
    EXPECT_NE(lines.find("config.txt.previous is damaged: it is empty\n"), std::string::npos) << lines;
    EXPECT_NE(lines.find("store: nothing to fill it from: it starts empty\n"), std::string::npos) << lines;
    EXPECT_EQ(SetValue("key", "4"), 1);
}

TEST_F(LinuxStore, DamagedFileIsKeptWhenACommitReplacesIt)
{
    SetValue("key", "older");
    ASSERT_NE(CommitCfm(), 0);
    SetValue("key", "newer");
    ASSERT_NE(CommitCfm(), 0);
    write_file(folders.committed(), "garbage\n");
    folders.restart();
    said([] { EXPECT_NE(CommitCfm(), 0); });
    EXPECT_EQ(read_file(folders.conf() / "config.txt.damaged"), "garbage\n");
    EXPECT_EQ(read_file(folders.committed()), read_file(folders.conf() / "config.txt.previous"));
}

// ---- committing ----

TEST_F(LinuxStore, CommitsOneSortedLineAKeyAndAChecksum)
{
    SetValue("b.key", "two\nlines, a \\ and a \t");
    SetValue("a.key", "1");
    SetValue("c", "\x01\x7f \xc3\xa4");
    ASSERT_NE(CommitCfm(), 0);
    EXPECT_EQ(read_file(folders.committed()), "a.key=1\n"
                                              "b.key=two\\nlines, a \\\\ and a \\t\n"
                                              "c=\\x01\\x7f \xc3\xa4\n"
                                              "# end: 3 settings, crc32 39ab2741\n");
}

TEST_F(LinuxStore, CommittedFilesAreForTheirUserAlone)
{
    umask(0);
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    struct stat file = {};
    ASSERT_EQ(stat(folders.committed().c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0600U);
    ASSERT_EQ(stat(folders.conf().c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0700U);
}

TEST_F(LinuxStore, CommitsTheFirstChangeAfterAStartWithoutSettings)
{
    ASSERT_NE(CommitCfm(), 0);
    folders.restart();
    SetValue("key", "1");
    EXPECT_NE(CommitCfm(), 0);
    folders.restart();
    EXPECT_EQ(value_of("key"), "1");
}

TEST_F(LinuxStore, KeepsWhatWasCommittedBefore)
{
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    const std::string first = read_file(folders.committed());
    SetValue("key", "2");
    ASSERT_NE(CommitCfm(), 0);
    EXPECT_EQ(read_file(folders.conf() / "config.txt.previous"), first);
}

class CommitWithoutAChange : public LinuxStore
{
protected:
    void SetUp() override
    {
        SetValue("key", "1");
        ASSERT_NE(CommitCfm(), 0);
        syncs = 0;
        changes = 0;
    }
    static void expect_untouched()
    {
        watching = true;
        EXPECT_NE(CommitCfm(), 0);
        watching = false;
        EXPECT_EQ(syncs, 0);
        EXPECT_EQ(changes, 0);
    }
};

TEST_F(CommitWithoutAChange, TouchesNothing)
{
    expect_untouched();
}

TEST_F(CommitWithoutAChange, TouchesNothingAfterTheSameValueWasSet)
{
    EXPECT_EQ(SetValue("key", "1"), 1);
    expect_untouched();
}

TEST_F(CommitWithoutAChange, TouchesNothingAfterAValueWasChangedAndChangedBack)
{
    SetValue("key", "2");
    SetValue("key", "1");
    expect_untouched();
}

TEST_F(CommitWithoutAChange, TouchesNothingInAnotherProcess)
{
    elsewhere([] { expect_untouched(); });
}

TEST_F(CommitWithoutAChange, TouchesNothingAfterARestart)
{
    folders.restart();
    EXPECT_EQ(value_of("key"), "1");
    expect_untouched();
}

TEST_F(CommitWithoutAChange, WritesTheFileAgainWhenItIsGone)
{
    std::filesystem::remove(folders.committed());
    EXPECT_NE(CommitCfm(), 0);
    folders.restart();
    EXPECT_EQ(value_of("key"), "1");
}

TEST_F(CommitWithoutAChange, WritesTheFileAgainWhenSomebodyChangedIt)
{
    write_file(folders.committed(), "key=5\n");
    EXPECT_NE(said([] { EXPECT_NE(CommitCfm(), 0); }).find("is damaged"), std::string::npos);
    folders.restart();
    EXPECT_EQ(value_of("key"), "1");
}

TEST_F(LinuxStore, CommitWhoseFileCannotBeSyncedFailsAndKeepsTheOldFile)
{
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    const std::string before = read_file(folders.committed());
    SetValue("key", "2");
    syncs = 0;
    failing_sync = 1;
    const std::string line = said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_NE(line.find("Input/output error; the running values stay\n"), std::string::npos) << line;
    EXPECT_EQ(read_file(folders.committed()), before);
    EXPECT_FALSE(std::filesystem::exists(folders.conf() / "config.txt.new"));
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_NE(read_file(folders.committed()), before);
}

TEST_F(LinuxStore, CommitWhoseFolderCannotBeSyncedFailsUntilItCan)
{
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    SetValue("key", "2");
    syncs = 0;
    failing_sync = 2;
    said([] { EXPECT_EQ(CommitCfm(), 0); });
    syncs = 0;
    failing_sync = 2;
    said([] { EXPECT_EQ(CommitCfm(), 0); });
    failing_sync = 0;
    syncs = 0;
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_EQ(syncs, 2);
}

TEST_F(LinuxStore, PowerCutAtAnyStepOfACommitLeavesTheOldOrTheNewFile)
{
    SetValue("key", "oldest");
    ASSERT_NE(CommitCfm(), 0);
    SetValue("key", "old");
    ASSERT_NE(CommitCfm(), 0);
    bool finished = false;
    for (int steps = 0; !finished; steps++) {
        ASSERT_LT(steps, 100);
        SetValue("key", "new");
        elsewhere([&] {
            changes = 0;
            last_change = steps;
            watching = true;
            const int committed = CommitCfm();
            watching = false;
            EXPECT_NE(committed, 0);
            write_file(folders.conf() / "finished", "");
        });
        finished = std::filesystem::exists(folders.conf() / "finished");
        folders.restart();
        const std::string lines = said([&] {
            const std::string value = value_of("key");
            EXPECT_TRUE(value == "old" || value == "new") << value << " after " << steps;
            EXPECT_TRUE(!finished || value == "new");
        });
        EXPECT_EQ(lines, "") << "after " << steps;
        SetValue("key", "old");
        EXPECT_NE(CommitCfm(), 0);
    }
}

TEST_F(LinuxStore, CommitFinishesWhatAKilledOneHadNotSynced)
{
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    SetValue("key", "2");
    for (int steps = 0; read_file(folders.committed()).find("key=2") == std::string::npos; steps++) {
        ASSERT_LT(steps, 100);
        elsewhere([&] {
            changes = 0;
            last_change = steps;
            watching = true;
            CommitCfm();
        });
    }
    syncs = 0;
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_EQ(syncs, 2) << "the file and its folder";
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_EQ(syncs, 2);
}

// Sets the key and commits, in a process that is gone after so many changes of the disk.
void commit_and_die(const std::string &value, int steps)
{
    SetValue("key", value.c_str());
    elsewhere([&] {
        changes = 0;
        last_change = steps;
        watching = true;
        CommitCfm();
    });
}

// What they left under the file's name is this store's own, whatever was set since.
TEST_F(LinuxStore, CommitReplacesWhatKilledOnesWrote)
{
    for (int first = 0; first < 24; first++)
        for (int second = 0; second < 24; second++) {
            commit_and_die("by the first " + std::to_string(second), first);
            commit_and_die("by the second " + std::to_string(second), second);
            SetValue("key", "after them");
            EXPECT_NE(CommitCfm(), 0) << first << " " << second;
            EXPECT_NE(read_file(folders.committed()).find("key=after them\n"), std::string::npos);
        }
}

TEST_F(LinuxStore, FullDiskAtCommitKeepsTheOldFileAndTheRunningValues)
{
    elsewhere([&] {
        if (!mount_small(folders.conf(), "16k"))
            GTEST_SKIP() << "no mounts here";
        SetValue("key", "1");
        ASSERT_NE(CommitCfm(), 0);
        const std::string before = read_file(folders.committed());
        SetValue("large", std::string(40000, 'v').c_str());
        const std::string line = said([] { EXPECT_EQ(CommitCfm(), 0); });
        EXPECT_NE(line.find("store: not committed to " + folders.conf().string() +
                            ": No space left on device; the running values stay\n"),
                  std::string::npos)
            << line;
        EXPECT_EQ(read_file(folders.committed()), before);
        EXPECT_FALSE(std::filesystem::exists(folders.conf() / "config.txt.new"));
        EXPECT_EQ(value_of("large").size(), 40000U);
        EXPECT_EQ(config_store_unset("large"), 1);
        SetValue("key", "2");
        EXPECT_NE(CommitCfm(), 0);
    });
}

TEST_F(LinuxStore, FolderThatCannotBeMadeFailsTheCommit)
{
    setenv("TIME_CHECK_CONF_DIR", (folders.conf() / "deeper").c_str(), 1);
    SetValue("key", "1");
    const std::string line = said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_NE(line.find("conf/deeper: No such file or directory; the running values stay\n"), std::string::npos)
        << line;
    EXPECT_EQ(value_of("key"), "1");
}

// ---- text ----

TEST_F(LinuxStore, ListsTheKeysThatBeginWithThePrefix)
{
    for (const char *key : {"lan", "lan.b", "lan.a", "lana", "wan", "la"})
        SetValue(key, "1");
    EXPECT_EQ(listed("lan."), "lan.a=1\nlan.b=1\n");
    EXPECT_EQ(listed("lan"), "lan=1\nlan.a=1\nlan.b=1\nlana=1\n");
    EXPECT_EQ(listed("x"), "");
    EXPECT_EQ(listed(std::string(600, 'k').c_str()), "");
}

TEST_F(LinuxStore, ImportsSettingsCommentsAndEmptyLines)
{
    SetValue("stays", "1");
    SetValue("changes", "1");
    EXPECT_TRUE(import_text("# a comment\n\nchanges=2\nempty=\nescapes=\\\\\\n\\r\\t\\x41\\xfF\n blank = =x \nlast=1"));
    EXPECT_EQ(value_of("stays"), "1");
    EXPECT_EQ(value_of("changes"), "2");
    EXPECT_EQ(value_of("empty"), "");
    EXPECT_EQ(value_of("escapes"), "\\\n\r\tA\xff");
    EXPECT_EQ(value_of(" blank "), " =x ");
    EXPECT_EQ(value_of("last"), "1");
}

TEST_F(LinuxStore, ImportOfATextWithBadLinesNamesThemAndStoresNothing)
{
    const std::string lines = said(
        [] { EXPECT_FALSE(import_text("good=1\nno equals\n=x\na=\\q\nb=\\x0\nc=\\x00\nd=\x01\nalso good=1\ne=\\")); });
    const char *const expected[] = {
        "the text:2: the line has no '='\n",
        "the text:3: the key is empty\n",
        "the text:4: a backslash is followed by none of \\ n r t xHH\n",
        "the text:5: a backslash is followed by none of \\ n r t xHH\n",
        "the text:6: a backslash is followed by none of \\ n r t xHH\n",
        "the text:7: a control character stands in the line; write it as \\xHH\n",
        "the text:9: a backslash is followed by none of \\ n r t xHH\n",
    };
    for (const char *line : expected)
        EXPECT_NE(lines.find(line), std::string::npos) << lines;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 7) << lines;
    EXPECT_EQ(listed(""), "");
}

TEST_F(LinuxStore, ImportOfATextThatDoesNotFitStoresNothing)
{
    SetValue("stays", "1");
    std::string text;
    for (int i = 0; i < 40; i++)
        text += "key" + std::to_string(i) + "=" + std::string(60000, 'v') + "\n";
    EXPECT_FALSE(import_text(text));
    EXPECT_EQ(listed(""), "stays=1\n");
}

TEST_F(LinuxStore, FullStoreCanBeExportedAndImportedAgain)
{
    const std::string value(60000, '\x01'); // each byte becomes four
    for (int i = 0; SetValue(("key" + std::to_string(i)).c_str(), value.c_str()) == 1;)
        i++;
    const std::string text = exported();
    EXPECT_TRUE(import_text(text)) << "over what is there";
    folders.restart();
    EXPECT_TRUE(import_text(text));
    EXPECT_EQ(exported(), text);
}

std::string random_text(std::mt19937 &random, size_t longest, const std::string &not_of)
{
    std::string text;
    const size_t length = random() % (longest + 1);
    while (text.size() < length) {
        const char c = static_cast<char>(1 + random() % 255);
        if (not_of.find(c) == std::string::npos)
            text += c;
    }
    return text;
}

TEST_F(LinuxStore, RandomSettingsComeBackFromCommitAndImport)
{
    std::mt19937 random(1);
    std::string not_in_keys = "=#\x7f";
    for (char c = 1; c < 0x20; c++)
        not_in_keys += c;
    std::vector<std::pair<std::string, std::string>> settings;
    for (int i = 0; i < 300; i++)
        settings.emplace_back(std::to_string(i) + random_text(random, 300, not_in_keys), random_text(random, 2000, ""));
    for (const auto &[key, value] : settings)
        ASSERT_EQ(SetValue(key.c_str(), value.c_str()), 1);
    const std::string text = exported();
    ASSERT_NE(CommitCfm(), 0);
    EXPECT_EQ(read_file(folders.committed()), text);

    folders.restart();
    for (const auto &[key, value] : settings)
        ASSERT_EQ(value_of(key), value);

    folders.restart();
    std::filesystem::remove_all(folders.conf());
    ASSERT_TRUE(import_text(text));
    for (const auto &[key, value] : settings)
        ASSERT_EQ(value_of(key), value);
}

TEST_F(LinuxStore, RandomTextsAreImportedOrRefusedWithoutHarm)
{
    std::mt19937 random(2);
    said([&] {
        for (int i = 0; i < 3000; i++) {
            std::string text = random_text(random, 60, "");
            for (char &c : text)
                if (random() % 3 == 0)
                    c = "=\n\\x#0anrt"[random() % 10];
            import_text(text);
        }
    });
    const std::string text = exported();
    folders.restart();
    EXPECT_TRUE(import_text(text));
    EXPECT_EQ(exported(), text);
}

} // namespace
