// Files of a few bytes, as /proc and /sys have them, read and written without stdio, which would allocate.
#ifndef PLATFORM_LINUX_KERNEL_FILE_H
#define PLATFORM_LINUX_KERNEL_FILE_H

#include <cstddef>

// Reads the first line of a file, without its line end, cut to size - 1 characters.
// False, with errno set: it cannot be opened or read; the buffer then holds "". Any thread.
bool read_first_line(const char *path, char *line, size_t size);

// Reads up to size - 1 bytes of a file and terminates them; how many, or -1 with errno set. Any thread.
int read_kernel_file(const char *path, char *buffer, size_t size);

// Writes a text to an existing file in one write. False: it does not exist, or it did not take all. Any thread.
bool write_kernel_file(const char *path, const char *text);

#endif
