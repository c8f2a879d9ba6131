// Nothing loses the configuration: what the plain-Linux ground's store does when it cannot be opened or filled, when
// its files are damaged, and when somebody replaces them.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <functional>
#include <random>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "platform/linux/store/environment.h"
#include "platform/linux/store/state.h"
#include "tests/contract/config_store_folders.h"
#include "tests/contract/own_process.h"

namespace
{

namespace fs = std::filesystem;

bool has(const std::string &lines, const std::string &wanted)
{
    return lines.find(wanted) != std::string::npos;
}

bool import_file(const fs::path &path)
{
    FILE *const file = fopen(path.c_str(), "re");
    const bool imported = file != nullptr && config_store_import(fileno(file), "the file");
    if (file != nullptr)
        fclose(file);
    return imported;
}

// "key" has been committed twice, first as "older", then as "newer"; the router is off.
class Store : public testing::Test
{
protected:
    void SetUp() override
    {
        SetValue("key", "older");
        ASSERT_NE(CommitCfm(), 0);
        SetValue("key", "newer");
        ASSERT_NE(CommitCfm(), 0);
        committed = read_file(folders.committed());
        previous = read_file(previous_path());
        folders.restart();
    }
    void expect_files_untouched() const
    {
        EXPECT_EQ(read_file(folders.committed()), committed);
        EXPECT_EQ(read_file(previous_path()), previous);
    }
    fs::path previous_path() const
    {
        return folders.conf() / "config.txt.previous";
    }
    fs::path run_file(const std::string &name) const
    {
        return folders.run() / name;
    }
    void hide_conf() const
    {
        fs::rename(folders.conf(), hidden());
    }
    void show_conf() const
    {
        fs::rename(hidden(), folders.conf());
    }
    fs::path hidden() const
    {
        return folders.conf().parent_path() / "hidden";
    }

    StoreFolders folders;
    std::string committed;
    std::string previous;
};

// ---- filling ----

// What a daemon does at its start: sets something and commits.
void start_as_the_daemon_does()
{
    if (SetValue("sys.is.pwr.save.mode", "0") == 1)
        CommitCfm();
}

TEST_F(Store, WithoutDescriptorsIsNotOpenedAndIsFilledOnceThereAreSome)
{
    bool was_refused = false;
    bool was_opened = false;
    for (rlim_t descriptors = 4; descriptors < 24; descriptors++) {
        folders.restart();
        elsewhere([&] {
            const rlimit few = {descriptors, 1024};
            const rlimit enough = {1024, 1024};
            said([&] {
                setrlimit(RLIMIT_NOFILE, &few);
                start_as_the_daemon_does();
                setrlimit(RLIMIT_NOFILE, &enough);
            });
            EXPECT_EQ(value_of("key"), "newer") << descriptors;
        });
        EXPECT_TRUE(has(read_file(folders.committed()), "key=newer\n")) << descriptors;
        const bool was_set = value_of("sys.is.pwr.save.mode") == "0";
        was_refused = was_refused || !was_set;
        was_opened = was_opened || was_set;
    }
    EXPECT_TRUE(was_refused && was_opened);
}

// A memory file system of `size` at `path`, in this process's own view of the file systems.
bool mount_small(const fs::path &path, const std::string &size)
{
    fs::create_directories(path);
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("small", path.c_str(), "tmpfs", 0, ("mode=0700,size=" + size).c_str()) == 0;
}

TEST_F(Store, InARunFolderWithoutRoomIsFilledOnceThereIsSome)
{
    for (const std::string size : {"4k", "8k", "12k", "16k", "20k", "24k", "28k", "32k"})
        elsewhere([&] {
            if (!mount_small(folders.run(), size))
                GTEST_SKIP() << "no mounts here";
            said([] { start_as_the_daemon_does(); });
            ASSERT_EQ(mount("small", folders.run().c_str(), "tmpfs", MS_REMOUNT, "mode=0700,size=2m"), 0);
            said([&] { EXPECT_EQ(value_of("key"), "newer") << size; });
            EXPECT_TRUE(has(read_file(folders.committed()), "key=newer\n")) << size;
        });
}

TEST_F(Store, WhoseFileCannotBeReadIsNotOpenedAndDoesNotTakeThePreviousOne)
{
    const fs::path aside = folders.conf() / "aside";
    fs::rename(folders.committed(), aside);
    fs::create_directory(folders.committed());
    const std::string lines = said([] {
        EXPECT_FALSE(config_store_open());
        EXPECT_EQ(value_of("key"), "(none)");
        start_as_the_daemon_does();
    });
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines; // the second: what was not set
    EXPECT_TRUE(has(lines, "store: cannot read " + folders.committed().string() + ": Is a directory\n")) << lines;
    fs::remove(folders.committed());
    fs::rename(aside, folders.committed());
    EXPECT_EQ(value_of("key"), "newer");
    expect_files_untouched();
}

TEST_F(Store, WhoseFolderCannotBeOpenedIsNotOpened)
{
    hide_conf();
    write_file(folders.conf(), "no folder\n");
    const std::string lines = said([] { EXPECT_FALSE(config_store_open()); });
    EXPECT_TRUE(has(lines, "store: cannot open " + folders.conf().string() + ": Not a directory\n")) << lines;
    fs::remove(folders.conf());
    show_conf();
    EXPECT_EQ(value_of("key"), "newer");
}

TEST_F(Store, OpenedBeforeItsFolderCameIsFilledByTheNextProcess)
{
    hide_conf();
    elsewhere([] { EXPECT_EQ(value_of("key"), "(none)"); });
    show_conf();
    EXPECT_EQ(value_of("key"), "newer");
    start_as_the_daemon_does();
    EXPECT_TRUE(has(read_file(folders.committed()), "key=newer\n"));
}

TEST_F(Store, ThatIsFullFitsAgainAfterARestart)
{
    folders.restart();
    fs::remove_all(folders.conf());
    std::mt19937 random(20261122);
    int stored = 0;
    said([&] {
        while (SetValue(("key" + std::to_string(random())).c_str(), std::string(1400, 'v').c_str()) == 1)
            stored++;
    });
    ASSERT_GT(stored, 300);
    ASSERT_NE(CommitCfm(), 0);
    const std::string all = listed("");
    folders.restart();
    EXPECT_EQ(listed(""), all);
    EXPECT_EQ(SetValue("key", "another"), 1) << "what grows nothing is taken";
}

// ---- committed settings that the running store has not read ----

TEST_F(Store, ThatBeganWithNothingDoesNotReplaceWhatItHasNotRead)
{
    hide_conf();
    SetValue("mine", "1");
    show_conf();
    const std::string line = said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_TRUE(has(line, "store: not committed: " + folders.committed().string() +
                              " was never read into it; cfm import it first, or move it away\n"))
        << line;
    said([] { EXPECT_EQ(CommitCfm(), 0); });
    expect_files_untouched();

    EXPECT_TRUE(import_file(folders.committed()));
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_TRUE(has(read_file(folders.committed()), "key=newer\nmine=1\n"));
    EXPECT_EQ(read_file(previous_path()), committed);
}

TEST_F(Store, ThatBeganWithNothingDoesNotReplaceAPreviousFileThatStandsAlone)
{
    hide_conf();
    SetValue("mine", "1");
    show_conf();
    fs::remove(folders.committed());
    said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_EQ(read_file(previous_path()), previous);
    write_file(folders.committed(), "cut o");
    said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_EQ(read_file(previous_path()), previous);
    EXPECT_TRUE(import_file(previous_path()));
    said([] { EXPECT_NE(CommitCfm(), 0); });
}

TEST_F(Store, DoesNotReplaceAFileThatSomebodyElsePutThere)
{
    const fs::path theirs = folders.conf() / "theirs";
    SetValue("key", "theirs");
    ASSERT_NE(CommitCfm(), 0);
    fs::copy_file(folders.committed(), theirs);
    folders.restart();
    SetValue("key", "mine");
    ASSERT_NE(CommitCfm(), 0);
    SetValue("key", "mine again");
    fs::rename(theirs, folders.committed());
    said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_TRUE(has(read_file(folders.committed()), "key=theirs\n"));
    fs::remove(folders.committed());
    EXPECT_NE(CommitCfm(), 0) << "moved away, it is not in the way";
    EXPECT_TRUE(has(read_file(folders.committed()), "key=mine again\n"));
}

TEST_F(Store, KnowsItsFileAgainAfterItWasCopied)
{
    SetValue("key", "another");
    const fs::path copy = folders.conf() / "copy";
    fs::copy_file(folders.committed(), copy);
    fs::rename(copy, folders.committed());
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_TRUE(has(read_file(folders.committed()), "key=another\n"));
}

TEST_F(Store, CommitOverAFileThatCannotBeReadFailsAndLeavesItThere)
{
    SetValue("key", "another");
    fs::rename(folders.committed(), folders.conf() / "aside");
    fs::create_directory(folders.committed());
    const std::string line = said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_TRUE(has(line, "Is a directory; the running values stay\n")) << line;
    EXPECT_TRUE(fs::is_directory(folders.committed()));
    EXPECT_FALSE(fs::exists(folders.conf() / "config.txt.damaged"));
}

TEST_F(Store, WithBothFilesDamagedTakesAnImportedConfiguration)
{
    write_file(folders.committed(), "key=written by hand\n");
    write_file(previous_path(), "");
    const std::string lines = said([] { EXPECT_EQ(value_of("key"), "(none)"); });
    EXPECT_TRUE(has(lines, "its last line is missing; what was written by hand goes in with cfm import FILE\n"))
        << lines;
    EXPECT_TRUE(import_file(folders.committed()));
    said([] { EXPECT_NE(CommitCfm(), 0); });
    folders.restart();
    EXPECT_EQ(said([] { EXPECT_EQ(value_of("key"), "written by hand"); }), "");
}

// ---- damaged files ----

class DamagedStore : public Store
{
protected:
    void expect_healed(const std::string &how, const std::string &why) const
    {
        const std::string lines = said([&] { EXPECT_EQ(value_of("key"), "newer") << how; });
        EXPECT_TRUE(has(lines, "config.mdb cannot be used (" + why)) << how << ": " << lines;
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << how << ": " << lines;
        EXPECT_EQ(said([] { start_as_the_daemon_does(); }), "");
        EXPECT_TRUE(has(read_file(folders.committed()), "key=newer\n")) << how;
        EXPECT_TRUE(fs::exists(run_file("config.mdb.damaged"))) << how;
        config_store_close();
    }
    // The store has been opened, and nobody has it open.
    void leave_it() const
    {
        EXPECT_EQ(value_of("key"), "newer");
        config_store_close();
    }
};

TEST_F(DamagedStore, IsMadeAnewFromTheCommittedFile)
{
    leave_it();
    const std::string whole = read_file(run_file("config.mdb"));
    write_file(run_file("config.mdb"), "cfm: no key 'nokey'\n" + whole.substr(20));
    expect_healed("a line over its beginning", "MDB_INVALID");
    EXPECT_EQ(read_file(run_file("config.mdb.damaged")).substr(0, 20), "cfm: no key 'nokey'\n");
    write_file(run_file("config.mdb"), whole.substr(0, 100));
    expect_healed("cut", "MDB_INVALID");
    write_file(run_file("config.mdb"), "hello");
    expect_healed("another file", "MDB_INVALID");
    write_file(run_file("config.mdb"), std::string(whole.size(), '\0'));
    expect_healed("zeros", "MDB_INVALID");
}

// A process that only reads is often the first to look.
TEST_F(DamagedStore, IsMadeAnewForWhoOnlyReads)
{
    const auto is_read_as = [&](const char *value, const std::string &what) {
        said([&] { EXPECT_TRUE(config_store_open_to_read()) << what; });
        EXPECT_EQ(value_of("key"), value) << what;
        config_store_close();
        EXPECT_EQ(value_of("key"), value) << what;
        config_store_close();
    };
    is_read_as("newer", "not there");
    is_read_as("newer", "whole");
    for (const char *part : {"config.mdb", "config.mdb-lock", "config.state"}) {
        fs::remove(run_file(part));
        is_read_as("newer", std::string(part) + " is gone");
        write_file(run_file(part), "");
        is_read_as("newer", std::string(part) + " is empty");
    }
    write_file(run_file("config.mdb"), "hello");
    is_read_as("newer", "another file");
    folders.restart();
    hide_conf();
    is_read_as("(none)", "nothing committed");
    show_conf();
    is_read_as("newer", "committed meanwhile");
}

TEST_F(Store, OpenedToReadIsNotChangedAndIsSeenToChange)
{
    ASSERT_EQ(SetValue("key", "first"), 1);
    config_store_close();
    ASSERT_TRUE(config_store_open_to_read());
    EXPECT_EQ(value_of("key"), "first");
    elsewhere([] { EXPECT_EQ(SetValue("key", "second"), 1); });
    EXPECT_EQ(value_of("key"), "second");
    said([] { EXPECT_EQ(SetValue("key", "third"), 0); });
    config_store_leave();
    EXPECT_EQ(value_of("key"), "second");
    config_store_close();
    EXPECT_EQ(SetValue("key", "third"), 1);
}

TEST_F(DamagedStore, IsMadeAnewWhenAPartOfItIsGone)
{
    leave_it();
    fs::remove(run_file("config.state"));
    expect_healed("no state", "not whole");
    write_file(run_file("config.state"), "");
    expect_healed("empty state", "not whole");
    fs::remove(run_file("config.mdb-lock"));
    expect_healed("no file of locks", "not whole");
    fs::remove(run_file("config.mdb"));
    EXPECT_EQ(value_of("key"), "newer");
}

TEST_F(DamagedStore, ThatIsStillOpenElsewhereIsLeftThereBeforeACommit)
{
    SetValue("key", "not committed");
    fs::remove(run_file("config.state"));
    elsewhere([&] {
        said([&] { EXPECT_EQ(value_of("key"), "newer"); });
        EXPECT_EQ(SetValue("key", "newest"), 1);
        EXPECT_NE(CommitCfm(), 0);
    });
    const std::string lines = said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_TRUE(has(lines, "store: the files in " + folders.run().string() +
                               " were replaced: it is opened anew, what was not committed is lost\n"))
        << lines;
    EXPECT_EQ(value_of("key"), "newest");
    EXPECT_NE(CommitCfm(), 0);
}

// ---- a run folder that is replaced ----

TEST_F(Store, WhoseRunFolderWasReplacedDoesNotCommitOverTheOther)
{
    EXPECT_EQ(SetValue("key", "not committed"), 1);
    fs::remove_all(folders.run());
    elsewhere([] {
        EXPECT_EQ(SetValue("key", "newest"), 1);
        EXPECT_NE(CommitCfm(), 0);
    });
    said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_TRUE(has(read_file(folders.committed()), "key=newest\n"));
    EXPECT_EQ(value_of("key"), "newest");
    EXPECT_EQ(SetValue("key", "and on"), 1);
    EXPECT_NE(CommitCfm(), 0);
    elsewhere([] { EXPECT_EQ(value_of("key"), "and on"); });
}

TEST_F(Store, WhoseRunFolderWasRemovedMakesItAgain)
{
    char value[16];
    EXPECT_EQ(SetValue("key", "not committed"), 1);
    EXPECT_EQ(GetValue("key", value), 1);
    EXPECT_TRUE(config_store_look());
    fs::remove_all(folders.run());
    said([] { EXPECT_FALSE(config_store_look()); });
    EXPECT_TRUE(config_store_look());
    EXPECT_EQ(GetValue("key", value), 1);
    EXPECT_STREQ(value, "newer");
    elsewhere([] { EXPECT_EQ(SetValue("key", "from elsewhere"), 1); });
    EXPECT_EQ(value_of("key"), "from elsewhere");
}

TEST_F(Store, WhoseRunFolderCannotBeMadeAgainKeepsItsValuesAndCommitsNothing)
{
    EXPECT_EQ(SetValue("key", "kept"), 1);
    fs::remove_all(folders.run());
    write_file(folders.run(), "");
    said([] {
        EXPECT_EQ(CommitCfm(), 0);
        EXPECT_EQ(CommitCfm(), 0);
    });
    EXPECT_EQ(value_of("key"), "kept");
    expect_files_untouched();
    fs::remove(folders.run());
    said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_EQ(value_of("key"), "newer");
}

size_t open_descriptors()
{
    const fs::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

TEST_F(Store, WhoseRunFolderIsRemovedAgainAndAgainKeepsNoFilesOpen)
{
    EXPECT_EQ(value_of("key"), "newer");
    const size_t before = open_descriptors();
    said([&] {
        for (int i = 0; i < 20; i++) {
            fs::remove_all(folders.run());
            EXPECT_FALSE(config_store_look());
            EXPECT_EQ(value_of("key"), "newer");
        }
    });
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Store, SaysHowARunFolderMustBe)
{
    fs::create_directory(folders.run());
    fs::permissions(folders.run(), fs::perms(0755));
    const std::string line = said([] { EXPECT_FALSE(config_store_open()); });
    const std::string user = std::to_string(geteuid());
    EXPECT_TRUE(has(line, "store: run directory " + folders.run().string() + ": user " + user +
                              "'s directory, mode 0755; wanted: user " + user + "'s directory, mode 0700\n"))
        << line;
}

TEST_F(Store, SaysTheTwoLinesOfAFailureOnceForManyCalls)
{
    const std::string value(60000, 'v');
    const std::string lines = said([&] {
        for (int i = 0; i < 100; i++)
            SetValue("a=b", "1");
        for (int i = 0; SetValue(("key" + std::to_string(i)).c_str(), value.c_str()) == 1;)
            i++;
        for (int i = 0; i < 100; i++)
            SetValue("one more", value.c_str());
    });
    EXPECT_LE(std::count(lines.begin(), lines.end(), '\n'), 5) << lines;
}

TEST_F(Store, MakesTheRunDirectoryForItsUserAlone)
{
    EXPECT_EQ(SetValue("a", "1"), 1);
    struct stat folder = {};
    ASSERT_EQ(stat(folders.run().c_str(), &folder), 0);
    EXPECT_EQ(folder.st_mode & 07777U, 0700U);
}

} // namespace
