// The processes that the daemon looks for, and what they use of the CPU.
#ifndef TOOLS_RECORD_PROCESSES_H
#define TOOLS_RECORD_PROCESSES_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "tools/record/masked.h"
#include "tools/record/scribe.h"

namespace record
{

// The CPU time of a /proc/PID/stat, in the kernel's ticks; its name goes into `name`. 0 for what is no such line.
uint64_t cpu_ticks_in(std::string_view stat, std::string &name);

// All CPUs' time in a /proc/stat, and how many there are.
struct machine_time {
    uint64_t ticks;
    int cpus;
};
machine_time machine_time_in(std::string_view stat);

class processes
{
public:
    explicit processes(masks &hides) : hides_(hides)
    {
    }
    // `watched`: programs that the daemon's watchdogs look for, beside those that it always looks for.
    void look(scribe &out, const std::map<std::string, bool> &watched);

private:
    struct process {
        int pid;
        std::string command;
        uint64_t ticks;
        int share; // of one CPU, percent, as it was told
    };
    std::map<std::string, process> find(const std::map<std::string, bool> &watched);
    void tell_share(scribe &out, const std::string &name, process &now, const process &before, uint64_t machine) const;

    masks &hides_;
    std::map<std::string, process> last_; // by their names
    uint64_t machine_ = 0;
    int cpus_ = 1;
};

} // namespace record

#endif
