#include "time_check/time_check_status.h"

#include <cstring>
#include <ctime>

#include "platform/system.h"
#include "time_check/time_check_text.h"

void status_turned(status_row *row, uint8_t verdict)
{
    row->verdict = verdict;
    row->next = 0;
    row->count = 0;
    row->target = 0;
    row->since = time(nullptr);
    row->since_uptime = get_uptime();
}

void status_note_text(char *field, size_t size, const char *text)
{
    char before[32];
    copy_text(before, sizeof before, field);
    copy_text(field, size, text);
    if (strcmp(before, field) != 0)
        status_memory.main.changed = 1;
}

void status_begin_wan(int wan_id, uint8_t before)
{
    status_memory.wans.acting = static_cast<uint8_t>(STATUS_WAN1 + wan_id - 1);
    status_memory.wans.acting_verdict = before;
}

void status_wan_judged(int wan_id, uint8_t verdict)
{
    status_row *row = &status_of_wan(wan_id)->row;
    status_memory.wans.acting_verdict = verdict;
    if (row->verdict != verdict)
        status_turned(row, verdict);
}
