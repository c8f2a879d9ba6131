#include "platform/sim/processes.h"

#include <algorithm>
#include <cmath>

#include "platform/sim/virtual_router.h"
#include "platform/system.h"

namespace sim
{
namespace
{

constexpr Micros TICK = 10 * MILLISECOND; // the unit of /proc's CPU times

std::string stat_path(int pid)
{
    return "/proc/" + std::to_string(pid) + "/stat";
}

std::string ps_line(int pid, std::string_view command)
{
    char begin[48];
    snprintf(begin, sizeof begin, "%5d root      1204 S    ", pid);
    return begin + std::string(command) + "\n";
}

} // namespace

void Processes::begin()
{
    router().files.generate("/proc/stat", [this](std::string &text) { describe_machine(text); });
}

void Processes::start(const std::string &name, int pid, const std::string &argv)
{
    end(name);
    processes_.push_back({.name = name,
                          .pid = pid,
                          .argv = argv.empty() ? name : argv,
                          .share = 0,
                          .since = router().clock.now(),
                          .used = 0});
    next_pid_ = std::max(next_pid_, pid + 1);
    router().files.generate(stat_path(pid), [this, pid](std::string &text) { describe(pid, text); });
}

bool Processes::end(std::string_view name)
{
    const Micros now = router().clock.now();
    const size_t ended = std::erase_if(processes_, [&](const Process &each) {
        if (each.name != name)
            return false;
        used_by_ended_ += each.used_at(now);
        router().files.remove(stat_path(each.pid));
        return true;
    });
    return ended > 0;
}

bool Processes::runs(std::string_view name) const
{
    return std::ranges::any_of(processes_, [name](const Process &each) { return each.name == name; });
}

void Processes::set_share(std::string_view name, double percent_of_one_cpu)
{
    const Micros now = router().clock.now();
    for (Process &each : processes_) {
        if (each.name != name)
            continue;
        each.used = each.used_at(now);
        each.since = now;
        each.share = std::llround(percent_of_one_cpu * 100);
    }
}

std::string Processes::listed(std::string_view pattern)
{
    std::string text;
    for (const Process &each : processes_)
        if (each.argv.find(pattern) != std::string::npos)
            text += ps_line(each.pid, each.argv);
    text += ps_line(next_pid_, "sh -c ps | grep " + std::string(pattern));
    text += ps_line(next_pid_ + 2, "grep " + std::string(pattern));
    next_pid_ += 3;
    return text;
}

void Processes::describe(int pid, std::string &text) const
{
    const auto found = std::ranges::find(processes_, pid, &Process::pid);
    if (found == processes_.end())
        return;
    char line[256];
    snprintf(line, sizeof line, "%d (%.15s) S 1 %d %d 0 -1 4194304 120 0 0 0 %lld 0 0 0 20 0 1 0 120 1232896 301\n",
             pid, found->name.c_str(), pid, pid, static_cast<long long>(found->used_at(router().clock.now()) / TICK));
    text = line;
}

void Processes::describe_machine(std::string &text) const
{
    const Micros now = router().clock.now();
    Micros used = used_by_ended_;
    for (const Process &each : processes_)
        used += each.used_at(now);
    const long long all = now / TICK * cpus_;
    const long long user = std::min<long long>(used / TICK, all);
    char line[128];
    snprintf(line, sizeof line, "cpu  %lld 0 0 %lld 0 0 0 0 0 0\n", user, all - user);
    text = line;
    for (int i = 0; i < cpus_; i++) {
        snprintf(line, sizeof line, "cpu%d %lld 0 0 %lld 0 0 0 0 0 0\n", i, user / cpus_, (all - user) / cpus_);
        text += line;
    }
    text += "intr 0\nctxt 0\nbtime 0\nprocesses 1\n";
}

} // namespace sim

extern "C" int check_app(const char *name)
{
    return sim::router().processes.runs(name);
}
