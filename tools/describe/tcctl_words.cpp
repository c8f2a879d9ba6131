// tcctl looks at such words when it runs.
#include "tools/describe/words.h"
#include "tools/tcctl/acts.h"
#include "tools/tcctl/events.h"
#include "tools/tcctl/explain.h"

std::map<std::string, std::vector<std::string>> known_words()
{
    const std::vector<std::string> modules(tcctl::module_names().begin(), tcctl::module_names().end());
    const std::vector<std::string_view> with_events = tcctl::event_modules();
    const std::vector<std::string_view> events = tcctl::event_names();
    return {{"MODULE", modules},
            {"events MODULE", {with_events.begin(), with_events.end()}},
            {"EVENT", {events.begin(), events.end()}}};
}
