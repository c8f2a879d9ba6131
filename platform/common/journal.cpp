// One function an act: its text, whose it is, and why.
#include "platform/common/journal.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/system.h"

// ---- secrets ----

// Such keys of the table of keys, one after the other, each with its end.
#define OF_SETTING(key)
#define OF_SECRET(key) key "\0"
#define OF_STATE(key)
#define OF_PUBLISHED(key)
#define CONFIG_WAN_KEY(NAME, field, TYPE, range, standard, KIND, ...) OF_##KIND("wan%d" field)
#define CONFIG_KEY(NAME, key, TYPE, range, standard, KIND, ...)       OF_##KIND(key)
static constexpr char SECRETS[] =
#include "platform/config_keys.def"
    ;

static constexpr bool are_plain_keys()
{
    for (const char character : SECRETS)
        if (character == '%')
            return false;
    return true;
}
static_assert(are_plain_keys(), "a secret pattern of keys needs more than a look into the store");

// Whether the text goes on with this value as it stands inside a shell's quotes.
static bool goes_on_with(const char *text, const char *value)
{
    for (; *value != '\0'; value++, text++) {
        if (*text != *value)
            return false;
        if (strncmp(text, "'\\''", 4) == 0)
            text += 3;
    }
    return true;
}

static bool holds(const char *text, const char *value)
{
    if (strstr(text, value) != nullptr)
        return true;
    for (; *text != '\0'; text++)
        if (goes_on_with(text, value))
            return true;
    return false;
}

// The beginning of a value is enough: the daemon's own buffers may have cut the rest. An account's two options give it
// away also while its password is changed in the store (decision 0158).
static bool holds_a_secret(const char *text)
{
    for (const char *key = SECRETS; *key != '\0'; key += strlen(key) + 1) {
        char value[32];
        if (journal_look_up(key, value, sizeof value) != 0 && value[0] != '\0' && holds(text, value))
            return true;
    }
    return strstr(text, " -u ") != nullptr && strstr(text, " -p ") != nullptr;
}

static bool is_secret(const char *key)
{
    const char *secret = SECRETS;
    while (*secret != '\0' && strcmp(secret, key) != 0)
        secret += strlen(secret) + 1;
    return *secret != '\0';
}

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
        status_memory.main.changed = 1;
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

// "WORD TEXT", the second part left out where it is empty; what follows the first word of a text that holds a secret
// is hidden.
static void write_text(uint8_t kind, int ok, const char *word, const char *text, bool may_hold_a_secret)
{
    journal_record act = {};
    const bool is_hidden = may_hold_a_secret && holds_a_secret(text);
    const int length = is_hidden ? static_cast<int>(strcspn(text, " ?")) : JOURNAL_TEXT_SIZE;
    snprintf(act.text, sizeof act.text, "%s%.*s%s", word, length, text, is_hidden ? " ***" : "");
    write_record(&act, kind, ok);
}

void journal_set(const char *key, const char *value, int ok)
{
    journal_record act = {};
    if (ok == 0)
        snprintf(act.text, sizeof act.text, "set failed %s", key);
    else
        snprintf(act.text, sizeof act.text, "set %s=%s", key, is_secret(key) ? "***" : value);
    write_record(&act, JOURNAL_SET, ok);
}

void journal_commit(int ok)
{
    write_text(JOURNAL_COMMIT, ok, ok != 0 ? "commit" : "commit failed", "", false);
}

void journal_leds(int state)
{
    const char number[] = {static_cast<char>('0' + state), '\0'};
    write_text(JOURNAL_LEDS, 1, "leds ", number, false);
}

void journal_netctrl(int module, const char *text, int ok)
{
    char message[JOURNAL_TEXT_SIZE];
    snprintf(message, sizeof message, "%d?%s", module, text);
    write_text(JOURNAL_NETCTRL, ok, ok != 0 ? "netctrl " : "netctrl failed ", message, true);
}

void journal_command(const char *text)
{
    write_text(JOURNAL_COMMAND, 1, "command ", text, true);
}

void journal_exec(char *const argv[], const char *redirect)
{
    char text[512];
    size_t length = 0;
    for (char *const *word = argv; *word != nullptr && length < sizeof text; word++)
        length +=
            static_cast<size_t>(snprintf(text + length, sizeof text - length, word == argv ? "%s" : " %s", *word));
    if (redirect != nullptr && length < sizeof text)
        snprintf(text + length, sizeof text - length, " %s", redirect);
    write_text(JOURNAL_EXEC, 1, "exec ", text, true);
}

void journal_reboot()
{
    write_text(JOURNAL_REBOOT, 1, "reboot", "", false);
}

void journal_wan_lan_check(const char *address, const char *netmask)
{
    journal_record act = {};
    snprintf(act.text, sizeof act.text, "wan_lan_check %s %s", address, netmask);
    write_record(&act, JOURNAL_WAN_LAN_CHECK, 1);
}

void journal_act(uint8_t kind, const char *text, int ok)
{
    write_text(kind, ok, "", text, false);
}

void journal_note(const char *text)
{
    write_text(JOURNAL_NOTE, 1, "", text, false);
}

void journal_note_end(const char *reason)
{
    write_text(JOURNAL_END, 1, "ended: ", reason, false);
}

void journal_note_start(const char *text, const journal_record *why)
{
    journal_record note = *why;
    snprintf(note.text, sizeof note.text, "started: %s", text);
    write_record(&note, JOURNAL_START, 1);
}
