// What the weekly rules of Wi-Fi and LEDs do with their settings.
#include <array>
#include <string>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "platform/system.h"
#include "time_check/time_check_text.h"
#include "tools/tcctl/daemon_rules.h"
#include "tools/tcctl/finding.h"
#include "tools/tcctl/words.h"

namespace tcctl
{

namespace
{

struct family {
    const char *name; // of the keys
    const char *what; // for people
    const char *always_off;
};

constexpr family WIFI = {WIFI_RULES, "Wi-Fi", "Wi-Fi never comes on"};
constexpr family LEDS = {LED_RULES, "the LEDs", "the LEDs never come on"};

// Of 512 bytes that the daemon reads one is the end, and a text that fills the others may be cut.
constexpr size_t LONGEST_TIME = 510;

std::string listnum_key(const family &family)
{
    return fmt::format("{}.listnum", family.name);
}

std::string rule_key(const family &family, const char *field, uint32_t number)
{
    return fmt::format("{}{}{}", family.name, field, number);
}

bool is_weekly_time(const std::string &text)
{
    struct tm time = {};
    return text.size() <= LONGEST_TIME && utc2tm(text.c_str(), &time) == 0;
}

// ---- what was probably meant ----

void replace_all(std::string &text, std::string_view what, std::string_view by)
{
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
}

// With a day's name as the rules want it, ".." for "-", ":" for ".", and blanks where they belong.
std::string meant_weekly_time(const std::string &text)
{
    std::string meant;
    for (const char c : lower(text)) {
        const bool begins = meant.empty() || meant.back() == ',' || meant.back() == '-';
        if (c == ' ' && (begins || meant.back() == ' '))
            continue;
        meant += begins && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    while (meant.ends_with(' '))
        meant.pop_back();
    replace_all(meant, "-", "..");
    const size_t time = meant.find_last_of(' ') + 1;
    const size_t dot = meant.find('.', time);
    if (meant.find(':', time) == std::string::npos && dot != std::string::npos && meant.find("..", time) != dot)
        meant[dot] = ':';
    const size_t dots = meant.find("..");
    if (dots != std::string::npos && dots + 2 < meant.size() && meant[dots + 2] >= 'a')
        meant[dots + 2] = static_cast<char>(meant[dots + 2] - 'a' + 'A');
    return is_weekly_time(meant) && meant != text ? meant : "";
}

// ---- rules that are read, and those that are not ----

constexpr std::array FIELDS = {RULE_FIELD_OFFTIME, RULE_FIELD_ONTIME};

// The setting that ends the list at a rule: the one that cannot be read, or the half that is there, or the number of
// rules when the rule is missing altogether.
const setting *end_of_list(const settings &given, const family &family, uint32_t number)
{
    const setting *half = nullptr;
    for (const char *const field : FIELDS) {
        const setting *const each = given.find(rule_key(family, field, number));
        if (each != nullptr && !is_weekly_time(each->value))
            return each;
        if (each != nullptr)
            half = each;
    }
    return half != nullptr ? half : given.find(listnum_key(family));
}

void report_end_of_list(const settings &given, const family &family, uint32_t read, uint32_t count, findings &found)
{
    const uint32_t number = read + 1;
    const setting *const where = end_of_list(given, family, number);
    if (where == nullptr)
        return;
    const bool is_time = where->key != listnum_key(family);
    std::string message = fmt::format("rule {} is missing", number);
    if (is_time && !is_weekly_time(where->value))
        message = "it is no [DAYS ]HH:MM";
    else if (is_time)
        message = fmt::format("the other end of rule {} is missing", number);
    const uint32_t behind = count - number;
    const std::string unread =
        behind == 0 ? "" : fmt::format(", the {} behind it {} not", behind, behind == 1 ? "is" : "are");
    found.push_back(
        {fault::rule_ends_list, *where, message,
         fmt::format("the list of {} ends before it: {} of {} rules are read{}", family.what, read, count, unread),
         is_time ? meant_weekly_time(where->value) : ""});
}

// The number behind a rule's field; 0: it is none of the family's.
uint32_t number_of_rule(const family &family, const std::string &key)
{
    for (const char *const field : FIELDS) {
        const std::string begin = std::string(family.name) + field;
        if (key.starts_with(begin))
            return static_cast<uint32_t>(time_check_atoi(key.c_str() + begin.size()));
    }
    return 0;
}

// Rules by themselves: a list that ends early is told of once, at what ends it.
void check_each_rule(const settings &given, const family &family, const setting *ends_list, findings &found)
{
    const std::string listnum = listnum_key(family);
    const auto count = static_cast<uint32_t>(given.number(listnum));
    for (const auto &[key, each] : given.all()) {
        const uint32_t number = number_of_rule(family, key);
        if (number == 0 || &each == ends_list)
            continue;
        if (!is_weekly_time(each.value))
            found.push_back({fault::rule_unreadable, each, "it is no [DAYS ]HH:MM", "a list ends before such a rule",
                             meant_weekly_time(each.value)});
        else if (number > SCHED_RULES_MAX)
            found.push_back({fault::rule_not_read, each, fmt::format("a list has at most {} rules", SCHED_RULES_MAX),
                             "the rule is not read", ""});
        else if (given.has(listnum) && count > 0 && count <= SCHED_RULES_MAX && number > count)
            found.push_back({fault::rule_not_read, each, fmt::format("{} is {}", listnum, count),
                             "the rule is not read", fmt::format("{}={}", listnum, number)});
    }
}

// ---- what a rule means ----

void check_read_rules(const settings &given, const family &family, const weekly_read &read, findings &found)
{
    for (uint32_t i = 0; i < read.number; i++) {
        const sched_rule &rule = read.rules[i];
        const setting &end = *given.find(rule_key(family, RULE_FIELD_ONTIME, i + 1));
        struct tm written = {};
        utc2tm(end.value.c_str(), &written);
        const bool has_days = end.value.find(' ') != std::string::npos;
        if (has_days && written.tm_wday != rule.tv[WLAN_PWUP_TM].tm_wday)
            found.push_back({fault::end_days_ignored, end, "the days of an end do not count",
                             rule.type == WLAN_SW_DIFFDAY ? "the period ends on the day after each of its start's days"
                                                          : "the period ends on the day on which it starts",
                             end.value.substr(end.value.find(' ') + 1)});
        if (sched_time_of_day(&rule.tv[WLAN_PWDN_TM]) == sched_time_of_day(&rule.tv[WLAN_PWUP_TM]))
            found.push_back({fault::one_second_period, end, "start and end are the same time",
                             "the period is one second, which may pass unseen",
                             "00:00 to 23:59 for a whole day, or two rules that overlap"});
    }
}

void check_whole_week(const settings &given, const family &family, const weekly_read &read, findings &found)
{
    for (int day = 0; day < 7; day++)
        for (uint32_t second = 0; second < SECONDS_A_DAY; second += 60)
            if (!read.holds(day, second))
                return;
    found.push_back({fault::always_off, *given.find(listnum_key(family)), "the rules leave no minute of the week",
                     family.always_off, ""});
}

weekly_read check_rules(const settings &given, const family &family, findings &found)
{
    const std::string listnum = listnum_key(family);
    const setting *const where = given.find(listnum);
    const auto count = static_cast<uint32_t>(given.number(listnum));
    weekly_read read = read_weekly(given, family.name);
    const setting *ends_list = nullptr;
    if (count > SCHED_RULES_MAX && where != nullptr) {
        found.push_back({fault::too_many_rules, *where, fmt::format("it is not within 0..{}", SCHED_RULES_MAX),
                         fmt::format("no rule of {} is read", family.what), fmt::format("{}", SCHED_RULES_MAX)});
    } else if (read.number < count) {
        ends_list = end_of_list(given, family, read.number + 1);
        report_end_of_list(given, family, read.number, count, found);
    }
    check_each_rule(given, family, ends_list, found);
    check_read_rules(given, family, read, found);
    if (read.number > 0)
        check_whole_week(given, family, read, found);
    return read;
}

// ---- what belongs to the rules ----

void check_wifi(const settings &given, const weekly_read &read, findings &found)
{
    if (read.number == 0)
        return;
    const setting *const enabled = given.find(KEY_WIFI_SCHED_ENABLE);
    if (enabled != nullptr && given.number(KEY_WIFI_SCHED_ENABLE) == 0)
        found.push_back({fault::wifi_rules_though_off, *enabled, "it does not switch the rules off",
                         "the rules go on to switch Wi-Fi", "nkgw.wlan.listnum=0 as well, to switch them off; else 1"});
    const bool has_radio = given.value(KEY_WL2G_ENABLE) == "1" || given.value(KEY_WL5G_ENABLE) == "1" ||
                           (!given.is_whole() && (!given.has(KEY_WL2G_ENABLE) || !given.has(KEY_WL5G_ENABLE)));
    if (!has_radio)
        found.push_back({fault::wifi_without_radio, *given.find(listnum_key(WIFI)), "no radio is enabled",
                         "the rules switch nothing", "wl2g.enable=1 or wl5g.enable=1"});
}

void check_leds(const settings &given, const weekly_read &read, findings &found)
{
    const setting *const type = given.find(KEY_LED_TYPE);
    const bool has_list = given.has(listnum_key(LEDS));
    if (type == nullptr) {
        if (given.is_whole() && read.number > 0)
            found.push_back({fault::led_type_missing, *given.find(listnum_key(LEDS)), "sys.sched.led.type is missing",
                             "the LEDs are always off", "sys.sched.led.type=time"});
        return;
    }
    if (type->value == "time") {
        if (read.number == 0 && (has_list || given.is_whole()))
            found.push_back(
                {fault::led_time_without_rule, *type, "no rule can be read", "the LEDs stay as they are", "open"});
    } else if (type->value == "open" || type->value == "close") {
        if (read.number > 0)
            found.push_back({fault::led_rules_not_read, *given.find(listnum_key(LEDS)),
                             fmt::format("sys.sched.led.type is {}", type->value), "the rules are not looked at",
                             "sys.sched.led.type=time"});
    } else {
        found.push_back({fault::led_unknown_word, *type, "it is none of open|close|time", "the LEDs are always off",
                         meant_word("open|close|time", type->value)});
    }
}

} // namespace

void check_weekly(const settings &given, findings &found)
{
    check_wifi(given, check_rules(given, WIFI, found), found);
    check_leds(given, check_rules(given, LEDS, found), found);
}

} // namespace tcctl
