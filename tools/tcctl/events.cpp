// tcctl events: what the daemon did, in words.
#include <algorithm>
#include <ctime>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/nearest_word.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/event.h"
#include "tools/tcctl/event_lines.h"
#include "tools/tcctl/explain.h"
#include "tools/tcctl/journal_tail.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/since.h"

namespace tcctl
{

namespace
{

struct events_options {
    std::vector<std::string> modules;
    std::vector<std::string> kinds;
    std::string since_text;
    int64_t since = INT64_MIN;
    bool follows = false;
    bool is_json = false;
    bool is_raw = false;
    bool wants_all = false;
};

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

std::string fault_of(std::string_view what, std::string_view name, const std::vector<std::string_view> &known)
{
    const std::string_view near = nearest_word(name, known);
    return near.empty() ? fmt::format("no {} {}", what, name)
                        : fmt::format("no {} {} (did you mean {}?)", what, name, near);
}

// "" when all that was asked for can be had.
std::string fault_in(events_options &options)
{
    std::vector<std::string_view> modules(module_names().begin(), module_names().end());
    modules.insert(modules.end(), {NOBODY, CLASH});
    for (const std::string &name : options.modules)
        if (event_module(name).empty())
            return fault_of("module", name, modules);
    std::vector<std::string_view> kinds;
    for (int i = 0; i <= static_cast<int>(change_kind::MINOR); i++)
        kinds.push_back(name_of(static_cast<change_kind>(i)));
    for (const std::string &name : options.kinds)
        if (std::find(kinds.begin(), kinds.end(), name) == kinds.end())
            return fault_of("event", name, kinds);
    if (options.since_text.empty())
        return "";
    const std::optional<int64_t> since = moment_of(options.since_text, time(nullptr));
    if (!since)
        return fmt::format("--since: {} is no moment (HH:MM[:SS], 'YYYY-MM-DD HH:MM[:SS]', -30m, -2h)",
                           options.since_text);
    options.since = *since;
    return "";
}

// ---- showing ----

class shower
{
public:
    explicit shower(const events_options &options) : options_(options)
    {
    }

    // `is_all`: nothing more comes.
    std::string of(const std::vector<journal_record> &acts, bool is_all)
    {
        if (options_.is_raw) {
            std::string text;
            for (const journal_record &act : acts)
                if (is_wanted(options_, act))
                    text += options_.is_json ? json_line(act) : lines_.line_of(act);
            return text;
        }
        std::vector<event> events;
        for (const journal_record &act : acts)
            maker_.take(act, events);
        if (is_all)
            maker_.flush(events);
        return of(events);
    }

    // Nothing has come for a while.
    std::string rest()
    {
        std::vector<event> events;
        maker_.flush(events);
        return of(events);
    }

private:
    std::string of(std::vector<event> &events)
    {
        std::stable_sort(events.begin(), events.end(),
                         [](const event &one, const event &other) { return one.order < other.order; });
        std::string text;
        for (const event &told : events)
            if (is_wanted(options_, told))
                text += options_.is_json ? json_line(told) : lines_.line_of(told);
        return text;
    }

    const events_options &options_;
    event_maker maker_;
    event_lines lines_;
};

int show(const events_options &options)
{
    journal_tail journal;
    std::vector<journal_record> acts;
    std::string why;
    if (!journal.begin(acts, &why))
        return fail(why);
    shower shown_acts(options);
    return print(shown_acts.of(acts, true));
}

// ---- following ----

constexpr int LOOK_MS = 200;

// Whether whoever reads the output is still there, after a pause.
bool is_read_after_pause()
{
    pollfd output = {.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    return poll(&output, 1, LOOK_MS) <= 0 || (output.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

// Goes on also where there is no journal yet: it may be started before the daemon.
int follow(const events_options &options)
{
    constexpr int LOOKS_TO_WAIT = (event_maker::GAP_S + 1) * 1000 / LOOK_MS;
    journal_tail journal;
    std::vector<journal_record> acts;
    std::string why;
    journal.begin(acts, &why);
    shower shown_acts(options);
    for (int looks = 0;; looks++) {
        std::string text;
        if (!acts.empty()) {
            text = shown_acts.of(acts, false);
            looks = 0;
        } else if (looks == LOOKS_TO_WAIT) {
            text = shown_acts.rest();
        }
        if (!text.empty() && print(text) != WELL)
            return CANNOT;
        if (!is_read_after_pause())
            return WELL;
        acts.clear();
        journal.look(acts);
    }
}

int run(events_options &options)
{
    if (const std::string fault = fault_in(options); !fault.empty())
        return fail(fault);
    return options.follows ? follow(options) : show(options);
}

} // namespace

run_fn add_events(CLI::App &app)
{
    const auto options = std::make_shared<events_options>();
    app.add_option("MODULE", options->modules, "these alone; router: how it was started");
    app.add_option("--since", options->since_text, "HH:MM[:SS], 'YYYY-MM-DD HH:MM[:SS]', or -30m, -2h, -3d");
    app.add_option("--event", options->kinds, "these alone, such as wan_offline,restart_armed")->delimiter(',');
    app.add_flag("--follow", options->follows, "go on as more happens");
    app.add_flag("--json", options->is_json, "print an object a line");
    app.add_flag("--raw", options->is_raw, "print each act as it stands in the journal");
    app.add_flag("--all", options->wants_all, "with the daemon's housekeeping");
    return [options] { return run(*options); };
}

} // namespace tcctl
