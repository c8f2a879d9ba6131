#include "time_check/time_check_daemon.h"

#include <cstring>
#include <dirent.h>
#include <sys/wait.h>

#include "platform/config_store.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"
#include "time_check/time_check_watchdog.h"

static struct daemon_state {
    struct time_check_daemon time_check_daemon_struct;               // what the hooks are given
    uint32_t time_check_daemon_check_num[TIME_CHECK_DAEMON_EXE_MAX]; // ticks since the row's last look
    daemon_verdict verdicts[TIME_CHECK_DAEMON_EXE_MAX];              // the last tick's, by row
} state;

static time_check_msg_ops sys_time_check_daemon_ops = own_handler(TIME_CHECK_DAEMON, time_check_daemon_msg_handle);

// ---- what it tells of itself ----

static_assert(TIME_CHECK_DAEMON_EXE_MAX <= STATUS_PROGRAMS);

static void tell_program(uint32_t index)
{
    const time_check_daemon_exe_struct *row = &state.time_check_daemon_struct.daemon_exe_info[index];
    status_program *told = &status_memory.main.daemon.programs[index];
    copy_text(told->name, sizeof told->name, row->daemon_exe_name);
    told->watched = state.time_check_daemon_struct.enable != 0 && row->daemon_exe_enable == 1;
    told->period = row->daemon_exe_spa_time;
    told->count = row->daemon_exe_problem_check_num;
    told->target = row->daemon_exe_check_num;
    status_memory.main.changed = 1;
}

static void tell_table()
{
    status_memory.main.daemon.enabled = state.time_check_daemon_struct.enable;
    status_memory.main.daemon.num = state.time_check_daemon_struct.user_daemon_exe_num;
    for (uint32_t i = 0; i < state.time_check_daemon_struct.user_daemon_exe_num; i++)
        tell_program(i);
}

// A program that nobody watches is not looked at, and tells nothing but that.
static void tell_look(uint32_t index)
{
    status_row *row = &status_memory.main.rows[STATUS_DAEMON];
    status_program *told = &status_memory.main.daemon.programs[index];
    if (state.verdicts[index] != daemon_verdict::not_watched) {
        time_check_tell_look(row, told, static_cast<uint8_t>(state.verdicts[index]));
    } else {
        status_judged(row, daemon_verdict::not_watched);
        status_note(&told->verdict, daemon_verdict::not_watched);
    }
}

// ---- table and messages ----

// The number under the row's key, which overrules `wanted`; 0 when the key is missing.
static uint32_t enable_by_key(const time_check_daemon_exe_struct *row, uint32_t wanted)
{
    char value[64];
    if (row->daemon_exe_enable_mib[0] == '\0')
        return wanted;
    GetValue(row->daemon_exe_enable_mib, value);
    return static_cast<uint32_t>(time_check_atoi(value));
}

int32_t set_time_check_daemon_info()
{
    struct time_check_daemon *s = &state.time_check_daemon_struct;
    memset(s, 0, sizeof *s);
    s->enable = 1;
    for (uint32_t i = 0; i < daemon_exe_info_num && i < TIME_CHECK_DAEMON_EXE_MAX; i++) {
        time_check_daemon_exe_struct *row = &s->daemon_exe_info[i];
        *row = daemon_exe_info[i];
        row->daemon_exe_enable = enable_by_key(row, row->daemon_exe_enable);
        s->user_daemon_exe_num++;
    }
    tell_table();
    time_check_daemon_exe_print_struct_info();
    return 1;
}

void time_check_daemon_init()
{
    set_time_check_daemon_info();
    register_time_check_module_msg_opses(&sys_time_check_daemon_ops, 1);
}

// Switches the rows that `target` names; their ticks go on. The lines are the caller's.
static void switch_rows(const char *target, bool start, const char *function = __builtin_FUNCTION())
{
    const bool all = time_check_names_all_programs(target);
    bool found = false;
    for (uint32_t i = 0; i < state.time_check_daemon_struct.user_daemon_exe_num; i++) {
        time_check_daemon_exe_struct *row = &state.time_check_daemon_struct.daemon_exe_info[i];
        if (row->daemon_exe_name[0] == '\0')
            break;
        if (!all && strcmp(row->daemon_exe_name, target) != 0)
            continue;
        row->daemon_exe_enable = start ? enable_by_key(row, 1) : 0;
        row->daemon_exe_problem_check_num = 0;
        LOG_PROGRESS_OF(function, "%s check %s\n", row->daemon_exe_name,
                        row->daemon_exe_enable == 1 ? "enable" : "disable");
        found = true;
        if (!all)
            break;
    }
    tell_table();
    if (!found)
        LOG_ERROR_OF(function, "connot found (%s) in TIME_CHECK_DAEMON_STRUCT!\n", target); // compat 18
    time_check_daemon_exe_print_struct_info();
}

static void time_check_daemon_start(const TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    state.time_check_daemon_struct.enable = 1;
    switch_rows(msg->string_info, true);
}

// Stopping one program switches the whole module off, as in the CPU watchdog (compat 58).
static void time_check_daemon_stop(const TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    state.time_check_daemon_struct.enable = 0;
    switch_rows(msg->string_info, false);
}

static void time_check_daemon_restart(const TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    time_check_daemon_start(msg);
}

int32_t time_check_daemon_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    switch (msg->op) {
    case OP_START:
        time_check_daemon_start(msg);
        break;
    case OP_STOP:
        time_check_daemon_stop(msg);
        break;
    case OP_RESTART:
        time_check_daemon_restart(msg);
        break;
    default:
        break;
    }
    return 1;
}

void time_check_daemon_exe_print_struct_info()
{
    if (_DEBUG_LIST_[TIME_CHECK_DAEMON] != 1)
        return;
    LOG_DUMP_OF(__func__, "totle %d exe!\n", state.time_check_daemon_struct.user_daemon_exe_num);
    for (uint32_t i = 0; i < state.time_check_daemon_struct.user_daemon_exe_num; i++) {
        const time_check_daemon_exe_struct *row = &state.time_check_daemon_struct.daemon_exe_info[i];
        LOG_DUMP_OF(__func__, "num:\t%d!\n", i);
        LOG_DUMP_OF(__func__, "DAEMON_EXE_NAME:\t%s!\n", row->daemon_exe_name);
        LOG_DUMP_OF(__func__, "DAEMON_EXE_ENABLE:\t%d!\n", row->daemon_exe_enable);
        LOG_DUMP_OF(__func__, "DAEMON_EXE_SYSTEM_CMD:\t%s!\n", row->daemon_exe_system_cmd);
        LOG_DUMP_OF(__func__, "DAEMON_EXE_SPA_TIME:\t%d!\n", row->daemon_exe_spa_time);
        LOG_DUMP_OF(__func__, "DAEMON_EXE_CHECK_NUM:\t%d!\n", row->daemon_exe_check_num);
        LOG_DUMP_OF(__func__, "DAEMON_EXE_PROBLEM_CHECK_NUM:\t%d!\n", row->daemon_exe_problem_check_num);
    }
}

// ---- the look ----

int32_t time_check_daemon_uload(const char *name)
{
    constexpr int OWN_LINES = 2; // the pipeline's shell and grep have the name in their command lines (compat 63)
    char command[64];
    char line[64];
    snprintf(command, sizeof command, "ps | grep %s", name);
    FILE *pipe = popen(command, "r");
    if (pipe == nullptr)
        return -1;
    int reads = 0;
    while (reads <= OWN_LINES && fgets(line, sizeof line, pipe) != nullptr)
        reads++;
    const bool runs = reads > OWN_LINES;
    if (runs)
        LOG_DEBUG(TIME_CHECK_DAEMON, "exe(%s) not exit!\n", name); // compat 24
    const int status = pclose(pipe);
    if (runs)
        return 0;
    return WIFSIGNALED(status) ? -1 : 1; // a shell that was ended has not shown everything (decision 0051)
}

// The list of processes is only looked at for a row that is watched, and the product only asked when the program was
// not in it. Both are asked here, so this one judge has effects outside.
static daemon_verdict judge(const time_check_daemon_exe_struct *row)
{
    if (row->daemon_exe_enable != 1)
        return daemon_verdict::not_watched;
    const int32_t missing = time_check_daemon_uload(row->daemon_exe_name);
    if (missing != 1)
        return missing == 0 ? daemon_verdict::runs : daemon_verdict::look_failed;
    if (row->func != nullptr && row->func(&state.time_check_daemon_struct) != 1)
        return daemon_verdict::excused;
    if (row->daemon_exe_problem_check_num + 1 != row->daemon_exe_check_num)
        return daemon_verdict::missing;
    return daemon_verdict::missing_for_long;
}

int32_t time_check_daemon_need_restart(int8_t index)
{
    switch (judge(&state.time_check_daemon_struct.daemon_exe_info[index])) {
    case daemon_verdict::missing:
    case daemon_verdict::missing_for_long:
        return 1;
    case daemon_verdict::look_failed:
        return -1;
    default:
        return 0;
    }
}

int32_t check_if_dir_empty(const char *path)
{
    DIR *directory = opendir(path);
    if (directory == nullptr)
        return 0;
    int32_t found = 0;
    for (const dirent *entry = readdir(directory); entry != nullptr && found == 0; entry = readdir(directory))
        found = strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0;
    closedir(directory);
    return found;
}

// ---- the tick ----

// One more missing look. The line is the caller's.
static void count_missing(time_check_daemon_exe_struct *row, const char *function = __builtin_FUNCTION())
{
    row->daemon_exe_problem_check_num++;
    LOG_DEBUG_OF(TIME_CHECK_DAEMON, function, "DAEMON_EXE_PROBLEM_CHECK_NUM:%d!\n", row->daemon_exe_problem_check_num);
}

static void time_check_daemon_main()
{
    for (uint32_t i = 0; i < state.time_check_daemon_struct.user_daemon_exe_num; i++) {
        time_check_daemon_exe_struct *row = &state.time_check_daemon_struct.daemon_exe_info[i];
        state.verdicts[i] = daemon_verdict::not_due;
        state.time_check_daemon_check_num[i]++;
        if (state.time_check_daemon_check_num[i] != row->daemon_exe_spa_time)
            continue;
        state.time_check_daemon_check_num[i] = 0;
        const daemon_verdict verdict = judge(row);
        state.verdicts[i] = verdict;
        tell_look(i);
        switch (verdict) {
        case daemon_verdict::not_watched:
        case daemon_verdict::runs:
        case daemon_verdict::excused:
            row->daemon_exe_problem_check_num = 0;
            break;
        case daemon_verdict::missing:
        case daemon_verdict::missing_for_long:
            count_missing(row);
            if (verdict == daemon_verdict::missing_for_long) {
                row->daemon_exe_problem_check_num = 0;
                time_check_kill_program(row->daemon_exe_name, row->daemon_exe_system_cmd);
            }
            break;
        case daemon_verdict::off:
        case daemon_verdict::not_due:
        case daemon_verdict::look_failed:
            break;
        }
        status_note(&status_memory.main.daemon.programs[i].count, row->daemon_exe_problem_check_num);
    }
}

int32_t time_check_daemon()
{
    if (state.time_check_daemon_struct.enable != 0)
        time_check_daemon_main();
    else
        status_judged(&status_memory.main.rows[STATUS_DAEMON], daemon_verdict::off);
    return 1;
}

daemon_verdict time_check_daemon_verdict(uint32_t index)
{
    return state.time_check_daemon_struct.enable == 0 ? daemon_verdict::off : state.verdicts[index];
}
