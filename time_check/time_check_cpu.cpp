#include "time_check/time_check_cpu.h"

#include <cstring>
#include <sys/select.h>

#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"
#include "time_check/time_check_watchdog.h"

// The first line of /proc/stat. What a kernel does not print stays 0.
struct time_check_exe_totle_cpu_time {
    unsigned long long user;
    unsigned long long nice;
    unsigned long long system;
    unsigned long long idle;
    unsigned long long iowait;
    unsigned long long irq;
    unsigned long long softirq;
    unsigned long long stealstolen;
    unsigned long long guest;
};

// The times in /proc/PID/stat.
struct time_check_exe_process_cpu_time {
    unsigned long long utime;
    unsigned long long stime;
    unsigned long long cutime;
    unsigned long long cstime;
};

constexpr char machine_stat[] = "/proc/stat";
constexpr size_t STAT_LINE_SIZE = 1024;
constexpr uint32_t UTIME_FIELD = 14; // of /proc/PID/stat
constexpr uint32_t SAMPLE_US = 100000;

constexpr uint32_t FIRST_PERIOD = 1; // periods are in ticks
constexpr uint32_t LONGEST_PERIOD = 256;
constexpr uint32_t OVER_LIMIT_PERIOD = 8;
constexpr uint32_t KILL_SAMPLES = 32;

static struct cpu_state {
    struct time_check_cpu time_check_cpu_struct; // what the hooks are given
    cpu_verdict verdicts[TIME_CHECK_EXE_MAX];    // the last tick's, by row
} state;

static time_check_msg_ops sys_time_check_cpu_ops = own_handler(TIME_CHECK_CPU, time_check_cpu_msg_handle);

// ---- what it tells of itself ----

static_assert(TIME_CHECK_EXE_MAX <= STATUS_PROGRAMS);

static void tell_program(uint32_t index)
{
    const time_check_exe_struct *row = &state.time_check_cpu_struct.exe_info[index];
    status_program *told = &status_memory.main.cpu.programs[index];
    copy_text(told->name, sizeof told->name, row->exe_name);
    told->watched = state.time_check_cpu_struct.enable;
    told->period = row->exe_spa_time;
    told->count = row->exe_problem_check_num;
    told->target = KILL_SAMPLES;
    told->share = time_check_tenths(row->exe_cpu);
    told->limit = time_check_tenths(row->exe_cpu_max);
    status_memory.main.changed = 1;
}

static void tell_table()
{
    status_watchdog *told = &status_memory.main.cpu;
    told->enabled = state.time_check_cpu_struct.enable;
    told->num = state.time_check_cpu_struct.user_exe_num;
    for (uint32_t i = 0; i < told->num; i++)
        tell_program(i);
}

// ---- table and messages ----

WITH_FRACTIONS int32_t set_time_check_cpu_info()
{
    struct time_check_cpu *s = &state.time_check_cpu_struct;
    memset(s, 0, sizeof *s);
    const float cpus = static_cast<float>(time_check_cpu_get_cpu_num()); // 0 makes the limits infinite
    s->enable = 1;
    for (uint32_t i = 0; i < exe_info_num && i < TIME_CHECK_EXE_MAX; i++) {
        s->exe_info[i] = exe_info[i];
        s->exe_info[i].exe_cpu_max = exe_info[i].exe_cpu_max / cpus;
        s->user_exe_num++;
    }
    tell_table();
    time_check_print_struct_info();
    return 1;
}

void time_check_cpu_init()
{
    set_time_check_cpu_info();
    register_time_check_module_msg_opses(&sys_time_check_cpu_ops, 1);
}

int32_t time_check_cpu_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    switch (msg->op) {
    case OP_START:
        time_check_cpu_start(msg);
        break;
    case OP_STOP:
        time_check_cpu_stop(msg);
        break;
    case OP_RESTART:
        time_check_cpu_restart(msg);
        break;
    default:
        break;
    }
    return 1;
}

// Switches the rows that `target` names, each back at its first period. The lines are the caller's.
static void switch_rows(const char *target, uint32_t enable, const char *function = __builtin_FUNCTION())
{
    const bool all = time_check_names_all_programs(target);
    bool found = false;
    for (uint32_t i = 0; i < state.time_check_cpu_struct.user_exe_num; i++) {
        time_check_exe_struct *row = &state.time_check_cpu_struct.exe_info[i];
        if (row->exe_name[0] == '\0')
            break;
        if (!all && strcmp(row->exe_name, target) != 0)
            continue;
        row->exe_enable = enable;
        row->exe_check_in = 0;
        row->exe_check_reslut = 0;
        row->exe_spa_time = FIRST_PERIOD;
        row->exe_check_num = 0;
        row->exe_problem_check_num = 0;
        LOG_PROGRESS_OF(function, "%s check %s\n", row->exe_name, enable == 1 ? "enable" : "disable");
        found = true;
        if (!all)
            break;
    }
    tell_table();
    if (!found)
        LOG_ERROR_OF(function, "connot found (%s) in TIME_CHECK_CPU_STRUCT!\n", target); // compat 18
    time_check_print_struct_info();
}

int32_t time_check_cpu_start(const TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    state.time_check_cpu_struct.enable = 1;
    switch_rows(msg->string_info, 1);
    return 1;
}

int32_t time_check_cpu_stop(const TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    state.time_check_cpu_struct.enable = 0;
    switch_rows(msg->string_info, 0);
    return 1;
}

int32_t time_check_cpu_restart(const TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    return time_check_cpu_start(msg);
}

// The lines of both dumps, printed as the caller's; a full one has two more a row.
WITH_FRACTIONS static void print_rows(bool is_full, const char *function = __builtin_FUNCTION())
{
    if (_DEBUG_LIST_[TIME_CHECK_CPU] != 1)
        return;
    for (uint32_t i = 0; i < state.time_check_cpu_struct.user_exe_num; i++) {
        const time_check_exe_struct *row = &state.time_check_cpu_struct.exe_info[i];
        if (is_full)
            LOG_DUMP_OF(function, "num:\t%d!\n", i);
        LOG_DUMP_OF(function, "EXE_NAME:\t%s!\n", row->exe_name);
        if (is_full)
            LOG_DUMP_OF(function, "EXE_ENABLE:\t%d!\n", row->exe_enable);
        LOG_DUMP_OF(function, "EXE_CHECK_IN:\t%d!\n", row->exe_check_in);
        LOG_DUMP_OF(function, "EXE_CPU:\t%.1f!\n", static_cast<double>(row->exe_cpu));
        LOG_DUMP_OF(function, "EXE_CHECK_RESULT:\t%d!\n", row->exe_check_reslut);
        LOG_DUMP_OF(function, "EXE_PID:\t%d!\n", row->exe_pid);
        LOG_DUMP_OF(function, "EXE_PID_FILE:\t%s!\n", row->exe_pid_file);
        LOG_DUMP_OF(function, "EXE_SPA_TIME:\t%d!\n", row->exe_spa_time);
        LOG_DUMP_OF(function, "EXE_CHECK_NUM:\t%d!\n", row->exe_check_num);
        LOG_DUMP_OF(function, "EXE_PROBLEM_CHECK_NUM:\t%d!\n", row->exe_problem_check_num);
    }
}

void time_check_print_struct_info()
{
    // Misspelt (compat 19).
    LOG_DEBUG(TIME_CHECK_CPU, "totle %d exe!\n", state.time_check_cpu_struct.user_exe_num);
    print_rows(true);
}

void time_check_print_check_info()
{
    print_rows(false);
}

// ---- accounting ----

uint32_t time_check_cpu_get_cpu_num()
{
    line_reader reader;
    if (!open_lines(&reader, machine_stat)) {
        LOG_DEBUG(TIME_CHECK_CPU, "open /proc/stat file error\n");
        return 1;
    }
    uint32_t cpus = 0;
    char line[STAT_LINE_SIZE];
    read_line(&reader, line, sizeof line); // all CPUs together
    while (read_line(&reader, line, sizeof line))
        if (strstr(line, "cpu") != nullptr)
            cpus++;
    close_lines(&reader);
    return cpus;
}

// The first line of `path`, "" when the file is empty. False: it cannot be opened.
static bool read_first_line(const char *path, char *line, size_t size)
{
    line_reader reader;
    if (!open_lines(&reader, path))
        return false;
    read_line(&reader, line, size);
    close_lines(&reader);
    return true;
}

uint32_t time_check_cpu_get_total_cpu_time()
{
    char line[STAT_LINE_SIZE];
    if (!read_first_line(machine_stat, line, sizeof line)) {
        LOG_DEBUG(TIME_CHECK_CPU, "open /proc/stat file error\n");
        return 0;
    }
    LOG_DEBUG(TIME_CHECK_CPU, "buff=%s\n", line);
    time_check_exe_totle_cpu_time t = {};
    sscanf(line, "%*s %llu %llu %llu %llu %llu %llu %llu %llu %llu", &t.user, &t.nice, &t.system, &t.idle, &t.iowait,
           &t.irq, &t.softirq, &t.stealstolen, &t.guest);
    LOG_DEBUG(TIME_CHECK_CPU, "%llu %llu %llu %llu %llu %llu %llu %llu %llu\n", t.user, t.nice, t.system, t.idle,
              t.iowait, t.irq, t.softirq, t.stealstolen, t.guest);
    return static_cast<uint32_t>(t.user + t.nice + t.system + t.idle + t.iowait + t.irq + t.softirq + t.stealstolen +
                                 t.guest);
}

uint32_t time_check_cpu_get_pid(uint32_t index)
{
    const char *path = state.time_check_cpu_struct.exe_info[index].exe_pid_file;
    char line[128];
    LOG_DEBUG(TIME_CHECK_CPU, "file %s!\n", path);
    if (!read_first_line(path, line, sizeof line)) {
        LOG_DEBUG(TIME_CHECK_CPU, "open %s fail!\n", path);
        return 0;
    }
    return static_cast<uint32_t>(time_check_atoi(line));
}

const char *time_check_cpu_get_items(const char *line, uint32_t number)
{
    if (line == nullptr)
        return nullptr;
    for (uint32_t field = 1; field < number && *line != '\0'; line++)
        if (*line == ' ')
            field++;
    return line;
}

uint32_t time_check_cpu_get_total_cpu_time_by_pid(uint32_t pid)
{
    if (pid == 0)
        return 0;
    char path[32];
    char line[STAT_LINE_SIZE];
    snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int32_t>(pid));
    if (!read_first_line(path, line, sizeof line)) {
        LOG_DEBUG(TIME_CHECK_CPU, "open %s file error\n", path);
        return 0;
    }
    LOG_DEBUG(TIME_CHECK_CPU, "buff=%s\n", line);
    const char *value = time_check_cpu_get_items(line, UTIME_FIELD);
    LOG_DEBUG(TIME_CHECK_CPU, "value=%s\n", value);
    time_check_exe_process_cpu_time t = {};
    sscanf(value, "%llu %llu %llu %llu", &t.utime, &t.stime, &t.cutime, &t.cstime);
    LOG_DEBUG(TIME_CHECK_CPU, "%llu %llu %llu %llu\n", t.utime, t.stime, t.cutime, t.cstime);
    return static_cast<uint32_t>(t.utime + t.stime + t.cutime + t.cstime);
}

int velto_usleep(uint32_t us)
{
    constexpr uint32_t US_PER_S = 1000000;
    struct timeval pause = {.tv_sec = us / US_PER_S, .tv_usec = us % US_PER_S};
    return select(0, nullptr, nullptr, nullptr, &pause);
}

// What a process used between two samples, in percent of what the machine did. A total that went back counts as 0
// (decision 0052).
WITH_FRACTIONS static float cpu_share(uint64_t machine_before, uint64_t machine_after, uint64_t before, uint64_t after)
{
    if (machine_after <= machine_before || after <= before)
        return 0;
    return static_cast<float>(static_cast<double>(after - before) * 100.0 /
                              static_cast<double>(machine_after - machine_before));
}

WITH_FRACTIONS int32_t time_check_cpu_get_cpu()
{
    struct time_check_cpu *s = &state.time_check_cpu_struct;
    uint64_t before[TIME_CHECK_EXE_MAX] = {};
    uint64_t after[TIME_CHECK_EXE_MAX] = {};
    uint64_t machine_before = 0;
    bool sampled = false;
    for (uint32_t i = 0; i < s->user_exe_num; i++) {
        time_check_exe_struct *row = &s->exe_info[i];
        if (row->exe_check_in != 1) {
            row->exe_cpu = 0;
            continue;
        }
        row->exe_pid = time_check_cpu_get_pid(i);
        if (!sampled)
            machine_before = time_check_cpu_get_total_cpu_time();
        before[i] = time_check_cpu_get_total_cpu_time_by_pid(row->exe_pid);
        sampled = true;
    }
    if (!sampled)
        return 1;

    velto_usleep(SAMPLE_US);
    const uint64_t machine_after = time_check_cpu_get_total_cpu_time();
    for (uint32_t i = 0; i < s->user_exe_num; i++)
        if (s->exe_info[i].exe_check_in == 1)
            after[i] = time_check_cpu_get_total_cpu_time_by_pid(s->exe_info[i].exe_pid);
    for (uint32_t i = 0; i < s->user_exe_num; i++)
        s->exe_info[i].exe_cpu = cpu_share(machine_before, machine_after, before[i], after[i]);
    return 1;
}

WITH_FRACTIONS static bool is_over(const time_check_exe_struct *row)
{
    return row->exe_cpu >= row->exe_cpu_max;
}

WITH_FRACTIONS int32_t time_check_cpu_get_check_results()
{
    struct time_check_cpu *s = &state.time_check_cpu_struct;
    time_check_cpu_get_cpu();
    for (uint32_t i = 0; i < s->user_exe_num; i++) {
        time_check_exe_struct *row = &s->exe_info[i];
        row->exe_check_reslut = 0;
        if (row->exe_check_in != 1)
            continue;
        LOG_DEBUG(TIME_CHECK_CPU, "(%s)cpu=%.1f,cpu_max=%.1f\n", row->exe_name, static_cast<double>(row->exe_cpu),
                  static_cast<double>(row->exe_cpu_max));
        const bool over = is_over(row);
        const bool excused = over && row->func != nullptr && row->func(i, s) == 1;
        row->exe_check_reslut = over && !excused;
    }
    return 1;
}

// ---- the tick ----

// Decides which rows this tick samples.
static void schedule_samples()
{
    for (uint32_t i = 0; i < state.time_check_cpu_struct.user_exe_num; i++) {
        time_check_exe_struct *row = &state.time_check_cpu_struct.exe_info[i];
        row->exe_check_num++;
        row->exe_check_reslut = 0;
        row->exe_check_in = row->exe_check_num == row->exe_spa_time;
        if (row->exe_check_in == 1)
            row->exe_check_num = 0;
    }
}

// The count of samples stays, so that a successor which is over its limit too is killed at its first sample
// (compat 61). The lines are the caller's.
WITH_FRACTIONS static void kill_program(const time_check_exe_struct *row, const char *function = __builtin_FUNCTION())
{
    // The limit, not the use (compat 62).
    LOG_PROGRESS_OF(function, "(%s) used cpu up %.1f for %d times(totle %ds)\n", row->exe_name,
                    static_cast<double>(row->exe_cpu_max), row->exe_problem_check_num,
                    KILL_SAMPLES * OVER_LIMIT_PERIOD);
    time_check_kill_program(row->exe_name, row->exe_system_cmd, function);
}

static cpu_verdict judge(const time_check_exe_struct *row)
{
    if (row->exe_check_in != 1)
        return cpu_verdict::not_due;
    if (row->exe_check_reslut != 1)
        return is_over(row) ? cpu_verdict::excused : cpu_verdict::within_limit;
    if (row->exe_problem_check_num + 1 < KILL_SAMPLES)
        return cpu_verdict::over_limit;
    return cpu_verdict::over_for_long;
}

int32_t time_check_cpu_main()
{
    schedule_samples();
    LOG_DEBUG(TIME_CHECK_CPU, "before!\n");
    time_check_print_check_info();
    time_check_cpu_get_check_results();
    LOG_DEBUG(TIME_CHECK_CPU, "after!\n");
    time_check_print_check_info();

    for (uint32_t i = 0; i < state.time_check_cpu_struct.user_exe_num; i++) {
        time_check_exe_struct *row = &state.time_check_cpu_struct.exe_info[i];
        const cpu_verdict verdict = judge(row);
        state.verdicts[i] = verdict;
        if (row->exe_check_in != 1)
            continue;
        time_check_tell_look(&status_memory.main.rows[STATUS_CPU], &status_memory.main.cpu.programs[i],
                             static_cast<uint8_t>(verdict));
        switch (verdict) {
        case cpu_verdict::within_limit:
        case cpu_verdict::excused:
            row->exe_problem_check_num = 0;
            if (row->exe_spa_time < LONGEST_PERIOD)
                row->exe_spa_time *= 2;
            break;
        default: // over the limit
            row->exe_problem_check_num++;
            row->exe_spa_time = OVER_LIMIT_PERIOD;
            if (verdict == cpu_verdict::over_for_long)
                kill_program(row);
            break;
        }
        tell_program(i);
    }
    return 1;
}

int32_t time_check_cpu()
{
    if (state.time_check_cpu_struct.enable != 0)
        return time_check_cpu_main();
    status_judged(&status_memory.main.rows[STATUS_CPU], cpu_verdict::off);
    return 1;
}

cpu_verdict time_check_cpu_verdict(uint32_t index)
{
    return state.time_check_cpu_struct.enable == 0 ? cpu_verdict::off : state.verdicts[index];
}
