// Whether a value is what the table of keys says of it.
#include "tools/key_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace keys
{

namespace
{

using fault = std::optional<std::string>;

// Cuts off what stands before the first `end`, which goes too; all of it when there is none.
std::string_view cut(std::string_view &text, char end)
{
    const std::string_view piece = text.substr(0, text.find(end));
    text.remove_prefix(std::min(text.size(), piece.size() + 1));
    return piece;
}

bool to_number(std::string_view text, int64_t &number)
{
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// Only digits, and of the value.
bool is_within(std::string_view digits, int64_t least, int64_t most)
{
    int64_t number = 0;
    return !digits.empty() && digits[0] != '-' && to_number(digits, number) && number >= least && number <= most;
}

// ---- one of each type ----

fault word_fault(std::string_view words, std::string_view value)
{
    const std::string all(words);
    while (!words.empty())
        if (cut(words, '|') == value)
            return std::nullopt;
    return all.find('|') == std::string::npos ? "it is not " + all : "it is none of " + all;
}

fault number_fault(std::string_view range, std::string_view value)
{
    int64_t number = 0;
    if (!to_number(value, number))
        return "it is no number";
    if (range.find('|') != std::string_view::npos)
        return word_fault(range, value);
    const size_t dots = range.find("..");
    if (dots == std::string_view::npos)
        return std::nullopt;
    int64_t least = INT64_MIN;
    int64_t most = INT64_MAX;
    to_number(range.substr(0, dots), least); // what is not given limits nothing
    to_number(range.substr(dots + 2), most);
    if (number >= least && number <= most)
        return std::nullopt;
    return "it is not within " + std::string(range);
}

fault text_fault(std::string_view range, std::string_view value)
{
    int64_t longest = 0;
    if (!range.starts_with("..") || !to_number(range.substr(2), longest) ||
        value.size() <= static_cast<size_t>(longest))
        return std::nullopt;
    return "it is longer than " + std::string(range.substr(2)) + " bytes";
}

bool is_time(std::string_view value)
{
    const std::string_view hour = cut(value, ':');
    return hour.size() <= 2 && is_within(hour, 0, 23) && value.size() <= 2 && is_within(value, 0, 59);
}

bool is_day(std::string_view day)
{
    static constexpr std::array<std::string_view, 7> NAMES = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    return std::find(NAMES.begin(), NAMES.end(), day) != NAMES.end();
}

// "Mon..Thu,Sun"
bool are_days(std::string_view days)
{
    if (days.ends_with(','))
        return false;
    do {
        const std::string_view piece = cut(days, ',');
        const size_t dots = piece.find("..");
        if (!is_day(piece.substr(0, dots)) || (dots != std::string_view::npos && !is_day(piece.substr(dots + 2))))
            return false;
    } while (!days.empty());
    return true;
}

bool is_weekly_time(std::string_view value)
{
    const size_t blank = value.find(' ');
    if (blank == std::string_view::npos)
        return is_time(value);
    return are_days(value.substr(0, blank)) && is_time(value.substr(blank + 1));
}

bool are_day_switches(std::string_view value)
{
    bool are_switches = std::count(value.begin(), value.end(), ';') == 6;
    for (int day = 0; day < 7; day++) {
        const std::string_view piece = cut(value, ';');
        are_switches = are_switches && (piece == "0" || piece == "1");
    }
    return are_switches;
}

// What the kernel takes for one.
bool is_interface(std::string_view name)
{
    return name.size() <= 15 && name != "." && name != ".." &&
           std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c != '/' && c != ':' && c != 0x7F; });
}

bool is_address(std::string_view value)
{
    bool are_bytes = std::count(value.begin(), value.end(), '.') == 3;
    for (int byte = 0; byte < 4; byte++) {
        const std::string_view piece = cut(value, '.');
        are_bytes = are_bytes && piece.size() <= 3 && is_within(piece, 0, 255);
    }
    return are_bytes;
}

fault unless(bool is_right, const char *what)
{
    return is_right ? std::nullopt : fault(what);
}

} // namespace

std::optional<std::string> range_fault(const row &row, std::string_view value)
{
    if (value.empty() || value == row.standard)
        return std::nullopt;
    switch (row.type) {
    case type::flag:
    case type::word:
        return word_fault(row.range, value);
    case type::number:
        return number_fault(row.range, value);
    case type::text:
        return text_fault(row.range, value);
    case type::time:
        return unless(is_time(value), "it is no time HH:MM");
    case type::weekly_time:
        return unless(is_weekly_time(value), "it is no [DAYS ]HH:MM, such as Mon..Thu,Sun 23:00");
    case type::days:
        return unless(are_day_switches(value), "it is not seven day switches, such as 1;1;1;1;1;0;0");
    case type::interface:
        return unless(is_interface(value), "it is no interface's name");
    case type::address:
        return unless(is_address(value), "it is no IPv4 address");
    }
    return std::nullopt;
}

} // namespace keys
