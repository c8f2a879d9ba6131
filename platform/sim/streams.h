// The stdio streams and folders that the daemon opened: the real stdio on the output of virtual commands, and folders
// among the virtual files. Output of the daemon does not come here (Log).
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
    // Streams to read from: all that a command prints is there at once, and the stream never waits. To the daemon's
    // stdio they are streams as any other, with a buffer; they cannot be written to or positioned (ESPIPE). A fault of
    // "read" meets them too, and what they hold is freed by fclose.

    // What a command prints before it ends with this status, to be read. `name` is what open_descriptors() tells. The
    // status is not looked at here: an exit status, or 128 + a signal.
    FILE *open_text(std::string_view name, std::string_view text, int exit_status);
    int exit_status_of(const FILE *stream) const; // 0 for a stream that is not from here
    // As the calls of libc: null and errno, or null at the end. The names are those at the moment of opening, in their
    // order; an entry has its name (at most 255 bytes) and nothing else, and is valid until the next one. A folder that
    // is not open must not be handed in: nothing notices.
    DIR *open_directory(const char *path);
    struct dirent *next_entry(DIR *directory);
    int close_directory(DIR *directory);
    // Paths of the folders that are open now, in the order of opening.
    std::vector<std::string> open_directories() const;
    // Closes all of them; what is still buffered is lost with the machine.
    void machine_restarted();

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
    // What stdio calls for a stream; the cookie is its Stream, which close() frees.
    static ssize_t read(void *cookie, char *buffer, size_t size);
    static int seek(void *cookie, off64_t *offset, int whence);
    static int close(void *cookie);

    std::vector<std::unique_ptr<Stream>> streams_;
    std::vector<std::unique_ptr<Directory>> directories_;
    bool abandoned_ = false; // their descriptors are closed with the machine's files
};

} // namespace sim

#endif
