#include "time_check/time_check_watchdog.h"

#include <cstring>

#include "platform/system.h"
#include "time_check/time_check_log.h"

// No other capitalisation: a program may be called "All".
bool time_check_names_all_programs(const char *target)
{
    return strcmp(target, "all") == 0 || strcmp(target, "ALL") == 0;
}

void time_check_kill_program(const char *name, const char *command, const char *function)
{
    doSystemCmd("killall -9 %s", name);
    if (command[0] != '\0') {
        LOG_PROGRESS_OF(function, "(%s cmd):%s\n", name, command);
        doSystemCmd("%s", command);
    }
}
