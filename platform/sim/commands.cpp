#include "platform/sim/commands.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <utility>

#include "platform/netctrl.h"
#include "platform/sim/shell.h"
#include "platform/sim/virtual_router.h"
#include "platform/system.h"

namespace sim
{
namespace
{

std::string joined(const Commands::Words &words, size_t first)
{
    std::string text;
    for (size_t i = first; i < words.size(); i++)
        text += (i == first ? "" : " ") + words[i];
    return text;
}

} // namespace

int Commands::run(const std::string &command)
{
    router().journal.act("command " + command);
    journal_command(command.c_str());
    if (router().faults.hits(Call::doSystemCmd))
        return -1;
    router().pause(duration_);
    if (hook_)
        if (const int status = hook_(command); status != NOT_HANDLED)
            return status;
    int status = 0;
    for (const SimpleCommand &each : read_command_line(command)) {
        if (each.after_success && status != 0)
            continue;
        status = run_program(each.words);
        if (!each.output.empty() && !each.output.starts_with("/dev/"))
            router().files.set(each.output, each.words[0] == "echo" ? joined(each.words, 1) + "\n" : "");
    }
    const int *const told = statuses_.value_of(command);
    return told == nullptr ? status : *told;
}

int Commands::run_program(const Words &words)
{
    const std::string &program = words[0];
    if (program == "iptables")
        return iptables(words);
    if (program == "ip" && words.size() > 2 && words[1] == "rule")
        return ip_rule(words);
    if (program == "killall")
        return killall(words);
    if (program == "cfm" && words.size() > 3 && words[1] == "post" && words[2] == "netctrl")
        router().journal.message_to_netctrl(joined(words, 3));
    if (const bool *const starts = starts_.value_of(program); starts != nullptr && *starts)
        router().processes.start(program, joined(words, 0));
    return 0;
}

std::string Commands::output_of(const std::string &command)
{
    static constexpr std::string_view LISTING = "ps | grep ";
    if (const std::string *const told = outputs_.value_of(command); told != nullptr)
        return *told;
    if (command.starts_with(LISTING)) {
        const std::vector<SimpleCommand> parts = read_command_line(command);
        return parts.size() == 2 && parts[1].words.size() > 1 ? router().processes.listed(parts[1].words[1]) : "";
    }
    router().journal.act("command " + command);
    journal_command(command.c_str());
    return "";
}

int Commands::killall(const Words &words)
{
    int ended = 0;
    for (size_t i = 1; i < words.size(); i++)
        ended += router().processes.end(words[i]);
    return ended > 0 ? 0 : 1;
}

// ---- netfilter and policy routing ----

int Commands::iptables(const Words &words)
{
    if (words.size() < 3)
        return 2;
    const std::string &action = words[1];
    const std::string &name = words[2];
    const std::string rule = joined(words, 3);
    if (action == "-N")
        return chains_.try_emplace(name).second ? 0 : 1;
    const auto chain = chains_.find(name);
    if (chain == chains_.end())
        return 1;
    Words &rules = chain->second;
    const auto found = std::ranges::find(rules, rule);
    if (action == "-A") {
        rules.push_back(rule);
    } else if (action == "-I") {
        rules.insert(rules.begin(), rule);
    } else if (action == "-F") {
        rules.clear();
    } else if (action == "-X" && rules.empty()) {
        chains_.erase(chain);
    } else if (action == "-D" && found != rules.end()) {
        rules.erase(found);
    } else {
        return 1;
    }
    return 0;
}

int Commands::ip_rule(const Words &words)
{
    const auto prio = std::ranges::find(words, "prio");
    if (prio == words.end() || prio + 1 == words.end())
        return 1;
    const int priority = atoi((prio + 1)->c_str());
    if (words[2] == "add") {
        const std::string selector = joined(Words(words.begin() + 3, prio), 0);
        const auto [first, last] = rules_.equal_range(priority);
        if (std::any_of(first, last, [&](const auto &rule) { return rule.second == selector; }))
            return 2; // the kernel has no rule twice
        rules_.emplace(priority, selector);
        return 0;
    }
    const auto found = rules_.find(priority);
    if (words[2] != "del" || found == rules_.end())
        return 2;
    rules_.erase(found);
    return 0;
}

void Commands::machine_restarted()
{
    chains_.clear();
    chains_["INPUT"];
    chains_["FORWARD"];
    chains_["OUTPUT"];
    rules_.clear();
}

Commands::Words Commands::chain(const std::string &name) const
{
    const auto found = chains_.find(name);
    return found == chains_.end() ? Words{} : found->second;
}

std::vector<std::string> Commands::rules() const
{
    std::vector<std::string> lines;
    for (const auto &[priority, selector] : rules_)
        lines.push_back(std::to_string(priority) + " " + selector);
    return lines;
}

} // namespace sim

// ---- the contract ----

using sim::Call;
using sim::router;

static constexpr int COMMAND_MAX = 4095;
static constexpr size_t MESSAGE_MAX = 4095; // what the bus takes

extern "C" int doSystemCmd(const char *format, ...)
{
    char command[COMMAND_MAX + 1];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    if (length < 0 || length > COMMAND_MAX) {
        router().journal.act("command too long");
        journal_command("too long");
        return -1;
    }
    return router().commands.run(command);
}

extern "C" int _eval(char *const argv[], const char *redirect, int /*timeout*/, int *pid)
{
    sim::Commands::Words words;
    for (char *const *word = argv; *word != nullptr; word++)
        words.emplace_back(*word);
    std::string act = "exec " + sim::joined(words, 0);
    if (redirect != nullptr)
        act.append(" ").append(redirect);
    router().journal.act(std::move(act));
    journal_exec(argv, redirect);
    if (words.empty() || router().faults.hits(Call::_eval))
        return -1;
    const int status = router().commands.run_program(words);
    if (pid == nullptr)
        return status;
    *pid = 1;
    return 0;
}

extern "C" int send_msg_to_netctrl(int module, const char *text)
{
    const std::string message = std::to_string(module) + "?" + text;
    if (router().faults.hits(Call::send_msg_to_netctrl) || message.size() > MESSAGE_MAX) {
        router().journal.act("netctrl failed " + message);
        journal_netctrl(module, text, 0);
        return -1;
    }
    router().journal.act("netctrl " + message);
    journal_netctrl(module, text, 1);
    router().journal.message_to_netctrl(message);
    return 0;
}
