// What the CPU watchdog costs, in processor time: a tick that samples next to the raw reads that it needs, and the
// average tick. For system calls run one of them under "strace -c" (--benchmark_filter).
#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <unistd.h>

#include "time_check/time_check_cpu.h"
#include "time_check/time_check_text.h"

namespace
{

// The watched process is this one.
std::string write_pid_file()
{
    std::string path = "/tmp/watchdog_bench." + std::to_string(getpid());
    std::ofstream(path) << getpid() << "\n";
    return path;
}

void read_raw(const char *path)
{
    std::array<char, 1024> text;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    benchmark::DoNotOptimize(read(fd, text.data(), text.size()));
    close(fd);
}

// The pause between a sample's two readings is part of the real time and not of the processor's.
void sampling_tick(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        set_time_check_cpu_info(); // back at the first period, so the next tick samples
        state.ResumeTiming();
        time_check_cpu();
    }
}

void raw_reads_of_a_sample(benchmark::State &state)
{
    const std::string pid_file = exe_info[0].exe_pid_file;
    const std::string process = "/proc/" + std::to_string(getpid()) + "/stat";
    for (auto _ : state) {
        read_raw(pid_file.c_str());
        for (int reading = 0; reading < 2; reading++) {
            read_raw("/proc/stat");
            read_raw(process.c_str());
        }
    }
}

// As it goes on: one tick in 256 samples.
void average_tick(benchmark::State &state)
{
    set_time_check_cpu_info();
    for (int tick = 0; tick < 512; tick++)
        time_check_cpu();
    for (auto _ : state)
        time_check_cpu();
}

BENCHMARK(sampling_tick)->Unit(benchmark::kMicrosecond)->Iterations(20);
BENCHMARK(raw_reads_of_a_sample)->Unit(benchmark::kMicrosecond);
BENCHMARK(average_tick)->Unit(benchmark::kMicrosecond)->Iterations(2560);

} // namespace

int main(int argc, char **argv)
{
    const std::string pid_file = write_pid_file();
    copy_text(exe_info[0].exe_pid_file, sizeof exe_info[0].exe_pid_file, pid_file.c_str());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    unlink(pid_file.c_str());
}
