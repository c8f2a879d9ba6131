// For grounds that show the status page to nobody else; those that do have a status_publish of their own.
#include "platform/status.h"

void status_publish(status_part part)
{
    if (part == STATUS_PART_MAIN)
        status_memory.main.changed = 0;
    else
        status_memory.wans.changed = 0;
}
