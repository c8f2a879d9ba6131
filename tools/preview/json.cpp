#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "tools/preview/calendar.h"
#include "tools/preview/formats.h"

namespace preview
{

// Goes up when a field changes its meaning or goes away; new ones may come.
static constexpr int VERSION = 1;

std::string json_of(const plan &shown)
{
    using json = nlohmann::ordered_json;
    json acts = json::array();
    for (const act &each : shown.acts)
        acts.push_back({{"at", iso_text(each.at)},
                        {"track", name_of(each.of)},
                        {"act", each.what},
                        {"module", each.module},
                        {"verdict", each.verdict},
                        {"reason", each.reason}});
    json spans = json::array();
    for (const span &each : shown.spans)
        spans.push_back({{"track", name_of(each.of)},
                         {"state", each.state},
                         {"from", iso_text(each.from)},
                         {"to", iso_text(each.to)}});
    json surprises = json::array();
    for (const surprise &each : shown.surprises)
        surprises.push_back({{"at", iso_text(each.at)}, {"kind", each.kind}, {"text", each.text}});
    json changes = json::array();
    for (const clock_change &each : shown.clock_changes)
        changes.push_back({{"at", iso_text(each.at)}, {"by", each.by}});
    const json whole = {{"version", VERSION},
                        {"from", iso_text(shown.from)},
                        {"to", iso_text(shown.to)},
                        {"acts", std::move(acts)},
                        {"spans", std::move(spans)},
                        {"surprises", std::move(surprises)},
                        {"clock_changes", std::move(changes)}};
    return whole.dump(2, ' ', false, json::error_handler_t::replace) + '\n';
}

} // namespace preview
