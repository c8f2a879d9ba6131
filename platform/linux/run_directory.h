// The run directory: where the processes of one router meet (bus sockets, the running store). A memory file system, so
// that it starts empty with the machine.
#ifndef PLATFORM_LINUX_RUN_DIRECTORY_H
#define PLATFORM_LINUX_RUN_DIRECTORY_H

// Its path: $TIME_CHECK_RUN_DIR, or /run/time_check. Any thread.
const char *run_directory();

// Makes the run directory (mode 0700) when it is missing; its parent must exist. False, with errno set: it cannot be
// made, or what is there is not a directory of this user that is closed to others (EPERM, ENOTDIR). Any thread.
bool make_run_directory();

#endif
