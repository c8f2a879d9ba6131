#include "platform/linux/program.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <pthread.h>
#include <unistd.h>

#include "platform/common/arguments.h"
#include "platform/linux/command.h"
#include "platform/linux/deadline.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/journal.h"
#include "platform/linux/ledger.h"
#include "platform/linux/message_loop.h"
#include "platform/linux/service_manager.h"
#include "platform/program.h"
#include "platform/system.h"

constexpr int CALLED_WRONGLY = 2; // the exit status
constexpr int LOOK_MS = 10;       // between looks whether a command is over

static void (*end_daemon)();
static void (*read_settings_again)();
static volatile sig_atomic_t asked_to_end; // by this signal; 0: not
static volatile sig_atomic_t asked_to_read_again;
static sigset_t signals;
static sigset_t waiting_mask; // of the main thread while it waits
static pthread_t main_thread; // 0 until it serves
static int32_t patience_ms;   // for each thing that the end waits for
static int64_t time_is_up;    // when the main thread must stop waiting; 0: nobody has asked for the end
static std::atomic<int> is_ending;
static std::atomic<pid_t> own_command;    // that the main thread waits for; 0: none
static std::atomic<pid_t> others_command; // that another thread does; -1: one begins

// ---- signals ----

static void note_signal(int number)
{
    if (number == SIGHUP)
        asked_to_read_again = 1;
    else if (main_thread == 0)
        _exit(EXIT_SUCCESS); // it may be waiting for its store, and has made nothing yet
    else
        asked_to_end = number;
}

static void handle(int number, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

void program_begin(int count, char *const arguments[], void (*end)(void), void (*read_again)(void))
{
    // A log that nobody reads any more, and files that may not grow, are errors of the calls that write, and end
    // nobody.
    handle(SIGPIPE, SIG_IGN);
    handle(SIGXFSZ, SIG_IGN);
    const char *const wrong = wrong_argument(count, arguments);
    if (wrong != nullptr) {
        ground_log("unknown argument: %s (try --help)", wrong);
        exit(CALLED_WRONGLY);
    }
    end_daemon = end;
    read_settings_again = read_again;
    service_begin();
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
        sigaddset(&signals, number);
        handle(number, note_signal);
    }
}

// Seconds of a box's clock are short, and its commands' deadline is long: the patience grows with it.
void program_serves()
{
    constexpr int32_t LEAST_PATIENCE_MS = 6000;
    constexpr int32_t MS_A_DEADLINE_SECOND = 100;
    if (end_daemon == nullptr)
        return;
    patience_ms = std::max(LEAST_PATIENCE_MS, command_deadline_s() * MS_A_DEADLINE_SECOND);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr); // also what whoever started the program had blocked
    pthread_sigmask(SIG_BLOCK, &signals, &waiting_mask);
    main_thread = pthread_self();
}

bool program_is_main()
{
    return pthread_self() == main_thread;
}

// ---- commands ----

void program_notes_command(pid_t pid)
{
    const bool is_main = program_is_main();
    std::atomic<pid_t> *const command = is_main ? &own_command : &others_command;
    *command = pid;
    if (pid == 0)
        __atomic_store_n(&ledger_own_command()->pid, 0, __ATOMIC_RELAXED);
    if (pid >= 0 || is_main || is_ending == 0)
        return;
    *command = 0;
    for (;;)
        system_sleep(INT32_MAX);
}

static void kill_command(pid_t pid)
{
    if (pid > 0)
        kill(-pid, SIGKILL);
}

// Afterwards none of them runs and none begins, except for one that not even SIGKILL ends.
static void stop_others_commands()
{
    for (int patience = 2 * patience_ms; others_command != 0 && patience > 0; patience -= LOOK_MS) {
        if (patience <= patience_ms)
            kill_command(others_command);
        const timespec pause = timespec_of_ms(LOOK_MS);
        ppoll(nullptr, 0, &pause, nullptr);
    }
}

// ---- the end ----

[[noreturn]] static void end_in_order()
{
    is_ending = 1;
    for (const int number : {SIGINT, SIGTERM}) {
        handle(number, SIG_IGN); // which drops one that waits: it came before the end began
        handle(number, SIG_DFL); // one that comes now ends at once
    }
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    service_stops();
    stop_others_commands();
    time_is_up = monotonic_ms() + patience_ms;
    end_daemon();
    leds_put_back();
    journal_end(asked_to_end == SIGINT ? "SIGINT" : "SIGTERM");
    exit(EXIT_SUCCESS);
}

[[noreturn]] static void end_now()
{
    ground_log("command cut off: the program ends");
    kill_command(own_command);
    if (is_ending != 0)
        exit(EXIT_FAILURE); // what hangs is the end's own command
    end_in_order();
}

// ---- the main thread's waits ----

int program_wait(pollfd *things, nfds_t number, int64_t milliseconds)
{
    int64_t wait_ms = milliseconds;
    const sigset_t *mask = nullptr;
    if (program_is_main()) {
        wait_ms = service_lives(milliseconds);
        if (is_ending == 0)
            mask = &waiting_mask;
        if (asked_to_end != 0) {
            if (time_is_up == 0)
                time_is_up = monotonic_ms() + patience_ms;
            const int64_t left_ms = time_is_up - monotonic_ms();
            if (left_ms <= 0)
                end_now();
            wait_ms = std::min(wait_ms, left_ms);
        }
    }
    const timespec timeout = timespec_of_ms(wait_ms);
    const int ready = ppoll(things, number, &timeout, mask);
    return ready == 0 && wait_ms < milliseconds ? -1 : ready;
}

void program_end_if_asked()
{
    if (asked_to_end != 0)
        end_in_order();
}

void program_act()
{
    if (asked_to_end != 0)
        take_last_messages();
    program_end_if_asked();
    if (asked_to_read_again != 0) {
        asked_to_read_again = 0;
        service_reloads();
        read_settings_again();
    }
    service_is_ready();
}
