// What the modules' rules have just found, while the daemon runs in the virtual router.
#ifndef TOOLS_PREVIEW_VERDICTS_H
#define TOOLS_PREVIEW_VERDICTS_H

#include <string_view>

#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_reboot.h"
#include "time_check/time_check_wifi.h"
#include "time_check/time_check_wl_guest.h"

namespace preview
{

struct verdicts {
    reboot_verdict reboot;
    power_verdict power;
    wifi_verdict wifi;
    led_verdict led;
    guest_verdict guest;
    bool operator==(const verdicts &) const = default;
};

// What the last ticks found.
verdicts verdicts_now();

// A verdict by its name, and the sentence that says what it means (platform/verdicts).
struct meaning {
    std::string_view name;
    std::string_view why;
};
meaning meaning_of(reboot_verdict verdict);
meaning meaning_of(power_verdict verdict);
meaning meaning_of(wifi_verdict verdict);
meaning meaning_of(led_verdict verdict);
meaning meaning_of(guest_verdict verdict);

// Whether the rule takes samples of the network: only then its traffic counts.
bool counts_samples(const verdicts &seen);

} // namespace preview

#endif
