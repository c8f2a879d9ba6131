#include "tools/preview/options.h"

#include <cstdlib>
#include <ctime>
#include <optional>
#include <regex>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/preview/calendar.h"
#include "tools/preview/own_store.h"

namespace preview
{

namespace
{

constexpr int DAY_S = 24 * 3600;

std::optional<daily_time> read_period(const std::string &text)
{
    static const std::regex form(R"(([01]?\d|2[0-4]):([0-5]\d)-([01]?\d|2[0-4]):([0-5]\d))");
    std::smatch parts;
    if (!std::regex_match(text, parts, form))
        return std::nullopt;
    const auto seconds = [&parts](size_t hour) {
        return (std::stoi(parts[hour].str()) * 60 + std::stoi(parts[hour + 1].str())) * 60;
    };
    const daily_time period = {.from = seconds(1), .to = seconds(3)};
    if (period.from > DAY_S || period.to > DAY_S || period.from == period.to)
        return std::nullopt;
    return period;
}

// The option takes all words behind it, and the last of them may be the file.
void find_file(options &given)
{
    if (!given.file.empty() || given.clients.size() < 2)
        return;
    const std::string &last = given.clients.back();
    if (last == "none" || last == "always" || read_period(last))
        return;
    given.file = last;
    given.clients.pop_back();
}

void read_clients(const std::vector<std::string> &words, request &wanted)
{
    for (const std::string &word : words) {
        if ((word == "none" || word == "always") && words.size() == 1) {
            wanted.always = word == "always";
        } else if (const std::optional<daily_time> period = read_period(word)) {
            wanted.clients.push_back(*period);
        } else {
            throw refused(fmt::format("--clients: neither none, nor always, nor HH:MM-HH:MM: {}", word));
        }
    }
}

std::string zone_of(const options &given, const std::string &own_zone)
{
    if (given.zone.empty())
        return own_zone.empty() ? ":/etc/localtime" : own_zone;
    if (!is_zone(given.zone))
        throw refused(fmt::format("--tz: no time zone that this machine knows: {}", given.zone));
    return given.zone;
}

int uptime_now()
{
    struct timespec up = {};
    clock_gettime(CLOCK_BOOTTIME, &up);
    return static_cast<int>(up.tv_sec);
}

} // namespace

void add_options(CLI::App &app, options &given)
{
    app.add_option("FILE", given.file, "settings as cfm import takes them, - for standard input (this router's store)");
    app.add_option("--from", given.from, "'YYYY-MM-DD HH:MM:SS' by the router's clock (now)")->type_name("TIME");
    app.add_option("--days", given.days, "how many days, 1 to 3660 (7)")
        ->type_name("N")
        ->check(CLI::Range(1, DAYS_MAX));
    app.add_option("--tz", given.zone, "the router's time zone, as TZ has it (this machine's)")->type_name("ZONE");
    app.add_option("--uptime", given.uptime,
                   "how long it has been up then, in seconds (this router's; a day for a FILE)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0, 1000000000));
    app.add_option("--clients", given.clients, "when somebody uses the network: none, always, or HH:MM-HH:MM... (none)")
        ->type_name("WHEN")
        ->expected(1, -1);
    app.add_option("--format", given.format, "text, json, svg or html (text)")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json", "svg", "html"}));
}

request request_of(options given, const std::string &own_zone)
{
    find_file(given);
    request wanted;
    wanted.days = given.days;
    read_clients(given.clients, wanted);
    wanted.zone = zone_of(given, own_zone);
    setenv("TZ", wanted.zone.c_str(), 1);
    tzset();
    wanted.from = std::time(nullptr);
    if (!given.from.empty()) {
        const std::optional<time_t> from = read_local(given.from);
        if (!from)
            throw refused(fmt::format("--from: not 'YYYY-MM-DD HH:MM:SS': {}", given.from));
        wanted.from = *from;
    }
    wanted.uptime = given.uptime >= 0 ? given.uptime : given.file.empty() ? uptime_now() : DAY_S;
    wanted.settings = given.file.empty() ? own_store() : read_settings(given.file);
    return wanted;
}

} // namespace preview
