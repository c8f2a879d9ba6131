// Looking for a process where nothing is remembered of the last look.
#include "platform/system.h"

#include "platform/linux/process.h"

int check_app(const char *name)
{
    return name != nullptr && name[0] != '\0' && find_process(name) != NO_PROCESS ? 1 : 0;
}
