// Commands, programs, clocks, LEDs and the restart of the machine.
#ifndef PLATFORM_SYSTEM_H
#define PLATFORM_SYSTEM_H

#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

// Formats a command and has the shell run it, standard input empty, waiting until it ends or the ground's deadline has
// passed (then the command is ended). Programs that the command puts in the background live on. A command longer than
// 4095 characters is not run.
// The command's exit status, 128 + the signal that ended it, or -1 when it could not be run. Any thread.
int doSystemCmd(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Runs argv[0] with the null-terminated argument list, without a shell. `redirect` is null or ">PATH": where standard
// output and error go. `timeout` is in seconds, 0: the ground's deadline. With `pid` null it waits for the end and
// gives the exit status as doSystemCmd does; otherwise it stores the process id, does not wait and gives 0. -1: could
// not be run. Main thread.
int _eval(char *const argv[], const char *redirect, int timeout, int *pid); // NOLINT(bugprone-reserved-identifier)

// Seconds since the machine started. Never steps with the wall clock. Any thread.
int get_uptime(void);

// Pauses the calling thread. No message is delivered inside it. Any thread.
void system_sleep(int seconds);

// The machine's mode as a number: the integer value of the key "sys.mode", 0 when it is missing. Any thread.
int get_sys_mode(void);

// 1 when a process of exactly this name runs, else 0. Any thread.
int check_app(const char *name);

// Parses "[DAYS ]HH:MM" into tm_hour, tm_min and tm_wday, the last as a mask: bit 0 is Sunday, bit 6 Saturday.
// DAYS is a comma list of Sun Mon Tue Wed Thu Fri Sat (exact case) or ranges "Mon..Fri", which may wrap round
// ("Fri..Mon"); without DAYS every day. Exactly one blank between DAYS and the time, none elsewhere. Hours 0-23 and
// minutes 0-59, one or two digits.
// 0: parsed. -1: anything else; `out` is left as it was. Any thread.
int utc2tm(const char *text, struct tm *out);

// Sets every front-panel LED: 0 off, 1 on, 2 blinking, 3 automatic (as the board drives them by itself). Other states
// do nothing. Main thread.
void set_all_led(int state);

// Restarts the machine. Does not return where that works; otherwise 0 or -1. Main thread.
int tpi_systool_reboot(void);

#ifdef __cplusplus
}
#endif

#endif
