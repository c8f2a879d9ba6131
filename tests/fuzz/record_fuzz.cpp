// What a recorder makes of tables and texts: whatever they hold, its lines are those of a trace.
#include <cstdlib>
#include <string>

#include "tools/record/masked.h"
#include "tools/record/processes.h"
#include "tools/record/world.h"
#include "tools/record/zone.h"
#include "tools/replay/trace.h"

using replay::kind;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    record::masks hides;
    const std::string secret = text.substr(0, text.find('\n'));
    std::string lines = replay::head();
    const auto tell = [&lines](kind what, const record::row &words) { lines += replay::line_of(0, 0, 0, what, words); };
    if (text.find('\0') == std::string::npos) { // as no value of a setting, message or command line has it
        hides.setting("wl.wisp.pppoe_password", secret);
        hides.other(secret, text.substr(0, text.size() / 2));
        hides.device(text);
        const std::string masked = hides.text(text);
        if (secret.size() > 2 && secret.find('*') == std::string::npos && masked.find(secret) != std::string::npos)
            std::abort();
        tell(kind::set, {"sys.workmode", masked});
        tell(kind::message, {"cfm", masked});
        for (const record::row &each : record::neighbours_in(text, hides))
            tell(kind::neighbour, each);
    }
    for (const record::row &each : record::multicast_in(text))
        tell(kind::multicast, each);
    std::string name;
    record::cpu_ticks_in(text, name);
    record::machine_time_in(text);
    record::rules_in(text);
    tell(kind::end, {});
    replay::parse(lines, "recorded"); // which throws for what is no trace
    return 0;
}
