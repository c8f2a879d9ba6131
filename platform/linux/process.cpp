// Looking for a process by its name.
#include "platform/linux/process.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/linux/directory.h"
#include "platform/linux/kernel_file.h"

static bool is_number(const char *text)
{
    return text[0] != '\0' && strspn(text, "0123456789") == strlen(text);
}

// The name may hold anything, so it ends at the last bracket.
bool has_kernel_name(const char *stat, const char *name)
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

// The kernel cut the name: the program's own first argument tells the rest (decision 0027).
static bool has_first_argument(int pid, const char *name)
{
    char path[48];
    char arguments[256];
    snprintf(path, sizeof path, "/proc/%d/cmdline", pid);
    if (read_kernel_file(path, arguments, sizeof arguments) <= 0)
        return false;
    const char *const slash = strrchr(arguments, '/');
    return strcmp(slash == nullptr ? arguments : slash + 1, name) == 0;
}

bool is_process(int pid, const char *name)
{
    char path[48];
    char stat[128];
    snprintf(path, sizeof path, "/proc/%d/stat", pid);
    if (read_kernel_file(path, stat, sizeof stat) <= 0 || !has_kernel_name(stat, name))
        return false;
    return strlen(name) <= KERNEL_NAME_LENGTH || has_first_argument(pid, name);
}

int find_process(const char *name)
{
    directory_reader processes;
    if (!open_directory(&processes, "/proc"))
        return NO_PROCESS;
    int found = NO_PROCESS;
    const char *entry = next_name(&processes);
    for (; entry != nullptr && found == NO_PROCESS; entry = next_name(&processes))
        if (is_number(entry) && is_process(atoi(entry), name))
            found = atoi(entry);
    close_directory(&processes);
    return found;
}

bool has_run_since(int pid, int uptime)
{
    constexpr unsigned TICKS_A_SECOND = 100; // in the kernel's files, whatever it counts by itself
    char path[48];
    char stat[512];
    unsigned long begun = 0; // after 497 days a small machine reads the highest number: not so
    snprintf(path, sizeof path, "/proc/%d/stat", pid);
    const char *const end = read_kernel_file(path, stat, sizeof stat) <= 0 ? nullptr : strrchr(stat, ')');
    return end != nullptr &&
           sscanf(end, ") %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %lu", &begun) ==
               1 &&
           begun / TICKS_A_SECOND <= static_cast<unsigned long>(uptime);
}
