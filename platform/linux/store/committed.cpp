// The committed file. A power cut at any moment leaves the old or the new one under its name, whole: the new one is
// written beside it, synced, and then takes the name; the old one is kept under another (decision 0011).
#include "platform/config_store.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/common/journal.h"
#include "platform/common/published_keys.h"
#include "platform/linux/store/admin.h"
#include "platform/linux/store/change.h"
#include "platform/linux/store/committed.h"
#include "platform/linux/store/environment.h"
#include "platform/linux/store/import.h"
#include "platform/linux/store/state.h"

static constexpr char COMMITTED[] = "config.txt";
static constexpr char PREVIOUS[] = "config.txt.previous";
static constexpr char DAMAGED[] = "config.txt.damaged"; // for people to look at
static constexpr char BESIDE[] = "config.txt.new";

static constexpr int DAMAGE = -1; // results beside errno's: a line has said what is wrong with the file
static constexpr int SAID = -2;   // a line has said what failed

// ---- the file as it is known ----

static store_file identity_of(const struct stat *file)
{
    return {file->st_dev, file->st_ino, file->st_mtim.tv_sec, file->st_mtim.tv_nsec};
}

// Whether the file is the one that the note is about. The note then says how to tell it again.
static bool is_noted(const struct stat *file, const store_note *note)
{
    const store_file found = identity_of(file);
    return static_cast<uint32_t>(file->st_size) == note->known[STORE_READ].size &&
           memcmp(&found, &note->file, sizeof found) == 0;
}

bool store_stands_as_noted(const store_note *note)
{
    struct stat file = {};
    const int dir = open(store_conf_directory(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    const bool stands = dir >= 0 && fstatat(dir, COMMITTED, &file, 0) == 0 && is_noted(&file, note);
    if (dir >= 0)
        close(dir);
    return stands;
}

// `file` is not given when the committed one is not there, `content` when nothing was read.
static bool write_note(uint64_t transaction, const struct stat *file, const store_content *content)
{
    store_note note = {};
    note.made = 1;
    note.transaction = transaction;
    if (content != nullptr)
        note.known[STORE_READ] = *content;
    if (file != nullptr)
        note.file = identity_of(file);
    return store_write_note(&note);
}

// Reads a whole intact file. 0, an errno, or DAMAGE. What could not be read is not damaged: the next look may find it
// whole.
static int load_file(int dir, const char *name, store_text *text, struct stat *file)
{
    *text = {};
    const int fd = openat(dir, name, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    int rc = fstat(fd, file) == 0 ? store_text_load(fd, text) : errno;
    close(fd);
    if (rc == 0 && text->size != static_cast<uint64_t>(file->st_size))
        rc = EIO;
    const char *damage = rc == 0 ? store_text_damage(text->text, text->size, &text->crc) : nullptr;
    if (damage == nullptr)
        return rc;
    store_line("%s/%s is damaged: %s", store_conf_directory(), name, damage);
    return DAMAGE;
}

static store_content content_of(const store_text *text)
{
    return {static_cast<uint32_t>(text->size), text->crc};
}

// ---- filling an empty store ----

// Fills the environment from one file. 0, ENOENT, DAMAGE or SAID.
static int fill_from(MDB_env *env, int dir, const char *name)
{
    store_text text;
    struct stat file = {};
    int rc = load_file(dir, name, &text, &file);
    if (rc > 0 && rc != ENOENT) {
        store_line("cannot read %s/%s: %s", store_conf_directory(), name, strerror(rc));
        rc = SAID;
    }
    const store_content content = content_of(&text);
    store_settings settings = {&text, false, 0};
    if (rc == 0 && !store_text_parse(&text, name))
        rc = DAMAGE;
    if (rc == 0 && (store_change_in(env, store_put_parsed, &settings) != 0 ||
                    !write_note(settings.transaction, name == COMMITTED ? &file : nullptr, &content)))
        rc = SAID;
    store_text_free(&text);
    return rc;
}

// Only a file that is not there or is damaged makes way for the one before it: any other fault may be over by the next
// time, and is not to cost settings (decision 0111).
static bool makes_way(int rc)
{
    return rc == ENOENT || rc == DAMAGE;
}

static bool fill_from_either(MDB_env *env, int dir)
{
    const int committed = fill_from(env, dir, COMMITTED);
    if (!makes_way(committed))
        return committed == 0;
    const int previous = fill_from(env, dir, PREVIOUS);
    if (previous == 0)
        store_line("filled from %s/%s instead", store_conf_directory(), PREVIOUS);
    if (!makes_way(previous))
        return previous == 0;
    if (committed == DAMAGE || previous == DAMAGE)
        store_line("nothing to fill it from: it starts empty");
    return write_note(0, nullptr, nullptr);
}

bool store_fill(MDB_env *env)
{
    MDB_envinfo info = {};
    mdb_env_info(env, &info);
    if (info.me_last_txnid != 0)
        return true;
    // While nothing is in the store, each opening looks again: the folder's file system may have come late.
    const int dir = open(store_conf_directory(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0 && errno == ENOENT)
        return write_note(0, nullptr, nullptr);
    if (dir < 0) {
        store_line("cannot open %s: %s", store_conf_directory(), strerror(errno));
        return false;
    }
    const bool is_filled = fill_from_either(env, dir);
    close(dir);
    return is_filled;
}

// ---- what is committed, for people's tools ----

static bool hand_over(const store_text *parsed, config_store_sink sink, void *context)
{
    store_text_writer writer;
    store_text_begin(&writer, sink, context);
    const char *end = parsed->text + parsed->size;
    for (const char *key = parsed->text; key < end;) {
        const size_t key_length = strlen(key);
        const char *value = key + key_length + 1;
        const size_t value_length = strlen(value);
        if (!is_published_key(key, key_length)) // an older file may hold some
            store_text_setting(&writer, key, key_length, value, value_length);
        key = value + value_length + 1;
    }
    return store_text_flush(&writer);
}

// 0, ENOENT, DAMAGE or another errno.
static int hand_over_file(int dir, const char *name, config_store_sink sink, void *context)
{
    store_text text;
    struct stat file = {};
    int rc = load_file(dir, name, &text, &file);
    if (rc == 0 && !store_text_parse(&text, name))
        rc = DAMAGE;
    if (rc == 0 && !hand_over(&text, sink, context))
        rc = EIO;
    store_text_free(&text);
    return rc;
}

bool config_store_committed(config_store_sink sink, void *context)
{
    const int dir = open(store_conf_directory(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0 && errno == ENOENT)
        return true;
    const int committed = dir < 0 ? errno : hand_over_file(dir, COMMITTED, sink, context);
    int rc = dir >= 0 && makes_way(committed) ? hand_over_file(dir, PREVIOUS, sink, context) : committed;
    if (dir >= 0)
        close(dir);
    if (rc == ENOENT)
        rc = committed;
    if (rc > 0 && rc != ENOENT)
        store_line("cannot read what is committed in %s: %s", store_conf_directory(), strerror(rc));
    return rc == 0 || rc == ENOENT;
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
    return store_put_settings(transaction, &writer) == 0 && store_text_finish(&writer) && old.left == 0;
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
static int write_text(MDB_txn *transaction, int fd, store_content *content)
{
    store_text_writer writer;
    store_text_begin(&writer, write_piece, &fd);
    errno = 0;
    if (store_put_settings(transaction, &writer) == 0 && store_text_finish(&writer)) {
        content->crc = writer.crc;
        return 0;
    }
    return errno != 0 ? errno : EIO;
}

// Writes the new file and syncs it, and ends the transaction in between: a disk may take its time. 0, or an errno.
static int write_new(int dir, MDB_txn *transaction, struct stat *file, store_content *content)
{
    unlinkat(dir, BESIDE, 0); // left by a commit that was killed
    const int fd = openat(dir, BESIDE, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    int rc = fd < 0 ? errno : write_text(transaction, fd, content);
    store_end_read(transaction);
    if (rc == 0 && (fsync(fd) != 0 || fstat(fd, file) != 0))
        rc = errno;
    if (fd >= 0 && close(fd) != 0 && rc == 0)
        rc = errno;
    if (rc != 0)
        unlinkat(dir, BESIDE, 0);
    content->size = static_cast<uint32_t>(file->st_size);
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

// Settings that were committed, but that no process of this running store has read, are not replaced: they are another
// running store's, or stood on a file system that came after this one was filled (decision 0112).
static int check_read(store_note *note, const store_text *text, const char *name)
{
    const store_content content = content_of(text);
    for (const store_content &known : note->known)
        if (memcmp(&content, &known, sizeof content) == 0) {
            note->known[STORE_READ] = content; // a killed commit's place is needed for this one's
            return 0;
        }
    store_line("not committed: %s/%s was never read into it; cfm import it first, or move it away",
               store_conf_directory(), name);
    return SAID;
}

// Without a committed file the one before it counts, unless the store once had a committed one. 0, an errno or SAID.
static int check_previous(int dir, store_note *note)
{
    if (note->known[STORE_READ].size != 0)
        return 0;
    store_text text;
    struct stat file = {};
    int rc = load_file(dir, PREVIOUS, &text, &file);
    if (rc == 0)
        rc = check_read(note, &text, PREVIOUS);
    store_text_free(&text);
    return makes_way(rc) ? 0 : rc;
}

// Writes the file, which takes the place of `what_stands`: load_file's result for the committed file. 0, an errno or
// SAID.
static int write_and_replace(int dir, MDB_txn *transaction, int what_stands, store_note *note)
{
    struct stat file = {};
    const uint64_t number = mdb_txn_id(transaction);
    int rc = write_new(dir, transaction, &file, &note->known[STORE_WRITTEN]);
    if (rc != 0)
        return rc;
    if (!store_write_note(note)) // else nobody would know the file if this process died after the next line
        return SAID;
    const char *const keep_as = what_stands == 0 ? PREVIOUS : DAMAGED;
    rc = replace(dir, what_stands == ENOENT ? nullptr : keep_as);
    if (rc == 0)
        write_note(number, &file, &note->known[STORE_WRITTEN]);
    return rc;
}

// 0, an errno, or SAID. Ends the transaction.
static int commit_over(int dir, MDB_txn *transaction, const store_text *old, int what_stands, const struct stat *file,
                       store_note *note)
{
    if (what_stands == 0 && is_what_stands(transaction, old)) {
        const uint64_t number = mdb_txn_id(transaction);
        const store_content content = content_of(old);
        store_end_read(transaction);
        const int rc = is_noted(file, note) ? 0 : sync_what_stands(dir);
        if (rc == 0)
            write_note(number, file, &content);
        return rc;
    }
    int rc = what_stands;
    if (what_stands == 0)
        rc = check_read(note, old, COMMITTED);
    else if (makes_way(what_stands))
        rc = check_previous(dir, note);
    if (rc == 0)
        return write_and_replace(dir, transaction, what_stands, note);
    store_end_read(transaction);
    return rc;
}

static int commit_in(int dir)
{
    store_note note;
    MDB_txn *transaction = store_read_note(&note) ? store_begin_read() : nullptr;
    if (transaction == nullptr)
        return SAID;
    struct stat file = {};
    if (note.transaction == mdb_txn_id(transaction) && fstatat(dir, COMMITTED, &file, 0) == 0 &&
        is_noted(&file, &note)) {
        store_end_read(transaction);
        return 0;
    }
    store_text old;
    const int what_stands = load_file(dir, COMMITTED, &old, &file);
    const int rc = commit_over(dir, transaction, &old, what_stands, &file, &note);
    store_text_free(&old);
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

static int commit()
{
    if (!config_store_look() || store_environment() == nullptr)
        return 0;
    const int dir = open_conf_directory();
    int rc = dir < 0 ? errno : SAID;
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

int CommitCfm(void)
{
    const int is_committed = commit();
    journal_commit(is_committed);
    return is_committed;
}
