// The virtual files, and what the daemon has open of them.
#ifndef PLATFORM_SIM_FILES_H
#define PLATFORM_SIM_FILES_H

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "platform/sim/text_map.h"

namespace sim
{

class Files
{
public:
    // Writes the present text of a file such as /proc/stat.
    using Generator = std::function<void(std::string &text)>;

    // ---- the world's side ----
    void set(std::string_view path, std::string_view text);
    void generate(std::string_view path, Generator generator);
    void set_unreadable(std::string_view path, int error);
    void set_missing(std::string_view path);
    void set_directory(std::string_view path);
    // Opening `path` opens `target`, which is no link itself.
    void set_link(std::string_view path, std::string_view target);
    void remove(std::string_view path);
    bool exists(std::string_view path) const
    {
        return nodes_.value_of(path) != nullptr;
    }
    std::string text_of(std::string_view path) const;
    const std::vector<std::string> &unknown_paths() const
    {
        return unknown_;
    }
    std::vector<std::string> open_paths() const;
    void machine_restarted();

    // ---- the daemon's side: as the system calls, -1 and errno ----
    int open(const char *path, int flags);
    int open_text(std::string_view name, std::string_view text); // a pipe to read from
    ssize_t read(int fd, char *buffer, size_t size);
    ssize_t write(int fd, const char *data, size_t size);
    off_t seek(int fd, off_t offset, int whence);
    int sync(int fd);
    int truncate(int fd, off_t size);
    int close(int fd);
    int access(const char *path);
    int rename(const char *from, const char *to);
    int unlink(const char *path);
    ssize_t read_link(const char *path, char *target, size_t size);
    // The names in a directory; false: there is no such directory.
    bool list(const char *path, std::vector<std::string> &names);

private:
    struct Node {
        std::string text;
        Generator generator;
        int error = 0;
    };
    struct Descriptor {
        bool in_use = false;
        bool writable = false;
        bool readable = false;
        bool append = false;
        bool written = false;
        size_t position = 0;
        std::string path;
        std::string text; // as it was when the file was opened, and what was written since
    };
    static constexpr int FIRST_FD = 3;

    int fail(int error) const;
    int absent(std::string_view path);
    int new_descriptor();
    Descriptor *descriptor(int fd);
    void load(const Node &node, std::string &text) const;

    TextMap<Node> nodes_;
    TextMap<std::string> links_;
    std::set<std::string, std::less<>> directories_;
    std::set<std::string, std::less<>> missing_;
    std::vector<std::string> unknown_;
    std::vector<Descriptor> descriptors_;
};

} // namespace sim

#endif
