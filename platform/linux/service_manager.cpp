#include "platform/linux/service_manager.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/linux/deadline.h"
#include "platform/linux/store_setting.h"
#include "platform/status.h"

constexpr int SEND_TIMEOUT_S = 2; // its queue is full; a tick must not wait for ever

static sockaddr_un manager;
static socklen_t manager_size; // 0: nobody asked
static int64_t life_period_ms; // half of what the manager allows; 0: it does not ask
static int64_t next_life_ms;
static bool told_ready;
static char told_summary[128];
static char summary[sizeof told_summary];

// ---- the environment ----

static void note_address(const char *path)
{
    const size_t length = strlen(path);
    if ((path[0] != '/' && path[0] != '@') || length >= sizeof manager.sun_path)
        return;
    manager.sun_family = AF_UNIX;
    memcpy(manager.sun_path, path, length);
    if (path[0] == '@') // an abstract name, which begins with a zero and ends with its size
        manager.sun_path[0] = '\0';
    manager_size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
}

static void note_life_period(const char *microseconds)
{
    constexpr int US_IN_HALF_MS = 2000;
    const char *const process = getenv("WATCHDOG_PID");
    if (process == nullptr || leading_integer(process) == getpid())
        life_period_ms = leading_integer(microseconds) / US_IN_HALF_MS;
}

void service_begin()
{
    const char *const path = getenv("NOTIFY_SOCKET");
    const char *const microseconds = getenv("WATCHDOG_USEC");
    if (path != nullptr)
        note_address(path);
    if (manager_size != 0 && microseconds != nullptr)
        note_life_period(microseconds);
    for (const char *name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
        unsetenv(name);
}

// ---- telling ----

// A socket for each time, as it is seldom needed. What cannot be told is not told: the manager sees for itself then.
static void tell(const char *text)
{
    if (manager_size == 0)
        return;
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const timeval timeout = {.tv_sec = SEND_TIMEOUT_S, .tv_usec = 0};
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    const sockaddr *const to = reinterpret_cast<sockaddr *>(&manager); // NOLINT(*-reinterpret-cast)
    sendto(socket, text, strlen(text), MSG_NOSIGNAL, to, manager_size);
    close(socket);
}

void service_failed(const char *name, bus_result result)
{
    char text[512];
    const int error = result == BUS_HELD ? EADDRINUSE : result == BUS_BAD_NAME ? EINVAL : errno;
    snprintf(text, sizeof text, "ERRNO=%d\nSTATUS=cannot take the name %s: %s", error, name, bus_result_text(result));
    tell(text);
}

void service_is_ready()
{
    if (manager_size == 0 || (told_ready && strcmp(told_summary, service_summary()) == 0))
        return;
    char text[sizeof told_summary + 16];
    snprintf(told_summary, sizeof told_summary, "%s", service_summary());
    snprintf(text, sizeof text, "%sSTATUS=%s", told_ready ? "" : "READY=1\n", told_summary);
    told_ready = true;
    tell(text);
}

// The manager compares the moment with that of its signal, so it is as exact as can be.
void service_reloads()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    char text[64];
    snprintf(text, sizeof text, "RELOADING=1\nMONOTONIC_USEC=%lld%06ld", static_cast<long long>(now.tv_sec),
             static_cast<long>(now.tv_nsec / 1000));
    tell(text);
    told_ready = false;
}

void service_stops()
{
    tell("STOPPING=1");
}

int64_t service_lives(int64_t milliseconds)
{
    if (life_period_ms == 0)
        return milliseconds;
    const int64_t now = monotonic_ms();
    if (now >= next_life_ms) {
        next_life_ms = now + life_period_ms;
        tell("WATCHDOG=1");
    }
    return next_life_ms - now < milliseconds ? next_life_ms - now : milliseconds;
}

// "wan1 online, wan2 offline; restart at 02:47:21".
const char *service_summary()
{
    const time_check_status *status = status_page();
    int length = 0;
    for (uint32_t i = 0; i < status->wans.num && i < STATUS_WANS; i++)
        length += snprintf(summary + length, sizeof summary - static_cast<size_t>(length), "%swan%u %s",
                           i == 0 ? "" : ", ", i + 1, status->wans.wan[i].published != 0 ? "online" : "offline");
    const time_t restart = status->main.rows[STATUS_REBOOT].next;
    if (length == 0)
        length += snprintf(summary, sizeof summary, "running");
    tm local = {};
    if (restart != 0 && localtime_r(&restart, &local) != nullptr)
        snprintf(summary + length, sizeof summary - static_cast<size_t>(length), "; restart at %02d:%02d:%02d",
                 local.tm_hour, local.tm_min, local.tm_sec);
    return summary;
}
