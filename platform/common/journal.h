// The journal of acts: what the daemon did to its surroundings, when, whose act it was and why. docs/journal.md.
//
// A ground calls one function an act. It makes the act's text, the same on every ground, notes the act in the acting
// module's row of the status page, and gives the record to the ground's journal_write. A firmware that wants no journal
// need do nothing: platform_common has a journal_write that keeps nothing.
//
// The Linux ground keeps the records in a ring, a file of 64 KiB that other processes map or read while it is written
// to. One slot a record; the slot is the sequence number's remainder.
#ifndef PLATFORM_COMMON_JOURNAL_H
#define PLATFORM_COMMON_JOURNAL_H

#include <stddef.h>
#include <stdint.h>

#include "platform/status.h"

#ifdef __cplusplus
extern "C" {
#endif

enum journal_kind {
    JOURNAL_NOTE = 0, // the ground's own words: how it started and ended; nobody's act
    JOURNAL_SET = 1,  // "set KEY=VALUE", "set failed KEY"
    JOURNAL_COMMIT = 2,
    JOURNAL_LEDS = 3,    // "leds N"
    JOURNAL_NETCTRL = 4, // "netctrl MODULE?TEXT", "netctrl failed MODULE?TEXT"
    JOURNAL_COMMAND = 5, // "command TEXT"; "command too long" of one that was not begun
    JOURNAL_EXEC = 6,    // "exec A B >REDIRECT"
    JOURNAL_REBOOT = 7,
    JOURNAL_WAN_LAN_CHECK = 8, // "wan_lan_check ADDRESS MASK"
    JOURNAL_END = 9,           // a note: the daemon was ended in order, "ended: REASON"
    JOURNAL_FILE = 10,         // "write PATH", "unlink PATH", "rename FROM TO"; a ground need not see these
    JOURNAL_START = 11, // a note: "started: ..."; who restarted the machine before, and why, if it was the daemon
};

enum { JOURNAL_TEXT_SIZE = 192 };

// Calendar times are seconds since 1970, up-times seconds. The layout is the same on 32 and 64 bits.
struct journal_record {
    uint32_t sequence; // from 1; 0: an empty slot
    uint32_t check;    // of all that follows and of `sequence`
    int64_t time;      // when it was done
    int64_t last;      // and when for the last time, if it was repeated
    int64_t since;     // when the module had come to its verdict, as its row says
    int64_t next;      // and when it acts or looks next
    int32_t uptime;
    int32_t last_uptime;
    uint32_t count;  // how far the module was in what its verdict counts,
    uint32_t target; // and how far that must go; 0: nothing was counted
    uint16_t times;  // how often it was done, at least 1; stays at the highest that fits
    uint8_t who;     // a status_who
    uint8_t verdict; // by which it acted, or STATUS_AT_START and so on
    uint8_t kind;    // a journal_kind
    uint8_t failed;  // 1: it could not be done
    uint8_t reserved[2];
    char text[JOURNAL_TEXT_SIZE]; // cut, terminated; may hold any byte: who shows it makes it printable
};

// ---- the file ----

enum { JOURNAL_VERSION = 1, JOURNAL_SLOTS = 255, JOURNAL_LAST_SLOTS = 100, JOURNAL_BOOT_SIZE = 40 };

struct journal_head {
    char magic[8];       // "tcjournl"
    uint32_t byte_order; // 0x01020304 as the writer's processor has it
    uint32_t version;
    uint32_t head_size;
    uint32_t record_size;
    uint32_t slots;
    uint32_t reserved;
    char boot[JOURNAL_BOOT_SIZE]; // the kernel's boot id, terminated; "" where there is none
    char unused[184];
};

struct journal_ring {
    struct journal_head head;
    struct journal_record slots[JOURNAL_SLOTS];
};

// Copies the whole records whose sequence number is greater than `after`, in order, at most `most`; the number of them.
// `bytes` is what is in a journal's file, or a mapping of it that is written to meanwhile; 0 also when it is no
// journal. A record that is half written, or that a killed writer left so, is left out: its checksum is wrong.
size_t journal_read(const void *bytes, size_t size, uint32_t after, struct journal_record *records, size_t most);

// The head, when it is that of a journal of this version and byte order that is as long as it says; else null.
const struct journal_head *journal_head_of(const void *bytes, size_t size);

// Of writers: the head of a ring, and an empty one; the number of the newest whole record (0: none); a record's
// checksum; and writing one record, which counts up a repeated one in its place (decision 0157). One thread at a time.
void journal_head_make(struct journal_head *head, const char *boot);
void journal_ring_make(struct journal_ring *ring, const char *boot);
uint32_t journal_newest(const void *bytes, size_t size);
uint32_t journal_check(const struct journal_record *record);
void journal_ring_write(struct journal_ring *ring, uint32_t *newest, const struct journal_record *record);

// ---- acts ----

// Any thread. `ok`: 0 when it failed. Values of secret keys are "***"; a command or message that holds one is its first
// word and "***" (decision 0158).
void journal_set(const char *key, const char *value, int ok);
void journal_commit(int ok);
void journal_leds(int state);
void journal_netctrl(int module, const char *text, int ok);
void journal_command(const char *text);
void journal_exec(char *const argv[], const char *redirect); // `redirect` may be null
void journal_reboot(void);
void journal_wan_lan_check(const char *address, const char *netmask);
void journal_file(const char *text);
void journal_note(const char *text);
void journal_note_end(const char *reason);
void journal_note_start(const char *text, const struct journal_record *why); // whose the restart before was, and why

// ---- what the ground supplies ----

// Keeps a record; `sequence` and `check` are not filled in. Any thread; must not wait.
void journal_write(const struct journal_record *record);

// Whether this program's acts are the daemon's: not 0. Others, which share the ground's code, have no page and no
// journal. Any thread.
int journal_is_kept(void);

// Which part of the status page the calling thread owns. Any thread.
enum status_part journal_part(void);

// GetValue's job, for the journal's own needs. Any thread.
int journal_look_up(const char *key, char *value, size_t size);

#ifdef __cplusplus
}
#endif

#endif
