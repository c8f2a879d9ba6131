#include "platform/linux/run_directory.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

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
