// The process CPU watchdog (module 5): measures what share of the machine a few programs use, ever more rarely while
// they behave, and kills one that stays over its limit.
#ifndef TIME_CHECK_TIME_CHECK_CPU_H
#define TIME_CHECK_TIME_CHECK_CPU_H

#include "time_check/time_check.h"
#include "time_check/time_check_fractions.h"

// By which branch of the rule a tick went, of one program.
enum class cpu_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/cpu.def"
};

// The tick, and what it does while the module is on. Always 1, both.
int32_t time_check_cpu();
int32_t time_check_cpu_main();

// What the last tick found of row `index` of the table; before the first one, that it is not due.
cpu_verdict time_check_cpu_verdict(uint32_t index);

struct time_check_cpu;

// Excuses an over-limit sample by returning 1. Asked for row `index` of `table` when it was sampled and is over.
using time_check_exe_func = int32_t(uint32_t index, struct time_check_cpu *table);

// One watched program.
struct time_check_exe_struct {
    char exe_name[32];     // process name, as killall takes it; an empty one ends the table
    uint32_t exe_enable;   // shown only: what is sampled follows from the module's switch and exe_check_in (compat 59)
    uint32_t exe_check_in; // 1: this tick samples the row
    uint32_t exe_check_reslut;      // 1: the latest sample counts against the program (compat 84)
    float exe_cpu_max;              // limit in percent, of one CPU in exe_info, of the whole machine once loaded
    float exe_cpu;                  // last measured, in percent of the whole machine
    uint32_t exe_pid;               // as last read from the pid file
    char exe_pid_file[128];         // a file whose first line is the process id
    char exe_system_cmd[256];       // shell command to run after a kill; empty: none
    uint32_t exe_spa_time;          // sampling period in ticks
    uint32_t exe_check_num;         // ticks since the last sampling tick
    uint32_t exe_problem_check_num; // consecutive over-limit samples
    time_check_exe_func *func;      // null: nothing is excused
};

constexpr uint32_t TIME_CHECK_EXE_MAX = 10;

// The module's state.
struct time_check_cpu {
    uint32_t enable;
    struct time_check_exe_struct exe_info[TIME_CHECK_EXE_MAX];
    uint32_t user_exe_num; // rows in use
};

// What is loaded at the start, and how many rows of it (those beyond TIME_CHECK_EXE_MAX are not loaded). A product
// watches more by another time_check_watched.cpp.
extern struct time_check_exe_struct exe_info[];
extern uint32_t exe_info_num;

// ---- table and messages ----

void time_check_cpu_init();

// Loads the table anew, the limits divided among the CPUs. Always 1.
WITH_FRACTIONS int32_t set_time_check_cpu_info();

// Starts, stops or restarts by op; string_info is a program's name, or "all" or "ALL". Always 1, as the three below.
int32_t time_check_cpu_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Switches the module on, even for an unknown name, and puts the rows back to their first period.
int32_t time_check_cpu_start(const TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Switches the whole module off, even for a single name, so that a stop is never half a stop (compat 57).
int32_t time_check_cpu_stop(const TIME_CHECK_MODULES_COMMON_STRUCT *msg);

int32_t time_check_cpu_restart(const TIME_CHECK_MODULES_COMMON_STRUCT *msg);

// Debug dumps of the table.
void time_check_print_struct_info();
void time_check_print_check_info();

// ---- accounting: all times are in the kernel's clock ticks ----

// The number of CPUs, 1 when it cannot be read.
uint32_t time_check_cpu_get_cpu_num();

// What all CPUs have spent so far, modulo 2^32; 0 when it cannot be read.
uint32_t time_check_cpu_get_total_cpu_time();

// The process id in row `index`'s pid file, 0 when there is none.
uint32_t time_check_cpu_get_pid(uint32_t index);

// The start of the `number`-th (from 1) field of `line`, its end when there are fewer. Every single blank separates, so
// a process name with a blank shifts the fields after it (compat 60).
const char *time_check_cpu_get_items(const char *line, uint32_t number);

// What the process and its reaped children have spent so far, modulo 2^32; 0 when it is gone.
uint32_t time_check_cpu_get_total_cpu_time_by_pid(uint32_t pid);

// Waits that many microseconds; gives what select gave.
int velto_usleep(uint32_t us);

// Measures every due row over 100 ms, the others become 0. Does nothing, and does not wait, when none is due. Always 1.
WITH_FRACTIONS int32_t time_check_cpu_get_cpu();

// Measures, then judges every row. Always 1.
WITH_FRACTIONS int32_t time_check_cpu_get_check_results();

#endif
