#include "tools/replay/findings.h"

#include <algorithm>
#include <array>

#include "platform/status.h"
#include "tools/tcctl/verdicts.h"

namespace replay
{

namespace
{

struct module {
    uint8_t who;
    std::string_view name;
};
constexpr std::array<module, 12> MODULES = {{{STATUS_REBOOT, "reboot"},
                                             {STATUS_POWER, "power"},
                                             {STATUS_WIFI, "wifi"},
                                             {STATUS_LED, "led"},
                                             {STATUS_CPU, "cpu"},
                                             {STATUS_DAEMON, "daemon"},
                                             {STATUS_WIFI_CONNECT, "wifi_connect"},
                                             {STATUS_AP_CONNECT, "ap_connect"},
                                             {STATUS_GUEST, "guest"},
                                             {STATUS_STOPPAGE, "stoppage"},
                                             {STATUS_WAN1, "WAN 1"},
                                             {STATUS_WAN2, "WAN 2"}}};

} // namespace

std::optional<finding> finding_of(uint8_t who, uint8_t verdict)
{
    const auto *const found = std::ranges::find(MODULES, who, &module::who);
    if (found == MODULES.end())
        return std::nullopt;
    if (verdict == STATUS_AT_START)
        return finding{.module = found->name, .verdict = "start", .why = "The module begins."};
    if (verdict == STATUS_BY_MESSAGE)
        return finding{.module = found->name, .verdict = "message", .why = "A message asked for it."};
    const auto words = tcctl::words_of_who(who);
    if (verdict >= words.size())
        return std::nullopt;
    return finding{.module = found->name, .verdict = words[verdict].name, .why = words[verdict].sentence};
}

} // namespace replay
