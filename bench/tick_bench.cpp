// What an idle tick of the whole daemon costs on the plain-Linux ground.
//
// The daemon's own main runs on a context of its own; its sleep hands back to the benchmark, so that one iteration is
// one pass of its loop. All in namespaces of the process's own, since the daemon sets up its chains when it starts.
//
// "tick_bench ticks N" only runs so many ticks, in the surroundings and with the store that it finds, and prints the
// heap allocations in them: for tools that count what a program does.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <sched.h>
#include <string_view>
#include <ucontext.h>
#include <unistd.h>
#include <vector>

#include "platform/config_store.h"
#include "platform/system.h"

extern "C" int time_check_main();
extern "C" unsigned bench_sleep(unsigned seconds);

// glibc's own allocator, which every allocation of the program goes to through the counting calls below.
extern "C" void *__libc_malloc(size_t size);                // NOLINT(bugprone-reserved-identifier)
extern "C" void *__libc_calloc(size_t count, size_t size);  // NOLINT(bugprone-reserved-identifier)
extern "C" void *__libc_realloc(void *memory, size_t size); // NOLINT(bugprone-reserved-identifier)

static std::atomic<unsigned long> allocations;

extern "C" void *malloc(size_t size)
{
    allocations++;
    return __libc_malloc(size);
}

extern "C" void *calloc(size_t count, size_t size)
{
    allocations++;
    return __libc_calloc(count, size);
}

extern "C" void *realloc(void *memory, size_t size)
{
    allocations++;
    return __libc_realloc(memory, size);
}

namespace
{

ucontext_t bench_context;
ucontext_t daemon_context;

void enter_daemon()
{
    time_check_main();
    std::fputs("the daemon ended\n", stderr);
    std::_Exit(1);
}

void one_tick()
{
    swapcontext(&bench_context, &daemon_context);
}

void start_daemon()
{
    static std::vector<char> stack(std::size_t{1} << 20);
    getcontext(&daemon_context);
    daemon_context.uc_stack.ss_sp = stack.data();
    daemon_context.uc_stack.ss_size = stack.size();
    makecontext(&daemon_context, enter_daemon, 0);
    one_tick();
}

// A router that is online and has nothing to do: the most common second of its life.
void configure()
{
    SetValue("sys.workmode", "router");
    SetValue("wl2g.public.mode", "ap");
    SetValue("wl5g.public.mode", "ap");
    SetValue("wan1_isonln", "1");
    SetValue("sys.schedulereboot.enable", "1");
    SetValue("sys.schedulereboot.type", "1");
}

// The daemon's loop starts with the CPU watchdog's samples, which get rare within 512 ticks.
void settle()
{
    for (int i = 0; i < 600; i++)
        one_tick();
}

void idle_tick(benchmark::State &state)
{
    for (auto _ : state)
        one_tick();
}

void get_value(benchmark::State &state)
{
    char value[16];
    for (auto _ : state)
        benchmark::DoNotOptimize(GetValue("sys.workmode", value));
}

void clock_reading(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(get_uptime());
}

BENCHMARK(idle_tick)->Unit(benchmark::kMicrosecond);
BENCHMARK(get_value)->Unit(benchmark::kMicrosecond);
BENCHMARK(clock_reading)->Unit(benchmark::kMicrosecond);

// The daemon prints to standard output; the report goes to what was there before.
int take_standard_output()
{
    const int report = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
    return report;
}

[[noreturn]] void only_ticks(int ticks)
{
    const int report = take_standard_output();
    start_daemon();
    settle();
    const unsigned long before = allocations;
    for (int i = 0; i < ticks; i++)
        one_tick();
    dprintf(report, "%lu\n", allocations - before);
    std::_Exit(0);
}

} // namespace

extern "C" unsigned bench_sleep(unsigned /*seconds*/)
{
    swapcontext(&daemon_context, &bench_context);
    return 0;
}

int main(int argc, char **argv)
{
    if (argc == 3 && std::string_view(argv[1]) == "ticks")
        only_ticks(std::atoi(argv[2]));
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) != 0) {
        std::perror("tick_bench: no namespaces of its own");
        return 1;
    }
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("tick_bench." + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    setenv("TIME_CHECK_RUN_DIR", (folder / "run").c_str(), 1);
    setenv("TIME_CHECK_CONF_DIR", (folder / "conf").c_str(), 1);

    benchmark::Initialize(&argc, argv);
    __gnu_cxx::stdio_filebuf<char> report_buffer(take_standard_output(), std::ios::out);
    std::ostream report(&report_buffer);
    benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
    reporter.SetOutputStream(&report);
    reporter.SetErrorStream(&report);

    configure();
    start_daemon();
    settle();
    benchmark::RunSpecifiedBenchmarks(&reporter);
    report.flush();
    std::filesystem::remove_all(folder);
    std::_Exit(0); // the reachability thread runs for ever
}
