// Just enough of a shell's reading of a command line to model what the daemon's commands do.
//
// Read are words, both kinds of quotes, the backslash, and where output goes. Not read: variables, patterns, "(", "||",
// "<" and comments. Parts of a pipe do not feed each other, a program in the background is done before the next one
// starts, and ">>" begins the file anew.
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

// The parts of a command line, split at "&&", ";", "|", "&" and line ends, in order; each has at least one word, so an
// empty line has none. It does not fail: a quote that is left open ends with the line.
std::vector<SimpleCommand> read_command_line(std::string_view line);

} // namespace sim

#endif
