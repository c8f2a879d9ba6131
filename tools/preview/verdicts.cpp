#include "tools/preview/verdicts.h"

#include <array>
#include <cstddef>

namespace preview
{

namespace
{

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

} // namespace

verdicts verdicts_now()
{
    return {.reboot = time_check_reboot_verdict(),
            .power = time_check_power_verdict(),
            .wifi = time_check_wifi_verdict(),
            .led = time_check_led_verdict(),
            .guest = time_check_wl_guest_verdict()};
}

meaning meaning_of(reboot_verdict verdict)
{
    return REBOOT.at(static_cast<size_t>(verdict));
}

meaning meaning_of(power_verdict verdict)
{
    return POWER.at(static_cast<size_t>(verdict));
}

meaning meaning_of(wifi_verdict verdict)
{
    return WIFI.at(static_cast<size_t>(verdict));
}

meaning meaning_of(led_verdict verdict)
{
    return LED.at(static_cast<size_t>(verdict));
}

meaning meaning_of(guest_verdict verdict)
{
    return GUEST.at(static_cast<size_t>(verdict));
}

bool counts_samples(const verdicts &seen)
{
    return seen.reboot == reboot_verdict::counting_no_client || seen.reboot == reboot_verdict::network_busy ||
           seen.reboot == reboot_verdict::counting_quiet || seen.power == power_verdict::counting_no_client ||
           seen.power == power_verdict::network_busy || seen.power == power_verdict::counting_quiet;
}

} // namespace preview
