#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/replay/replay.h"
#include "tools/tcctl/output.h"

namespace replay
{

std::string text_of(const outcome &gone, bool all)
{
    std::string text;
    const act *last = nullptr; // what was found in a second is said once
    for (const act &each : gone.acts) {
        if (each.repeats && !all)
            continue;
        text += tcctl::shown(each.line) + '\n';
        if (each.by && (last == nullptr || last->elapsed != each.elapsed || last->by != each.by))
            text += fmt::format("    {}: {}. {}\n", each.by->module, each.by->verdict, each.by->why);
        last = &each;
    }
    text += fmt::format("{} {}\n", gone.ends, gone.runs ? "end" : "end: the daemon has ended");
    return text;
}

std::string json_of(const outcome &gone, bool all)
{
    nlohmann::ordered_json acts = nlohmann::ordered_json::array();
    for (const act &each : gone.acts) {
        if (each.repeats && !all)
            continue;
        nlohmann::ordered_json one = {{"act", each.line}};
        if (each.by)
            one.update({{"module", each.by->module}, {"verdict", each.by->verdict}, {"why", each.by->why}});
        acts.push_back(one);
    }
    const nlohmann::ordered_json whole = {{"version", 1}, {"acts", acts}, {"ends", gone.ends}, {"runs", gone.runs}};
    return whole.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

} // namespace replay
