#include "router/dhttpd/status_html.h"

#include <algorithm>

#include <fmt/format.h>

#include "router/dhttpd/fault_page.h"
#include "router/dhttpd/request.h"
#include "tools/tcctl/explain.h"
#include "tools/tcctl/page.h"
#include "tools/tcctl/times.h"

namespace dhttpd
{

namespace
{

std::string in_words(std::string name)
{
    std::replace(name.begin(), name.end(), '_', ' ');
    return name.empty() ? "not judged yet" : name;
}

std::string row_of(const tcctl::explanation &made, const tcctl::judged_second &now)
{
    std::string detail = escaped(made.brief);
    if (made.next)
        detail += fmt::format("{}{} {}", detail.empty() ? "" : "; ", escaped(made.next->what),
                              tcctl::time_of(made.next->at, now.calendar));
    const std::string since = made.row.since == 0 ? "" : tcctl::time_of(made.row.since, now.calendar);
    return fmt::format("<tr><th scope=\"row\">{}</th><td{}>{}</td><td>{}</td><td>{}</td></tr>\n", escaped(made.module),
                       made.is_wrong ? " class=\"wrong\"" : "", escaped(in_words(made.verdict)), since, detail);
}

std::string table_of(const status_reading &reading)
{
    const tcctl::judged_second now = tcctl::second_of(reading);
    std::string rows;
    for (const std::string_view module : tcctl::module_names()) {
        rows += row_of(tcctl::explain(reading.status, now, module), now);
        if (module != "cpu" && module != "daemon")
            continue;
        for (const tcctl::explanation &program : tcctl::explain_programs(reading.status, now, module))
            if (!program.is_ordinary)
                rows += row_of(program, now);
    }
    return "<table>\n<thead><tr><th scope=\"col\">Module</th><th scope=\"col\">Verdict</th><th scope=\"col\">Since</th>"
           "<th scope=\"col\">Details</th></tr></thead>\n<tbody>\n" +
           rows + "</tbody>\n</table>\n";
}

} // namespace

std::string status_html(const status_reading *reading, const std::string &complaint)
{
    std::string text = page_head("en", "Status of time_check");
    if (!complaint.empty())
        text += fmt::format("<p class=\"wrong\">{}</p>\n", escaped(complaint));
    if (reading != nullptr)
        text += table_of(*reading);
    return text + page_foot("<p>Nothing can be changed here. On the router tcctl why tells more.</p>\n");
}

} // namespace dhttpd
