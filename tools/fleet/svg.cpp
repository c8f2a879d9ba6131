#include <algorithm>

#include <fmt/format.h>

#include "tools/fleet/counts.h"
#include "tools/preview/calendar.h"

namespace fleet
{

namespace
{

// In pixels of a picture that is not scaled.
constexpr int WIDTH = 960;
constexpr int LEFT = 70;
constexpr int RIGHT = 16;
constexpr int TOP = 64;
constexpr int HEIGHT = 150; // of a chart
constexpr int STEP = 210;   // from one chart to the next
constexpr int CHARTS = 3;

constexpr std::string_view HEAD = R"(<style>
text{font-family:sans-serif;font-size:12px;fill:#111}
.title{font-size:16px;font-weight:bold}.chart{font-weight:bold}.end{text-anchor:end}.middle{text-anchor:middle}
.bar{fill:#111}.rule{stroke:#ccc}.line{stroke:#767676}
</style>
)";

// Minutes without anything are left out.
std::string bars(const counts &given, const series &minutes, int bottom, std::string_view unit)
{
    const auto highest = static_cast<double>(peak_of(minutes).count);
    const double width = static_cast<double>(WIDTH - LEFT - RIGHT) / static_cast<double>(minutes.size());
    std::string text;
    for (size_t minute = 0; minute < minutes.size(); minute++) {
        if (minutes[minute] == 0)
            continue;
        const double height = std::max(HEIGHT * minutes[minute] / highest, 0.5);
        text += fmt::format(
            "<rect class=\"bar\" x=\"{:.2f}\" y=\"{:.1f}\" width=\"{:.2f}\" height=\"{:.1f}\"><title>{}: {} {}</title>"
            "</rect>\n",
            LEFT + width * static_cast<double>(minute), bottom - height, width, height,
            preview::local_text(given.begin + static_cast<time_t>(minute) * 60, "%H:%M"), minutes[minute], unit);
    }
    return text;
}

std::string hours(const counts &given, size_t minutes, int bottom)
{
    std::string text;
    for (size_t minute = 0; minute <= minutes; minute++) {
        const time_t at = given.begin + static_cast<time_t>(minute) * 60;
        if (preview::time_of_day(at) % 3600 != 0)
            continue;
        const double x = LEFT + static_cast<double>((WIDTH - LEFT - RIGHT) * minute) / static_cast<double>(minutes);
        text += fmt::format("<line class=\"rule\" x1=\"{0:.1f}\" x2=\"{0:.1f}\" y1=\"{1}\" y2=\"{2}\"/>\n"
                            "<text class=\"middle\" x=\"{0:.1f}\" y=\"{3}\">{4}</text>\n",
                            x, bottom - HEIGHT, bottom, bottom + 16, preview::local_text(at, "%H"));
    }
    return text;
}

std::string chart(const counts &given, const series &minutes, int number, std::string_view title, std::string_view unit)
{
    const int bottom = TOP + HEIGHT + number * STEP;
    return fmt::format("<text class=\"chart\" x=\"{}\" y=\"{}\">{}</text>\n", LEFT, bottom - HEIGHT - 8, title) +
           hours(given, minutes.size(), bottom) + bars(given, minutes, bottom, unit) +
           fmt::format("<line class=\"line\" x1=\"{0}\" x2=\"{1}\" y1=\"{2}\" y2=\"{2}\"/>\n", LEFT, WIDTH - RIGHT,
                       bottom) +
           fmt::format("<text class=\"end\" x=\"{}\" y=\"{}\">{}</text>\n", LEFT - 6, bottom - HEIGHT + 10,
                       peak_of(minutes).count) +
           fmt::format("<text class=\"end\" x=\"{}\" y=\"{}\">0</text>\n", LEFT - 6, bottom);
}

// The highest second of each minute.
series highest_seconds(const series &seconds)
{
    series minutes((seconds.size() + 59) / 60);
    for (size_t i = 0; i < seconds.size(); i++)
        minutes[i / 60] = std::max(minutes[i / 60], seconds[i]);
    return minutes;
}

} // namespace

std::string svg_of(const counts &given)
{
    const size_t seconds = given.restarts.size();
    return fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
                       "role=\"img\">\n",
                       WIDTH, TOP + CHARTS * STEP) +
           std::string(HEAD) +
           fmt::format("<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n<text class=\"title\" x=\"{}\" "
                       "y=\"28\">{} routers, the night of {}</text>\n",
                       LEFT, given.of.routers, given.of.night) +
           chart(given, by_minute(given.restarts), 0, "Restarts a minute", "restarts") +
           chart(given, highest_seconds(together(given.lookups, seconds)), 1,
                 "Name queries a second, the highest of each minute", "name queries a second") +
           chart(given, highest_seconds(together(given.echo_requests, seconds)), 2,
                 "Echo requests a second, the highest of each minute", "echo requests a second") +
           "</svg>\n";
}

} // namespace fleet
