#include "platform/linux/store/admin.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "platform/common/published_keys.h"
#include "platform/linux/store/change.h"
#include "platform/linux/store/environment.h"
#include "platform/linux/store/import.h"
#include "platform/linux/store/state.h"

// A full store with every byte written as an escape, and the same again for comments.
static constexpr size_t LARGEST_TEXT = 8UL * 1024 * 1024;
static constexpr unsigned MOST_BAD_LINES = 10; // that are told of

// ---- a text in memory ----

static int make_room(store_text *loaded, size_t *room)
{
    if (loaded->size > LARGEST_TEXT)
        return EFBIG;
    if (loaded->size + 1 < *room)
        return 0;
    size_t wanted = *room == 0 ? 16384 : *room * 2;
    if (wanted > LARGEST_TEXT)
        wanted = LARGEST_TEXT + 2; // one byte more than is taken tells that there is more
    char *larger = static_cast<char *>(realloc(loaded->text, wanted));
    if (larger == nullptr)
        return ENOMEM;
    loaded->text = larger;
    *room = wanted;
    return 0;
}

int store_text_load(int fd, store_text *loaded)
{
    size_t room = 0;
    *loaded = {};
    for (;;) {
        const int rc = make_room(loaded, &room);
        if (rc != 0)
            return rc;
        const ssize_t got = read(fd, loaded->text + loaded->size, room - loaded->size - 1);
        if (got == 0)
            return 0;
        if (got > 0)
            loaded->size += static_cast<size_t>(got);
        else if (errno != EINTR)
            return errno;
    }
}

void store_text_free(store_text *loaded)
{
    free(loaded->text);
    *loaded = {};
}

// ---- importing ----

// Gives the place behind the copy, which never lies behind `text`: escapes and line ends only shrink.
static char *move_text(char *to, const char *text)
{
    const size_t size = strlen(text) + 1;
    memmove(to, text, size);
    return to + size;
}

bool store_text_parse(store_text *loaded, const char *name)
{
    store_text_reader reader = {};
    reader.next = loaded->text;
    reader.end = loaded->text + loaded->size;
    unsigned bad_lines = 0;
    char *to = loaded->text;
    for (;;) {
        const store_text_line kind = store_text_read(&reader);
        if (kind == STORE_TEXT_END)
            break;
        if (kind == STORE_TEXT_BAD && bad_lines++ < MOST_BAD_LINES)
            store_line("%s:%u: %s", name, reader.line_number, reader.fault);
        if (kind == STORE_TEXT_SETTING) {
            to = move_text(to, reader.key);
            to = move_text(to, reader.value);
        }
    }
    loaded->size = static_cast<size_t>(to - loaded->text);
    return bad_lines == 0;
}

int store_put_parsed(MDB_txn *transaction, void *settings)
{
    auto *wanted = static_cast<store_settings *>(settings);
    if (!wanted->is_import && mdb_txn_id(transaction) != 1)
        return EAGAIN; // somebody stored something in the empty store just now
    const char *end = wanted->parsed->text + wanted->parsed->size;
    for (const char *key = wanted->parsed->text; key < end;) {
        const char *value = key + strlen(key) + 1;
        if (wanted->is_import || !is_published_key(key, static_cast<size_t>(value - 1 - key))) {
            wanted->transaction = mdb_txn_id(transaction);
            const int rc = store_put(transaction, key, value);
            if (rc != 0)
                return rc;
        }
        key = value + strlen(value) + 1;
    }
    return 0;
}

// A commit may now replace the file that this text is, if it is one that was committed. When it cannot be noted, the
// commit says so.
static void note_as_read(const store_content *content)
{
    store_note note;
    if (!store_take(STORE_COMMIT_LOCK))
        return;
    if (store_read_note(&note)) {
        note.known[STORE_IMPORTED] = *content;
        store_write_note(&note);
    }
    store_release(STORE_COMMIT_LOCK);
}

static void tell_of_each(const store_text *parsed, config_store_setting stored, void *context)
{
    const char *end = parsed->text + parsed->size;
    for (const char *key = parsed->text; key < end;) {
        const char *value = key + strlen(key) + 1;
        stored(context, key, value);
        key = value + strlen(value) + 1;
    }
}

bool config_store_import(int fd, const char *name, config_store_setting stored, void *context)
{
    store_text text;
    const int rc = store_text_load(fd, &text);
    if (rc != 0)
        store_line("cannot read %s: %s", name, strerror(rc));
    store_settings settings = {&text, true, 0};
    const store_content content = {static_cast<uint32_t>(text.size), store_text_crc(text.text, text.size)};
    const bool imported = rc == 0 && store_text_parse(&text, name) && store_change_by(store_put_parsed, &settings) == 0;
    if (imported)
        note_as_read(&content);
    if (imported && stored != nullptr)
        tell_of_each(&text, stored, context);
    store_text_free(&text);
    return imported;
}

// ---- listing ----

int store_put_settings(MDB_txn *transaction, store_text_writer *writer)
{
    MDB_cursor *cursor = nullptr;
    int rc = mdb_cursor_open(transaction, STORE_DATABASE, &cursor);
    if (rc != 0)
        return rc;
    MDB_val key = {};
    MDB_val value = {};
    while (!writer->failed && (rc = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) == 0) {
        const auto *const name = static_cast<const char *>(key.mv_data);
        if (!is_published_key(name, key.mv_size))
            store_text_setting(writer, name, key.mv_size, static_cast<const char *>(value.mv_data), value.mv_size);
    }
    mdb_cursor_close(cursor);
    return rc == MDB_NOTFOUND ? 0 : rc;
}

static int put_prefixed(MDB_txn *transaction, const char *prefix, store_text_writer *writer)
{
    MDB_cursor *cursor = nullptr;
    int rc = mdb_cursor_open(transaction, STORE_DATABASE, &cursor);
    if (rc != 0)
        return rc;
    const size_t length = strlen(prefix);
    MDB_val key = {length, const_cast<char *>(prefix)};
    MDB_val value = {};
    rc = mdb_cursor_get(cursor, &key, &value, length == 0 ? MDB_FIRST : MDB_SET_RANGE);
    while (rc == 0 && key.mv_size >= length && memcmp(key.mv_data, prefix, length) == 0) {
        store_text_setting(writer, static_cast<const char *>(key.mv_data), key.mv_size,
                           static_cast<const char *>(value.mv_data), value.mv_size);
        rc = mdb_cursor_get(cursor, &key, &value, MDB_NEXT);
    }
    mdb_cursor_close(cursor);
    return rc == MDB_NOTFOUND ? 0 : rc;
}

// A null prefix: the settings.
static bool put_all(const char *prefix, store_text_writer *writer)
{
    MDB_txn *transaction = store_begin_read();
    if (transaction == nullptr)
        return false;
    const int rc =
        prefix == nullptr ? store_put_settings(transaction, writer) : put_prefixed(transaction, prefix, writer);
    store_end_read(transaction);
    if (rc != 0)
        store_line("cannot read: %s", mdb_strerror(rc));
    return rc == 0;
}

bool config_store_list(const char *prefix, config_store_sink sink, void *context)
{
    store_text_writer writer;
    store_text_begin(&writer, sink, context);
    return put_all(prefix, &writer) && store_text_flush(&writer);
}

bool config_store_export(config_store_sink sink, void *context)
{
    store_text_writer writer;
    store_text_begin(&writer, sink, context);
    return put_all(nullptr, &writer) && store_text_finish(&writer);
}
