// The daemon's own end of the bus, and its sleep, in which messages are handed over: between ticks, on the main thread.
// So no handler ever runs beside a tick.
#include "platform/message_bus.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <pthread.h>

#include "platform/linux/bus.h"
#include "platform/linux/deadline.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/interface.h"

static bus_end own_end;
static bool is_registered;
static pthread_t message_thread; // who registered, and so who is served
static message_handle_fn handle_message;

int RegMsgHandle(const char *name, const char *filter, message_handle_fn handle)
{
    if (name == nullptr || filter == nullptr || handle == nullptr || strcmp(filter, "*") != 0 || is_registered)
        return 0;
    const bus_result result = bus_open(name, &own_end);
    if (result != BUS_DONE) {
        ground_log("bus: cannot take the name %s: %s", name, bus_result_text(result));
        return 0;
    }
    handle_message = handle;
    message_thread = pthread_self();
    is_registered = true;
    return 1;
}

// The sender goes by its number: to look its name up takes longer than all the rest of a message.
static void hand_over(const bus_message &message)
{
    char sender[16];
    snprintf(sender, sizeof sender, "pid %d", message.sender);
    handle_message(sender, message.text);
}

static void log_over_long(pid_t sender)
{
    char name[48];
    bus_name_sender(sender, name);
    ground_log("bus: over-long message of %s dropped", name);
}

// False: nothing waits any more.
static bool hand_over_one_message()
{
    static bus_message message;
    const bus_result result = bus_receive(&own_end, &message);
    if (result == BUS_DONE)
        hand_over(message);
    else if (result == BUS_TOO_LONG)
        log_over_long(message.sender);
    else if (result == BUS_FOREIGN_SENDER)
        ground_log("bus: message of another user dropped");
    return result != BUS_NOTHING && result != BUS_SYSTEM_ERROR;
}

// Hands messages over as they come until the time is up, even when more are waiting: a flood must not stop the ticks.
static void serve_messages(int64_t milliseconds)
{
    const int64_t deadline = monotonic_ms() + milliseconds;
    pollfd readable[] = {{.fd = own_end.socket, .events = POLLIN, .revents = 0},
                         {.fd = address_changes(), .events = POLLIN, .revents = 0}};
    pollfd *const addresses = &readable[1];
    addresses_may_have_changed();
    for (int64_t left_ms = milliseconds; left_ms > 0; left_ms = deadline - monotonic_ms()) {
        const timespec timeout = timespec_of_ms(left_ms);
        if (ppoll(readable, 2, &timeout, nullptr) == 0) {
            if (addresses->fd >= 0)
                addresses_stood_still();
            return;
        }
        if (addresses->revents != 0) {
            addresses_changed();
            addresses->fd = -1; // more of them must not wake the thread again
        }
        while (readable[0].revents != 0 && hand_over_one_message() && monotonic_ms() < deadline) {
        }
    }
}

static void plain_sleep(unsigned seconds)
{
    timespec left = {.tv_sec = static_cast<time_t>(seconds), .tv_nsec = 0};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

// Every call of sleep in the program comes here (linker option --wrap=sleep).
extern "C" unsigned __wrap_sleep(unsigned seconds); // NOLINT(bugprone-reserved-identifier): the linker's name
unsigned __wrap_sleep(unsigned seconds)             // NOLINT(bugprone-reserved-identifier)
{
    if (is_registered && pthread_equal(pthread_self(), message_thread) != 0)
        serve_messages(static_cast<int64_t>(seconds) * MS_A_SECOND);
    else
        plain_sleep(seconds);
    return 0;
}
