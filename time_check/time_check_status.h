// What the modules tell of themselves: platform/status.h's page, filled as their rules run.
//
// The main loop's calls are for its thread, those on `wans` for the reachability thread. A second in which nothing is
// found that was not found before costs a few instructions a module: nothing is written then, and nothing published.
#ifndef TIME_CHECK_TIME_CHECK_STATUS_H
#define TIME_CHECK_TIME_CHECK_STATUS_H

#include <cstddef>
#include <cstdint>

#include "platform/status.h"

// A row that comes to another verdict, or at the start to its first: since when. It counts nothing yet.
void status_turned(status_row *row, uint8_t verdict);

// Says who acts from now on, and before any of its rules has found anything.
inline void status_begin(uint8_t who, uint8_t before)
{
    status_memory.main.acting = who;
    status_memory.main.acting_verdict = before;
}

// What is done next is done because of `verdict`, which need not be what the second ends with.
template <typename Verdict>
inline void status_acts_by(Verdict verdict)
{
    status_memory.main.acting_verdict = static_cast<uint8_t>(verdict);
}

// Notes a module's verdict, a number of its own enumeration, before anything is done about it.
inline void status_judged_number(status_row *row, uint8_t verdict)
{
    status_acts_by(verdict);
    if (row->verdict != verdict) {
        status_turned(row, verdict);
        status_memory.main.changed = 1;
    }
}
template <typename Verdict>
inline void status_judged(status_row *row, Verdict verdict)
{
    status_judged_number(row, static_cast<uint8_t>(verdict));
}

// Notes one of the main loop's numbers.
template <typename Field, typename Number>
inline void status_note(Field *field, Number number)
{
    if (*field != static_cast<Field>(number)) {
        *field = static_cast<Field>(number);
        status_field_changed(field, sizeof *field);
    }
}

// Notes one of the main loop's texts, cut to its field of `size` bytes.
void status_note_text(char *field, size_t size, const char *text);

// How far a verdict's count is, of how much; 0 of 0: it counts nothing.
inline void status_count(status_row *row, uint32_t count, uint32_t target)
{
    status_note(&row->count, count);
    status_note(&row->target, target);
}

// ---- for the reachability thread ----

// What is told of WAN `wan_id` (1 or 2).
inline status_wan *status_of_wan(int wan_id)
{
    return &status_memory.wans.wan[wan_id - 1];
}

// Says of which WAN the next acts are, and before its rule has found anything.
void status_begin_wan(int wan_id, uint8_t before);

// Notes a WAN's verdict, before anything is done about it.
void status_wan_judged(int wan_id, uint8_t verdict);

// ---- the ends ----

// The second is over: what has changed is published.
inline void status_end_second()
{
    if (status_memory.main.changed != 0)
        status_publish(STATUS_PART_MAIN);
}

#endif
