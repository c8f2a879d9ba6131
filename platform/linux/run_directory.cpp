#include "platform/linux/run_directory.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

constexpr unsigned ALL_BITS = 07777; // of a mode

const char *run_directory()
{
    const char *configured = getenv("TIME_CHECK_RUN_DIR");
    return configured == nullptr || configured[0] == '\0' ? "/run/time_check" : configured;
}

bool make_run_directory()
{
    if (mkdir(run_directory(), S_IRWXU) != 0 && errno != EEXIST)
        return false;
    struct stat found = {};
    if (stat(run_directory(), &found) != 0)
        return false;
    if (!S_ISDIR(found.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    if (found.st_uid != geteuid() || (found.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        errno = EPERM;
        return false;
    }
    return true;
}

const char *run_directory_fault(char (&text)[RUN_FAULT_MAX])
{
    const int error = errno;
    struct stat found = {};
    if (stat(run_directory(), &found) != 0)
        snprintf(text, sizeof text, "run directory %.99s: %s", run_directory(), strerror(error));
    else
        snprintf(text, sizeof text,
                 "run directory %.99s: user %u's %s, mode %04o; wanted: user %u's directory, mode 0700",
                 run_directory(), found.st_uid, S_ISDIR(found.st_mode) ? "directory" : "file", found.st_mode & ALL_BITS,
                 geteuid());
    errno = error;
    return text;
}

void run_path(const char *name, char (&path)[RUN_PATH_MAX])
{
    snprintf(path, sizeof path, "%s/%s", run_directory(), name);
}

static bool look_at(const char *path, struct stat *found)
{
    *found = {};
    return stat(path, found) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

bool is_there(const char *path)
{
    struct stat found;
    return look_at(path, &found);
}

bool still_stands(int fd, const char *path)
{
    struct stat named;
    struct stat opened = {};
    if (!look_at(path, &named))
        return false;
    return named.st_ino == 0 || fstat(fd, &opened) != 0 ||
           (named.st_ino == opened.st_ino && named.st_dev == opened.st_dev);
}
