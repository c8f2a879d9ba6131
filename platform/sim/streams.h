// The stdio streams and directories that the daemon opened: the real stdio on virtual files.
#ifndef PLATFORM_SIM_STREAMS_H
#define PLATFORM_SIM_STREAMS_H

#include <cstdio>
#include <dirent.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{

class Streams
{
public:
    // Null: the mode is not understood or the file cannot be opened.
    FILE *open(const char *path, const char *mode);
    // What a command prints before it ends with this status.
    FILE *open_text(std::string_view name, std::string_view text, int exit_status);
    int exit_status_of(const FILE *stream) const;
    void machine_restarted();

    DIR *open_directory(const char *path);
    struct dirent *next_entry(DIR *directory);
    int close_directory(DIR *directory);
    std::vector<std::string> open_directories() const;

private:
    struct Stream {
        int fd;
        FILE *file;
        Streams *owner;
        int exit_status;
    };
    struct Directory {
        std::string path;
        std::vector<std::string> names;
        size_t next;
        struct dirent entry;
    };
    FILE *stream_of(int fd, const char *mode);
    static ssize_t read(void *cookie, char *buffer, size_t size);
    static ssize_t write(void *cookie, const char *data, size_t size);
    static int seek(void *cookie, off64_t *offset, int whence);
    static int close(void *cookie);

    std::vector<std::unique_ptr<Stream>> streams_;
    std::vector<std::unique_ptr<Directory>> directories_;
    bool abandoned_ = false; // what is still buffered is lost with the machine
};

} // namespace sim

#endif
