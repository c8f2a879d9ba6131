// What the daemon has the shell do, and what comes of it.
//
// No program runs. A few are modelled as far as the daemon can see what they did: iptables -N -A -I -D -F -X on chains,
// "ip rule add" and "del" with a priority, killall, "echo" into a file, "cfm post netctrl", and "ps | grep". All others
// do nothing and give 0; what else they should do to the world is a hook's matter. A restart brings back the firewall's
// three chains, empty, and no rule of policy routing; what a test told stays.
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
    //
    // `command` is the whole line to the letter, as the daemon gives it to the shell. Commands reach the model in three
    // ways: doSystemCmd (a line of at most 4095 bytes), popen (to read what it prints) and _eval (one program without a
    // shell).

    // Whether a command that starts this program leaves it running (false unless set): a process of that name,
    // with the command's words as its command line. Not for the programs that are modelled.
    void set_starts(const std::string &program, bool starts)
    {
        starts_.at_key(program) = starts;
    }
    // What a command run through popen prints; "" unless told, but for "ps | grep". One that was told leaves no line in
    // the journal.
    void set_output(const std::string &command, std::string_view output)
    {
        outputs_.at_key(command) = output;
    }
    // Its exit status, or 128 + the signal that ends it, whatever it does: what is modelled happens all the same. For
    // doSystemCmd and popen.
    void set_status(const std::string &command, int status)
    {
        statuses_.at_key(command) = status;
    }
    // Asked before the model for every command of doSystemCmd; gives the exit status, and nothing else happens, or
    // NOT_HANDLED. It runs in the thread of the daemon that asked, and may change the world, post, or restart the
    // machine.
    void set_hook(std::function<int(const std::string &command)> hook)
    {
        hook_ = std::move(hook);
    }
    // Seconds that every command of doSystemCmd takes; 0 unless set. They pass before it does anything, and the
    // daemon's other threads go on meanwhile. popen and _eval take none.
    void set_duration(int seconds)
    {
        duration_ = seconds * SECOND;
    }
    // The factory has INPUT, FORWARD and OUTPUT; tables are not told apart, and a rule is its text, not what it lets
    // through.

    // The rules of an iptables chain in order, as "-o eth1 -j DROP"; none when there is no such chain.
    Words chain(const std::string &name) const;
    bool has_chain(const std::string &name) const
    {
        return chains_.contains(name);
    }
    // The rules of policy routing, "PRIORITY SELECTOR", sorted by priority.
    std::vector<std::string> rules() const;

    // ---- for the model ----

    // Runs a shell command; its exit status, or -1 when a fault of doSystemCmd hits. It is in the journal before it
    // runs.
    int run(const std::string &command);
    // Runs one program without a shell; its exit status. At least one word. Takes no time, and asks no hook.
    int run_program(const Words &words);
    // What a command prints for popen, all of it at once.
    std::string output_of(const std::string &command);
    // The result that a test told of, an exit status or 128 + a signal; 0 unless it did.
    int status_told(const std::string &command) const
    {
        const int *const told = statuses_.value_of(command);
        return told == nullptr ? 0 : *told;
    }
    void machine_restarted();

private:
    // The programs that are modelled. They give an exit status, 0: done, and print nothing. iptables and ip know
    // what the daemon uses of them; other words are an error, so that a command that it learns is noticed.
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
