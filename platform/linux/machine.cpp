// The machine's clock, pauses, mode and restart.
#include "platform/system.h"

#include <cerrno>
#include <ctime>
#include <sys/reboot.h>
#include <unistd.h>

#include "platform/linux/settings.h"

int get_uptime(void)
{
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<int>(now.tv_sec);
}

void system_sleep(int seconds)
{
    timespec left = {.tv_sec = seconds > 0 ? seconds : 0, .tv_nsec = 0};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

int get_sys_mode(void)
{
    return setting_number("sys.mode", 0);
}

int tpi_systool_reboot(void)
{
    sync();
    return reboot(RB_AUTOBOOT);
}
