#include "tools/tcctl/render.h"

#include <algorithm>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/tcctl/output.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

// ---- text ----

namespace
{

constexpr size_t COLUMNS = 80;
constexpr size_t DETAIL = 34; // where it begins in the overview
constexpr size_t NAME = 10;

std::string spaced(std::string text)
{
    std::replace(text.begin(), text.end(), '_', ' ');
    return text;
}

std::string verdict_text(const explanation &made)
{
    return made.verdict.empty() ? "not judged yet" : spaced(made.verdict);
}

void append(std::string &text, const std::string &part)
{
    if (!part.empty())
        text += (text.empty() ? "" : "; ") + part;
}

// With blanks behind it, so that what follows begins at a column.
std::string padded(std::string text, size_t width)
{
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

std::string next_text(const coming &next, const judged_second &now)
{
    std::string text = fmt::format("{} {}", next.what, time_of(next.at, now.calendar));
    if (next.at > now.calendar)
        text += fmt::format(" (in {})", length_of(next.at - now.calendar));
    return text;
}

std::string since_text(const explanation &made, const judged_second &now)
{
    return made.row.since == 0 ? "" : "since " + time_of(made.row.since, now.calendar);
}

std::string act_text(const explanation &made, const judged_second &now)
{
    return made.row.acted == 0
               ? ""
               : fmt::format("last act {}: {}", time_of(made.row.acted, now.calendar), text_of(made.row.act));
}

colour colour_of(const explanation &made)
{
    return made.is_wrong ? colour::RED : colour::GREEN;
}

// Paints the words of the first line that begin at a column; colour codes take no columns.
void paint(std::string &lines, size_t column, size_t length, colour which)
{
    if (has_colour() && length > 0)
        lines.replace(column, length, painted(which, std::string_view(lines).substr(column, length)));
}

} // namespace

std::string wrapped(std::string_view first, size_t indent, std::string_view text)
{
    std::string all;
    std::string line(first);
    bool is_begun = false; // a word of the text is in the line
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(text.size(), word.size() + 1));
        if (word.empty())
            continue;
        if (is_begun && line.size() + 1 + word.size() > COLUMNS) {
            all += line + '\n';
            line.assign(indent, ' ');
            is_begun = false;
        }
        if (is_begun)
            line += ' ';
        line += word;
        is_begun = true;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return all + line + '\n';
}

std::string overview_of(const explanation &made, const judged_second &now)
{
    std::string detail;
    append(detail, made.brief);
    append(detail, since_text(made, now));
    if (made.next)
        append(detail, next_text(*made.next, now));
    const std::string verdict = verdict_text(made);
    std::string module = shown(made.module);
    std::string lines;
    if (module.size() >= NAME) { // a program
        lines = module + '\n';
        module.clear();
    }
    const size_t column = lines.size() + NAME;
    lines += wrapped(padded(padded(module, NAME) + verdict, DETAIL), DETAIL, shown(detail));
    paint(lines, column, verdict.size(), colour_of(made));
    return lines;
}

std::string gates_of(const explanation &made, const judged_second &now)
{
    constexpr size_t INDENT = 4;
    std::string head = fmt::format("{}: {}", made.module, verdict_text(made));
    append(head, since_text(made, now));
    head = shown(head);
    std::string text = wrapped("", INDENT, head);
    paint(text, 0, std::min(text.find('\n'), shown(made.module).size()), colour::BOLD);
    for (const gate &each : made.gates) {
        std::string line = fmt::format("{}: {}", each.question, each.is_open ? "yes" : "NO");
        if (!each.detail.empty())
            line += ", " + each.detail;
        std::string lines = wrapped("  ", INDENT, shown(line));
        if (const size_t at = lines.find(": NO"); !each.is_open && at != std::string::npos)
            paint(lines, at + 2, 2, colour::YELLOW);
        text += lines;
    }
    if (!made.outlook.empty())
        text += wrapped("  ", INDENT, shown(made.outlook));
    else if (made.next)
        text += wrapped("  ", INDENT, shown(next_text(*made.next, now)));
    if (const std::string act = act_text(made, now); !act.empty())
        text += wrapped("  ", INDENT, shown(act));
    if (!made.meaning.empty())
        text += wrapped("  ", 2, made.meaning);
    return text;
}

// ---- JSON ----

namespace
{

using json = nlohmann::ordered_json;

json or_null(int64_t time)
{
    return time == 0 ? json() : json(time);
}

} // namespace

nlohmann::ordered_json json_of(const explanation &made)
{
    json next;
    if (made.next)
        next = {{"at", made.next->at}, {"what", made.next->what}};
    json act;
    if (made.row.acted != 0)
        act = {{"at", made.row.acted}, {"uptime", made.row.acted_uptime}, {"act", shown(text_of(made.row.act))}};
    return {{"module", shown(made.module)},
            {"verdict", made.verdict.empty() ? json() : json(made.verdict)},
            {"meaning", made.meaning},
            {"wrong", made.is_wrong},
            {"brief", shown(made.brief)},
            {"outlook", shown(made.outlook)},
            {"since", or_null(made.row.since)},
            {"since_uptime", made.row.since_uptime},
            {"count", made.row.count},
            {"target", made.row.target},
            {"next", next},
            {"last_act", act}};
}

nlohmann::ordered_json json_of_gates(const explanation &made)
{
    json gates = json::array();
    for (const gate &each : made.gates)
        gates.push_back({{"gate", each.name},
                         {"question", shown(each.question)},
                         {"open", each.is_open},
                         {"detail", shown(each.detail)}});
    json all = json_of(made);
    all["gates"] = gates;
    return all;
}

nlohmann::ordered_json json_of(const status_reading &reading)
{
    return {{"program", shown(reading.program)}, {"pid", reading.pid},
            {"alive", reading.is_alive},         {"age_ms", reading.age_ms},
            {"start_uptime", reading.start},     {"uptime", reading.uptime},
            {"last_second", reading.calendar}};
}

} // namespace tcctl
