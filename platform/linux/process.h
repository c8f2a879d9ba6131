// Looking for a process by its name, in /proc. Any thread.
#ifndef PLATFORM_LINUX_PROCESS_H
#define PLATFORM_LINUX_PROCESS_H

#include <cstddef>

constexpr size_t KERNEL_NAME_LENGTH = 15; // what the kernel keeps of a process's name
constexpr int NO_PROCESS = 0;             // no process has this number

// A process of this name, which is not empty, or NO_PROCESS. Looks at every process.
int find_process(const char *name);

// Whether this process runs and has the name.
bool is_process(int pid, const char *name);

// Whether `stat`, a line "PID (NAME) STATE ..." of the kernel's, tells of a process that runs and whose name begins as
// `name` does, as far as the kernel keeps names.
bool has_kernel_name(const char *stat, const char *name);

// Whether this process has begun at this up-time or before, in seconds.
bool has_run_since(int pid, int uptime);

#endif
