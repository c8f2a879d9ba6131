#include "tools/preview/verdicts.h"

#include "platform/status.h"

namespace preview
{

namespace
{

const status_main &page()
{
    return status_page()->main;
}

} // namespace

reboot_verdict reboot_verdict_now()
{
    return static_cast<reboot_verdict>(page().rows[STATUS_REBOOT].verdict);
}

meaning meaning_of(reboot_verdict verdict)
{
    return meaning_of(STATUS_REBOOT, static_cast<uint8_t>(verdict));
}

meaning meaning_of(power_verdict verdict)
{
    return meaning_of(STATUS_POWER, static_cast<uint8_t>(verdict));
}

std::string_view module_name(uint8_t who)
{
    switch (who) {
    case STATUS_REBOOT:
        return "reboot";
    case STATUS_POWER:
        return "power";
    case STATUS_WIFI:
        return "wifi";
    case STATUS_LED:
        return "led";
    case STATUS_GUEST:
        return "guest";
    default:
        return "";
    }
}

meaning meaning_of(uint8_t who, uint8_t verdict)
{
    if (module_name(who).empty())
        return {};
    const auto words = tcctl::words_of_who(who);
    return verdict < words.size() ? meaning{words[verdict].name, words[verdict].sentence} : meaning{};
}

bool takes_samples_now()
{
    const reboot_verdict reboot = reboot_verdict_now();
    const auto power = static_cast<power_verdict>(page().rows[STATUS_POWER].verdict);
    return reboot == reboot_verdict::counting_no_client || reboot == reboot_verdict::network_busy ||
           reboot == reboot_verdict::counting_quiet || power == power_verdict::counting_no_client ||
           power == power_verdict::network_busy || power == power_verdict::counting_quiet;
}

} // namespace preview
