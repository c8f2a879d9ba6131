// The machine's clock, pauses, mode and restart.
#include "platform/system.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/reboot.h>
#include <unistd.h>

#include "platform/common/journal.h"
#include "platform/config_keys.h"
#include "platform/linux/command.h"
#include "platform/linux/deadline.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/journal.h"
#include "platform/linux/program.h"
#include "platform/linux/store_setting.h"

constexpr int STILL_RUNS = -1; // the machine, at the deadline; in place of a command's status

static bool disks_have_hung;
static int next_save_s;    // up-time before which nothing is saved to the disks again
static int told_refusal;   // the error of the latest refused restart
static int next_command_s; // up-time before which the restart's command is not tried again
static int told_status;    // what was told of it latest; 0: nothing

int get_uptime(void)
{
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<int>(now.tv_sec);
}

// The program may be asked to end meanwhile, and what comes behind a long pause, a restart, say, is then left undone.
static void pause_main_thread(int seconds)
{
    const int64_t deadline = monotonic_ms() + int64_t{seconds} * MS_A_SECOND;
    for (int64_t left_ms = deadline - monotonic_ms(); left_ms > 0; left_ms = deadline - monotonic_ms()) {
        program_wait(nullptr, 0, left_ms);
    }
}

void system_sleep(int seconds)
{
    if (program_is_main())
        return pause_main_thread(seconds);
    timespec left = {.tv_sec = seconds > 0 ? seconds : 0, .tv_nsec = 0};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

int get_sys_mode(void)
{
    return setting_number(KEY_SYS_MODE, 0);
}

static void save_all()
{
    journal_save(); // first, and synced by itself: of the disks another one may hang
    sync();
}

// A disk that hangs must not keep the router from restarting, and it is not waited for again. While the restart is
// refused, the daemon asks each second (decision 0125).
static void save_to_disks()
{
    constexpr int PAUSE_S = 60;
    if (disks_have_hung || get_uptime() < next_save_s)
        return;
    const int waited_s = done_in_a_child(save_all);
    disks_have_hung = waited_s > 0;
    if (disks_have_hung)
        ground_log("restart: the disks have not taken everything after %d s", waited_s);
    next_save_s = get_uptime() + PAUSE_S;
}

// ---- the restart ----

static int restart_deadline_s()
{
    constexpr int DEFAULT_S = 120; // more than the 90 s that an init gives what is stopped before the daemon
    const char *const configured = getenv("TIME_CHECK_REBOOT_DEADLINE");
    const int seconds = configured == nullptr ? 0 : leading_integer(configured);
    return seconds > 0 ? seconds : DEFAULT_S;
}

// Once for each way to fail, as it is tried every hour.
static void tell_command(int status)
{
    if (told_status == status)
        return;
    told_status = status;
    if (status == STILL_RUNS)
        ground_log("restart: the machine still runs %d s after the command", restart_deadline_s());
    else
        ground_log("restart: the command has ended with status %d", status);
}

// Waits for the machine's end, in which the daemon may be ended too. A command that was ended by a signal may have been
// ended so.
static void wait_for_the_end(pid_t command)
{
    constexpr int LOOK_MS = 100;
    constexpr int SIGNALS = 128; // from which on a status is a signal's
    const int64_t deadline = monotonic_ms() + int64_t{restart_deadline_s()} * MS_A_SECOND;
    bool is_over = false;
    int status = 0;
    while (monotonic_ms() < deadline) {
        program_end_if_asked();
        is_over = is_over || command_is_over(command, &status);
        if (status > 0 && status < SIGNALS)
            return tell_command(status);
        program_wait(nullptr, 0, LOOK_MS);
    }
    if (!is_over)
        command_end(command);
    tell_command(STILL_RUNS);
}

// Restarts the machine as its service manager does, which ends what runs in order. Comes back when that has failed, and
// does not try it each second then: each time the daemon would stand still until the deadline (decision 0199).
static void restart_by_command(const char *command)
{
    constexpr int PAUSE_S = 3600;
    if (get_uptime() < next_command_s)
        return;
    journal_restart_is_tried();
    next_save_s = 0;
    save_to_disks();
    const pid_t pid = command_begin(command);
    if (pid > 0) {
        journal_restart_has_begun();
        wait_for_the_end(pid);
    }
    next_command_s = get_uptime() + PAUSE_S;
    next_save_s = 0;
}

int tpi_systool_reboot(void)
{
    const char *const command = getenv("TIME_CHECK_REBOOT_COMMAND");
    journal_reboot();
    if (command != nullptr && command[0] != '\0')
        restart_by_command(command);
    save_to_disks();
    const int result = reboot(RB_AUTOBOOT);
    const int error = errno;
    journal_restart_refused();
    if (result != 0 && told_refusal != error) {
        told_refusal = error;
        ground_log("restart: refused: %s", strerror(error));
    }
    return result;
}
