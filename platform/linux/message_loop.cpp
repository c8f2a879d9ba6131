// The daemon's own end of the bus, and its sleep, in which messages are handed over: between ticks, on the main thread.
// So no handler ever runs beside a tick (decision 0020).
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
#include "platform/linux/journal.h"
#include "platform/linux/ledger.h"
#include "platform/linux/message_loop.h"
#include "platform/linux/program.h"
#include "platform/linux/service_manager.h"
#include "platform/linux/status_file.h"
#include "platform/linux/store/admin.h"
#include "platform/linux/watched.h"
#include "platform/linux/zone_watch.h"
#include "platform/system.h"

constexpr unsigned LOOK_PERIOD_S = 60; // between looks at the run directory

static bus_end own_end;
static char own_name[BUS_NAME_MAX + 1];
static bool is_registered;
static pthread_t message_thread; // who registered, and so who is served
static message_handle_fn handle_message;

int RegMsgHandle(const char *name, const char *filter, message_handle_fn handle)
{
    if (name == nullptr || filter == nullptr || handle == nullptr || strcmp(filter, "*") != 0 || is_registered)
        return 0;
    config_store_wait(); // here, before anything is read: nothing in the daemon may begin with empty settings
    const bus_result result = bus_open(name, &own_end);
    if (result != BUS_DONE) {
        ground_log("bus: cannot take the name %s: %s", name, bus_result_text(result));
        service_failed(name, result);
        return 0;
    }
    snprintf(own_name, sizeof own_name, "%s", name);
    handle_message = handle;
    message_thread = pthread_self();
    is_registered = true;
    status_file_begin();
    program_serves();
    journal_open();
    ledger_open();
    zone_watch_begin();
    return 1;
}

// The sender goes by its number: to look its name up takes longer than all the rest of a message.
static void hand_over(const bus_message &message)
{
    char sender[16];
    snprintf(sender, sizeof sender, "pid %d", message.sender);
    handle_message(sender, message.text);
}

// ---- messages that are dropped ----

// Others can send as many as they like: a few a minute are told one by one, and the rest by their number.
constexpr uint32_t DROPS_TOLD = 5;
constexpr int64_t DROPS_COUNTED_MS = 60000;
static uint32_t drops; // since the minute began
static int64_t drops_minute_ends;

// Once for each sleep, so that the number is told even when no more of them come.
static void tell_untold_drops(int64_t now)
{
    if (drops == 0 || now < drops_minute_ends)
        return;
    if (drops > DROPS_TOLD)
        ground_log("bus: %u more such messages dropped", drops - DROPS_TOLD);
    drops = 0;
}

static void tell_drop(bus_result why, pid_t sender)
{
    if (drops++ == 0)
        drops_minute_ends = monotonic_ms() + DROPS_COUNTED_MS;
    if (drops > DROPS_TOLD)
        return;
    if (why == BUS_TOO_LONG) {
        char name[48];
        bus_name_sender(sender, name);
        ground_log("bus: over-long message of %s dropped", name);
    } else {
        ground_log("bus: message of another user dropped");
    }
}

// ---- the sleep ----

static bus_message received;        // 4 KiB that the stack need not have
static unsigned seconds_since_look; // at the run directory

// False: nothing waits any more.
static bool hand_over_one_message()
{
    const bus_result result = bus_receive(&own_end, &received);
    if (result == BUS_DONE)
        hand_over(received);
    else if (result == BUS_TOO_LONG || result == BUS_FOREIGN_SENDER)
        tell_drop(result, received.sender);
    return result != BUS_NOTHING && result != BUS_SYSTEM_ERROR;
}

void take_last_messages()
{
    constexpr int64_t PATIENCE_MS = 1000;
    const int64_t deadline = monotonic_ms() + PATIENCE_MS;
    bus_leave(&own_end);
    while (hand_over_one_message() && monotonic_ms() < deadline) {
    }
}

// Row by row and not in a loop: the compiler then sees whom it calls, and makes the same code as without a table.
template <size_t Row = 0>
static void begin_to_watch(pollfd *things)
{
    if constexpr (Row < WATCHED_NUMBER) {
        things[Row] = {.fd = WATCHED[Row].changes(), .events = POLLIN, .revents = 0};
        begin_to_watch<Row + 1>(things);
    }
}

// What has changed must not wake the thread again.
template <size_t Row = 0>
static void take_changes(pollfd *things)
{
    if constexpr (Row < WATCHED_NUMBER) {
        if (things[Row].revents != 0) {
            WATCHED[Row].changed();
            things[Row].fd = -1;
        }
        take_changes<Row + 1>(things);
    }
}

template <size_t Row = 0>
static void end_watch(const pollfd *things, bool is_quiet)
{
    if constexpr (Row < WATCHED_NUMBER) {
        WATCHED[Row].slept(is_quiet && things[Row].fd >= 0);
        end_watch<Row + 1>(things, is_quiet);
    }
}

// Hands messages over as they come until the time is up, even when more are waiting: a flood must not stop the ticks.
// A function of its own would save all registers a second time, 80 bytes on the small routers.
[[gnu::always_inline]] static inline void serve_messages(int64_t milliseconds)
{
    const int64_t deadline = monotonic_ms() + milliseconds;
    status_file_beat(deadline - milliseconds);
    tell_untold_drops(deadline);
    pollfd readable[1 + WATCHED_NUMBER];
    pollfd *const things = readable + 1;
    readable[0] = {.fd = own_end.socket, .events = POLLIN, .revents = 0};
    begin_to_watch(things);
    program_act();
    int told = -1; // 0: nothing more came until the time was up
    for (int64_t left_ms = milliseconds; left_ms > 0; left_ms = deadline - monotonic_ms()) {
        told = program_wait(readable, 1 + WATCHED_NUMBER, left_ms);
        if (told == 0)
            break;
        if (told < 0) {
            program_act();
            continue;
        }
        take_changes(things);
        while (readable[0].revents != 0 && hand_over_one_message() && monotonic_ms() < deadline) {
        }
    }
    end_watch(things, told == 0);
}

// Tidying programs remove what is in folders for temporary files. Their victims, the store and the name, are taken
// again before long.
static void look_at_run_directory()
{
    config_store_look();
    status_file_look();
    if (bus_stands(own_name, &own_end))
        return;
    const bus_result result = bus_open_anew(own_name, &own_end);
    ground_log("bus: the name's socket was removed: %s", result == BUS_DONE ? "bound again" : bus_result_text(result));
}

static void count_seconds(unsigned seconds)
{
    seconds_since_look += seconds;
    if (seconds_since_look < LOOK_PERIOD_S)
        return;
    seconds_since_look = 0;
    look_at_run_directory();
}

// Every call of sleep in the program comes here (linker option --wrap=sleep).
extern "C" unsigned __wrap_sleep(unsigned seconds); // NOLINT(bugprone-reserved-identifier): the linker's name
unsigned __wrap_sleep(unsigned seconds)             // NOLINT(bugprone-reserved-identifier)
{
    if (is_registered && pthread_equal(pthread_self(), message_thread) != 0) {
        serve_messages(static_cast<int64_t>(seconds) * MS_A_SECOND);
        count_seconds(seconds);
    } else {
        system_sleep(static_cast<int>(seconds));
    }
    return 0;
}
