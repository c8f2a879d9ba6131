// The names that the machine's processes take, as the kernel tells them.
#ifndef PLATFORM_LINUX_MEMORY_NAME_WATCH_H
#define PLATFORM_LINUX_MEMORY_NAME_WATCH_H

enum NAMES_TOLD {
    NAMES_UNTOLD,   // not by this kernel, or not to us
    NAMES_MISSED,   // any name may have been taken since the last call
    NAMES_COMPLETE, // all names taken since the last call were handed over
};

// Hands over the names taken since this thread's last call, as much of them as the kernel keeps. Costs no system call.
// The thread's first call starts the watch, and so missed names.
NAMES_TOLD next_names(void (*taken)(const char *name));

#endif
