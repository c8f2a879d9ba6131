// Looking for a process by its name.
#include "platform/system.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/directory.h"
#include "platform/linux/small_file.h"

constexpr size_t KERNEL_NAME_LENGTH = 15; // what the kernel keeps of a process's name

static bool is_number(const char *text)
{
    return text[0] != '\0' && strspn(text, "0123456789") == strlen(text);
}

// "PID (NAME) STATE ...": the name may hold anything, so it ends at the last bracket.
static bool has_kernel_name(const char *stat, const char *name)
{
    const char *const begin = strchr(stat, '(');
    const char *const end = strrchr(stat, ')');
    if (begin == nullptr || end == nullptr || end[1] == '\0')
        return false;
    const char state = end[2];
    if (state == 'Z' || state == 'X') // ended, only not yet reaped
        return false;
    const size_t length = static_cast<size_t>(end - begin) - 1;
    return length == strnlen(name, KERNEL_NAME_LENGTH) && memcmp(begin + 1, name, length) == 0;
}

// The kernel cut the name: the program's own first argument tells the rest.
static bool has_first_argument(const char *pid, const char *name)
{
    char path[48];
    char arguments[256];
    snprintf(path, sizeof path, "/proc/%s/cmdline", pid);
    if (read_small_file(path, arguments, sizeof arguments) <= 0)
        return false;
    const char *const slash = strrchr(arguments, '/');
    return strcmp(slash == nullptr ? arguments : slash + 1, name) == 0;
}

static bool is_process(const char *pid, const char *name)
{
    char path[48];
    char stat[128];
    snprintf(path, sizeof path, "/proc/%s/stat", pid);
    if (read_small_file(path, stat, sizeof stat) <= 0 || !has_kernel_name(stat, name))
        return false;
    return strlen(name) <= KERNEL_NAME_LENGTH || has_first_argument(pid, name);
}

// ---- looking again ----

// A name that a look through all of /proc did not find. Reading all of it every second is dear, so it is read again
// only when a process has been created since.
struct missing_process {
    char name[64];
    int newest_pid;  // before the look
    int quiet_looks; // since a process was last seen to be new
};

// An old process may take another name without a new one being created: just after its own creation it does so as a
// rule, later hardly ever, and then it is found late.
constexpr int YOUNG_LOOKS = 3;
constexpr int LONGEST_LOOKS = 60;
constexpr int NO_PID = 0;

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

// The process (or thread) created last, or NO_PID: it cannot be told.
static int newest_process()
{
    static thread_local int load = open_load();
    char text[64];
    const ssize_t length = load < 0 ? -1 : pread(load, text, sizeof text - 1, 0);
    text[length > 0 ? length : 0] = '\0';
    const char *const last_column = strrchr(text, ' ');
    return last_column == nullptr ? NO_PID : atoi(last_column + 1);
}

static bool is_still_missing(missing_process *missing, const char *name, int newest_pid)
{
    if (newest_pid == NO_PID || newest_pid != missing->newest_pid || strcmp(missing->name, name) != 0)
        return false;
    missing->quiet_looks++;
    return missing->quiet_looks > YOUNG_LOOKS && missing->quiet_looks % LONGEST_LOOKS != 0;
}

static void remember_missing(missing_process *missing, const char *name, int newest_pid)
{
    if (newest_pid == missing->newest_pid && strcmp(missing->name, name) == 0)
        return;
    missing->newest_pid = newest_pid;
    missing->quiet_looks = 0;
    snprintf(missing->name, sizeof missing->name, "%s", strlen(name) < sizeof missing->name ? name : "");
}

static bool is_in_proc(const char *name)
{
    directory_reader processes;
    if (!open_directory(&processes, "/proc"))
        return false;
    bool found = false;
    const char *entry = next_name(&processes);
    for (; entry != nullptr && !found; entry = next_name(&processes))
        found = is_number(entry) && is_process(entry, name);
    close_directory(&processes);
    return found;
}

int check_app(const char *name)
{
    static thread_local missing_process missing;
    if (name == nullptr || name[0] == '\0')
        return 0;
    const int newest_pid = newest_process();
    if (is_still_missing(&missing, name, newest_pid))
        return 0;
    if (is_in_proc(name)) {
        missing.name[0] = '\0';
        return 1;
    }
    remember_missing(&missing, name, newest_pid);
    return 0;
}
