// Tables with more rows than are loaded, as a product might bring them.
#include "tests/unit/watched_rows/tables.h"

#include <cstddef>

#include "time_check/time_check_cpu.h"
#include "time_check/time_check_daemon.h"

static int32_t note_excuse(uint32_t index, struct time_check_cpu * /*table*/)
{
    excuses_asked.push_back(index);
    return excuse_answer;
}

static constexpr time_check_exe_struct cpu_row(const char (&name)[6], const char (&pid_file)[16],
                                               time_check_exe_func *func)
{
    time_check_exe_struct row = {};
    for (size_t i = 0; i < sizeof name; i++)
        row.exe_name[i] = name[i];
    for (size_t i = 0; i < sizeof pid_file; i++)
        row.exe_pid_file[i] = pid_file[i];
    row.exe_enable = 1;
    row.exe_cpu_max = 50;
    row.exe_spa_time = 1;
    row.func = func;
    return row;
}

time_check_exe_struct exe_info[] = {
    cpu_row("prog0", "/run/prog_0.pid", nullptr), cpu_row("prog1", "/run/prog_1.pid", note_excuse),
    cpu_row("prog2", "/run/prog_2.pid", nullptr), cpu_row("prog3", "/run/prog_3.pid", nullptr),
    cpu_row("prog4", "/run/prog_4.pid", nullptr), cpu_row("prog5", "/run/prog_5.pid", nullptr),
    cpu_row("prog6", "/run/prog_6.pid", nullptr), cpu_row("prog7", "/run/prog_7.pid", nullptr),
    cpu_row("prog8", "/run/prog_8.pid", nullptr), cpu_row("prog9", "/run/prog_9.pid", nullptr),
    cpu_row("progA", "/run/prog_A.pid", nullptr), cpu_row("progB", "/run/prog_B.pid", nullptr),
};
uint32_t exe_info_num = 12;

static constexpr time_check_daemon_exe_struct daemon_row(const char (&name)[6], uint32_t spa_time, uint32_t check_num)
{
    time_check_daemon_exe_struct row = {};
    for (size_t i = 0; i < sizeof name; i++)
        row.daemon_exe_name[i] = name[i];
    row.daemon_exe_spa_time = spa_time;
    row.daemon_exe_check_num = check_num;
    return row;
}

time_check_daemon_exe_struct daemon_exe_info[] = {
    daemon_row("serv0", 1, 2), daemon_row("serv1", 2, 2), daemon_row("serv2", 5, 1), daemon_row("serv3", 3, 9),
    daemon_row("serv4", 3, 9), daemon_row("serv5", 3, 9), daemon_row("serv6", 3, 9), daemon_row("serv7", 3, 9),
    daemon_row("serv8", 3, 9), daemon_row("serv9", 3, 9), daemon_row("servA", 1, 1),
};
uint32_t daemon_exe_info_num = 11;
