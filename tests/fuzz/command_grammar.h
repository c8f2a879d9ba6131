// The commands that the daemon may give to a shell, whatever the settings hold.
#ifndef TESTS_FUZZ_COMMAND_GRAMMAR_H
#define TESTS_FUZZ_COMMAND_GRAMMAR_H

#include <string>
#include <string_view>
#include <vector>

// A word as the program gets it, or an operator of the shell.
struct ShellToken {
    std::string text;
    bool is_operator;
};

// Reads a command line as a shell does. False: it holds anything that a shell would expand or run, or a quote that does
// not end.
bool read_shell_tokens(std::string_view line, std::vector<ShellToken> &tokens);

// Whether the command is one of the daemon's, with texts of settings only where its arguments have their places.
bool is_daemon_command(std::string_view line);

#endif
