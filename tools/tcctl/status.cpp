// tcctl status: one screen of what the daemon's modules are doing.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/nearest_word.h"
#include "tools/store_settings.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/explain.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/page.h"
#include "tools/tcctl/render.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

namespace
{

struct status_options {
    std::vector<std::string> modules;
    bool is_json = false;
    bool is_watching = false;
};

struct shown_module {
    explanation made;
    std::vector<explanation> programs; // that are worth a line
};

// A name that was asked for, which is known.
bool is_asked(const std::vector<std::string> &asked, std::string_view module)
{
    return asked.empty() || std::any_of(asked.begin(), asked.end(),
                                        [module](const std::string &name) { return module_named(name) == module; });
}

// A WAN that there is not has nothing to tell.
bool is_there(const time_check_status &page, std::string_view module)
{
    return module != "wan2" || page.wans.num >= 2;
}

std::vector<shown_module> modules_of(const status_reading &reading, const std::vector<std::string> &asked,
                                     bool wants_all_programs)
{
    const judged_second now = second_of(reading);
    std::vector<shown_module> all;
    for (const std::string_view module : module_names()) {
        if (!is_asked(asked, module) || (asked.empty() && !is_there(reading.status, module)))
            continue;
        shown_module one{explain(reading.status, now, module), {}};
        for (explanation &program : explain_programs(reading.status, now, module))
            if (wants_all_programs || !asked.empty() || !program.is_ordinary)
                one.programs.push_back(std::move(program));
        all.push_back(std::move(one));
    }
    return all;
}

bool is_well(const std::vector<shown_module> &modules, const judged_second &now)
{
    return clock_is_set(now) &&
           std::none_of(modules.begin(), modules.end(), [](const shown_module &one) { return one.made.is_wrong; });
}

// Nothing where the store is not to be seen, as by somebody who may only read the page.
std::string text_of(const std::optional<size_t> &uncommitted)
{
    if (!uncommitted)
        return "";
    if (*uncommitted == 0)
        return ", settings committed";
    return fmt::format(", {} {} not committed", *uncommitted, *uncommitted == 1 ? "setting" : "settings");
}

std::string head_of(const status_reading &reading, const judged_second &now)
{
    std::string head = fmt::format("time_check {}, router up {}, daemon for {}, last second {}", reading.program,
                                   length_of(reading.uptime), length_of(reading.uptime - reading.start),
                                   time_of(reading.calendar, time(nullptr)));
    if (!clock_is_set(now))
        head += ", the clock has not been set";
    head += text_of(uncommitted_settings());
    return wrapped("", 4, shown(head));
}

std::string text_of_all(const status_reading &reading, const std::vector<shown_module> &modules)
{
    const judged_second now = second_of(reading);
    std::string text = head_of(reading, now);
    for (const shown_module &one : modules) {
        text += overview_of(one.made, now);
        for (const explanation &program : one.programs)
            text += overview_of(program, now);
    }
    return text;
}

std::string json_of_all(const status_reading &reading, const std::vector<shown_module> &modules, int indent)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const shown_module &one : modules) {
        nlohmann::ordered_json module = json_of(one.made);
        nlohmann::ordered_json programs = nlohmann::ordered_json::array();
        for (const explanation &program : one.programs)
            programs.push_back(json_of(program));
        module["programs"] = programs;
        list.push_back(module);
    }
    const std::optional<size_t> uncommitted = uncommitted_settings();
    const nlohmann::ordered_json all = {{"version", 1},
                                        {"daemon", json_of(reading)},
                                        {"clock_set", clock_is_set(second_of(reading))},
                                        {"well", is_well(modules, second_of(reading))},
                                        {"uncommitted", uncommitted ? nlohmann::ordered_json(*uncommitted) : nullptr},
                                        {"modules", list}};
    return all.dump(indent) + '\n';
}

int show(const status_options &options)
{
    status_reading reading = {};
    std::string why;
    if (!read_page(&reading, &why))
        return fail(why);
    const std::vector<shown_module> modules = modules_of(reading, options.modules, options.is_json);
    std::string text =
        options.is_json ? json_of_all(reading, modules, options.is_watching ? -1 : 2) : text_of_all(reading, modules);
    if (options.is_watching && !options.is_json && isatty(STDOUT_FILENO) != 0)
        text.insert(0, "\033[H\033[2J");
    if (print(text) != WELL)
        return CANNOT;
    if (const std::string stale = is_stale_because(reading); !stale.empty())
        return fail(stale);
    return is_well(modules, second_of(reading)) ? WELL : FOUND;
}

// Until a signal ends it, or nobody reads any more.
int watch(const status_options &options)
{
    for (;;) {
        show(options);
        if (std::ferror(stdout) != 0)
            return CANNOT;
        sleep(1);
    }
}

int run(const status_options &options)
{
    for (const std::string &name : options.modules)
        if (module_named(name).empty()) {
            const auto names = module_names();
            const std::string_view near = nearest_word(name, {names.begin(), names.end()});
            return fail(near.empty() ? fmt::format("no module {}", name)
                                     : fmt::format("no module {} (did you mean {}?)", name, near));
        }
    return options.is_watching ? watch(options) : show(options);
}

} // namespace

std::optional<int> run_plain_status(const std::vector<std::string> &words)
{
    const bool is_json = words.size() == 2 && words[1] == "--json";
    if (words.empty() || words[0] != "status" || (words.size() != 1 && !is_json))
        return std::nullopt;
    return run({.modules = {}, .is_json = is_json, .is_watching = false});
}

run_fn add_status(CLI::App &app)
{
    const auto options = std::make_shared<status_options>();
    app.add_option("MODULE", options->modules, "these alone, with all programs that they watch");
    app.add_flag("--json", options->is_json, "print an object");
    app.add_flag("--watch", options->is_watching, "print again every second");
    return [options] { return run(*options); };
}

} // namespace tcctl
