#include "tools/tcctl/event_program.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tools/tcctl/event_lines.h"
#include "tools/tcctl/output.h"

namespace tcctl
{

namespace
{

int64_t now_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void pause_ms(int64_t milliseconds)
{
    const timespec pause = {.tv_sec = milliseconds / 1000, .tv_nsec = static_cast<long>(milliseconds % 1000 * 1000000)};
    nanosleep(&pause, nullptr);
}

// This process's own without what looks like an event's, then the event's. Foreign text is made safe: no line ends, no
// bytes that a terminal would obey.
std::vector<std::string> environment_of(const event &told, uint64_t dropped)
{
    std::vector<std::string> all;
    for (char **each = environ; *each != nullptr; each++)
        if (std::strncmp(*each, "TC_", 3) != 0)
            all.emplace_back(*each);
    const journal_record &act = told.first();
    std::string json = json_line(told);
    json.pop_back();
    all.push_back("TC_AT=" + iso_time(act.time));
    all.push_back(fmt::format("TC_TIME={}", act.time));
    all.push_back(fmt::format("TC_MODULE={}", module_of(act.who)));
    all.push_back(fmt::format("TC_EVENT={}", name_of(told.kind())));
    all.push_back(fmt::format("TC_REASON={}", told.reason));
    all.push_back("TC_SUBJECT=" + shown(told.changes.front().subject));
    all.push_back("TC_TEXT=" + shown(text_of(told)));
    all.push_back("TC_NEXT=" + (act.next == 0 ? "" : iso_time(act.next)));
    all.push_back(fmt::format("TC_DROPPED={}", dropped));
    all.push_back("TC_JSON=" + json);
    return all;
}

std::vector<char *> pointers_to(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// In a process group of its own, with nothing to read. Its id, or -1 with errno.
int start(std::vector<std::string> &command, std::vector<std::string> environment)
{
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    pid_t pid = -1;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    const int error = posix_spawnp(&pid, command[0].c_str(), &files, &attributes, pointers_to(command).data(),
                                   pointers_to(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    errno = error;
    return error == 0 ? pid : -1;
}

} // namespace

event_program::event_program(std::vector<std::string> command, const program_limits &limits)
    : command_(std::move(command)), limits_(limits)
{
}

void event_program::count_lost(uint32_t number)
{
    dropped_ += number;
}

bool event_program::may_run()
{
    constexpr int64_t MINUTE_MS = 60000;
    const int64_t now = now_ms();
    while (!runs_.empty() && now - runs_.front() >= MINUTE_MS)
        runs_.pop_front();
    if (runs_.size() >= static_cast<size_t>(limits_.most_a_minute))
        return false;
    runs_.push_back(now);
    return true;
}

void event_program::wait_for(int pid)
{
    constexpr int64_t LOOK_MS = 20;
    const int64_t end = now_ms() + static_cast<int64_t>(limits_.timeout_s) * 1000;
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (now_ms() >= end) {
            kill(-pid, SIGKILL);
            waitpid(pid, &status, 0);
            fail(fmt::format("{} was ended after {} s", command_[0], limits_.timeout_s));
            return;
        }
        pause_ms(LOOK_MS);
    }
    if (WIFSIGNALED(status))
        fail(fmt::format("{} was ended by signal {}", command_[0], WTERMSIG(status)));
    else if (WEXITSTATUS(status) != 0)
        fail(fmt::format("{} ended with status {}", command_[0], WEXITSTATUS(status)));
}

void event_program::run(const event &told)
{
    if (!may_run()) {
        dropped_++;
        return;
    }
    const int pid = start(command_, environment_of(told, dropped_));
    if (pid < 0) {
        fail(fmt::format("{} cannot be run: {}", command_[0], std::strerror(errno)));
        return;
    }
    dropped_ = 0;
    wait_for(pid);
}

} // namespace tcctl
