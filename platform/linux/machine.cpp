// The machine's clock, pauses, mode and restart.
#include "platform/system.h"

#include <cerrno>
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

static bool disks_have_hung;
static int next_save_s;  // up-time before which nothing is saved to the disks again
static int told_refusal; // the error of the latest refused restart

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

int tpi_systool_reboot(void)
{
    journal_reboot();
    save_to_disks();
    const int result = reboot(RB_AUTOBOOT);
    journal_restart_refused();
    if (result != 0 && told_refusal != errno) {
        told_refusal = errno;
        ground_log("restart: refused: %s", strerror(errno));
    }
    return result;
}
