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

} // namespace

int main(int argc, char *argv[])
{
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        if (const std::optional<int> outcome = tcctl::run_plain_status(words))
            std::_Exit(*outcome); // all is printed, and the rest need not be put away piece by piece (decision 0180)
        return run(words);
    } catch (const std::exception &error) {
        return tcctl::fail(error.what());
    }
}
