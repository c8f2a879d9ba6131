#include "tools/preview/chart.h"

#include <algorithm>

#include <fmt/format.h>

namespace preview
{

namespace
{

// Where a moment of the day stands in its chart: the day's end at its right edge.
int place_of(time_t time, const local_day &day)
{
    return time >= day.end ? SECONDS_A_DAY : time <= day.begin ? 0 : time_of_day(time);
}

void add(std::vector<mark> &marks, const span &one, int from, int to)
{
    if (from < to)
        marks.push_back({.of = &one, .from = from, .to = to});
}

} // namespace

// Where the clock is put back inside a span, the span is drawn as two parts, which may cover each other.
std::vector<mark> marks_of(const plan &shown, track which, const local_day &day)
{
    std::vector<mark> marks;
    for (const span &each : shown.spans) {
        const time_t from = std::max(each.from, day.begin);
        const time_t to = std::min(each.to, day.end);
        if (each.of != which || !is_marked(each) || from >= to)
            continue;
        const auto change = std::ranges::find_if(shown.clock_changes, [from, to](const clock_change &one) {
            return one.by < 0 && from < one.at && one.at < to;
        });
        if (change == shown.clock_changes.end()) {
            add(marks, each, place_of(from, day), place_of(to, day));
            continue;
        }
        add(marks, each, place_of(from, day), time_of_day(change->at - 1) + 1);
        add(marks, each, place_of(change->at, day), place_of(to, day));
    }
    std::stable_partition(marks.begin(), marks.end(), [](const mark &one) { return one.of->state == "window"; });
    return marks;
}

std::string legend_of(const span &one)
{
    return one.state == "window" ? "may restart" : one.state;
}

std::string sentence_of(const span &one)
{
    return fmt::format("{} {} from {} to {}", one.of == track::sleep ? "Router" : title_of(one.of), legend_of(one),
                       local_text(one.from, "%a %H:%M:%S"), local_text(one.to, "%a %H:%M:%S"));
}

std::string headline_of(const act &one)
{
    switch (one.of) {
    case track::restart:
        return "Restart";
    case track::sleep:
        return one.what == "asleep" ? "Asleep" : "Awake";
    case track::guest:
        return "Guest network " + one.what;
    default:
        return fmt::format("{} {}", title_of(one.of), one.what);
    }
}

std::vector<remark> remarks_of(const plan &shown)
{
    std::vector<remark> remarks;
    for (const surprise &each : shown.surprises) {
        const auto same =
            std::ranges::find_if(remarks, [&each](const remark &other) { return other.first->text == each.text; });
        if (same == remarks.end())
            remarks.push_back({.first = &each, .more = 0});
        else
            same->more++;
    }
    return remarks;
}

std::string clock_remark(const plan &shown, const local_day &day)
{
    for (const clock_change &each : shown.clock_changes)
        if (day.begin <= each.at && each.at < day.end) {
            const int hours = each.by / 3600;
            const std::string by =
                each.by % 3600 == 0 ? fmt::format("{:+} h", hours) : fmt::format("{:+} min", each.by / 60);
            const int old = time_of_day(each.at - 1) + 1;
            return fmt::format("clock {} at {:02}:{:02}", by, old / 3600, old % 3600 / 60);
        }
    return "";
}

} // namespace preview
