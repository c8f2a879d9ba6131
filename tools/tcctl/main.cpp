// tcctl: people's way to the daemon and its settings.
//
// Ends with 0 when all is well, 1 when a command found what it looks for, 2 when it could not look or was called
// wrongly (a line says why).
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/command_line.h"
#include "tools/nearest_word.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/output.h"

namespace
{

// A first word that is neither an option nor a command: CLI11 would only say that a command is missing.
bool is_unknown(const std::vector<std::string> &words)
{
    if (words.empty() || words[0].starts_with('-'))
        return false;
    return std::ranges::none_of(tcctl::commands(),
                                [&words](const tcctl::command &each) { return words[0] == each.name; });
}

int fail_unknown(std::string_view word)
{
    std::vector<std::string_view> names;
    for (const tcctl::command &each : tcctl::commands())
        names.emplace_back(each.name);
    const std::string_view near = nearest_word(word, names);
    return tcctl::fail(near.empty() ? fmt::format("unknown command {} (tcctl --help lists them)", word)
                                    : fmt::format("unknown command {} (did you mean {}?)", word, near));
}

int run(const std::vector<std::string> &words)
{
    if (is_unknown(words))
        return fail_unknown(words[0]);
    CLI::App app("Looks at the daemon time_check and its settings.", "tcctl");
    app.set_version_flag("--version", "tcctl " TCCTL_VERSION);
    app.require_subcommand(1);
    int outcome = tcctl::CANNOT;
    tcctl::add_commands(app, words.empty() ? "" : words[0], outcome);
    try {
        take_words(app, words);
    } catch (const CLI::ParseError &error) {
        if (app.exit(error) != 0)
            return tcctl::CANNOT;
        return std::cout.flush() ? tcctl::WELL : tcctl::fail("cannot write the help");
    }
    return outcome;
}

// All is printed then, and the rest need not be put away piece by piece (decision 0180).
void end_if_plain_status(int argc, char **argv)
{
    if (const std::optional<int> outcome = tcctl::run_plain_status({argv + 1, argv + argc}))
        std::_Exit(*outcome);
}

// Before the constructors of the command line's library and of the streams that it brings along, which cost half as
// much as all of "status" and are of no use to it (decision 0207): nothing that is called from here may need one.
// Without a C library that gives a constructor the arguments, main does the same later.
#ifdef __GLIBC__
[[gnu::constructor(101)]] void answer_early(int argc, char **argv)
{
    try {
        end_if_plain_status(argc, argv);
    } catch (const std::exception &error) {
        std::_Exit(tcctl::fail(error.what()));
    }
}
#endif

} // namespace

int main(int argc, char *argv[])
{
    try {
        end_if_plain_status(argc, argv);
        return run({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        return tcctl::fail(error.what());
    }
}
