#include <algorithm>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "tools/html.h"
#include "tools/preview/chart.h"
#include "tools/preview/formats.h"

namespace preview
{

namespace
{

// Dark on white throughout; the tracks are told apart by their patterns and their names.
constexpr std::string_view STYLE = R"(<style>
:root{color-scheme:light}
body{font:16px/1.5 sans-serif;color:#111;background:#fff;max-width:60rem;margin:0 auto;padding:0 1rem 2rem}
h1{font-size:1.5rem}h2{font-size:1.2rem;margin:1.5rem 0 .3rem}
.track,.hours{display:flex;align-items:center;gap:.5rem}
.name{flex:0 0 4.2rem;font-size:.9rem}
.bar{position:relative;flex:1;height:1.2rem;margin:.15rem 0;border-bottom:1px solid #767676}
.hours .scale{flex:1;display:flex;justify-content:space-between;font-size:.8rem}
.mark{position:absolute;top:0;bottom:0;min-width:3px;box-sizing:border-box;border:1px solid #111}
.wifi,.restarting{background:#111}.led{background:#767676}
.sleep{background:repeating-linear-gradient(45deg,#111 0 2px,#fff 2px 5px)}
.guest{background:repeating-linear-gradient(90deg,#111 0 1px,#fff 1px 4px)}
.window{background:#fff;border-style:dashed}
a:focus-visible,summary:focus-visible{outline:3px solid #0b57d0;outline-offset:2px;z-index:1}
ol,ul{padding-left:1.2rem;margin:.3rem 0}li{margin:.3rem 0;overflow-wrap:anywhere}
li:target{outline:2px solid #111}
.remark{font-weight:bold}summary{cursor:pointer}
</style>
)";

// Where the reader finds why: the act with which the span began, or else its day.
std::string target_of(const plan &shown, const span &one, size_t day)
{
    for (size_t i = 0; i < shown.acts.size(); i++)
        if (shown.acts[i].at == one.from && shown.acts[i].of == one.of)
            return fmt::format("act{}", i);
    return fmt::format("day{}", day);
}

std::string track_row(const plan &shown, track which, const local_day &day, size_t number)
{
    std::string row =
        fmt::format("<div class=\"track\"><span class=\"name\">{}</span><div class=\"bar\">", title_of(which));
    for (const mark &each : marks_of(shown, which, day)) {
        const std::string sentence = escaped_html(sentence_of(*each.of));
        row += fmt::format("<a class=\"mark {}\" href=\"#{}\" style=\"left:{:.3f}%;width:{:.3f}%\" title=\"{}\" "
                           "aria-label=\"{}\"></a>",
                           which == track::restart ? std::string_view(each.of->state) : name_of(which),
                           target_of(shown, *each.of, number), 100.0 * each.from / SECONDS_A_DAY,
                           100.0 * (each.to - each.from) / SECONDS_A_DAY, sentence, sentence);
    }
    return row + "</div></div>\n";
}

std::string acts_of(const plan &shown, const local_day &day)
{
    std::string list;
    for (size_t i = 0; i < shown.acts.size(); i++) {
        const act &each = shown.acts[i];
        if (day.begin <= each.at && each.at < day.end)
            list += fmt::format("<li id=\"act{}\"><time datetime=\"{}\">{}</time> <strong>{}</strong><br>{}</li>\n", i,
                                iso_text(each.at), local_text(each.at, "%H:%M:%S"), escaped_html(headline_of(each)),
                                escaped_html(each.reason));
    }
    return list.empty() ? "<p>Nothing happens on this day.</p>\n"
                        : fmt::format("<details open><summary>What happens</summary><ol>\n{}</ol></details>\n", list);
}

std::string section_of(const plan &shown, const local_day &day, size_t number)
{
    std::string section = fmt::format("<section id=\"day{}\"><h2>{}</h2>\n", number,
                                      local_text(day.begin + SECONDS_A_DAY / 2, "%A %d %B %Y"));
    if (const std::string remark = clock_remark(shown, day); !remark.empty())
        section += fmt::format("<p class=\"remark\">{}</p>\n", remark);
    section += "<div class=\"hours\" aria-hidden=\"true\"><span class=\"name\"></span><span class=\"scale\">";
    for (int hour = 0; hour <= 24; hour += 6)
        section += fmt::format("<span>{:02}</span>", hour);
    section += "</span></div>\n";
    for (const track which : TRACKS)
        if (std::ranges::any_of(shown.spans, [which](const span &one) { return one.of == which && is_marked(one); }))
            section += track_row(shown, which, day, number);
    return section + acts_of(shown, day) + "</section>\n";
}

std::string surprises_of(const plan &shown)
{
    std::string list;
    for (const remark &each : remarks_of(shown))
        list +=
            fmt::format("<li><time datetime=\"{}\">{}</time>{}: {}</li>\n", iso_text(each.first->at),
                        local_text(each.first->at, "%a %d %b %H:%M"),
                        each.more == 0 ? "" : fmt::format(" and {} more", each.more), escaped_html(each.first->text));
    return list.empty() ? "" : fmt::format("<section><h2>Look at these</h2><ul>\n{}</ul></section>\n", list);
}

constexpr std::string_view LEGEND =
    "<p>A mark is Wi-Fi or LEDs off, the router asleep, the guest network open; dashed is the time in which a restart "
    "may "
    "come, and a thin mark a restart, at the earliest. Each mark leads to its reason.</p>\n";

} // namespace

std::string html_of(const plan &shown)
{
    const std::string title =
        fmt::format("What the router does from {} to {}", local_text(shown.from, "%a %d %b %Y %H:%M"),
                    local_text(shown.to, "%a %d %b %Y %H:%M"));
    std::string page = fmt::format("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                                   "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                                   "<title>{0}</title>\n{1}</head>\n<body>\n<main>\n<h1>{0}</h1>\n{2}{3}",
                                   title, STYLE, LEGEND, surprises_of(shown));
    size_t number = 0;
    for (const local_day &day : days_between(shown.from, shown.to))
        page += section_of(shown, day, number++);
    return page + "</main>\n</body>\n</html>\n";
}

} // namespace preview
