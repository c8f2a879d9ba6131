#include <algorithm>
#include <array>
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

// In pixels of a picture that is not scaled.
constexpr int WIDTH = 960;
constexpr int LEFT = 200; // days and tracks
constexpr int RIGHT = 16;
constexpr int TOP = 96; // title, legend, hours
constexpr int ROW = 15;
constexpr int BAR = 10;
constexpr int DAY_GAP = 12;
constexpr int DAY_ROWS = 3; // at least: the day, and what there is to say of it
constexpr double RESTART_WIDTH = 3;
constexpr double HOURS = WIDTH - LEFT - RIGHT;

double x_of(int seconds)
{
    return LEFT + HOURS * seconds / SECONDS_A_DAY;
}

std::vector<track> drawn_tracks(const plan &shown)
{
    std::vector<track> tracks;
    for (const track which : TRACKS)
        if (std::ranges::any_of(shown.spans, [which](const span &one) { return one.of == which && is_marked(one); }))
            tracks.push_back(which);
    return tracks;
}

// Patterns and not colours tell the tracks apart.
constexpr std::string_view HEAD = R"(<defs>
<pattern id="sleep" width="5" height="5" patternUnits="userSpaceOnUse">
<rect width="5" height="5" fill="#fff"/><path d="M0 5 5 0" stroke="#111" stroke-width="1.6"/></pattern>
<pattern id="guest" width="4" height="4" patternUnits="userSpaceOnUse">
<rect width="4" height="4" fill="#fff"/><circle cx="2" cy="2" r="1.2" fill="#111"/></pattern>
</defs>
<style>
text{font-family:sans-serif;font-size:12px;fill:#111}
.title{font-size:16px;font-weight:bold}.day{font-weight:bold}.small{font-size:11px}
.wifi{fill:#111}.led{fill:#767676;stroke:#111}.sleep{fill:url(#sleep);stroke:#111}.guest{fill:url(#guest);stroke:#111}
.window{fill:#fff;stroke:#111;stroke-dasharray:2 2}.restarting{fill:#111}
.rule{stroke:#ccc}.line{stroke:#767676}
</style>
)";

std::string class_of(const span &one)
{
    return std::string(one.of == track::restart ? std::string_view(one.state) : name_of(one.of));
}

std::string bar(const mark &one, int y)
{
    const double width = std::max(x_of(one.to) - x_of(one.from), one.of->state == "restarting" ? RESTART_WIDTH : 1.0);
    return fmt::format("<g role=\"img\"><title>{}</title><rect class=\"{}\" x=\"{:.1f}\" y=\"{}\" width=\"{:.1f}\" "
                       "height=\"{}\"/></g>\n",
                       sentence_of(*one.of), class_of(*one.of), x_of(one.from), y, width, BAR);
}

std::string text_at(double x, int y, std::string_view style, std::string_view text)
{
    return fmt::format("<text class=\"{}\" x=\"{:.1f}\" y=\"{}\">{}</text>\n", style, x, y, text);
}

std::string legend()
{
    struct item {
        std::string_view style;
        std::string_view text;
    };
    static constexpr std::array<item, 6> ITEMS = {{{"wifi", "Wi-Fi off"},
                                                   {"led", "LEDs off"},
                                                   {"sleep", "asleep"},
                                                   {"guest", "guest network open"},
                                                   {"window", "may restart"},
                                                   {"restarting", "restarts, at the earliest"}}};
    std::string drawn;
    double x = 16;
    for (const item &each : ITEMS) {
        const double width = each.style == "restarting" ? RESTART_WIDTH : 18;
        drawn += fmt::format("<rect class=\"{}\" x=\"{:.1f}\" y=\"44\" width=\"{:.1f}\" height=\"{}\"/>\n", each.style,
                             x, width, BAR);
        drawn += text_at(x + 24, 53, "small", each.text);
        x += 48 + 6.5 * static_cast<double>(each.text.size()); // a letter is about as wide
    }
    return drawn;
}

std::string hours(int bottom)
{
    std::string drawn;
    for (int hour = 0; hour <= 24; hour += 3) {
        const double x = x_of(hour * 3600);
        drawn += fmt::format("<line class=\"rule\" x1=\"{0:.1f}\" y1=\"{1}\" x2=\"{0:.1f}\" y2=\"{2}\"/>\n", x, TOP - 8,
                             bottom);
        drawn += fmt::format("<text class=\"small\" x=\"{:.1f}\" y=\"{}\" text-anchor=\"middle\">{:02}</text>\n", x,
                             TOP - 14, hour);
    }
    return drawn;
}

std::string day_of(const plan &shown, const local_day &day, const std::vector<track> &tracks, int top)
{
    std::string drawn = text_at(16, top + BAR, "day", local_text(day.begin + SECONDS_A_DAY / 2, "%a %d %b"));
    if (const std::string remark = clock_remark(shown, day); !remark.empty())
        drawn += text_at(16, top + BAR + ROW, "small", remark);
    const auto strange = std::ranges::count_if(
        shown.surprises, [&day](const surprise &each) { return day.begin <= each.at && each.at < day.end; });
    if (strange > 0)
        drawn += text_at(16, top + BAR + 2 * ROW, "small", strange == 1 ? "! a surprise" : "! surprises");
    int y = top;
    for (const track which : tracks) {
        drawn += text_at(LEFT - 56, y + BAR, "small", title_of(which));
        drawn += fmt::format("<line class=\"line\" x1=\"{0}\" y1=\"{2}\" x2=\"{1}\" y2=\"{2}\"/>\n", LEFT,
                             WIDTH - RIGHT, y + BAR);
        for (const mark &each : marks_of(shown, which, day))
            drawn += bar(each, y);
        y += ROW;
    }
    return drawn;
}

std::string description(const plan &shown)
{
    std::string text;
    for (const act &each : shown.acts)
        text += fmt::format("{} {}. ", local_text(each.at, "%a %d %b %H:%M:%S"), headline_of(each));
    for (const surprise &each : shown.surprises)
        text += fmt::format("{}: {} ", local_text(each.at, "%a %d %b %H:%M"), each.text);
    return text.empty() ? "Nothing happens." : text;
}

} // namespace

std::string svg_of(const plan &shown)
{
    const std::vector<track> tracks = drawn_tracks(shown);
    const std::vector<local_day> days = days_between(shown.from, shown.to);
    const int day_height = std::max(static_cast<int>(tracks.size()), DAY_ROWS) * ROW + DAY_GAP;
    const int bottom = TOP + static_cast<int>(days.size()) * day_height;
    const std::string title =
        fmt::format("What the router does from {} to {}", local_text(shown.from, "%a %d %b %Y %H:%M"),
                    local_text(shown.to, "%a %d %b %Y %H:%M"));
    std::string drawn = fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" "
                                    "height=\"{1}\" role=\"img\" aria-labelledby=\"title desc\">\n"
                                    "<title id=\"title\">{2}</title>\n<desc id=\"desc\">{3}</desc>\n{4}"
                                    "<rect width=\"{0}\" height=\"{1}\" fill=\"#fff\"/>\n",
                                    WIDTH, bottom, title, description(shown), HEAD);
    drawn += text_at(16, 26, "title", title) + legend() + hours(bottom - DAY_GAP);
    int top = TOP;
    for (const local_day &day : days) {
        drawn += day_of(shown, day, tracks, top);
        top += day_height;
    }
    return drawn + "</svg>\n";
}

} // namespace preview
