// The status page's file: $RUN_DIR/status, or for a group of readers one in a folder of its own beside the run
// directory, which nobody else may enter. It outlives the daemon: what it did last can be read until the machine
// restarts.
#include "platform/linux/status_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/common/status_file.h"
#include "platform/linux/deadline.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/run_directory.h"
#include "platform/system.h"

static status_file *readers_page; // null: nobody can read it. Both threads publish; the main thread alone changes it
static char path[RUN_PATH_MAX];
static int locked_fd = -1; // which other processes see as locked while this one lives

// What was last published of the main loop's part, which the older of the two copies lacks.
static status_changes published;
static bool published_any = true; // or more than that

// ---- where it lies ----

static const char *reading_group()
{
    const char *name = getenv("TIME_CHECK_GROUP");
    return name == nullptr || name[0] == '\0' ? nullptr : name;
}

static bool make_group_folder(const char *folder, const char *name)
{
    const struct group *group = getgrnam(name);
    if (group == nullptr) {
        ground_log("status: there is no group %s", name);
        return false;
    }
    if (mkdir(folder, S_IRWXU) != 0 && errno != EEXIST)
        return false;
    if (!is_own_directory(folder)) {
        errno = EPERM;
        return false;
    }
    return chown(folder, static_cast<uid_t>(-1), group->gr_gid) == 0 && chmod(folder, S_IRWXU | S_IRGRP | S_IXGRP) == 0;
}

void status_file_path(char (&name)[RUN_PATH_MAX], bool for_group)
{
    snprintf(name, sizeof name, for_group ? "%s-status/status" : "%s/status", run_directory());
}

// False: there is no place for it; a line says why, or errno.
static bool choose_place()
{
    const char *group = reading_group();
    status_file_path(path, group == nullptr); // the other place's, left by another run with other settings
    unlink(path);
    status_file_path(path, group != nullptr);
    if (group == nullptr)
        return true;
    char *const slash = strrchr(path, '/');
    *slash = '\0';
    const bool is_made = make_group_folder(path, group);
    *slash = '/';
    return is_made;
}

// ---- the file ----

static void fill_head(status_file *file)
{
    memcpy(file->magic, STATUS_MAGIC, sizeof file->magic);
    file->byte_order = STATUS_BYTE_ORDER;
    file->version = STATUS_VERSION;
    file->size = sizeof *file;
    file->pid = getpid();
    file->start = get_uptime();
    file->beat = static_cast<uint32_t>(monotonic_ms());
    snprintf(file->program, sizeof file->program, "%s", TIME_CHECK_VERSION);
    status_file_publish(file, STATUS_PART_MAIN, status_page());
}

static bool lock_whole(int fd)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, F_SETLK, &lock) == 0;
}

// Whole before it gets its name, so that nobody reads half of it. Its memory is taken here: later a full file system
// would end the process.
static status_file *make_file(int fd, const char *beside)
{
    if (posix_fallocate(fd, 0, sizeof(status_file)) != 0 || !lock_whole(fd))
        return nullptr;
    void *mapped = mmap(nullptr, sizeof(status_file), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    auto *file = static_cast<status_file *>(mapped);
    fill_head(file);
    // The file is its maker's group's, and not theirs: who may read it is up to the folder.
    if (reading_group() != nullptr && fchmod(fd, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH) != 0)
        return nullptr;
    return rename(beside, path) == 0 ? file : nullptr;
}

void status_file_begin()
{
    char beside[RUN_PATH_MAX + 8];
    status_file *file = nullptr;
    if (choose_place()) {
        snprintf(beside, sizeof beside, "%s.new", path);
        unlink(beside);
        const int fd = open(beside, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
        file = fd < 0 ? nullptr : make_file(fd, beside);
        if (file != nullptr)
            locked_fd = fd;
        else if (fd >= 0)
            close(fd);
    }
    published_any = true;
    if (file == nullptr)
        ground_log("status: %s cannot be written: %s", path, strerror(errno));
    __atomic_store_n(&readers_page, file, __ATOMIC_RELEASE);
}

void status_file_look()
{
    if (readers_page != nullptr && still_stands(locked_fd, path))
        return;
    status_file_begin(); // the old mapping stays: the other thread may be in it
}

void status_file_beat(int64_t now_ms)
{
    if (readers_page != nullptr)
        __atomic_store_n(&readers_page->beat, static_cast<uint32_t>(now_ms), __ATOMIC_RELAXED);
}

static void publish_main(status_file *file, time_check_status *page)
{
    const bool any = page->main.changed != STATUS_NOTED;
    if (any || published_any)
        status_file_publish(file, STATUS_PART_MAIN, page);
    else
        status_file_publish_changes(file, page, &status_noted, &published);
    published_any = any;
    published = status_noted;
}

void status_publish(status_part part)
{
    time_check_status *page = status_page();
    status_file *file = __atomic_load_n(&readers_page, __ATOMIC_ACQUIRE);
    if (part == STATUS_PART_MAIN) {
        if (file != nullptr)
            publish_main(file, page);
        page->main.changed = 0;
    } else {
        page->wans.changed = 0;
        if (file != nullptr)
            status_file_publish(file, part, page);
    }
}
