// What the daemon does and what it prints.
#ifndef PLATFORM_SIM_JOURNAL_H
#define PLATFORM_SIM_JOURNAL_H

#include <cstdarg>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/scheduler.h"

namespace sim
{

// One line an act that can be seen from outside.
class Journal
{
public:
    explicit Journal(const Scheduler &clock) : clock_(clock)
    {
    }
    void act(std::string line);
    const std::vector<std::string> &lines() const
    {
        return lines_;
    }
    std::vector<std::string> timed_lines() const;
    void clear();
    void mute(const std::string &first_word)
    {
        muted_.insert(first_word);
    }

private:
    struct Moment {
        time_t wall;
        int uptime;
    };
    const Scheduler &clock_;
    std::vector<std::string> lines_;
    std::vector<Moment> moments_;
    std::set<std::string, std::less<>> muted_;
};

// The daemon's standard output, by lines.
class Log
{
public:
    void print(std::string_view text);
    void print_format(const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));
    const std::vector<std::string> &lines() const
    {
        return lines_;
    }
    void clear();
    void keep(bool keep)
    {
        keep_ = keep;
    }
    uint64_t count() const
    {
        return count_;
    }
    void show(bool show)
    {
        shown_ = show;
    }

private:
    std::vector<std::string> lines_;
    std::string unfinished_;
    uint64_t count_ = 0;
    bool keep_ = true;
    bool shown_ = getenv("SIM_LOG") != nullptr; // on the terminal too
};

// "YYYY-MM-DD HH:MM:SS" in the router's time zone, and back (−1: not a time).
std::string local_text(time_t time);
time_t from_local_text(const std::string &text);

} // namespace sim

#endif
