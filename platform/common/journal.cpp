// One function an act: its text, whose it is, and why.
#include "platform/common/journal.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/common/secrets.h"
#include "platform/system.h"

// ---- whose act it is ----

static status_row *row_of(uint8_t who)
{
    if (who < STATUS_ROWS)
        return &status_memory.main.rows[who];
    if (who == STATUS_STOPPAGE)
        return &status_memory.main.stoppage_row;
    return who == STATUS_WAN1 || who == STATUS_WAN2 ? &status_memory.wans.wan[who - STATUS_WAN1].row : nullptr;
}

static void note_in_row(const journal_record *act, status_row *row)
{
    row->acted = act->time;
    row->acted_uptime = act->uptime;
    row->acted_verdict = act->verdict;
    memcpy(row->act, act->text, sizeof row->act - 1);
}

static void sign(journal_record *act)
{
    if (journal_part() == STATUS_PART_MAIN) {
        act->who = status_memory.main.acting;
        act->verdict = status_memory.main.acting_verdict;
    } else {
        act->who = status_memory.wans.acting;
        act->verdict = status_memory.wans.acting_verdict;
        if (act->who != STATUS_WAN1 && act->who != STATUS_WAN2) { // the thread has not said yet at which WAN it is
            act->who = STATUS_WAN1;
            act->verdict = STATUS_AT_START;
        }
        status_memory.wans.changed = 1;
    }
    if (status_row *const row = row_of(act->who); row != nullptr) {
        act->count = row->count;
        act->target = row->target;
        act->next = row->next;
        act->since = row->since;
        note_in_row(act, row);
        status_row_acted(row);
    }
}

// ---- the records ----

// Fills in all but the text, and of a note whose it is.
static void write_record(journal_record *act, uint8_t kind, int ok)
{
    act->kind = kind;
    act->failed = ok == 0;
    act->times = 1;
    act->last = act->time = time(nullptr);
    act->last_uptime = act->uptime = get_uptime();
    if (kind == JOURNAL_NOTE || kind == JOURNAL_END) {
        act->who = STATUS_NOBODY;
        act->verdict = STATUS_UNJUDGED;
    } else if (kind != JOURNAL_START) {
        sign(act);
    }
    journal_write(act);
}

// By their kinds.
static constexpr const char *WORDS[] = {"",     "set",    "commit",        "leds",   "netctrl", "command",
                                        "exec", "reboot", "wan_lan_check", "ended:", "",        "started:"};

// Adds as much of a text as there is room for, at most `most` characters of it. By hand: a module that does the same
// each second would print the same each second (decision 0179).
static void add_text(journal_record *act, size_t *length, const char *text, size_t most = JOURNAL_TEXT_SIZE)
{
    const size_t room = sizeof act->text - 1 - *length;
    const size_t wanted = strnlen(text, room < most ? room : most);
    memcpy(act->text + *length, text, wanted);
    *length += wanted;
}

// The kind's word, and what was done: FIRST BETWEEN SECOND. What does not fit is cut.
static void write_act(journal_record *act, uint8_t kind, int ok, const char *first, const char *between,
                      const char *second)
{
    if (journal_is_kept() == 0)
        return;
    const char *const word = WORDS[kind];
    const bool may_hold_a_secret = kind == JOURNAL_COMMAND || kind == JOURNAL_EXEC || kind == JOURNAL_NETCTRL;
    size_t shown = JOURNAL_TEXT_SIZE;
    if (may_hold_a_secret && holds_a_secret(first, journal_look_up)) {
        shown = shown_of_secret(first);
        between = " ***";
    }
    size_t length = 0;
    add_text(act, &length, word);
    if (ok == 0)
        add_text(act, &length, " failed");
    if (length != 0 && first[0] != '\0')
        add_text(act, &length, " ");
    add_text(act, &length, first, shown);
    add_text(act, &length, between);
    add_text(act, &length, second);
    if (length > 0)
        write_record(act, kind, ok);
}

static void write_plain(uint8_t kind, int ok, const char *text)
{
    journal_record act = {};
    write_act(&act, kind, ok, text, "", "");
}

void journal_set(const char *key, const char *value, int ok)
{
    journal_record act = {};
    const char *const shown = is_secret_key(key) ? "***" : value;
    write_act(&act, JOURNAL_SET, ok, key, ok != 0 ? "=" : "", ok != 0 ? shown : "");
}

void journal_commit(int ok)
{
    write_plain(JOURNAL_COMMIT, ok, "");
}

void journal_leds(int state)
{
    const char number[] = {static_cast<char>('0' + state), '\0'};
    write_plain(JOURNAL_LEDS, 1, number);
}

void journal_netctrl(int module, const char *text, int ok)
{
    char message[512];
    snprintf(message, sizeof message, "%d?%s", module, text);
    write_plain(JOURNAL_NETCTRL, ok, message);
}

void journal_command(const char *text)
{
    write_plain(JOURNAL_COMMAND, 1, text);
}

void journal_exec(char *const argv[], const char *redirect)
{
    char text[512] = "";
    size_t length = 0;
    for (char *const *word = argv; *word != nullptr && length < sizeof text; word++)
        length +=
            static_cast<size_t>(snprintf(text + length, sizeof text - length, "%s%s", word == argv ? "" : " ", *word));
    journal_record act = {};
    write_act(&act, JOURNAL_EXEC, 1, text, redirect != nullptr ? " " : "", redirect != nullptr ? redirect : "");
}

void journal_reboot()
{
    write_plain(JOURNAL_REBOOT, 1, "");
}

void journal_wan_lan_check(const char *address, const char *netmask)
{
    journal_record act = {};
    write_act(&act, JOURNAL_WAN_LAN_CHECK, 1, address, " ", netmask);
}

void journal_file(const char *text)
{
    write_plain(JOURNAL_FILE, 1, text);
}

void journal_note(const char *text)
{
    write_plain(JOURNAL_NOTE, 1, text);
}

void journal_note_end(const char *reason)
{
    write_plain(JOURNAL_END, 1, reason);
}

void journal_note_start(const char *text, const journal_record *why)
{
    journal_record note = *why;
    write_act(&note, JOURNAL_START, 1, text, "", "");
}
