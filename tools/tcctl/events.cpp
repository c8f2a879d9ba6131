// tcctl events: what the daemon did, in words.
#include <algorithm>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/nearest_word.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/event.h"
#include "tools/tcctl/event_lines.h"
#include "tools/tcctl/events.h"
#include "tools/tcctl/explain.h"
#include "tools/tcctl/journal_tail.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/since.h"

namespace tcctl
{

namespace
{

// ---- what was asked for ----

constexpr std::string_view NOBODY = "router"; // boots and what the ground says
constexpr std::string_view CLASH = "clash";

// The module as events name it; "" when there is none.
std::string_view event_module(std::string_view name)
{
    return name == NOBODY || name == CLASH ? name : module_named(name);
}

bool is_asked(const events_options &options, uint8_t who)
{
    return options.modules.empty() ||
           std::any_of(options.modules.begin(), options.modules.end(),
                       [&](const auto &name) { return event_module(name) == module_of(who); });
}

std::string fault_of(std::string_view what, std::string_view name, const std::vector<std::string_view> &known)
{
    const std::string_view near = nearest_word(name, known);
    return near.empty() ? fmt::format("no {} {}", what, name)
                        : fmt::format("no {} {} (did you mean {}?)", what, name, near);
}

} // namespace

std::vector<std::string_view> event_modules()
{
    std::vector<std::string_view> modules(module_names().begin(), module_names().end());
    modules.insert(modules.end(), {NOBODY, CLASH});
    return modules;
}

std::vector<std::string_view> event_names()
{
    std::vector<std::string_view> names;
    for (int i = 0; i <= static_cast<int>(change_kind::MINOR); i++)
        names.push_back(name_of(static_cast<change_kind>(i)));
    return names;
}

bool is_wanted(const events_options &options, const event &told)
{
    const bool is_kind = options.kinds.empty() || std::find(options.kinds.begin(), options.kinds.end(),
                                                            name_of(told.kind())) != options.kinds.end();
    const bool is_minor = told.kind() == change_kind::MINOR && !options.wants_all;
    return !is_minor && is_kind && told.first().time >= options.since && is_asked(options, told.first().who);
}

bool is_wanted(const events_options &options, const journal_record &act)
{
    return act.last >= options.since && is_asked(options, act.who);
}

std::string fault_in(events_options &options)
{
    for (const std::string &name : options.modules)
        if (event_module(name).empty())
            return fault_of("module", name, event_modules());
    const std::vector<std::string_view> kinds = event_names();
    for (const std::string &name : options.kinds)
        if (std::find(kinds.begin(), kinds.end(), name) == kinds.end())
            return fault_of("event", name, kinds);
    if (!options.follows && (!options.program.empty() || !options.place.empty()))
        return "--exec and --state go with --follow";
    if (options.program.empty() != options.place.empty() && options.program.empty())
        return "--state goes with --exec";
    if (options.since_text.empty())
        return "";
    const std::optional<int64_t> since = moment_of(options.since_text, time(nullptr));
    if (!since)
        return fmt::format("--since: {} is no moment (HH:MM[:SS], 'YYYY-MM-DD HH:MM[:SS]', -30m, -2h)",
                           options.since_text);
    options.since = *since;
    return "";
}

std::string printed(const events_options &options, event_lines &lines, const std::vector<journal_record> &acts)
{
    std::string text;
    for (const journal_record &act : acts)
        if (is_wanted(options, act))
            text += options.is_json ? json_line(act) : lines.line_of(act);
    return text;
}

// In the order in which they began.
std::string printed(const events_options &options, event_lines &lines, std::vector<event> &events)
{
    std::stable_sort(events.begin(), events.end(),
                     [](const event &one, const event &other) { return one.order < other.order; });
    std::string text;
    for (const event &told : events)
        if (is_wanted(options, told))
            text += options.is_json ? json_line(told) : lines.line_of(told);
    return text;
}

namespace
{

int show(const events_options &options)
{
    journal_tail journal;
    std::vector<journal_record> acts;
    std::string why;
    if (!journal.begin(acts, &why))
        return fail(why);
    event_lines lines;
    if (options.is_raw)
        return print(printed(options, lines, acts));
    event_maker maker;
    std::vector<event> events;
    for (const journal_record &act : acts)
        maker.take(act, events);
    maker.flush(events);
    return print(printed(options, lines, events));
}

int run(events_options &options)
{
    if (const std::string fault = fault_in(options); !fault.empty())
        return fail(fault);
    if (!options.follows)
        return show(options);
    return options.program.empty() ? follow_printing(options) : follow_running(options);
}

} // namespace

run_fn add_events(CLI::App &app)
{
    const auto options = std::make_shared<events_options>();
    app.add_option("MODULE", options->modules, "these alone; router: how it was started");
    app.add_option("--since", options->since_text, "HH:MM[:SS], 'YYYY-MM-DD HH:MM[:SS]', or -30m, -2h, -3d")
        ->type_name("TIME");
    app.add_option("--event", options->kinds, "these alone, such as wan_offline,restart_armed")
        ->delimiter(',')
        ->type_name("EVENT");
    app.add_option("--exec", options->program, "with --follow: a program to run for each event, and its arguments")
        ->type_name("PROGRAM");
    app.add_option("--timeout", options->limits.timeout_s, "for how many seconds it may run")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_option("--rate", options->limits.most_a_minute, "how often it may be run within a minute")
        ->type_name("N")
        ->check(CLI::Range(1, 6000))
        ->capture_default_str();
    app.add_option("--state", options->place, "with --exec: the file that remembers what it was run for")
        ->type_name("FILE");
    app.add_flag("--follow", options->follows, "go on as more happens");
    app.add_flag("--json", options->is_json, "print an object a line");
    app.add_flag("--raw", options->is_raw, "print each act as it stands in the journal");
    app.add_flag("--all", options->wants_all, "with the daemon's housekeeping");
    return [options] { return run(*options); };
}

} // namespace tcctl
