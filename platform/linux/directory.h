// The names in a directory, read without opendir, which would allocate.
#ifndef PLATFORM_LINUX_DIRECTORY_H
#define PLATFORM_LINUX_DIRECTORY_H

#include <cstddef>

struct directory_reader {
    int fd;
    size_t next; // offset of the next record in the buffer
    size_t end;
    alignas(8) char buffer[2048];
};

// False: it cannot be opened.
bool open_directory(directory_reader *reader, const char *path);

// The next name, "." and ".." left out; null at the end. Valid until the next call.
const char *next_name(directory_reader *reader);

void close_directory(directory_reader *reader);

#endif
