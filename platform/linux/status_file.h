// The status page's file, for the daemon's process.
#ifndef PLATFORM_LINUX_STATUS_FILE_H
#define PLATFORM_LINUX_STATUS_FILE_H

#include <cstdint>

#include "platform/linux/run_directory.h"

// Where it lies: in the run directory, or where a group may read it. Any thread.
void status_file_path(char (&name)[RUN_PATH_MAX], bool for_group);

// Begins a new file; one that another process left is replaced. Without one a line says why, and the daemon goes on.
// Main thread, as the next two.
void status_file_begin();

// Makes it anew when it was removed.
void status_file_look();

// The main loop has ended a second. Costs no system call.
void status_file_beat(int64_t now_ms);

#endif
