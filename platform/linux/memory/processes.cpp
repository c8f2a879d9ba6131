// The remembered processes: which of the names that are asked for are missing, until a process may have taken one.
// Saves reading all of /proc every second (the rows with 200 and 2000 processes in bench/REPORT.md).
// Left out with -DTIME_CHECK_REMEMBER_PROCESSES=OFF; no_processes.cpp takes its place.
#include "platform/system.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/memory/name_watch.h"
#include "platform/linux/process.h"

// What the last look through all of /proc showed (decision 0070).
struct known_name {
    char name[64];
    bool is_missing;  // as far as is told, no process has taken the name since
    bool is_in_doubt; // not all names were told since
    int pid;          // who had it, or NO_PROCESS
    int newest_pid;   // the process created last, before the look
    int quiet_looks;  // since a process was last seen to be new
};

constexpr size_t KNOWN_NAMES = 4; // more than the daemon asks for in one state of the router
static thread_local known_name known_names[KNOWN_NAMES];
static thread_local size_t next_place; // the name there is forgotten next; counts on

static known_name *place_of(const char *name)
{
    for (known_name &known : known_names)
        if (strcmp(known.name, name) == 0)
            return &known;
    known_name *const known = &known_names[next_place++ % KNOWN_NAMES];
    *known = {};
    memcpy(known->name, name, strlen(name) + 1);
    return known;
}

static void forget_missing(const char *taken)
{
    for (known_name &known : known_names)
        if (strncmp(known.name, taken, KERNEL_NAME_LENGTH) == 0)
            known.is_missing = false;
}

// Afterwards a name that is missing, and not in doubt, is missing still.
static void hear_of_taken_names()
{
    if (next_names(forget_missing) == NAMES_COMPLETE)
        return;
    for (known_name &known : known_names)
        known.is_in_doubt = true;
}

// ---- where the kernel has not told of all names ----

// An old process may take another name without a new one being created: just after its own creation it does so as a
// rule, later hardly ever, and then it is found late.
constexpr int YOUNG_LOOKS = 3;
constexpr int LONGEST_LOOKS = 60;

constexpr int NOT_OPENED = -2;
static thread_local int load_file = NOT_OPENED; // /proc/loadavg; -1: it tells nothing here

// The kernel numbers processes in turn, and tells the latest number of the reader's own PID namespace.
static int open_load()
{
    char self[16] = "";
    const ssize_t length = readlink("/proc/self", self, sizeof self - 1);
    self[length > 0 ? length : 0] = '\0';
    if (atoi(self) != getpid()) // /proc shows another namespace's processes
        return -1;
    return open("/proc/loadavg", O_RDONLY | O_CLOEXEC);
}

// The process (or thread) created last, or NO_PROCESS: it cannot be told.
static int newest_process()
{
    if (load_file == NOT_OPENED)
        load_file = open_load();
    char text[64];
    const ssize_t length = load_file < 0 ? -1 : pread(load_file, text, sizeof text - 1, 0);
    text[length > 0 ? length : 0] = '\0';
    const char *const last_column = strrchr(text, ' ');
    return last_column == nullptr ? NO_PROCESS : atoi(last_column + 1);
}

// Whether it is likely, and not overdue for a look, that no process has taken the name.
static bool nobody_is_new(known_name *known)
{
    const int newest_pid = newest_process();
    if (newest_pid != NO_PROCESS && newest_pid == known->newest_pid) {
        known->quiet_looks++;
        return known->quiet_looks > YOUNG_LOOKS && known->quiet_looks % LONGEST_LOOKS != 0;
    }
    known->newest_pid = newest_pid;
    known->quiet_looks = 0;
    return false;
}

// ---- the call ----

int check_app(const char *name)
{
    if (name == nullptr || name[0] == '\0')
        return 0;
    if (strlen(name) >= sizeof known_name::name)
        return find_process(name) != NO_PROCESS;
    known_name *const known = place_of(name);
    hear_of_taken_names();
    const bool is_in_doubt = known->is_in_doubt || strlen(name) > KERNEL_NAME_LENGTH; // of what is cut off nobody tells
    known->is_in_doubt = false;
    if ((!is_in_doubt || nobody_is_new(known)) && known->is_missing)
        return 0;
    if (known->pid == NO_PROCESS || !is_process(known->pid, name))
        known->pid = find_process(name);
    known->is_missing = known->pid == NO_PROCESS;
    return known->is_missing ? 0 : 1;
}
