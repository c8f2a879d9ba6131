// What the daemon does and what it prints. Both go on over restarts of the machine, and are held in memory to the end
// of the program: a long run mutes what it does not look at, or clears now and then.
#ifndef PLATFORM_SIM_JOURNAL_H
#define PLATFORM_SIM_JOURNAL_H

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/common/journal.h"
#include "platform/sim/clock.h"

namespace sim
{

// One line for each act that can be seen from outside, without time:
//   set KEY=VALUE   set failed KEY   commit   commit failed   command TEXT   exec A B >REDIRECT
//   netctrl MODULE?TEXT (send_msg_to_netctrl)   netctrl failed MODULE?TEXT   leds N   reboot
//   wan_lan_check ADDRESS MASK   write PATH   unlink PATH   rename FROM TO   command too long
// command, exec, reboot and wan_lan_check are there when the daemon begins them, also when they then fail; unlink and
// rename when they are done; write, once for each descriptor, when it is closed. What the daemon reads or asks is no
// act, and neither is what a test does to the world.
class Journal
{
public:
    explicit Journal(const Clock &clock) : clock_(clock)
    {
    }
    const std::vector<std::string> &lines() const
    {
        return lines_;
    }
    // When a line's act happened, calendar seconds since 1970 and up-time in seconds; whose it was, and why.
    struct Moment {
        time_t wall;
        int uptime;
        uint8_t who;        // a status_who
        uint8_t verdict;    // by which it acted, or STATUS_AT_START and so on
        uint32_t count = 0; // how far it was in what the verdict counts, of how much
        uint32_t target = 0;
    };
    // Of each line of lines().
    const std::vector<Moment> &moments() const
    {
        return moments_;
    }
    // "2026-03-01 02:00:00 +7200 reboot": local time, up-time in seconds, act.
    // Told in the zone that the machine has at the end, when somebody asks, and not in that of the act.
    std::vector<std::string> timed_lines() const;
    // The same lines with whose they are and why.
    struct Record {
        std::string line;
        uint8_t who = 0;     // a status_who
        uint8_t verdict = 0; // by which it acted, or STATUS_AT_START and so on
        uint32_t count = 0;  // how far it was in what the verdict counts, of how much
        uint32_t target = 0;
    };
    std::vector<Record> records() const;
    // Has each record as the grounds keep it, cut and without secrets, while the daemon acts; muted ones, too.
    void on_record(std::function<void(const journal_record &)> hook)
    {
        hook_ = std::move(hook);
    }
    // The acts whose first word this is, the whole line of each.
    std::vector<std::string> acts(std::string_view first_word) const;
    // "MODULE?TEXT" of all messages to netctrl, from send_msg_to_netctrl and "cfm post netctrl" alike, in order.
    const std::vector<std::string> &messages_to_netctrl() const
    {
        return messages_;
    }
    // Forgets the lines and the messages, and gives their memory back.
    void clear();
    // Such acts leave no line from now on: for long runs. There is no way back. Messages to netctrl are kept all the
    // same.
    void mute(const std::string &first_word)
    {
        muted_.insert(first_word);
    }

    // ---- for the model ----

    // The line without an end, at the present moment of the clock. Then one of the functions of
    // platform/common/journal.h, which leads to reason().
    void act(std::string line);
    void reason(const journal_record &record);
    // Both, for what the daemon does to a file.
    void file_act(const std::string &line);
    void message_to_netctrl(std::string text)
    {
        messages_.push_back(std::move(text));
    }

private:
    const Clock &clock_;
    std::vector<std::string> lines_;
    std::vector<Moment> moments_; // as numbers beside the lines: nearly all journals are read without their times
    size_t reasoned_ = 0;         // of these, whose reasons are known
    std::function<void(const journal_record &)> hook_;
    std::vector<std::string> messages_;
    std::set<std::string, std::less<>> muted_;
};

// The daemon's standard output, and what it writes to descriptor 2. Its stdio buffering is not simulated: a text is
// here as soon as it is printed, so that none is lost at a restart.
class Log
{
public:
    // One entry a complete line, without its end.
    const std::vector<std::string> &lines() const
    {
        return lines_;
    }
    // The lines without colours and without the prefix of function and line number; a line that has none as it is.
    std::vector<std::string> bodies() const;
    static std::string body(const std::string &line);
    // Lines since the program started, also those that were not kept.
    uint64_t count() const
    {
        return count_;
    }
    // Forgets the lines, and what was printed of the next one.
    void clear();
    // False: lines are counted alone, for long runs; those that are there stay.
    void keep(bool keep)
    {
        keep_ = keep;
    }
    // Lines are not even put together from now on, nor counted: for runs that do not look at them. There is no way
    // back.
    void ignore()
    {
        ignored_ = true;
    }
    // On the terminal too; so it is at first when SIM_LOG is in the environment.
    void show(bool show)
    {
        shown_ = show;
    }

    // ---- for the model ----

    // Any piece of text, with any number of line ends; printf's formats at any length. They cannot fail.
    void print(std::string_view text);
    void print_format(const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));

private:
    std::vector<std::string> lines_;
    std::string unfinished_; // what was printed since the last line end
    uint64_t count_ = 0;
    bool keep_ = true;
    bool ignored_ = false;
    bool shown_ = getenv("SIM_LOG") != nullptr;
};

} // namespace sim

#endif
