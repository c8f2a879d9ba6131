#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "tools/preview/chart.h"
#include "tools/preview/formats.h"

namespace preview
{

namespace
{

constexpr size_t LABEL = 12; // "Mon 02 Mar *"
constexpr int NARROW = 48;   // half an hour a column
constexpr int WIDE = 96;     // a quarter
constexpr size_t INDENTATION = 4;

// Breaks a text at blanks; what is longer than the line stands alone.
std::vector<std::string> wrapped(std::string_view text, size_t width)
{
    std::vector<std::string> lines(1);
    while (!text.empty()) {
        const size_t end = std::min(text.find(' '), text.size());
        const std::string_view word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > width)
            lines.emplace_back();
        lines.back() += lines.back().empty() ? "" : " ";
        lines.back() += word;
    }
    return lines;
}

std::string paragraph(std::string_view text, size_t indentation, size_t columns)
{
    std::string lines;
    for (const std::string &line : wrapped(text, columns - indentation))
        lines += fmt::format("{:{}}{}\n", "", indentation, line);
    return lines;
}

// ---- chart ----

std::string without_trailing_blanks(std::string line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

std::string scale(int cells)
{
    std::string line(LABEL + static_cast<size_t>(cells), ' ');
    for (int hour = 0; hour <= 21; hour += 3)
        fmt::format("{:02}", hour).copy(line.data() + LABEL + static_cast<size_t>(hour * cells / 24), 2);
    return without_trailing_blanks(line) + "\n";
}

// The last cell of a mark: what reaches a minute or less into a cell is not drawn there, unless it is all of the mark.
int last_cell(const mark &one, int seconds)
{
    constexpr int UNSEEN_S = 60;
    return std::max(one.from / seconds, (one.to - 1 - UNSEEN_S) / seconds);
}

// A cell shows the mark that touches it, a restart before the window around it.
std::string row(const plan &shown, track which, const local_day &day, int cells)
{
    std::string line(static_cast<size_t>(cells), '.');
    const int seconds = SECONDS_A_DAY / cells;
    for (const mark &each : marks_of(shown, which, day)) {
        const char sign = each.of->state == "window" ? '-' : each.of->state == "restarting" ? 'R' : '#';
        for (int cell = each.from / seconds; cell <= last_cell(each, seconds); cell++)
            if (char &place = line.at(static_cast<size_t>(cell)); place != 'R')
                place = sign;
    }
    for (int cell = 0; cell < cells; cell++) {
        const bool is_before = day.begin < shown.from && cell < time_of_day(shown.from) / seconds;
        const bool is_after = shown.to < day.end && cell > (time_of_day(shown.to) - 1) / seconds;
        if (is_before || is_after)
            line.at(static_cast<size_t>(cell)) = ' ';
    }
    return line;
}

bool has_surprise(const plan &shown, const local_day &day)
{
    return std::ranges::any_of(shown.surprises,
                               [&day](const surprise &each) { return day.begin <= each.at && each.at < day.end; });
}

bool has_marks(const plan &shown, track which)
{
    return std::ranges::any_of(shown.spans, [which](const span &each) { return each.of == which && is_marked(each); });
}

// A track in which nothing happens is one line.
std::string quiet_track(const plan &shown, track which)
{
    const auto first = std::ranges::find(shown.spans, which, &span::of);
    const std::string_view state = first == shown.spans.end() ? "none is planned" : std::string_view(first->state);
    return fmt::format("{:<8} {}{}\n", title_of(which), state, first == shown.spans.end() ? "" : " all the time");
}

std::string_view legend(track which)
{
    switch (which) {
    case track::sleep:
        return "# asleep";
    case track::guest:
        return "# open";
    case track::restart:
        return "- may restart   R restarts, at the earliest";
    default:
        return "# off";
    }
}

std::string chart(const plan &shown, int cells)
{
    std::string text;
    std::string quiet;
    const std::vector<local_day> days = days_between(shown.from, shown.to);
    for (const track which : TRACKS) {
        if (!has_marks(shown, which)) {
            quiet += quiet_track(shown, which);
            continue;
        }
        text += fmt::format("{:<8} {}\n{}", title_of(which), legend(which), scale(cells));
        for (const local_day &day : days) {
            const std::string remark = clock_remark(shown, day);
            const char sign = !remark.empty() ? '~' : has_surprise(shown, day) ? '!' : ' ';
            text +=
                without_trailing_blanks(fmt::format("{}{}{}", local_text(day.begin + SECONDS_A_DAY / 2, "%a %d %b "),
                                                    sign, row(shown, which, day, cells))) +
                "\n";
        }
        text += '\n';
    }
    return text + quiet + (quiet.empty() ? "" : "\n");
}

// ---- lists ----

std::string notes(const plan &shown, size_t columns)
{
    std::string text;
    for (const local_day &day : days_between(shown.from, shown.to))
        if (const std::string remark = clock_remark(shown, day); !remark.empty())
            text += fmt::format("~ {} {}\n", local_text(day.begin + SECONDS_A_DAY / 2, "%a %d %b"), remark);
    for (const remark &each : remarks_of(shown)) {
        const std::string more = each.more == 0 ? "" : fmt::format(" and {} more", each.more);
        std::string lines = paragraph(
            fmt::format("{}{}: {}", local_text(each.first->at, "%a %d %b %H:%M"), more, each.first->text), 2, columns);
        lines[0] = '!';
        text += lines;
    }
    return text.empty() ? "" : "Look at these\n\n" + text + "\n";
}

std::string acts(const plan &shown, size_t columns)
{
    if (shown.acts.empty())
        return "Nothing happens in this time.\n";
    std::string text = "What happens, next first\n\n";
    for (const act &each : shown.acts)
        text += fmt::format("{}  {}\n{}", local_text(each.at, "%a %d %b %H:%M:%S"), headline_of(each),
                            paragraph(each.reason, INDENTATION, columns));
    return text;
}

} // namespace

std::string text_of(const plan &shown, int columns)
{
    const int cells = columns >= static_cast<int>(LABEL) + WIDE ? WIDE : NARROW;
    const auto width = static_cast<size_t>(std::clamp(columns, static_cast<int>(LABEL) + NARROW, 120));
    std::string text = fmt::format("From {} to {}\n\n", local_text(shown.from, "%a %Y-%m-%d %H:%M:%S %Z"),
                                   local_text(shown.to, "%a %Y-%m-%d %H:%M:%S %Z"));
    return text + chart(shown, cells) + notes(shown, width) + acts(shown, width);
}

} // namespace preview
