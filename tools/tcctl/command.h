// What a command of tcctl is.
#ifndef TOOLS_TCCTL_COMMAND_H
#define TOOLS_TCCTL_COMMAND_H

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI
{
class App;
}

namespace tcctl
{

// Exit codes. What "found" means is the command's: settings with mistakes, a module in trouble. What cannot be done is
// one with what was called wrongly: a script that asks "is all well?" has no answer in either case.
constexpr int WELL = 0;
constexpr int FOUND = 1;
constexpr int CANNOT = 2;

// Gives the exit code.
using run_fn = std::function<int()>;

struct command {
    const char *name;
    const char *summary;
    run_fn (*add)(CLI::App &app); // adds its options to `app`; gives what runs once they are read
};

// All of them, as commands.def has them.
std::span<const command> commands();

// Adds the command `called` to `app`, or every one when there is none of that name: what is not called need not be
// built up. The one that is called leaves its exit code in `outcome`.
void add_commands(CLI::App &app, std::string_view called, int &outcome);

// What is called most, "status" and "status --json", understood by itself: to build up a command line costs more than
// all the rest (decision 0180). None: it is something else.
std::optional<int> run_plain_status(const std::vector<std::string> &words);

#define TCCTL_COMMAND(name, summary) run_fn add_##name(CLI::App &app);
#include "tools/tcctl/commands.def"
#undef TCCTL_COMMAND

} // namespace tcctl

#endif
