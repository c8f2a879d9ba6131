// tick_bench TICKS: so many idle ticks of the whole daemon at once, in the surroundings and with the store that it
// finds, for tools that count what a program does. Prints a line "anonymous BEFORE AFTER NANOSECONDS": that memory in
// kB, and the CPU time of a tick.
//
// The daemon's own main runs on a context of its own; its sleep hands back to the benchmark, so that one pass of its
// loop is one tick. Each takes a second of the clocks that the daemon reads, and none of real time.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/select.h>
#include <ucontext.h>
#include <unistd.h>
#include <vector>

#include <valgrind/callgrind.h>

#include "platform/system.h"

extern "C" int time_check_main(int count, char *arguments[]);

// What the daemon calls in place of the C library and the ground (tick_bench.cmake).
extern "C" unsigned bench_sleep(unsigned seconds);
extern "C" int bench_select(int number, fd_set *readable, fd_set *writable, fd_set *failed, timeval *timeout);
extern "C" time_t bench_time(time_t *result);
extern "C" int bench_get_uptime();

namespace
{

constexpr int SETTLE_TICKS = 600; // the CPU watchdog's samples get rare within 512
constexpr useconds_t SETTLE_PAUSE_US = 30000;

ucontext_t bench_context;
ucontext_t daemon_context;
std::atomic<int> ticks_done;

void enter_daemon()
{
    std::string name = "time_check";
    char *arguments[] = {name.data(), nullptr};
    time_check_main(1, arguments);
    std::fputs("the daemon ended\n", stderr);
    std::_Exit(1);
}

void one_tick()
{
    swapcontext(&bench_context, &daemon_context);
    ticks_done++;
}

void start_daemon()
{
    static std::vector<char> stack(std::size_t{1} << 20);
    getcontext(&daemon_context);
    daemon_context.uc_stack.ss_sp = stack.data();
    daemon_context.uc_stack.ss_size = stack.size();
    makecontext(&daemon_context, enter_daemon, 0);
}

// With pauses, for the reachability thread to make its first pass, and for netctrl to carry out what it is told.
void settle()
{
    for (int i = 0; i < SETTLE_TICKS; i++) {
        one_tick();
        usleep(SETTLE_PAUSE_US);
    }
}

long anonymous_kb()
{
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string word;
    long kilobytes = -1;
    while (rollup >> word)
        if (word == "Anonymous:" && rollup >> kilobytes)
            break;
    return kilobytes;
}

// The daemon prints to standard output; the result goes to what was there before.
int take_standard_output()
{
    const int report = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    return report;
}

} // namespace

unsigned bench_sleep(unsigned /*seconds*/)
{
    swapcontext(&daemon_context, &bench_context);
    return 0;
}

int bench_select(int /*number*/, fd_set * /*readable*/, fd_set * /*writable*/, fd_set * /*failed*/,
                 timeval * /*timeout*/)
{
    return 0;
}

time_t bench_time(time_t *result)
{
    static const time_t started = time(nullptr);
    const time_t now = started + ticks_done;
    if (result != nullptr)
        *result = now;
    return now;
}

int bench_get_uptime()
{
    static const int started = get_uptime();
    return started + ticks_done;
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("usage: tick_bench TICKS\n", stderr);
        return 2;
    }
    const int report = take_standard_output();
    start_daemon();
    settle();
    const long before = anonymous_kb();
    const int ticks = std::atoi(argv[1]);
    const std::clock_t began = std::clock();
    CALLGRIND_START_INSTRUMENTATION;
    for (int i = 0; i < ticks; i++)
        one_tick();
    CALLGRIND_STOP_INSTRUMENTATION;
    const double took_ns = static_cast<double>(std::clock() - began) * 1e9 / CLOCKS_PER_SEC;
    dprintf(report, "anonymous\t%ld\t%ld\t%.0f\n", before, anonymous_kb(), took_ns / ticks);
    std::_Exit(0); // the reachability thread runs for ever
}
