// What the daemon has the shell do, and what comes of it.
#ifndef PLATFORM_SIM_COMMANDS_H
#define PLATFORM_SIM_COMMANDS_H

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/scheduler.h"
#include "platform/sim/text_map.h"

namespace sim
{

class Commands
{
public:
    using Words = std::vector<std::string>;

    // Runs a shell command; its exit status.
    int run(const std::string &command);
    // Runs one program without a shell.
    int run_program(const Words &words);
    // What a command prints for popen.
    std::string output_of(const std::string &command);
    // The result that a test told of, an exit status or 128 + a signal; 0 unless it did.
    int status_told(const std::string &command) const
    {
        const int *const told = statuses_.value_of(command);
        return told == nullptr ? 0 : *told;
    }
    void message_to_netctrl(std::string text)
    {
        messages_.push_back(std::move(text));
    }
    void machine_restarted();

    // ---- the world's side ----
    void set_starts(const std::string &program, bool starts)
    {
        starts_.at_key(program) = starts;
    }
    void set_output(const std::string &command, std::string_view output)
    {
        outputs_.at_key(command) = output;
    }
    void set_status(const std::string &command, int status)
    {
        statuses_.at_key(command) = status;
    }
    void set_hook(std::function<int(const std::string &)> hook)
    {
        hook_ = std::move(hook);
    }
    void set_duration(Micros duration)
    {
        duration_ = duration;
    }
    const Words *chain(const std::string &name) const;
    std::vector<std::string> rules() const;
    const std::vector<std::string> &messages_to_netctrl() const
    {
        return messages_;
    }
    void clear_messages()
    {
        messages_.clear();
        messages_.shrink_to_fit();
    }

private:
    int iptables(const Words &words);
    int ip_rule(const Words &words);
    int killall(const Words &words);

    std::map<std::string, Words> chains_;   // a chain's rules, in order
    std::multimap<int, std::string> rules_; // selector by priority
    std::vector<std::string> messages_;
    TextMap<bool> starts_;
    TextMap<std::string> outputs_;
    TextMap<int> statuses_;
    std::function<int(const std::string &)> hook_;
    Micros duration_ = 0;
};

} // namespace sim

#endif
