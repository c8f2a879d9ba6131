// What the modules' rules have just found, while the daemon runs in the virtual router.
#ifndef TOOLS_PREVIEW_VERDICTS_H
#define TOOLS_PREVIEW_VERDICTS_H

#include <cstdint>
#include <string_view>

#include "tools/tcctl/verdicts.h"

namespace preview
{

// The verdicts of those modules of which the preview wants to know more than what they mean.
using reboot_verdict = tcctl::reboot;
using power_verdict = tcctl::power;

// What the scheduled reboot's last tick found.
reboot_verdict reboot_verdict_now();

// A verdict by its name, and the sentence that says what it means (platform/verdicts).
struct meaning {
    std::string_view name;
    std::string_view why;
};
meaning meaning_of(reboot_verdict verdict);
meaning meaning_of(power_verdict verdict);

// Who acts, by its number in platform/status.h: "wifi", "led", "power", "guest" or "reboot"; "" for all others.
std::string_view module_name(uint8_t who);

// Such a module's verdict by its number; of others, and of numbers that are none, both texts are "".
meaning meaning_of(uint8_t who, uint8_t verdict);

// Whether a rule takes samples of the network now: only then its traffic counts.
bool takes_samples_now();

} // namespace preview

#endif
