// The processes of the router, and the CPU time that they use. A process has one name, and a name one process.
//
// They are rows of a table: none does anything, and none answers a message. The daemon itself, its threads and the
// kernel are not among them. Nothing that the daemon does costs CPU time, and a machine whose processes ask for more
// than it has is busy all the time, while each of them gets what it was told. A restart of the machine leaves
// processes, ids and times as they are.
#ifndef PLATFORM_SIM_PROCESSES_H
#define PLATFORM_SIM_PROCESSES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/clock.h"

namespace sim
{

class Processes
{
public:
    // ---- for the test ----

    // Starts a process, in the place of one with this name. `argv` is the command line that ps shows, the name unless
    // given. Also makes /proc/PID/stat, where the name is cut to 15 bytes as by the kernel. It begins without CPU time.
    // The id must be no other process's; nothing checks.
    void start(const std::string &name, int pid, const std::string &argv = "");
    // Whether there was one. Its /proc/PID/stat goes with it; a file that names its id stays. What it used remains in
    // the machine's sum.
    bool end(std::string_view name);
    bool runs(std::string_view name) const;
    // Per-CPU lines in /proc/stat, which is written anew; 1 unless set. At least 1. The load is spread evenly, and it
    // is as if the machine had always had so many.
    void set_cpus(int number)
    {
        cpus_ = number;
        begin();
    }
    // How much of one CPU it uses from now on, in percent with two decimals; 0 unless set. More than 100 is a process
    // with threads. No such process: nothing happens.
    void set_share(std::string_view name, double percent_of_one_cpu);

    // ---- for the model ----

    // Takes over /proc/stat. Times there are in hundredths of a second, user and idle alone, and count from the start
    // of the program.
    void begin();
    // Starts it under a process id of its own choosing.
    void start(const std::string &name, const std::string &argv)
    {
        start(name, next_pid_++, argv);
    }
    // What "ps | grep PATTERN" prints, its own shell and grep included, which take process ids as on a router. The
    // pattern is a text that the command line holds, no expression.
    std::string listed(std::string_view pattern);

private:
    // CPU time is reckoned when somebody asks: a share is a straight line from the moment when it was told, so a
    // process costs a run nothing while it goes on as it does.
    struct Process {
        std::string name;
        int pid;
        std::string argv;
        int64_t share; // hundredths of a percent of one CPU
        Micros since;  // when it got this share
        Micros used;   // CPU time until then
        Micros used_at(Micros now) const
        {
            return used + (now - since) * share / 10000;
        }
    };
    void describe(int pid, std::string &text) const;
    void describe_machine(std::string &text) const;

    std::vector<Process> processes_;
    Micros used_by_ended_ = 0;
    int cpus_ = 1;
    int next_pid_ = 1000;
};

} // namespace sim

#endif
