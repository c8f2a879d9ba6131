#include "tools/replay/program.h"

#include <iostream>
#include <optional>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/command_line.h"
#include "tools/replay/replay.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/output.h"

namespace replay
{

namespace
{

micros read_until(const std::string &text)
{
    if (text.empty())
        return INT64_MAX;
    const std::optional<micros> moment = read_moment(text);
    if (!moment)
        throw refused(fmt::format("--until: no moment such as 2026-03-02T23:00:00Z: {}", text));
    return *moment;
}

} // namespace

int run_program(const std::vector<std::string> &words)
{
    CLI::App app(
        "Goes through a trace again: what the daemon time_check does in the world that it tells of, when and why.",
        "tcctl replay");
    app.set_version_flag("--version", "tcctl replay " TCCTL_VERSION);
    std::string path;
    std::string until;
    bool is_json = false;
    bool all = false;
    app.add_option("TRACE", path, "the trace's file, - for standard input")->required();
    app.add_flag("--json", is_json, "print an object");
    app.add_flag("--all", all, "print also what the daemon sets again as it has set it already");
    app.add_option("--until", until, "go no further than this moment, such as 2026-03-02T23:00:00Z")->type_name("TIME");
    try {
        take_words(app, words);
    } catch (const CLI::ParseError &error) {
        if (app.exit(error) != 0)
            return tcctl::CANNOT;
        return std::cout.flush() ? tcctl::WELL : throw refused("cannot write the help");
    }
    const outcome gone = run(read(path), read_until(until));
    return tcctl::print(is_json ? json_of(gone, all) : text_of(gone, all));
}

} // namespace replay
