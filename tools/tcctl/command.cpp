#include "tools/tcctl/command.h"

#include <algorithm>
#include <array>

#include <CLI/CLI.hpp>

namespace tcctl
{

#define TCCTL_COMMAND(name, summary) command{#name, summary, add_##name},
constexpr std::array COMMANDS = {
#include "tools/tcctl/commands.def"
};
#undef TCCTL_COMMAND

std::span<const command> commands()
{
    return COMMANDS;
}

void add_commands(CLI::App &app, std::string_view called, int &outcome)
{
    const bool is_one = std::ranges::any_of(COMMANDS, [called](const command &each) { return each.name == called; });
    for (const command &each : COMMANDS) {
        if (is_one && each.name != called)
            continue;
        CLI::App *const added = app.add_subcommand(each.name, each.summary);
        added->callback([&outcome, run = each.add(*added)] { outcome = run(); });
    }
}

} // namespace tcctl
