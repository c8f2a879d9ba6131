#include "router/dhttpd/fault_page.h"

#include <fmt/format.h>

#include "router/dhttpd/words.h"
#include "tools/tcctl/times.h"

namespace dhttpd
{

namespace
{

// A change of it changes its digest in the policy below; a test compares.
constexpr std::string_view STYLE =
    "body{margin:0;background:#f4f5f7;color:#1b1f24;font:1rem/1.5 sans-serif}"
    "header,main,footer{max-width:40rem;margin:0 auto;padding:.75rem 1rem}"
    "header{font-weight:bold}"
    "main{background:#fff;border:1px solid #59636e;border-radius:.5rem}"
    "h1{font-size:1.5rem;line-height:1.25;margin:.5rem 0}"
    "h2{font-size:1.15rem;margin:1.25rem 0 .25rem}"
    "svg{display:block;width:100%;max-width:30rem;height:auto}"
    "a{color:#0550ae;overflow-wrap:anywhere}"
    "table{border-collapse:collapse;width:100%}"
    "th,td{text-align:left;vertical-align:top;padding:.25rem .5rem .25rem 0;overflow-wrap:anywhere}"
    ".wrong{color:#a40e26;font-weight:bold}";

constexpr std::string_view POLICY =
    "default-src 'none'; style-src 'sha256-gZlOrkkxWKk+YZljrEpFbGToaSfx0Wpwrm13st2Hew0='; base-uri 'none'; form-action "
    "'none'; "
    "frame-ancestors 'none'";

std::string circle(int x, std::string_view name)
{
    return fmt::format("<circle cx=\"{}\" cy=\"22\" r=\"12\" fill=\"#1b1f24\"/>"
                       "<text x=\"{}\" y=\"58\" font-size=\"15\" text-anchor=\"middle\" fill=\"#1b1f24\">{}</text>",
                       x, x, name);
}

// A part of a line, which is told apart by its shape as well as by its colour.
std::string stroke(int from, int to, standing how)
{
    const int middle = (from + to) / 2;
    switch (how) {
    case standing::GOOD:
        return fmt::format("<path d=\"M{} 22H{}\" stroke=\"#1a7f37\" stroke-width=\"5\"/>", from, to);
    case standing::BROKEN:
        return fmt::format(
            "<path d=\"M{} 22H{}M{} 22H{}M{} 14l16 16m0-16l-16 16\" stroke=\"#a40e26\" stroke-width=\"4\"/>", from,
            middle - 14, middle + 14, to, middle - 8);
    case standing::UNKNOWN:
        break;
    }
    return fmt::format("<path d=\"M{} 22H{}\" stroke=\"#59636e\" stroke-width=\"3\" stroke-dasharray=\"3 6\"/>", from,
                       to);
}

std::string picture_of(const line &line, const words &in)
{
    constexpr std::array<int, 4> AT = {40, 150, 260, 370};
    const std::array<standing, 3> parts = parts_of(line);
    std::string label;
    std::string drawing;
    for (size_t i = 0; i < parts.size(); i++) {
        label += fmt::format("{}{}: {}", i == 0 ? "" : "; ", in.parts[i], in.standings[static_cast<size_t>(parts[i])]);
        drawing += stroke(AT[i] + 16, AT[i + 1] - 16, parts[i]);
    }
    return fmt::format("<svg role=\"img\" aria-label=\"{}\" viewBox=\"0 0 410 68\">{}{}{}{}{}</svg>\n", label, drawing,
                       circle(AT[0], in.router), circle(AT[1], "Modem"), circle(AT[2], in.provider),
                       circle(AT[3], in.internet));
}

std::string lines_of(const report &told, const words &in)
{
    if (told.lines.empty())
        return "";
    std::string text = fmt::format("<h2>{}</h2>\n", in.the_lines);
    for (size_t i = 0; i < told.lines.size(); i++) {
        const line &line = told.lines[i];
        std::string name = fmt::format(fmt::runtime(in.connection), i + 1);
        if (!line.interface.empty())
            name += fmt::format(" ({})", escaped(line.interface));
        text += fmt::format("<p><b>{}:</b> {}</p>\n{}", name, in.states[static_cast<size_t>(line.state)],
                            picture_of(line, in));
    }
    return text;
}

const advice &advice_for(const report &told, const words &in)
{
    switch (told.what) {
    case outcome::FAULT:
        return in.faults.at(told.fault);
    case outcome::WELL:
        return in.well;
    case outcome::UNTOLD:
        break;
    }
    return in.untold;
}

std::string steps_of(const advice &advice, const words &in)
{
    std::string items;
    for (const char *const step : advice.steps)
        if (step != nullptr)
            items += fmt::format("<li>{}</li>\n", step);
    return items.empty() ? "" : fmt::format("<h2>{}</h2>\n<ol>\n{}</ol>\n", in.what_now, items);
}

std::string since_of(const report &told, const words &in, language which)
{
    if (told.since == 0)
        return "";
    return "<p>" +
           fmt::format(fmt::runtime(in.since), time_in(which, told.since, told.now),
                       tcctl::length_of(told.now - told.since)) +
           "</p>\n";
}

std::string footer_of(const report &told, const words &in, language which, std::string_view link)
{
    std::string text;
    if (!link.empty())
        text += fmt::format("<p>{} <a href=\"{}\">{}</a></p>\n", in.wanted, escaped(link), escaped(link));
    text += "<p>" + fmt::format(fmt::runtime(in.looks_again), refresh_of(told));
    if (told.now != 0)
        text += ' ' + fmt::format(fmt::runtime(in.looked_at), time_in(which, told.now, told.now));
    return text + ' ' + in.own_pages + "</p>\n";
}

} // namespace

int refresh_of(const report &told)
{
    return told.what == outcome::WELL ? 2 : 10;
}

std::string page_head(std::string_view language_code, std::string_view title)
{
    return fmt::format("<!DOCTYPE html>\n<html lang=\"{}\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>{}</title>\n<style>{}</style>\n"
                       "</head>\n<body>\n<header>Router</header>\n<main>\n<h1>{}</h1>\n",
                       language_code, title, STYLE, title);
}

std::string page_foot(std::string_view footer_html)
{
    return fmt::format("</main>\n<footer>\n{}</footer>\n</body>\n</html>\n", footer_html);
}

std::string_view page_policy()
{
    return POLICY;
}

std::string fault_page(const report &told, language which, std::string_view link)
{
    const words &in = words_in(which);
    const advice &advice = advice_for(told, in);
    return page_head(in.code, advice.title) + since_of(told, in, which) + fmt::format("<p>{}</p>\n", advice.meaning) +
           steps_of(advice, in) + lines_of(told, in) + page_foot(footer_of(told, in, which, link));
}

} // namespace dhttpd
