// The committed file. A power cut at any moment leaves the old or the new one under its name, whole: the new one is
// written beside it, synced, and then takes the name; the old one is kept under another.
#include "platform/config_store.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/config_store_environment.h"
#include "platform/linux/config_store_state.h"

static constexpr char COMMITTED[] = "config.txt";
static constexpr char PREVIOUS[] = "config.txt.previous";
static constexpr char DAMAGED[] = "config.txt.damaged"; // for people to look at
static constexpr char BESIDE[] = "config.txt.new";

// ---- the file as it is known ----

// Whether the file is the one that the note is about. The note then says how to tell it again.
static bool is_noted(const struct stat *file, const store_note *note)
{
    return file->st_ino == note->inode && file->st_dev == note->device &&
           static_cast<uint64_t>(file->st_size) == note->size && file->st_mtim.tv_sec == note->modified_s &&
           file->st_mtim.tv_nsec == note->modified_ns;
}

static void write_note(uint64_t transaction, const struct stat *file)
{
    store_note note = {};
    note.filled = 1;
    note.transaction = transaction;
    if (file != nullptr) {
        note.device = file->st_dev;
        note.inode = file->st_ino;
        note.size = static_cast<uint64_t>(file->st_size);
        note.modified_s = file->st_mtim.tv_sec;
        note.modified_ns = file->st_mtim.tv_nsec;
    }
    store_write_note(&note);
}

// ---- filling an empty store ----

// Reads a whole intact file. 0, an errno, or -1 after a line that says how it is damaged.
static int load_file(int dir, const char *name, store_text *text, struct stat *file)
{
    *text = {};
    const int fd = openat(dir, name, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    int rc = fstat(fd, file) == 0 ? store_text_load(fd, text) : errno;
    close(fd);
    const char *damage = rc == 0 ? store_text_damage(text->text, text->size) : nullptr;
    if (damage == nullptr)
        return rc;
    store_line("%s/%s is damaged: %s", store_conf_directory(), name, damage);
    return -1;
}

// Fills the environment from one file. 0, or why not as load_file says.
static int fill_from(MDB_env *env, int dir, const char *name)
{
    store_text text;
    struct stat file = {};
    int rc = load_file(dir, name, &text, &file);
    store_settings settings = {&text, 0};
    if (rc == 0 && (!store_text_parse(&text, name) || store_change_in(env, store_put_parsed, &settings) != 0))
        rc = -1;
    store_text_free(&text);
    if (rc == 0)
        write_note(settings.transaction, name == COMMITTED ? &file : nullptr);
    else if (rc != -1 && rc != ENOENT)
        store_line("cannot read %s/%s: %s", store_conf_directory(), name, strerror(rc));
    return rc;
}

static void fill_from_either(MDB_env *env, int dir)
{
    const int committed = fill_from(env, dir, COMMITTED);
    if (committed == 0)
        return;
    const int previous = fill_from(env, dir, PREVIOUS);
    if (previous == 0)
        store_line("filled from %s/%s instead", store_conf_directory(), PREVIOUS);
    else if (committed != ENOENT || previous != ENOENT)
        store_line("nothing to fill it from: it starts empty");
    if (previous != 0)
        write_note(0, nullptr);
}

void store_fill(MDB_env *env)
{
    if (store_read_note().filled != 0)
        return;
    MDB_envinfo info = {};
    mdb_env_info(env, &info);
    const int dir = open(store_conf_directory(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0 && errno != ENOENT)
        store_line("cannot open %s: %s", store_conf_directory(), strerror(errno));
    if (dir < 0 || info.me_last_txnid != 0) // something was stored by a process that died before its note
        write_note(0, nullptr);
    else
        fill_from_either(env, dir);
    if (dir >= 0)
        close(dir);
}

// ---- committing ----

struct comparison {
    const char *text;
    size_t left;
};

static bool compare_piece(void *context, const char *text, size_t length)
{
    auto *old = static_cast<comparison *>(context);
    if (length > old->left || memcmp(old->text, text, length) != 0)
        return false;
    old->text += length;
    old->left -= length;
    return true;
}

static bool is_what_stands(MDB_txn *transaction, const store_text *text)
{
    comparison old = {text->text, text->size};
    store_text_writer writer;
    store_text_begin(&writer, compare_piece, &old);
    return store_put_settings(transaction, "", &writer) == 0 && store_text_finish(&writer) && old.left == 0;
}

static bool write_piece(void *context, const char *text, size_t length)
{
    const int fd = *static_cast<const int *>(context);
    while (length > 0) {
        const ssize_t written = write(fd, text, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

// 0, or an errno.
static int write_text(MDB_txn *transaction, int fd)
{
    store_text_writer writer;
    store_text_begin(&writer, write_piece, &fd);
    errno = 0;
    if (store_put_settings(transaction, "", &writer) == 0 && store_text_finish(&writer))
        return 0;
    return errno != 0 ? errno : EIO;
}

// Writes the new file and syncs it, and ends the transaction in between: a disk may take its time. 0, or an errno.
static int write_new(int dir, MDB_txn *transaction, struct stat *file)
{
    unlinkat(dir, BESIDE, 0); // left by a commit that was killed
    const int fd = openat(dir, BESIDE, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    int rc = fd < 0 ? errno : write_text(transaction, fd);
    store_end_read(transaction);
    if (rc == 0 && (fsync(fd) != 0 || fstat(fd, file) != 0))
        rc = errno;
    if (fd >= 0 && close(fd) != 0 && rc == 0)
        rc = errno;
    if (rc != 0)
        unlinkat(dir, BESIDE, 0);
    return rc;
}

// Keeps what stands under a second name. Where the file system knows no second names it is moved, and for a moment a
// power cut leaves the previous file alone; filling knows that.
static int keep_old(int dir, const char *name)
{
    if (unlinkat(dir, name, 0) != 0 && errno != ENOENT)
        return errno;
    if (linkat(dir, COMMITTED, dir, name, 0) == 0)
        return 0;
    return renameat(dir, COMMITTED, dir, name) == 0 ? 0 : errno;
}

// Gives the new file the name; what stands is kept as `keep_as` unless that is null. 0, or an errno.
static int replace(int dir, const char *keep_as)
{
    int rc = keep_as == nullptr ? 0 : keep_old(dir, keep_as);
    if (rc == 0 && renameat(dir, BESIDE, dir, COMMITTED) != 0)
        rc = errno;
    if (rc != 0)
        unlinkat(dir, BESIDE, 0);
    else if (fsync(dir) != 0)
        rc = errno;
    return rc;
}

// What stands is right, but a commit may have been killed before it was safe. 0, or an errno.
static int sync_what_stands(int dir)
{
    const int fd = openat(dir, COMMITTED, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int rc = fsync(fd) == 0 && fsync(dir) == 0 ? 0 : errno;
    close(fd);
    return rc;
}

// 0, an errno, or -1 after a line that says why.
static int commit_in(int dir)
{
    struct stat file = {};
    const bool is_there = fstatat(dir, COMMITTED, &file, 0) == 0;
    const store_note note = store_read_note();
    const bool is_known = is_there && is_noted(&file, &note);

    MDB_txn *transaction = store_begin_read();
    if (transaction == nullptr)
        return -1;
    const uint64_t number = mdb_txn_id(transaction);
    if (is_known && note.transaction == number) {
        store_end_read(transaction);
        return 0;
    }

    store_text old = {};
    const bool is_whole = is_there && load_file(dir, COMMITTED, &old, &file) == 0;
    int rc = 0;
    if (is_whole && is_what_stands(transaction, &old)) {
        store_end_read(transaction);
        rc = is_known ? 0 : sync_what_stands(dir);
    } else {
        rc = write_new(dir, transaction, &file);
        const char *keep_as = is_whole ? PREVIOUS : DAMAGED;
        if (rc == 0)
            rc = replace(dir, is_there ? keep_as : nullptr);
    }
    store_text_free(&old);
    if (rc == 0)
        write_note(number, &file);
    return rc;
}

// The folder, made when it is not there. -1 with errno set: it cannot be used.
static int open_conf_directory()
{
    const bool is_new = mkdir(store_conf_directory(), 0700) == 0;
    const int dir = open(store_conf_directory(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0 || !is_new)
        return dir;
    const int parent = openat(dir, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parent >= 0) {
        fsync(parent);
        close(parent);
    }
    return dir;
}

int CommitCfm(void)
{
    if (store_environment() == nullptr)
        return 0;
    const int dir = open_conf_directory();
    int rc = dir < 0 ? errno : -1;
    if (dir >= 0 && store_take(STORE_COMMIT_LOCK)) {
        rc = commit_in(dir);
        store_release(STORE_COMMIT_LOCK);
    }
    if (dir >= 0)
        close(dir);
    if (rc > 0)
        store_line("not committed to %s: %s; the running values stay", store_conf_directory(), strerror(rc));
    return rc == 0 ? 1 : 0;
}
