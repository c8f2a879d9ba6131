#include "tools/tcctl/verdicts.h"

#include <array>

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

} // namespace tcctl
