// tcctl why: the gates of a module's rule, up to the one that holds.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/nearest_word.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/explain.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/page.h"
#include "tools/tcctl/render.h"

namespace tcctl
{

namespace
{

struct why_options {
    std::string module;
    std::string program;
    bool is_json = false;
};

// The module and its programs, or the one program that was asked for. Empty: it is not watched.
std::vector<explanation> asked_of(const status_reading &reading, std::string_view module, const std::string &program)
{
    const judged_second now = second_of(reading);
    std::vector<explanation> all;
    if (program.empty())
        all.push_back(explain(reading.status, now, module));
    for (explanation &one : explain_programs(reading.status, now, module))
        if (program.empty() || one.module == fmt::format("{} {}", module, program))
            all.push_back(std::move(one));
    return all;
}

std::string text_of_all(const std::vector<explanation> &all, const judged_second &now)
{
    std::string text;
    for (const explanation &one : all)
        text += (text.empty() ? "" : "\n") + gates_of(one, now);
    return text;
}

std::string json_of_all(const std::vector<explanation> &all, const status_reading &reading)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const explanation &one : all)
        list.push_back(json_of_gates(one));
    const nlohmann::ordered_json whole = {{"version", 1}, {"daemon", json_of(reading)}, {"explanations", list}};
    return whole.dump(2) + '\n';
}

int run(const why_options &options)
{
    const std::string_view module = module_named(options.module);
    if (module.empty()) {
        const auto names = module_names();
        const std::string_view near = nearest_word(options.module, {names.begin(), names.end()});
        return fail(near.empty() ? fmt::format("no module {}", options.module)
                                 : fmt::format("no module {} (did you mean {}?)", options.module, near));
    }
    if (!options.program.empty() && module != "cpu" && module != "daemon")
        return fail(fmt::format("{} watches no programs", module));
    status_reading reading = {};
    std::string why;
    if (!read_page(&reading, &why))
        return fail(why);
    const std::vector<explanation> all = asked_of(reading, module, options.program);
    if (all.empty())
        return fail(fmt::format("{} does not know of a program {}", module, options.program));
    if (print(options.is_json ? json_of_all(all, reading) : text_of_all(all, second_of(reading))) != WELL)
        return CANNOT;
    const std::string stale = is_stale_because(reading);
    return stale.empty() ? WELL : fail(stale);
}

} // namespace

run_fn add_why(CLI::App &app)
{
    const auto options = std::make_shared<why_options>();
    app.add_option("MODULE", options->module,
                   "reboot, power (sleep), wifi, led, guest, cpu, daemon, uplink, ap, stoppage (fault), wan1, wan2")
        ->required();
    app.add_option("PROGRAM", options->program, "with cpu and daemon: this program alone");
    app.add_flag("--json", options->is_json, "print an object");
    return [options] { return run(*options); };
}

} // namespace tcctl
