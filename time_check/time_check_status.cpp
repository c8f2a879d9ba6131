#include "time_check/time_check_status.h"

#include <ctime>

#include "platform/system.h"

void status_turned(status_row *row, uint8_t verdict)
{
    row->verdict = verdict;
    row->next = 0;
    row->since = time(nullptr);
    row->since_uptime = get_uptime();
}
