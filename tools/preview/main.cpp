// tcctl-preview: what tcctl preview starts. The coming days of a router, by the daemon itself in virtual time.
//
// Under the name tcctl-replay it is what tcctl replay starts: both carry the virtual router.
//
// Ends with 0, or with 2 and a line that says why there is nothing to show.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/command_line.h"
#include "tools/preview/engine.h"
#include "tools/preview/formats.h"
#include "tools/preview/options.h"
#include "tools/preview/progress.h"
#include "tools/replay/program.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/output.h"

namespace
{

// The virtual router has a zone of its own from before main on.
const char *own_zone = nullptr;

__attribute__((constructor(101))) void remember_zone()
{
    own_zone = std::getenv("TZ");
}

const char *command = "preview";

int fail(std::string_view why)
{
    fmt::print(stderr, "tcctl {}: {}\n", command, tcctl::shown(why));
    return tcctl::CANNOT;
}

// As wide as the terminal, or as COLUMNS says, or 80.
int columns()
{
    struct winsize size = {};
    if (isatty(STDOUT_FILENO) != 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    const char *const told = std::getenv("COLUMNS");
    const int number = told == nullptr ? 0 : std::atoi(told);
    return number > 0 ? number : 80;
}

std::string formatted(const preview::plan &made, const std::string &format)
{
    if (format == "json")
        return preview::json_of(made);
    if (format == "svg")
        return preview::svg_of(made);
    return format == "html" ? preview::html_of(made) : preview::text_of(made, columns());
}

int show(const preview::options &given)
{
    preview::progress_line progress;
    const preview::plan made = preview::make_plan(preview::request_of(given, own_zone == nullptr ? "" : own_zone),
                                                  [&progress](double done) { progress.show(done); });
    progress.clear();
    return tcctl::print(formatted(made, given.format));
}

int run(const std::vector<std::string> &words)
{
    CLI::App app("Shows the coming days: what the daemon time_check will do by the settings, when and why.",
                 "tcctl preview");
    app.set_version_flag("--version", "tcctl preview " TCCTL_VERSION);
    preview::options given;
    preview::add_options(app, given);
    try {
        take_words(app, words);
    } catch (const CLI::ParseError &error) {
        if (app.exit(error) != 0)
            return tcctl::CANNOT;
        return std::cout.flush() ? tcctl::WELL : fail("cannot write the help");
    }
    return show(given);
}

} // namespace

int main(int argc, char *argv[])
{
    try {
        if (argc > 0 && std::string_view(argv[0]).ends_with("tcctl-replay")) {
            command = "replay";
            return replay::run_program({argv + 1, argv + argc});
        }
        return run({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tcctl %s: %s\n", command, error.what());
        return tcctl::CANNOT;
    }
}
