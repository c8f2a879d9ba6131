#include "tools/record/processes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <sstream>
#include <unistd.h>

#include "platform/linux/directory.h"
#include "tools/record/world.h"

namespace record
{

namespace
{

// What the daemon asks for by name, whatever the watchdogs watch.
constexpr std::array<std::string_view, 4> ALWAYS = {"dhttpd", "pppoecd", "udhcpc", "dhcpcd_lan"};

constexpr int TOLD_SHARE = 5; // percent by which it must differ to be told: the kernel counts in hundredths of a second

uint64_t number_in(const std::string &text)
{
    uint64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// As ps shows it; "" of the kernel's own.
std::string command_of(const std::string &folder)
{
    std::string text;
    read_whole(folder + "cmdline", text);
    std::ranges::replace(text, '\0', ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    return text.substr(0, 400);
}

} // namespace

uint64_t cpu_ticks_in(std::string_view stat, std::string &name)
{
    const size_t begin = stat.find('(');
    const size_t end = stat.rfind(')');
    if (begin == std::string_view::npos || end == std::string_view::npos || end < begin)
        return 0;
    name = stat.substr(begin + 1, end - begin - 1);
    std::istringstream words{std::string(stat.substr(end + 1))};
    std::string word;
    uint64_t ticks = 0;
    for (int field = 3; field <= 17 && words >> word; field++)
        if (field >= 14) // user, system, and both of children
            ticks += number_in(word);
    return ticks;
}

machine_time machine_time_in(std::string_view stat)
{
    machine_time found = {.ticks = 0, .cpus = 0};
    std::istringstream lines{std::string(stat)};
    for (std::string line; std::getline(lines, line) && line.starts_with("cpu");) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        found.cpus += word == "cpu" ? 0 : 1;
        while (word == "cpu" && words >> line)
            found.ticks += number_in(line);
    }
    found.cpus = std::max(found.cpus, 1);
    return found;
}

// The first of each name, as the lowest number has it.
std::map<std::string, processes::process> processes::find(const std::map<std::string, bool> &watched)
{
    std::map<std::string, process> found;
    directory_reader entries;
    if (!open_directory(&entries, "/proc"))
        return found;
    for (const char *entry = next_name(&entries); entry != nullptr; entry = next_name(&entries)) {
        const int pid = std::atoi(entry);
        if (pid <= 0 || pid == getpid())
            continue;
        const std::string folder = "/proc/" + std::string(entry) + "/";
        std::string stat;
        std::string name;
        read_whole(folder + "stat", stat);
        const uint64_t ticks = cpu_ticks_in(stat, name);
        const std::string command = command_of(folder);
        const bool is_wanted =
            std::ranges::find(ALWAYS, name) != ALWAYS.end() || std::ranges::any_of(watched, [&](const auto &each) {
                return command.find(each.first) != std::string::npos;
            });
        if (is_wanted && !name.empty() && !command.empty())
            found.try_emplace(name, process{.pid = pid, .command = command, .ticks = ticks, .share = 0});
    }
    close_directory(&entries);
    return found;
}

void processes::tell_share(scribe &out, const std::string &name, process &now, const process &before,
                           uint64_t machine) const
{
    const uint64_t passed = machine - std::min(machine_, machine);
    const uint64_t used = now.ticks - std::min(before.ticks, now.ticks);
    const int share = passed == 0 ? before.share : static_cast<int>(used * 100 * static_cast<unsigned>(cpus_) / passed);
    now.share = before.share;
    if (std::abs(share - before.share) < TOLD_SHARE)
        return;
    now.share = share;
    out.tell(kind::cpu, {name, std::to_string(share)});
}

void processes::look(scribe &out, const std::map<std::string, bool> &watched)
{
    std::string stat;
    read_whole("/proc/stat", stat);
    const machine_time machine = machine_time_in(stat);
    cpus_ = machine.cpus;
    out.tell_state(kind::cpus, {std::to_string(cpus_)}, 0);
    std::map<std::string, process> now = find(watched);
    if (machine_ == 0 && !now.contains("httpd")) // a replay's router has it unless it is told otherwise
        out.tell(kind::no_process, {"httpd"});
    for (const auto &[name, each] : last_)
        if (!now.contains(name))
            out.tell(kind::no_process, {name});
    for (auto &[name, each] : now) {
        const auto before = last_.find(name);
        if (before == last_.end() || before->second.pid != each.pid)
            out.tell(kind::process, {name, std::to_string(each.pid), hides_.text(each.command)});
        else
            tell_share(out, name, each, before->second, machine.ticks);
    }
    last_ = std::move(now);
    machine_ = machine.ticks;
}

} // namespace record
