// Texts of settings on their way into the store and out of it, for the units of the store alone. Any thread.
#ifndef PLATFORM_LINUX_STORE_IMPORT_H
#define PLATFORM_LINUX_STORE_IMPORT_H

#include <cstddef>
#include <cstdint>
#include <lmdb.h>

#include "platform/linux/store/text.h"

// A text in memory of its own: `size` bytes and room for one more.
struct store_text {
    char *text;
    size_t size;
    uint32_t crc; // of a committed file that is whole
};

// Reads `fd` to its end. 0, or an errno.
int store_text_load(int fd, store_text *loaded);
void store_text_free(store_text *loaded);

// Turns a text into its settings, where it stands: each key and each value with its end behind it. False: a line for
// each bad one says why; `name` stands for the text in it.
bool store_text_parse(store_text *loaded, const char *name);

// A change: stores such settings.
struct store_settings {
    const store_text *parsed;
    bool is_import;       // takes published keys too; otherwise they are the first that are stored
    uint64_t transaction; // filled: the number of the change, unless there was nothing to store
};
int store_put_parsed(MDB_txn *transaction, void *settings);

// Adds what is committed, sorted: all keys but the published ones. Gives LMDB's result.
int store_put_settings(MDB_txn *transaction, store_text_writer *writer);

#endif
