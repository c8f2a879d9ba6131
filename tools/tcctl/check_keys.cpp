// What each setting shows by itself: its key, and its value beside what the table of keys says of it.
#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "platform/common/published_keys.h"
#include "platform/config_keys.h"
#include "platform/system.h"
#include "time_check/time_check_text.h"
#include "tools/key_table.h"
#include "tools/tcctl/daemon_rules.h"
#include "tools/tcctl/finding.h"
#include "tools/tcctl/words.h"

namespace tcctl
{

namespace
{

// ---- what was probably meant ----

bool is_one_of(std::string_view text, std::initializer_list<std::string_view> words)
{
    return std::find(words.begin(), words.end(), text) != words.end();
}

std::string meant_number(std::string_view value)
{
    const std::string word = lower(value);
    if (is_one_of(word, {"yes", "on", "true", "enable", "enabled"}))
        return "1";
    return is_one_of(word, {"no", "off", "false", "disable", "disabled"}) ? "0" : "";
}

// "3am", "11 pm", "23.00", "23h00" and "7" as a clock has them; "" for what is none of these.
std::string meant_time(std::string_view value)
{
    std::string digits[2];
    std::string rest;
    size_t part = 0;
    for (const char c : lower(value)) {
        if (std::isdigit(static_cast<unsigned char>(c)) != 0)
            digits[part] += c;
        else if (is_one_of(std::string(1, c), {":", ".", "h", ","}) && part == 0)
            part = 1;
        else if (c != ' ')
            rest += c;
    }
    if (digits[0].empty() || digits[0].size() > 2 || digits[1].size() > 2 ||
        (!rest.empty() && rest != "am" && rest != "pm"))
        return "";
    int hour = std::stoi(digits[0]);
    const int minute = digits[1].empty() ? 0 : std::stoi(digits[1]);
    if (rest == "pm" && hour < 12)
        hour += 12;
    else if (rest == "am" && hour == 12)
        hour = 0;
    return hour > 23 || minute > 59 ? "" : fmt::format("{:02}:{:02}", hour, minute);
}

// ---- what the daemon does with a value that it does not know ----

struct effect_row {
    std::string_view key;
    std::string_view effect;
};

constexpr std::array EFFECTS = {
    effect_row{KEY_SYS_WORKMODE,
               "the reachability check takes the router for a wired one, the stoppage check for none"},
    effect_row{KEY_WL2G_PUBLIC_MODE, "the radio counts neither as access point nor as uplink"},
    effect_row{KEY_WL5G_PUBLIC_MODE, "the radio counts neither as access point nor as uplink"},
    effect_row{KEY_WISP_ACCESS_MODE, "the wireless uplink is not supervised"},
    effect_row{KEY_WL2G_EXTRA_WPAPSK_CRYPTO, "no other cipher is tried"},
    effect_row{KEY_WL5G_EXTRA_WPAPSK_CRYPTO, "no other cipher is tried"},
    effect_row{KEY_LED_CLOSETYPE, "the daemon switches the LEDs by itself"},
    effect_row{"wan%d.connecttype", "plain Linux takes it for 0, DHCP; the checks know no fault of it"},
    effect_row{KEY_DEBUG, "no trace lines are printed"},
    effect_row{KEY_GUEST_DHCPS_ENABLE, "the guest network counts as off"},
    effect_row{KEY_WIFI_SCHED_ENABLE, "it is not 1, so on waking Wi-Fi comes on inside an off period"},
};

// `key` is a row's.
std::string effect_of(std::string_view key, std::string_view otherwise)
{
    const auto *const found =
        std::find_if(EFFECTS.begin(), EFFECTS.end(), [&](const effect_row &row) { return row.key == key; });
    return std::string(found == EFFECTS.end() ? otherwise : found->effect);
}

// ---- one of each type ----

// Kinds of a daily schedule and the number of rules have findings of their own, which say more.
bool is_told_elsewhere(std::string_view key)
{
    return is_one_of(key, {KEY_REBOOT_TYPE, KEY_POWER_TYPE, KEY_WANS_FLAG, KEY_POWER_ENABLE, KEY_GUEST_EFFECTIVE_TIME,
                           "nkgw.wlan.listnum", "nkgw.led.listnum"});
}

void check_number(const setting &given, const keys::row &row, const std::string &why, findings &found)
{
    const std::string &value = given.value;
    const std::string read = fmt::format("it counts as {}", time_check_atoi(value.c_str()));
    if (why == "it is no number")
        found.push_back({fault::no_number, given, why, effect_of(row.key, read), meant_number(value)});
    else if (!is_told_elsewhere(given.key))
        found.push_back({fault::number_out_of_range, given, why, effect_of(row.key, read), ""});
}

std::string effect_of_unreachable(const std::string &key)
{
    if (key == KEY_REBOOT_START_TIME)
        return "the router never restarts";
    return key == KEY_POWER_START_TIME ? "the period begins at midnight" : "the period lasts until midnight";
}

void check_time(const setting &given, findings &found)
{
    const std::string &value = given.value;
    const std::string standard(keys::find(given.key)->standard);
    const std::optional<uint32_t> time = read_time_of_day(value);
    if (!time)
        found.push_back({fault::time_unreadable, given, "it is no time HH:MM",
                         fmt::format("{} counts instead", standard), meant_time(value)});
    else if (*time >= SECONDS_A_DAY)
        found.push_back({fault::time_unreachable, given, "it is a time that no clock reaches",
                         effect_of_unreachable(given.key), ""});
    else
        found.push_back({fault::time_read_otherwise, given, "it is no time HH:MM",
                         fmt::format("it is read as {}", clock_text(*time)), clock_text(*time)});
}

void check_value(const setting &given, const keys::row &row, const std::string &why, findings &found)
{
    switch (row.type) {
    case keys::type::flag:
        found.push_back(
            {fault::no_flag, given, why, effect_of(row.key, "it does not count as on"), meant_number(given.value)});
        break;
    case keys::type::number:
        check_number(given, row, why, found);
        break;
    case keys::type::word:
        if (given.key != KEY_LED_TYPE) // which says more elsewhere
            found.push_back({fault::unknown_word, given, why, effect_of(row.key, "it counts as missing"),
                             meant_word(row.range, given.value)});
        break;
    case keys::type::time:
        check_time(given, found);
        break;
    case keys::type::weekly_time: // the rules' own check finds it
        break;
    case keys::type::days:
        found.push_back({fault::days_unreadable, given, why, "no rule asks for the days", ""});
        break;
    case keys::type::interface:
        found.push_back({fault::interface_name, given, why, "it counts as empty", ""});
        break;
    case keys::type::address:
        found.push_back({fault::address, given, why, "no address is equal to it", ""});
        break;
    case keys::type::text:
        found.push_back({fault::text_too_long, given, why, "it is cut", ""});
        break;
    }
}

void check_unknown(const setting &given, findings &found)
{
    const std::string_view near = keys::nearest(given.key);
    if (!near.empty())
        found.push_back({fault::unknown_key, given, "it is no key that the daemon reads", "it has no effect",
                         keys::filled(near, given.key)});
    else if (given.line > 0) // the running store is other programs' as well
        found.push_back({fault::foreign_key, given, "it is no key that the daemon reads", "it has no effect", ""});
}

} // namespace

void check_keys(const settings &given, findings &found)
{
    for (const settings::replaced_setting &each : given.replaced())
        found.push_back({fault::repeated_key, each.given, "the key comes again",
                         fmt::format("the value of line {} counts", each.by.line), ""});
    for (const auto &[key, each] : given.all()) {
        const keys::row *const row = keys::find(key);
        if (row == nullptr) {
            check_unknown(each, found);
            continue;
        }
        if (each.line > 0 && is_published_key(key.data(), key.size()))
            found.push_back({fault::published_key, each, "it is no setting but tells how the router is doing",
                             "it is not committed, and the daemon replaces it", ""});
        if (const auto why = keys::range_fault(*row, each.value); why)
            check_value(each, *row, *why, found);
    }
}

} // namespace tcctl
