// The store as text: one "key=value" a line, sorted by key. It is what CommitCfm puts on disk and what people import,
// export and edit.
//
// In keys and values "\\" stands for a backslash, "\n", "\r" and "\t" for what they are in C, and "\xHH" for any other
// control character; all other bytes stand for themselves. Empty lines and lines that begin with "#" say nothing,
// except for the last line of a committed file: it holds the number of settings and a checksum of what is above it, so
// that a cut or damaged file is recognised.
#ifndef PLATFORM_LINUX_STORE_TEXT_H
#define PLATFORM_LINUX_STORE_TEXT_H

#include <cstddef>
#include <cstdint>

#include "platform/linux/store/admin.h"

// Why `key` cannot be a key, or null when it can.
const char *store_key_fault(const char *key);

// Why `value` cannot be a value, or null when it can.
const char *store_value_fault(const char *value);

// ---- writing ----

struct store_text_writer {
    config_store_sink sink;
    void *context;
    bool failed;
    uint32_t crc;      // of what has gone to the sink
    uint32_t settings; // written so far
    size_t used;
    char buffer[4096];
};

void store_text_begin(store_text_writer *writer, config_store_sink sink, void *context);

// Adds one line. Neither text need be terminated.
void store_text_setting(store_text_writer *writer, const char *key, size_t key_length, const char *value,
                        size_t value_length);

// Hands over what is still in the buffer. False when the sink refused anything.
bool store_text_flush(store_text_writer *writer);

// Adds the last line of a whole store and flushes.
bool store_text_finish(store_text_writer *writer);

// The checksum that a writer has once such bytes went to its sink.
uint32_t store_text_crc(const char *text, size_t length);

// ---- reading ----

// Why `text` is not a whole file that store_text_finish ended, or null when it is. `crc` is then the checksum of all of
// it, unless it is null.
const char *store_text_damage(const char *text, size_t length, uint32_t *crc = nullptr);

enum store_text_line {
    STORE_TEXT_END,     // no more lines
    STORE_TEXT_SETTING, // key and value are filled
    STORE_TEXT_EMPTY,   // an empty line or a comment
    STORE_TEXT_BAD,     // `fault` says why
};

// Reads a text in place: its lines are decoded where they stand.
struct store_text_reader {
    char *next;
    char *end; // one writable byte stands here
    unsigned line_number;
    const char *key;
    const char *value;
    const char *fault;
};

store_text_line store_text_read(store_text_reader *reader);

#endif
