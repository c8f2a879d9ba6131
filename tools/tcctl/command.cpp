#include "tools/tcctl/command.h"

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

void add_commands(CLI::App &app, int &outcome)
{
    for (const command &each : COMMANDS) {
        CLI::App *const added = app.add_subcommand(each.name, each.summary);
        added->callback([&outcome, run = each.add(*added)] { outcome = run(); });
    }
}

} // namespace tcctl
