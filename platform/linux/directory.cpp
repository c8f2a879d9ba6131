#include "platform/linux/directory.h"

#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

// The kernel's record; the name goes on behind it.
struct directory_record {
    uint64_t inode;
    int64_t position;
    uint16_t length;
    uint8_t type;
    char name[1];
};

bool open_directory(directory_reader *reader, const char *path)
{
    reader->fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    reader->next = 0;
    reader->end = 0;
    return reader->fd >= 0;
}

static bool fill(directory_reader *reader)
{
    const long got = syscall(SYS_getdents64, reader->fd, reader->buffer, sizeof reader->buffer);
    reader->next = 0;
    reader->end = got > 0 ? static_cast<size_t>(got) : 0;
    return got > 0;
}

const char *next_name(directory_reader *reader)
{
    while (reader->next < reader->end || fill(reader)) {
        const char *const record = reader->buffer + reader->next;
        uint16_t length = 0;
        memcpy(&length, record + offsetof(directory_record, length), sizeof length);
        reader->next += length;
        const char *const name = record + offsetof(directory_record, name);
        if (strcmp(name, ".") != 0 && strcmp(name, "..") != 0)
            return name;
    }
    return nullptr;
}

void close_directory(directory_reader *reader)
{
    close(reader->fd);
}
