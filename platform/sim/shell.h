// Just enough of a shell's reading of a command line to model what the daemon's commands do.
#ifndef PLATFORM_SIM_SHELL_H
#define PLATFORM_SIM_SHELL_H

#include <string>
#include <string_view>
#include <vector>

namespace sim
{

// One program with its arguments.
struct SimpleCommand {
    std::vector<std::string> words; // quotes taken off
    std::string output;             // the file that standard output goes to, "": none
    bool after_success = false;     // it runs only when the one before it gave 0 ("&&")
};

// The parts of a command line, split at "&&", ";", "|" and "&".
std::vector<SimpleCommand> read_command_line(std::string_view line);

} // namespace sim

#endif
