// What the daemon has the shell do, and what comes of it.
#ifndef PLATFORM_SIM_COMMANDS_H
#define PLATFORM_SIM_COMMANDS_H

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/clock.h"
#include "platform/sim/text_map.h"

namespace sim
{

// What a command hook gives when it leaves the command to the model.
inline constexpr int NOT_HANDLED = -1000;

class Commands
{
public:
    using Words = std::vector<std::string>;

    // ---- for the test ----

    // Whether a command that starts this program leaves it running (false unless set).
    void set_starts(const std::string &program, bool starts)
    {
        starts_.at_key(program) = starts;
    }
    // What a program run through popen prints.
    void set_output(const std::string &command, std::string_view output)
    {
        outputs_.at_key(command) = output;
    }
    // Its exit status, or 128 + the signal that ends it, whatever it does.
    void set_status(const std::string &command, int status)
    {
        statuses_.at_key(command) = status;
    }
    // Asked before the model for every command; gives the exit status, or NOT_HANDLED.
    void set_hook(std::function<int(const std::string &command)> hook)
    {
        hook_ = std::move(hook);
    }
    // Seconds that every command takes; 0 unless set.
    void set_duration(int seconds)
    {
        duration_ = seconds * SECOND;
    }
    // The rules of an iptables chain in order, as "-o eth1 -j DROP"; none when there is no such chain.
    Words chain(const std::string &name) const;
    bool has_chain(const std::string &name) const
    {
        return chains_.contains(name);
    }
    // The rules of policy routing, "PRIORITY SELECTOR", sorted by priority.
    std::vector<std::string> rules() const;

    // ---- for the model ----

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
    void machine_restarted();

private:
    int iptables(const Words &words);
    int ip_rule(const Words &words);
    int killall(const Words &words);

    std::map<std::string, Words> chains_;   // a chain's rules, in order
    std::multimap<int, std::string> rules_; // selector by priority
    TextMap<bool> starts_;
    TextMap<std::string> outputs_;
    TextMap<int> statuses_;
    std::function<int(const std::string &)> hook_;
    Micros duration_ = 0;
};

} // namespace sim

#endif
