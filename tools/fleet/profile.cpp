#include "tools/fleet/profile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <variant>

#include <fmt/format.h>

#include "tools/preview/calendar.h"
#include "tools/text_file.h"

namespace fleet
{

namespace
{

constexpr int64_t DAY_S = 86400;
constexpr int64_t YEAR_S = 366 * DAY_S;
constexpr size_t FILE_MAX = size_t{1024} * 1024;

using words = std::vector<std::string>;

// What is read from a line: how many words it has, which values it takes, and how they are written.
struct time_of_day {
    int64_t profile::*member;
};
struct number {
    int64_t profile::*member;
    int64_t lowest;
    int64_t highest;
};
struct times_of_day {
    range profile::*member;
    bool may_be_none;
};
struct durations {
    range profile::*member;
    int64_t lowest;
};
struct numbers {
    range profile::*member;
    int64_t lowest;
    int64_t highest;
};
using kind = std::variant<time_of_day, number, times_of_day, durations, numbers>;

struct field {
    std::string_view name;
    kind is;
};

constexpr std::array FIELDS = {
    field{"begin", time_of_day{&profile::begin}},
    field{"hours", number{&profile::hours, 1, 48}},
    field{"started", durations{&profile::started, -10 * YEAR_S}},
    field{"clock-right", durations{&profile::clock_right, 0}},
    field{"clock-error", numbers{&profile::clock_error, -DAY_S, DAY_S}},
    field{"quiet-from", times_of_day{&profile::quiet_from, false}},
    field{"leaving", number{&profile::leaving, 0, 100}},
    field{"empty", number{&profile::empty, 0, 100}},
    field{"busy", number{&profile::busy, 0, 100}},
    field{"offline", number{&profile::offline, 0, 100}},
    field{"outage", times_of_day{&profile::outage, true}},
    field{"sent", numbers{&profile::sent, 0, 10000000}},
};

int64_t read_integer(std::string_view word, int64_t lowest, int64_t highest)
{
    int64_t value = 0;
    const char *const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, value);
    if (error != std::errc{} || stop != end || value < lowest || value > highest)
        throw refused(fmt::format("not a whole number from {} to {}: {}", lowest, highest, word));
    return value;
}

int64_t read_duration(std::string_view word, int64_t lowest)
{
    constexpr std::array<std::pair<char, int64_t>, 4> UNITS = {{{'s', 1}, {'m', 60}, {'h', 3600}, {'d', DAY_S}}};
    const auto *const unit =
        std::ranges::find(UNITS, word.empty() ? '\0' : word.back(), &std::pair<char, int64_t>::first);
    const std::string_view digits = word.substr(word.starts_with('+') ? 1 : 0);
    int64_t value = 0;
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (unit == UNITS.end() || error != std::errc{} || stop != &digits.back() || value > 10 * YEAR_S ||
        value < -10 * YEAR_S || value * unit->second > 10 * YEAR_S || value * unit->second < lowest)
        throw refused(
            fmt::format("not a time from {}s to {}s, as 90s, 15m, 2h or -30d: {}", lowest, 10 * YEAR_S, word));
    return value * unit->second;
}

int64_t read_time(std::string_view word)
{
    const auto digit = [word](size_t place) { return word[place] >= '0' && word[place] <= '9'; };
    if (word.size() == 5 && word[2] == ':' && digit(0) && digit(1) && digit(3) && digit(4)) {
        const int64_t hour = (word[0] - '0') * 10 + word[1] - '0';
        const int64_t minute = (word[3] - '0') * 10 + word[4] - '0';
        if (hour < 24 && minute < 60)
            return (hour * 60 + minute) * 60;
    }
    throw refused(fmt::format("not a time from 00:00 to 23:59: {}", word));
}

void expect_words(const words &given, size_t count)
{
    if (given.size() != count + 1)
        throw refused(fmt::format("{} takes {} value{}", given[0], count, count == 1 ? "" : "s"));
}

range in_order(range read)
{
    if (read.to < read.from)
        throw refused("the second value is lower than the first");
    return read;
}

struct reader {
    profile &into;
    const words &given;

    void operator()(const time_of_day &is) const
    {
        expect_words(given, 1);
        into.*is.member = read_time(given[1]);
    }
    void operator()(const number &is) const
    {
        expect_words(given, 1);
        into.*is.member = read_integer(given[1], is.lowest, is.highest);
    }
    void operator()(const times_of_day &is) const
    {
        if (is.may_be_none && given.size() == 2 && given[1] == "none") {
            into.*is.member = {.from = 0, .to = 0};
            return;
        }
        expect_words(given, 2);
        into.*is.member = {.from = read_time(given[1]), .to = read_time(given[2])};
    }
    void operator()(const durations &is) const
    {
        expect_words(given, 2);
        into.*is.member =
            in_order({.from = read_duration(given[1], is.lowest), .to = read_duration(given[2], is.lowest)});
    }
    void operator()(const numbers &is) const
    {
        expect_words(given, 2);
        into.*is.member = in_order({.from = read_integer(given[1], is.lowest, is.highest),
                                    .to = read_integer(given[2], is.lowest, is.highest)});
    }
};

std::string clock_text(int64_t time_of_day)
{
    return fmt::format("{:02}:{:02}", time_of_day / 3600, time_of_day % 3600 / 60);
}

struct writer {
    const profile &from;

    std::string operator()(const time_of_day &is) const
    {
        return clock_text(from.*is.member);
    }
    std::string operator()(const number &is) const
    {
        return std::to_string(from.*is.member);
    }
    std::string operator()(const times_of_day &is) const
    {
        const range &times = from.*is.member;
        return is.may_be_none && times.from == times.to ? "none" : clock_text(times.from) + " " + clock_text(times.to);
    }
    std::string operator()(const durations &is) const
    {
        return fmt::format("{}s {}s", (from.*is.member).from, (from.*is.member).to);
    }
    std::string operator()(const numbers &is) const
    {
        return fmt::format("{} {}", (from.*is.member).from, (from.*is.member).to);
    }
};

words words_of(const std::string &line)
{
    std::istringstream text(line);
    return {std::istream_iterator<std::string>(text), std::istream_iterator<std::string>()};
}

void read_setting(profile &into, std::string_view line)
{
    const size_t begin = line.find_first_not_of(" \t", line.find("setting") + 7);
    const preview::settings read =
        preview::parse_settings(std::string(begin == std::string_view::npos ? "" : line.substr(begin)), "the setting");
    if (read.size() != 1)
        throw refused("setting takes KEY=VALUE");
    std::erase_if(into.settings, [&read](const auto &each) { return each.first == read[0].first; });
    into.settings.push_back(read[0]);
}

void read_line(profile &into, const std::string &line)
{
    const words given = words_of(line);
    if (given.empty() || given[0].starts_with('#'))
        return;
    if (given[0] == "setting") {
        read_setting(into, line);
        return;
    }
    if (given[0] == "zone") {
        expect_words(given, 1);
        if (!preview::is_zone(given[1]))
            throw refused("no time zone that this machine knows: " + given[1]);
        into.zone = given[1];
        return;
    }
    const auto *const found = std::ranges::find(FIELDS, given[0], &field::name);
    if (found == FIELDS.end())
        throw refused("unknown word: " + given[0]);
    std::visit(reader{.into = into, .given = given}, found->is);
}

// What no line says alone.
void check_whole(const profile &read)
{
    if (read.started.to >= read.hours * 3600)
        throw refused("started: the last router starts after the end of the night");
    if (after_begin(read, read.quiet_from.to) < after_begin(read, read.quiet_from.from))
        throw refused("quiet-from: ends before it begins, in a night that begins at " + clock_text(read.begin));
    if (after_begin(read, read.outage.to) < after_begin(read, read.outage.from))
        throw refused("outage: ends before it begins, in a night that begins at " + clock_text(read.begin));
    if (read.empty + read.busy > 100)
        throw refused("empty and busy are more than 100 percent together");
}

void write_lines(profile &read)
{
    read.lines = {"zone " + read.zone};
    for (const field &each : FIELDS)
        read.lines.push_back(fmt::format("{} {}", each.name, std::visit(writer{read}, each.is)));
    std::ranges::sort(read.settings);
    for (const auto &[key, value] : read.settings)
        read.lines.push_back(fmt::format("setting {}={}", key, value));
}

} // namespace

int64_t after_begin(const profile &given, int64_t time_of_day)
{
    return time_of_day >= given.begin ? time_of_day - given.begin : time_of_day - given.begin + DAY_S;
}

profile parse_profile(std::string_view text, const std::string &name)
{
    profile read;
    std::istringstream lines{std::string(text)};
    int number = 0;
    try {
        for (std::string line; std::getline(lines, line);) {
            number++;
            read_line(read, line);
        }
    } catch (const refused &why) {
        throw refused(fmt::format("{}: line {}: {}", name, number, why.what()));
    }
    try {
        check_whole(read);
    } catch (const refused &why) {
        throw refused(fmt::format("{}: {}", name, why.what()));
    }
    write_lines(read);
    return read;
}

profile read_profile(const std::string &path)
{
    if (path.empty())
        return parse_profile("", "the profile");
    const tools::text_file file = tools::read_text(path, FILE_MAX, "a profile");
    return parse_profile(file.text, file.name);
}

} // namespace fleet
