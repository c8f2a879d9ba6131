#include "tools/replay/findings.h"

#include <algorithm>
#include <array>
#include <span>

#include "platform/status.h"

namespace replay
{

namespace
{

struct meaning {
    std::string_view name;
    std::string_view why;
};

#define VERDICT(name, why) meaning{#name, why},
constexpr std::array REBOOT = {
#include "platform/verdicts/reboot.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array POWER = {
#include "platform/verdicts/power.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array WIFI = {
#include "platform/verdicts/wifi.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array LED = {
#include "platform/verdicts/led.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array GUEST = {
#include "platform/verdicts/guest.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array STOPPAGE = {
#include "platform/verdicts/stoppage.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array WIFI_CONNECT = {
#include "platform/verdicts/wifi_connect.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array AP_CONNECT = {
#include "platform/verdicts/ap_connect.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array CPU = {
#include "platform/verdicts/cpu.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array DAEMON = {
#include "platform/verdicts/daemon.def"
};
#define VERDICT(name, why) meaning{#name, why},
constexpr std::array REACHABILITY = {
#include "platform/verdicts/reachability.def"
};

struct module {
    uint8_t who;
    std::string_view name;
    std::span<const meaning> meanings;
};
constexpr std::array<module, 12> MODULES = {{{STATUS_REBOOT, "reboot", REBOOT},
                                             {STATUS_POWER, "power", POWER},
                                             {STATUS_WIFI, "wifi", WIFI},
                                             {STATUS_LED, "led", LED},
                                             {STATUS_CPU, "cpu", CPU},
                                             {STATUS_DAEMON, "daemon", DAEMON},
                                             {STATUS_WIFI_CONNECT, "wifi_connect", WIFI_CONNECT},
                                             {STATUS_AP_CONNECT, "ap_connect", AP_CONNECT},
                                             {STATUS_GUEST, "guest", GUEST},
                                             {STATUS_STOPPAGE, "stoppage", STOPPAGE},
                                             {STATUS_WAN1, "WAN 1", REACHABILITY},
                                             {STATUS_WAN2, "WAN 2", REACHABILITY}}};

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
    if (verdict >= found->meanings.size())
        return std::nullopt;
    const meaning &means = found->meanings[verdict];
    return finding{.module = found->name, .verdict = means.name, .why = means.why};
}

} // namespace replay
