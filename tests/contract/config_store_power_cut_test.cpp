// A power cut at any moment of a commit: its system calls are recorded, every disk that may be left is built from them,
// and a router is started from each.
//
// What POSIX promises: bytes are on the disk once the file is synced, and names once their folder is; each name changes
// at once. What was not synced may be there or not, whatever came before or after it; only changes of the same name
// keep their order. Of bytes that were not synced there may be none, half, or zeros in their place.
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "tests/contract/config_store_folders.h"

namespace
{

constexpr int NO_FILE = 0;

// One system call, as the disk sees it. Files go by numbers of their own: inode numbers are used again.
struct Step {
    enum What { WRITE, SYNC_FILE, NAME, MAKE_FOLDER, SYNC_FOLDER, SYNC_PARENT } what;
    int file = NO_FILE;                                  // that is written or synced
    std::string bytes = {};                              // that are appended
    std::vector<std::pair<std::string, int>> names = {}; // what stands under them from now on; NO_FILE: nothing
};

// The configuration folder while calls are recorded.
struct Recorder {
    bool is_on = false;
    bool has_links = true;
    std::map<std::string, int> names;
    std::map<int, int> files; // by descriptor
    std::set<int> folders;    // descriptors of the folder
    std::set<int> parents;
    int last_file = NO_FILE;
    std::vector<Step> steps;

    void name(std::vector<std::pair<std::string, int>> changes)
    {
        for (const auto &[name, file] : changes)
            names[name] = file;
        steps.push_back({.what = Step::NAME, .names = std::move(changes)});
    }
    int file_of(const std::string &name) const
    {
        const auto found = names.find(name);
        return found == names.end() ? NO_FILE : found->second;
    }
};

Recorder recorder;

} // namespace

// ---- the calls ----

extern "C" int openat(int dir, const char *name, int flags, ...)
{
    constexpr mode_t MODE = 0600; // all that the store asks for
    const int fd = static_cast<int>(syscall(SYS_openat, dir, name, flags, MODE));
    if (!recorder.is_on || fd < 0)
        return fd;
    recorder.files.erase(fd);
    recorder.folders.erase(fd);
    recorder.parents.erase(fd);
    if ((flags & O_DIRECTORY) != 0) {
        recorder.parents.insert(fd);
    } else {
        if ((flags & O_CREAT) != 0)
            recorder.name({{name, ++recorder.last_file}});
        recorder.files[fd] = recorder.file_of(name);
    }
    return fd;
}

extern "C" int open(const char *path, int flags, ...)
{
    const int fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, 0600));
    if (recorder.is_on && fd >= 0) {
        recorder.files.erase(fd);
        recorder.parents.erase(fd);
        recorder.folders.erase(fd);
        if ((flags & O_DIRECTORY) != 0)
            recorder.folders.insert(fd);
    }
    return fd;
}

extern "C" ssize_t write(int fd, const void *data, size_t size)
{
    const ssize_t written = syscall(SYS_write, fd, data, size);
    if (recorder.is_on && written > 0 && recorder.files.contains(fd))
        recorder.steps.push_back({.what = Step::WRITE,
                                  .file = recorder.files[fd],
                                  .bytes = {static_cast<const char *>(data), static_cast<size_t>(written)}});
    return written;
}

extern "C" int fsync(int fd)
{
    if (recorder.is_on && recorder.files.contains(fd))
        recorder.steps.push_back({.what = Step::SYNC_FILE, .file = recorder.files[fd]});
    else if (recorder.is_on && recorder.folders.contains(fd))
        recorder.steps.push_back({.what = Step::SYNC_FOLDER});
    else if (recorder.is_on && recorder.parents.contains(fd))
        recorder.steps.push_back({.what = Step::SYNC_PARENT});
    return 0;
}

extern "C" int mkdir(const char *path, mode_t mode) noexcept
{
    const int rc = static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
    if (recorder.is_on && rc == 0)
        recorder.steps.push_back({.what = Step::MAKE_FOLDER});
    return rc;
}

extern "C" int unlinkat(int dir, const char *name, int flags) noexcept
{
    const int rc = static_cast<int>(syscall(SYS_unlinkat, dir, name, flags));
    if (recorder.is_on && rc == 0)
        recorder.name({{name, NO_FILE}});
    return rc;
}

extern "C" int linkat(int from_dir, const char *from, int to_dir, const char *to, int flags) noexcept
{
    if (recorder.is_on && !recorder.has_links) {
        errno = EPERM;
        return -1;
    }
    const int rc = static_cast<int>(syscall(SYS_linkat, from_dir, from, to_dir, to, flags));
    if (recorder.is_on && rc == 0)
        recorder.name({{to, recorder.file_of(from)}});
    return rc;
}

extern "C" int renameat(int from_dir, const char *from, int to_dir, const char *to) noexcept
{
    const int rc = static_cast<int>(syscall(SYS_renameat2, from_dir, from, to_dir, to, 0));
    if (recorder.is_on && rc == 0)
        recorder.name({{to, recorder.file_of(from)}, {from, NO_FILE}});
    return rc;
}

namespace
{

// ---- disks ----

// What stands under each name of the configuration folder; without the folder there is no map at all.
using Disk = std::pair<bool, std::map<std::string, std::string>>;

// The bytes of a file: those that are synced, and those that may be missing.
struct Bytes {
    std::string synced;
    std::string rest;
};

// Adds every disk that may be found when the power goes after the first `count` steps.
class Disks
{
public:
    Disks(std::map<std::string, int> names, const std::map<int, std::string> &contents, bool is_there)
        : first_names(std::move(names)), is_there_at_first(is_there)
    {
        for (const auto &[file, text] : contents)
            first_files[file] = {text, ""};
    }

    std::set<Disk> after(const std::vector<Step> &steps, size_t count)
    {
        files = first_files;
        safe_names = first_names;
        loose.clear();
        bool is_there = is_there_at_first;
        bool may_be_gone = false;
        for (size_t i = 0; i < count; i++) {
            take(steps[i]);
            if (steps[i].what == Step::MAKE_FOLDER)
                is_there = may_be_gone = true;
            else if (steps[i].what == Step::SYNC_PARENT)
                may_be_gone = false;
        }
        std::set<Disk> disks;
        if (!is_there || may_be_gone)
            disks.insert({false, {}});
        if (is_there)
            for (size_t subset = 0; subset < size_t{1} << loose.size(); subset++)
                add_with_all_bytes(names_with(subset), &disks);
        return disks;
    }

private:
    void take(const Step &step)
    {
        if (step.what == Step::WRITE)
            files[step.file].rest += step.bytes;
        else if (step.what == Step::SYNC_FILE)
            files[step.file] = {files[step.file].synced + files[step.file].rest, ""};
        else if (step.what == Step::NAME) {
            loose.push_back(step);
            for (const auto &[name, file] : step.names)
                files.try_emplace(file); // a new one is empty
        } else if (step.what == Step::SYNC_FOLDER) {
            safe_names = names_with((size_t{1} << loose.size()) - 1);
            loose.clear();
        }
    }

    std::map<std::string, int> names_with(size_t subset) const
    {
        std::map<std::string, int> names = safe_names;
        for (size_t i = 0; i < loose.size(); i++)
            if ((subset >> i & 1) != 0)
                for (const auto &[name, file] : loose[i].names)
                    names[name] = file;
        std::erase_if(names, [](const auto &one) { return one.second == NO_FILE; });
        return names;
    }

    // Only one file of a commit has bytes that are not synced.
    void add_with_all_bytes(const std::map<std::string, int> &names, std::set<Disk> *disks) const
    {
        constexpr int WAYS = 4;
        for (int way = 0; way < WAYS; way++) {
            Disk disk = {true, {}};
            for (const auto &[name, file] : names)
                disk.second[name] = text_of(files.at(file), way);
            disks->insert(disk);
        }
    }

    static std::string text_of(const Bytes &bytes, int way)
    {
        switch (way) {
        case 0:
            return bytes.synced + bytes.rest;
        case 1:
            return bytes.synced + bytes.rest.substr(0, bytes.rest.size() / 2);
        case 2:
            return bytes.synced + std::string(bytes.rest.size(), '\0');
        default:
            return bytes.synced;
        }
    }

    std::map<std::string, int> first_names;
    std::map<int, Bytes> first_files;
    bool is_there_at_first;
    std::map<int, Bytes> files;
    std::map<std::string, int> safe_names;
    std::vector<Step> loose; // changes of names that are not synced
};

// ---- commits ----

class PowerCut : public testing::Test
{
protected:
    void TearDown() override
    {
        recorder = {};
    }

    // Two generations on disk, and a running store with a third.
    void run_the_third()
    {
        commit("1");
        commit("2");
        change("3");
    }

    static void change(const std::string &generation)
    {
        SetValue("generation", generation.c_str());
        SetValue("filler", (generation + std::string(5000, 'f')).c_str());
    }

    static void commit(const std::string &generation)
    {
        change(generation);
        ASSERT_NE(CommitCfm(), 0);
    }

    // Commits once, and starts a router from every disk that a power cut may leave: it must have the `old` generation
    // or the new one, whole, and the new one when the commit was over.
    void cut_at_every_step(const std::string &old, const std::string &fresh)
    {
        Disks disks = what_stands();
        testing::internal::CaptureStderr();
        recorder.is_on = true;
        const int committed = CommitCfm();
        recorder.is_on = false;
        testing::internal::GetCapturedStderr();
        ASSERT_NE(committed, 0);
        const std::vector<Step> steps = recorder.steps;
        ASSERT_GE(steps.size(), 5U);
        std::set<Disk> seen;
        for (size_t count = 0; count < steps.size(); count++)
            for (const Disk &disk : disks.after(steps, count))
                if (seen.insert(disk).second)
                    expect_generation(disk, {old, fresh}, count);
        for (const Disk &disk : disks.after(steps, steps.size()))
            expect_generation(disk, {fresh}, steps.size());
        std::printf("%zu disks after %zu calls\n", seen.size(), steps.size());
    }

    StoreFolders folders;

private:
    Disks what_stands() const
    {
        std::map<int, std::string> contents;
        const bool is_there = std::filesystem::exists(folders.conf());
        if (is_there)
            for (const auto &entry : std::filesystem::directory_iterator(folders.conf())) {
                recorder.names[entry.path().filename()] = ++recorder.last_file;
                contents[recorder.last_file] = read_file(entry.path());
            }
        return {recorder.names, contents, is_there};
    }

    void expect_generation(const Disk &disk, const std::set<std::string> &allowed, size_t count) const
    {
        folders.restart();
        std::filesystem::remove_all(folders.conf());
        if (disk.first)
            std::filesystem::create_directory(folders.conf());
        for (const auto &[name, text] : disk.second)
            write_file(folders.conf() / name, text);
        testing::internal::CaptureStderr();
        const std::string found = value_of("generation");
        const std::string all = listed("");
        const bool is_committed =
            SetValue("next", "1") == 1 && CommitCfm() != 0 && SetValue("next", "2") == 1 && CommitCfm() != 0;
        const std::string lines = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(allowed.contains(found))
            << found << " after " << count << " calls, from " << text_of(disk) << lines;
        const std::string whole = "filler=" + found + std::string(5000, 'f') + "\ngeneration=" + found + "\n";
        EXPECT_EQ(all, found == "(none)" ? "" : whole) << "after " << count << " calls, from " << text_of(disk);
        EXPECT_TRUE(is_committed) << text_of(disk) << lines;
        EXPECT_EQ(value_of("generation"), found);
        folders.restart();
        EXPECT_EQ(value_of("generation"), found) << "after a commit on " << text_of(disk);
    }

    static std::string text_of(const Disk &disk)
    {
        std::string text = disk.first ? "" : "no folder\n";
        for (const auto &[name, content] : disk.second)
            text += name + " (" + std::to_string(content.size()) + " bytes)\n";
        return text;
    }
};

TEST_F(PowerCut, LeavesTheOldOrTheNewSettings)
{
    run_the_third();
    cut_at_every_step("2", "3");
}

TEST_F(PowerCut, WhereADamagedFileStandsLeavesThePreviousOrTheNewSettings)
{
    run_the_third();
    write_file(folders.committed(), "generation=2\n");
    cut_at_every_step("1", "3");
}

TEST_F(PowerCut, OfAFileSystemWithoutLinksLeavesTheOldOrTheNewSettings)
{
    run_the_third();
    recorder.has_links = false;
    cut_at_every_step("2", "3");
}

TEST_F(PowerCut, OfTheFirstCommitEverLeavesNothingOrTheNewSettings)
{
    change("3");
    cut_at_every_step("(none)", "3");
}

} // namespace
