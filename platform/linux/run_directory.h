// The run directory: where the processes of one router meet (bus sockets, the running store). A memory file system, so
// that it starts empty with the machine.
#ifndef PLATFORM_LINUX_RUN_DIRECTORY_H
#define PLATFORM_LINUX_RUN_DIRECTORY_H

#include <cstddef>

// Its path: $TIME_CHECK_RUN_DIR, or /run/time_check. Any thread.
const char *run_directory();

// Makes the run directory (mode 0700) when it is missing; its parent must exist. False, with errno set: it cannot be
// made, or what is there is not a directory of this user that is closed to others (EPERM, ENOTDIR); another user's link
// is none, wherever it leads. Any thread.
bool make_run_directory();

// Whether that is a directory of this user, and no other one's link to one. Any thread.
bool is_own_directory(const char *path);

constexpr size_t RUN_FAULT_MAX = 256; // bytes of a fault with its end

// For people, after make_run_directory() or when errno is EACCES: the folder, what is wrong with it and what is wanted.
// Gives `text`. errno is kept. Any thread.
const char *run_directory_fault(char (&text)[RUN_FAULT_MAX]);

constexpr size_t RUN_PATH_MAX = 512; // bytes of a path with its end

// The path of a file in it, cut if it is too long. Any thread.
void run_path(const char *name, char (&path)[RUN_PATH_MAX]);

// Whether there is something at that path. True also when it cannot be looked at. Any thread.
bool is_there(const char *path);

// Whether the file that `fd` has open is the one at that path. True also when it cannot be looked at. Any thread.
bool still_stands(int fd, const char *path);

#endif
