// What the CPU watchdog costs: a tick that samples, in turn with the bare reads that it needs. The pause between a
// sample's two readings is left out.
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/select.h>
#include <unistd.h>

#include "bench/alternate.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_text.h"

// Every call of select in the program comes here (linker option --wrap=select).
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's name
extern "C" int __wrap_select(int number, fd_set *readable, fd_set *writable, fd_set *failed, timeval *timeout);
int __wrap_select(int /*number*/, fd_set * /*readable*/, fd_set * /*writable*/, fd_set * /*failed*/,
                  timeval * /*timeout*/)
{
    return 0;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace
{

// The watched process is this one.
std::string write_pid_file()
{
    std::string path = "/tmp/watchdog_bench." + std::to_string(getpid());
    std::ofstream(path) << getpid() << "\n";
    return path;
}

void read_bare(const std::string &path)
{
    std::array<char, 1024> text;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (read(fd, text.data(), text.size()) < 0)
        std::perror(path.c_str());
    close(fd);
}

} // namespace

int main()
{
    const std::string pid_file = write_pid_file();
    const std::string process = "/proc/" + std::to_string(getpid()) + "/stat";
    copy_text(exe_info[0].exe_pid_file, sizeof exe_info[0].exe_pid_file, pid_file.c_str());
    const auto bare_reads = [&] {
        read_bare(pid_file);
        for (int reading = 0; reading < 2; reading++) {
            read_bare("/proc/stat");
            read_bare(process);
        }
    };
    // Set anew, the watchdog is back at its first period, so that the next tick samples.
    bench::alternate("tick with a CPU sample",
                     {"time_check_cpu", [] { time_check_cpu(); }, [] { set_time_check_cpu_info(); }},
                     {"its bare reads", bare_reads, {}}, {15, 40, 1});
    unlink(pid_file.c_str());
}
