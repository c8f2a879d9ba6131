// Which programs the two watchdogs watch. A product that watches others has a file of its own in place of this one
// (docs/watchdogs.md). Weak, so that tests bring other tables without building the daemon anew (decision 0050).
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_daemon.h"

// ---- for the CPU watchdog ----

[[gnu::weak]] time_check_exe_struct exe_info[] = {
    {.exe_name = "httpd",
     .exe_enable = 1,
     .exe_check_in = 0,
     .exe_check_reslut = 0,
     .exe_cpu_max = 90.0F,
     .exe_cpu = 0.0F,
     .exe_pid = 0,
     .exe_pid_file = "/etc/httpd.pid",
     .exe_system_cmd = "",
     .exe_spa_time = 1,
     .exe_check_num = 0,
     .exe_problem_check_num = 0,
     .func = nullptr},
};
[[gnu::weak]] uint32_t exe_info_num = sizeof exe_info / sizeof exe_info[0];

// ---- for the liveness watchdog ----

static int32_t time_check_daemon_minidlna(struct time_check_daemon * /*state*/)
{
    return 1;
}

[[gnu::weak]] time_check_daemon_exe_struct daemon_exe_info[] = {
    {.daemon_exe_name = "minidlna",
     .daemon_exe_enable_mib = "",
     .daemon_exe_enable = 0,
     .daemon_exe_spa_time = 3,
     .daemon_exe_check_num = 10,
     .daemon_exe_problem_check_num = 0,
     .daemon_exe_system_cmd = "cfm post netctrl 51?op=6",
     .func = time_check_daemon_minidlna},
};
[[gnu::weak]] uint32_t daemon_exe_info_num = sizeof daemon_exe_info / sizeof daemon_exe_info[0];
