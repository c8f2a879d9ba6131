// What a power cut may leave of a folder: the system calls that change it are recorded, and every disk that may be
// found after each of them is built.
//
// What POSIX promises: bytes are on the disk once the file is synced, and names once their folder is; each name changes
// at once. What was not synced may be there or not, whatever came before or after it; only changes of the same name
// keep their order. Of bytes that were not synced there may be none, either half, every
// other page, or zeros in their place.
#ifndef TESTS_CONTRACT_POWER_CUT_H
#define TESTS_CONTRACT_POWER_CUT_H

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

constexpr int NO_FILE = 0;

// One system call, as the disk sees it. Files go by numbers of their own: inode numbers are used again.
struct Step {
    enum What { WRITE, SYNC_FILE, NAME, MAKE_FOLDER, SYNC_FOLDER, SYNC_PARENT } what;
    int file = NO_FILE;                                  // that is written or synced
    std::string bytes = {};                              // that are appended
    std::vector<std::pair<std::string, int>> names = {}; // what stands under them from now on; NO_FILE: nothing
};

// What happens to the folder while calls are recorded. A program that links with this has its own openat, open, write,
// writev, fsync, mkdir, unlinkat, linkat and renameat; they do what the kernel does, but nothing is really synced.
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

extern Recorder recorder;

// What stands under each name of the folder; without the folder there is no map at all.
using Disk = std::pair<bool, std::map<std::string, std::string>>;

// Makes the folder what the disk says.
void put(const Disk &disk, const std::filesystem::path &folder);
std::string text_of(const Disk &disk);

// The bytes of a file: those that are synced, and those that may be missing.
struct Bytes {
    std::string synced;
    std::string rest;
};

class Disks
{
public:
    // The folder as it is now, all of it on the disk.
    explicit Disks(const std::filesystem::path &folder);

    // Every disk that may be found when the power goes after the first `count` steps.
    std::set<Disk> after(const std::vector<Step> &steps, size_t count);

private:
    void take(const Step &step);
    std::map<std::string, int> names_with(size_t subset) const;
    void add_with_all_bytes(const std::map<std::string, int> &names, std::set<Disk> *disks) const;
    static std::string text_of(const Bytes &bytes, int way);

    std::map<std::string, int> first_names;
    std::map<int, Bytes> first_files;
    bool is_there_at_first;
    std::map<int, Bytes> files;
    std::map<std::string, int> safe_names;
    std::vector<Step> loose; // changes of names that are not synced
};

#endif
