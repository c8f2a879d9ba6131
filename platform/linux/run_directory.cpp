#include "platform/linux/run_directory.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr unsigned ALL_BITS = 07777; // of a mode

// A program may be started with descriptors 0 to 2 closed. The next file that it opened, the running store, say, would
// then be its standard output. What takes their places can be neither read nor written, so using them fails as before
// (decision 0110). Before main, since every program of this ground needs it and none can then forget it.
__attribute__((constructor)) static void occupy_standard_descriptors()
{
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = open("/", O_PATH); // without O_CLOEXEC: what the program runs must not open its files there either
    if (fd >= 0)
        close(fd);
}

const char *run_directory()
{
    const char *configured = getenv("TIME_CHECK_RUN_DIR");
    return configured == nullptr || configured[0] == '\0' ? "/run/time_check" : configured;
}

// What a link leads to, but where it is somebody else's: it would lead elsewhere as soon as he likes.
static int stat_own(const char *path, struct stat *found)
{
    *found = {};
    const int looked = lstat(path, found);
    return looked == 0 && S_ISLNK(found->st_mode) && found->st_uid == geteuid() ? stat(path, found) : looked;
}

bool is_own_directory(const char *path)
{
    struct stat found;
    return stat_own(path, &found) == 0 && S_ISDIR(found.st_mode) && found.st_uid == geteuid();
}

bool make_run_directory()
{
    if (mkdir(run_directory(), S_IRWXU) != 0 && errno != EEXIST)
        return false;
    struct stat found;
    if (stat_own(run_directory(), &found) != 0)
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

static const char *kind_of(mode_t mode)
{
    return S_ISDIR(mode) ? "directory" : S_ISLNK(mode) ? "link" : "file";
}

const char *run_directory_fault(char (&text)[RUN_FAULT_MAX])
{
    const int error = errno;
    struct stat found;
    if (stat_own(run_directory(), &found) != 0)
        snprintf(text, sizeof text, "run directory %.99s: %s", run_directory(), strerror(error));
    else
        snprintf(text, sizeof text,
                 "run directory %.99s: user %u's %s, mode %04o; wanted: user %u's directory, mode 0700",
                 run_directory(), found.st_uid, kind_of(found.st_mode), found.st_mode & ALL_BITS, geteuid());
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
