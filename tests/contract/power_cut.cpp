#include "tests/contract/power_cut.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

Recorder recorder;

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

extern "C" ssize_t writev(int fd, const iovec *parts, int count)
{
    const ssize_t written = syscall(SYS_writev, fd, parts, count);
    if (recorder.is_on && written > 0 && recorder.files.contains(fd)) {
        std::string bytes;
        for (int i = 0; i < count; i++)
            bytes.append(static_cast<const char *>(parts[i].iov_base), parts[i].iov_len);
        bytes.resize(static_cast<size_t>(written));
        recorder.steps.push_back({.what = Step::WRITE, .file = recorder.files[fd], .bytes = std::move(bytes)});
    }
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

// ---- disks ----

void put(const Disk &disk, const std::filesystem::path &folder)
{
    std::filesystem::remove_all(folder);
    if (disk.first)
        std::filesystem::create_directory(folder);
    for (const auto &[name, text] : disk.second)
        std::ofstream(folder / name, std::ios::binary) << text;
}

std::string text_of(const Disk &disk)
{
    std::string text = disk.first ? "" : "no folder\n";
    for (const auto &[name, content] : disk.second)
        text += name + " (" + std::to_string(content.size()) + " bytes)\n";
    return text;
}

Disks::Disks(const std::filesystem::path &folder) : is_there_at_first(std::filesystem::exists(folder))
{
    if (!is_there_at_first)
        return;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        recorder.names[entry.path().filename()] = ++recorder.last_file;
        first_files[recorder.last_file] = {std::string(std::istreambuf_iterator<char>(file), {}), ""};
    }
    first_names = recorder.names;
}

std::set<Disk> Disks::after(const std::vector<Step> &steps, size_t count)
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

void Disks::take(const Step &step)
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

std::map<std::string, int> Disks::names_with(size_t subset) const
{
    std::map<std::string, int> names = safe_names;
    for (size_t i = 0; i < loose.size(); i++)
        if ((subset >> i & 1) != 0)
            for (const auto &[name, file] : loose[i].names)
                names[name] = file;
    std::erase_if(names, [](const auto &one) { return one.second == NO_FILE; });
    return names;
}

// Only one file at a time has bytes that are not synced.
void Disks::add_with_all_bytes(const std::map<std::string, int> &names, std::set<Disk> *disks) const
{
    constexpr int WAYS = 7;
    for (int way = 0; way < WAYS; way++) {
        Disk disk = {true, {}};
        for (const auto &[name, file] : names)
            disk.second[name] = text_of(files.at(file), way);
        disks->insert(disk);
    }
}

std::string Disks::text_of(const Bytes &bytes, int way)
{
    switch (way) {
    case 0:
        return bytes.synced + bytes.rest;
    case 1:
        return bytes.synced + bytes.rest.substr(0, bytes.rest.size() / 2);
    case 2:
        return bytes.synced + std::string(bytes.rest.size(), '\0');
    case 3:
        return bytes.synced;
    case 4: { // the second half came to the disk first
        const size_t half = bytes.rest.size() / 2;
        return bytes.synced + std::string(half, '\0') + bytes.rest.substr(half);
    }
    default: { // one page of two, the others zeros: the even or the odd ones
        constexpr size_t PAGE = 4096;
        std::string text = bytes.synced + bytes.rest;
        for (size_t at = bytes.synced.size(); at < text.size(); at++)
            if (at / PAGE % 2 == static_cast<size_t>(way) % 2)
                text[at] = '\0';
        return text;
    }
    }
}
