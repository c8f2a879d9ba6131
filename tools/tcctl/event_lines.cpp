#include "tools/tcctl/event_lines.h"

#include <array>
#include <ctime>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/tcctl/output.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

namespace
{

constexpr int VERSION = 1;

struct tm local_of(int64_t calendar)
{
    const time_t moment = calendar;
    struct tm local = {};
    localtime_r(&moment, &local);
    return local;
}

std::string date_of(const struct tm &local)
{
    return fmt::format("{:04}-{:02}-{:02}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

std::string time_of_day_of(const struct tm &local)
{
    return fmt::format("{:02}:{:02}:{:02}", local.tm_hour, local.tm_min, local.tm_sec);
}

nlohmann::ordered_json json_of(const journal_record &act)
{
    return {{"sequence", act.sequence}, {"act", shown(text_of(act.text))},
            {"at", iso_time(act.time)}, {"last", iso_time(act.last)},
            {"times", act.times},       {"failed", act.failed != 0}};
}

nlohmann::ordered_json details_of(const event &told)
{
    const journal_record &act = told.first();
    nlohmann::ordered_json changes = nlohmann::ordered_json::array();
    for (const change &each : told.changes)
        changes.push_back(
            {{"event", name_of(each.kind)}, {"subject", shown(each.subject)}, {"value", shown(each.value)}});
    nlohmann::ordered_json acts = nlohmann::ordered_json::array();
    for (const journal_record &each : told.acts)
        acts.push_back(json_of(each));
    nlohmann::ordered_json details = {{"uptime", act.uptime}, {"changes", changes}, {"acts", acts}};
    if (act.target != 0) {
        details["count"] = act.count;
        details["target"] = act.target;
    }
    if (act.next != 0)
        details["next"] = iso_time(act.next);
    if (!told.after.empty())
        details["after"] = told.after;
    return details;
}

std::string line_of_json(const nlohmann::ordered_json &object)
{
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

} // namespace

std::string iso_time(int64_t calendar)
{
    const struct tm local = local_of(calendar);
    const int64_t offset_min = local.tm_gmtoff / 60;
    const int64_t east_min = offset_min < 0 ? -offset_min : offset_min;
    return fmt::format("{}T{}{}{:02}:{:02}", date_of(local), time_of_day_of(local), offset_min < 0 ? '-' : '+',
                       east_min / 60, east_min % 60);
}

std::string event_lines::clock_of(int64_t calendar)
{
    constexpr std::array<const char *, 7> DAYS = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    const struct tm local = local_of(calendar);
    std::string text;
    if (const int day = local.tm_year * 366 + local.tm_yday; day != day_) {
        text = painted(colour::BOLD, fmt::format("{} {}", DAYS.at(static_cast<size_t>(local.tm_wday)), date_of(local)));
        text += '\n';
        day_ = day;
    }
    return text + time_of_day_of(local);
}

std::string event_lines::line_of(const event &told)
{
    const journal_record &act = told.first();
    const std::string clock = clock_of(act.time);
    if (act.kind == JOURNAL_START) {
        const size_t day_end = clock.rfind('\n') + 1; // 0 when the day is the same
        return fmt::format("{}-- {} {} --\n", clock.substr(0, day_end), clock.substr(day_end), shown(text_of(told)));
    }
    return fmt::format("{} {:<8} {}\n", clock, module_of(act.who), shown(text_of(told)));
}

std::string event_lines::line_of(const journal_record &act)
{
    const std::string_view reason = reason_of(act.who, act.verdict);
    std::string line = fmt::format("{} {:<8} {}", clock_of(act.time), module_of(act.who), shown(text_of(act.text)));
    if (!reason.empty())
        line += fmt::format(" ({})", reason);
    if (act.times > 1)
        line += fmt::format(", {} times until {}", act.times, time_of(act.last, act.time));
    return line + '\n';
}

std::string json_line(const event &told)
{
    return line_of_json({{"version", VERSION},
                         {"at", iso_time(told.first().time)},
                         {"module", module_of(told.first().who)},
                         {"event", name_of(told.kind())},
                         {"reason", told.reason},
                         {"text", shown(text_of(told))},
                         {"details", details_of(told)}});
}

std::string json_line(const journal_record &act)
{
    return line_of_json({{"version", VERSION},
                         {"at", iso_time(act.time)},
                         {"module", module_of(act.who)},
                         {"event", "act"},
                         {"reason", reason_of(act.who, act.verdict)},
                         {"text", shown(text_of(act.text))},
                         {"details", json_of(act)}});
}

} // namespace tcctl
