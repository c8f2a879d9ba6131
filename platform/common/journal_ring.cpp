// The journal's ring: read by anybody at any moment, written by one.
#include "platform/common/journal.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

static_assert(sizeof(journal_record) == 256 && offsetof(journal_record, uptime) == 40 &&
              offsetof(journal_record, text) == 64);
static_assert(sizeof(journal_head) == 256 && sizeof(journal_ring) == 65536);

// How each head of this version and byte order begins.
static constexpr struct {
    char magic[8] = {'t', 'c', 'j', 'o', 'u', 'r', 'n', 'l'};
    uint32_t byte_order = 0x01020304;
    uint32_t version = JOURNAL_VERSION;
    uint32_t head_size = sizeof(journal_head);
    uint32_t record_size = sizeof(journal_record);
} FORM;
static_assert(sizeof FORM == offsetof(journal_head, slots));

// ---- reading ----

// A checksum and not the sequence number on both sides: it needs no order of writes to hold between processors, and it
// also finds what a disk or another program has left (decision 0156). FNV-1a, word by word.
uint32_t journal_check(const journal_record *record)
{
    constexpr uint32_t PRIME = 16777619U;
    constexpr size_t FROM = offsetof(journal_record, time);
    uint32_t check = (2166136261U ^ record->sequence) * PRIME * PRIME; // the check's own word counts as 0
#pragma GCC unroll 4
    for (size_t at = FROM; at < sizeof *record; at += sizeof(uint32_t)) {
        uint32_t word = 0;
        memcpy(&word, reinterpret_cast<const char *>(record) + at, sizeof word);
        check = (check ^ word) * PRIME;
    }
    return check;
}
static_assert(offsetof(journal_record, check) == 4 && offsetof(journal_record, time) == 8);

const journal_head *journal_head_of(const void *bytes, size_t size)
{
    const auto *const head = static_cast<const journal_head *>(bytes);
    if (size < sizeof *head || memcmp(head, &FORM, sizeof FORM) != 0 || head->slots == 0 ||
        head->slots > JOURNAL_SLOTS || size < sizeof *head + head->slots * sizeof(journal_record))
        return nullptr;
    return head->boot[sizeof head->boot - 1] == '\0' ? head : nullptr;
}

static const journal_record *slots_of(const journal_head *head)
{
    return reinterpret_cast<const journal_record *>(head + 1);
}

// Copies a slot; whether it held a whole record.
static bool copy_whole(const journal_record *slot, journal_record *copy)
{
    memcpy(copy, slot, sizeof *copy);
    return copy->sequence != 0 && copy->text[sizeof copy->text - 1] == '\0' && copy->check == journal_check(copy);
}

uint32_t journal_newest(const void *bytes, size_t size)
{
    const journal_head *const head = journal_head_of(bytes, size);
    const uint32_t slots = head == nullptr ? 0 : head->slots;
    uint32_t newest = 0;
    for (uint32_t i = 0; i < slots; i++) {
        journal_record record;
        if (copy_whole(slots_of(head) + i, &record) && record.sequence > newest)
            newest = record.sequence;
    }
    return newest;
}

size_t journal_read(const void *bytes, size_t size, uint32_t after, journal_record *records, size_t most)
{
    const uint32_t newest = journal_newest(bytes, size);
    if (newest == 0)
        return 0;
    const auto *const head = static_cast<const journal_head *>(bytes);
    const uint32_t slots = head->slots;
    const uint32_t before_oldest = newest > slots ? newest - slots : 0;
    size_t found = 0;
    for (uint32_t i = (after > before_oldest ? after : before_oldest); i < newest && found < most; i++)
        if (copy_whole(slots_of(head) + (i + 1) % slots, &records[found]) && records[found].sequence == i + 1)
            found++;
    return found;
}

// ---- writing ----

void journal_head_make(journal_head *head, const char *boot)
{
    *head = {};
    memcpy(head, &FORM, sizeof FORM);
    head->slots = JOURNAL_SLOTS;
    snprintf(head->boot, sizeof head->boot, "%s", boot);
}

void journal_ring_make(journal_ring *ring, const char *boot)
{
    memset(ring, 0, sizeof *ring);
    journal_head_make(&ring->head, boot);
}

static bool is_same_act(const journal_record *one, const journal_record *other)
{
    return one->who == other->who && one->verdict == other->verdict && one->kind == other->kind &&
           strncmp(one->text, other->text, sizeof one->text) == 0;
}

// Looks for the same act among the latest records: done since the module came to its verdict, or the third in a row of
// an hour each at the most (decision 0157).
static bool is_repeated(const journal_ring *ring, uint32_t newest, const journal_record *record, journal_record *found)
{
    constexpr uint32_t LOOKED_AT = 16;
    constexpr int64_t HOUR_S = 3600;
    const journal_record *latest = nullptr;
    for (uint32_t number = newest; number != 0 && newest - number < LOOKED_AT; number--) {
        const journal_record *const slot = &ring->slots[number % JOURNAL_SLOTS];
        if (!is_same_act(slot, record) || record->time - slot->last > HOUR_S)
            continue;
        const bool is_another = latest != nullptr;
        if (!is_another)
            latest = slot;
        if (slot->since == record->since || is_another)
            return copy_whole(latest, found); // the writer before this one may have been killed at it
    }
    return false;
}

void journal_ring_write(journal_ring *ring, uint32_t *newest, const journal_record *record)
{
    journal_record written;
    if (is_repeated(ring, *newest, record, &written)) {
        written.last = record->last;
        written.last_uptime = record->last_uptime;
        if (written.times != UINT16_MAX)
            written.times++;
    } else {
        written = *record;
        written.sequence = ++*newest;
    }
    written.check = journal_check(&written);
    memcpy(&ring->slots[written.sequence % JOURNAL_SLOTS], &written, sizeof written);
}
