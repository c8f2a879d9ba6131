// The process liveness watchdog (module 6): looks for a few programs in the process list and starts one again that has
// been missing for a number of looks in a row.
#ifndef TIME_CHECK_TIME_CHECK_DAEMON_H
#define TIME_CHECK_TIME_CHECK_DAEMON_H

#include "time_check/time_check.h"

// By which branch of the rule a tick went, of one program.
enum class daemon_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/daemon.def"
};

// The tick. Does nothing while the module is off. Always 1.
int32_t time_check_daemon();

// What the last tick found of row `index` of the table; before the first one, that it is not due.
daemon_verdict time_check_daemon_verdict(uint32_t index);

struct time_check_daemon;

// Consents to counting a missing look by returning 1. Asked after every look that found the program missing.
using time_check_daemon_exe_func = int32_t(struct time_check_daemon *state);

// One watched program.
struct time_check_daemon_exe_struct {
    char daemon_exe_name[32];              // looked for in the process list, and killall's; an empty one ends the table
    char daemon_exe_enable_mib[64];        // key whose number becomes daemon_exe_enable; empty: no key
    uint32_t daemon_exe_enable;            // 1: watched
    uint32_t daemon_exe_spa_time;          // ticks from look to look
    uint32_t daemon_exe_check_num;         // consecutive missing looks that make a restart
    uint32_t daemon_exe_problem_check_num; // consecutive missing looks so far
    char daemon_exe_system_cmd[256];       // shell command that starts it; empty: none
    time_check_daemon_exe_func *func;      // null: consent is not asked
};

constexpr uint32_t TIME_CHECK_DAEMON_EXE_MAX = 10;

// The module's state.
struct time_check_daemon {
    uint32_t enable;
    struct time_check_daemon_exe_struct daemon_exe_info[TIME_CHECK_DAEMON_EXE_MAX];
    uint32_t user_daemon_exe_num; // rows in use
};

// What is loaded at the start, and how many rows of it (those beyond TIME_CHECK_DAEMON_EXE_MAX are not loaded). A
// product watches more by another time_check_watched.cpp.
extern struct time_check_daemon_exe_struct daemon_exe_info[];
extern uint32_t daemon_exe_info_num;

// ---- table and messages ----

void time_check_daemon_init();

// Loads the table anew and reads the rows' keys. Always 1.
int32_t set_time_check_daemon_info();

// Starts, stops or restarts by op; string_info is a program's name, or "all" or "ALL". Always 1.
int32_t time_check_daemon_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Debug dump of the table.
void time_check_daemon_exe_print_struct_info();

// ---- the look ----

// 1: row `index` should count a missing look. 0: it runs, is not watched, or its hook does not consent. -1: the process
// list could not be looked at.
int32_t time_check_daemon_need_restart(int8_t index);

// 1: no process with this name in its command line (compat 85). 0: there is one. -1: the process list could not be
// looked at.
int32_t time_check_daemon_uload(const char *name);

// ---- for products ----

// 1: there is something in the directory. 0: nothing, or it cannot be read. So it is the reverse of its own name;
// the rows that products write know it so. Nothing in the daemon calls it (compat 95).
int32_t check_if_dir_empty(const char *path);

#endif
