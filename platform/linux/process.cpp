// Looking for a process by its name.
#include "platform/system.h"

#include <cstdio>
#include <cstring>

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

int check_app(const char *name)
{
    directory_reader processes;
    if (name == nullptr || name[0] == '\0' || !open_directory(&processes, "/proc"))
        return 0;
    int found = 0;
    const char *entry = next_name(&processes);
    for (; entry != nullptr && found == 0; entry = next_name(&processes))
        found = is_number(entry) && is_process(entry, name) ? 1 : 0;
    close_directory(&processes);
    return found;
}
