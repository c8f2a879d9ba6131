#include "time_check/time_check_watchdog.h"

#include <cstring>
#include <ctime>

#include "platform/system.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"

// No other capitalisation: a program may be called "All".
bool time_check_names_all_programs(const char *target)
{
    return strcmp(target, "all") == 0 || strcmp(target, "ALL") == 0;
}

void time_check_tell_look(status_row *row, status_program *program, uint8_t verdict)
{
    status_judged(row, verdict);
    status_note(&program->looked, time(nullptr));
    status_note(&program->verdict, verdict);
}

uint32_t time_check_tenths(float percent)
{
    return percent < 100000 ? static_cast<uint32_t>(percent * 10) : UINT32_MAX;
}

void time_check_kill_program(const char *name, const char *command, const char *function)
{
    doSystemCmd("killall -9 %s", name);
    if (command[0] != '\0') {
        LOG_PROGRESS_OF(function, "(%s cmd):%s\n", name, command);
        doSystemCmd("%s", command);
    }
}
