#include "time_check/time_check_watchdog.h"

#include <cstring>

#include "platform/system.h"
#include "time_check/time_check.h"

// No other capitalisation: a program may be called "All".
bool time_check_names_all_programs(const char *target)
{
    return strcmp(target, "all") == 0 || strcmp(target, "ALL") == 0;
}

void time_check_kill_program(const char *function, const char *name, const char *command)
{
    doSystemCmd("killall -9 %s", name);
    if (command[0] != '\0') {
        LOG_ERROR_OF(function, "(%s cmd):%s\n", name, command);
        doSystemCmd("%s", command);
    }
}
