#include "tools/tcctl/verdicts.h"

#include <array>

#include "platform/status.h"

namespace tcctl
{

#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array REBOOT_WORDS = {
#include "platform/verdicts/reboot.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array POWER_WORDS = {
#include "platform/verdicts/power.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array WIFI_WORDS = {
#include "platform/verdicts/wifi.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array LED_WORDS = {
#include "platform/verdicts/led.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array GUEST_WORDS = {
#include "platform/verdicts/guest.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array CPU_WORDS = {
#include "platform/verdicts/cpu.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array LIVENESS_WORDS = {
#include "platform/verdicts/daemon.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array UPLINK_WORDS = {
#include "platform/verdicts/wifi_connect.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array GATEWAY_WORDS = {
#include "platform/verdicts/ap_connect.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array STOPPAGE_WORDS = {
#include "platform/verdicts/stoppage.def"
};
#define VERDICT(name, why) verdict_words{#name, why},
constexpr std::array REACH_WORDS = {
#include "platform/verdicts/reachability.def"
};

std::span<const verdict_words> words_of(reboot /*kind*/)
{
    return REBOOT_WORDS;
}

std::span<const verdict_words> words_of(power /*kind*/)
{
    return POWER_WORDS;
}

std::span<const verdict_words> words_of(wifi /*kind*/)
{
    return WIFI_WORDS;
}

std::span<const verdict_words> words_of(led /*kind*/)
{
    return LED_WORDS;
}

std::span<const verdict_words> words_of(guest /*kind*/)
{
    return GUEST_WORDS;
}

std::span<const verdict_words> words_of(cpu /*kind*/)
{
    return CPU_WORDS;
}

std::span<const verdict_words> words_of(liveness /*kind*/)
{
    return LIVENESS_WORDS;
}

std::span<const verdict_words> words_of(uplink /*kind*/)
{
    return UPLINK_WORDS;
}

std::span<const verdict_words> words_of(gateway /*kind*/)
{
    return GATEWAY_WORDS;
}

std::span<const verdict_words> words_of(stoppage /*kind*/)
{
    return STOPPAGE_WORDS;
}

std::span<const verdict_words> words_of(reach /*kind*/)
{
    return REACH_WORDS;
}

std::span<const verdict_words> words_of_who(uint8_t who)
{
    switch (who) {
    case STATUS_REBOOT:
        return words_of(reboot{});
    case STATUS_POWER:
        return words_of(power{});
    case STATUS_WIFI:
        return words_of(wifi{});
    case STATUS_LED:
        return words_of(led{});
    case STATUS_CPU:
        return words_of(cpu{});
    case STATUS_DAEMON:
        return words_of(liveness{});
    case STATUS_WIFI_CONNECT:
        return words_of(uplink{});
    case STATUS_AP_CONNECT:
        return words_of(gateway{});
    case STATUS_GUEST:
        return words_of(guest{});
    case STATUS_STOPPAGE:
        return words_of(stoppage{});
    case STATUS_WAN1:
    case STATUS_WAN2:
        return words_of(reach{});
    default:
        return {};
    }
}

} // namespace tcctl
