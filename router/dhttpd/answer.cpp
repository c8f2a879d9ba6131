#include "router/dhttpd/answer.h"

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "router/dhttpd/fault_page.h"
#include "router/dhttpd/report.h"
#include "router/dhttpd/request.h"
#include "router/dhttpd/status_html.h"
#include "tools/tcctl/page.h"

namespace dhttpd
{

namespace
{

enum { OK = 200, BAD_REQUEST = 400, NOT_FOUND = 404, NOT_ALLOWED = 405, UNAVAILABLE = 503 };

answer plain(unsigned status, std::string text)
{
    return {.status = status, .body = std::move(text), .headers = {{"Content-Type", "text/plain; charset=utf-8"}}};
}

answer html(unsigned status, std::string text, int refresh)
{
    return {.status = status,
            .body = std::move(text),
            .headers = {{"Content-Type", "text/html; charset=utf-8"},
                        {"Content-Security-Policy", std::string(page_policy())},
                        {"Refresh", std::to_string(refresh)}}};
}

// The status page, as far as it tells of this moment.
struct looked {
    status_reading reading;
    bool is_there;
    std::string complaint;

    const status_reading *current() const
    {
        return complaint.empty() ? &reading : nullptr;
    }
};

void look(looked *at)
{
    at->is_there = tcctl::read_page(&at->reading, &at->complaint);
    if (at->is_there)
        at->complaint = tcctl::is_stale_because(at->reading);
}

// RFC 8908, for phones that ask whether they are let through.
answer captive_portal(const request &asked)
{
    looked at;
    look(&at);
    const bool is_captive = report_of(at.current()).what != outcome::WELL;
    const std::string host = asked.own_port == "80" ? asked.own_host : asked.own_host + ':' + asked.own_port;
    return {.body = fmt::format("{{\"captive\": {}, \"user-portal-url\": \"http://{}/\"}}\n", is_captive, host),
            .headers = {{"Content-Type", "application/captive+json"}}};
}

answer status()
{
    constexpr int REFRESH = 5;
    looked at;
    look(&at);
    return html(OK, status_html(at.is_there ? &at.reading : nullptr, at.complaint), REFRESH);
}

answer preview(const site &site)
{
    constexpr off_t LARGEST = 8 << 20; // a preview of a month is a tenth of it
    const int fd = open(site.preview_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW);
    struct stat found = {};
    if (fd < 0 || fstat(fd, &found) != 0 || !S_ISREG(found.st_mode) || found.st_size > LARGEST) {
        if (fd >= 0)
            close(fd);
        return plain(NOT_FOUND, "There is no preview now.\n");
    }
    return {.file = fd, // its style is its own, and it needs nothing else
            .file_size = static_cast<size_t>(found.st_size),
            .headers = {{"Content-Type", "text/html; charset=utf-8"},
                        {"Content-Security-Policy",
                         "default-src 'none'; style-src 'unsafe-inline'; sandbox; base-uri 'none'; form-action 'none'; "
                         "frame-ancestors 'none'"}}};
}

answer fault(const request &asked, const target &wanted, bool is_own)
{
    looked at;
    look(&at);
    const report told = report_of(at.current());
    const std::string link = is_own ? "" : link_to(wanted);
    const language which = language_of(asked.accepted);
    // A program that wanted something else than a page must not take this for it (decision 0203).
    answer made = html(is_own ? OK : UNAVAILABLE, fault_page(told, which, link), refresh_of(told));
    made.headers.emplace_back("Content-Language", which == language::GERMAN ? "de" : "en");
    made.headers.emplace_back("Vary", "Accept-Language");
    if (!is_own)
        made.headers.emplace_back("Retry-After", std::to_string(refresh_of(told)));
    return made;
}

// A page of another site may name any address as its own: the router's own pages are for who asks for the router.
answer route(const request &asked, const site &site)
{
    if (asked.method != "GET" && asked.method != "HEAD") {
        answer made = plain(NOT_ALLOWED, "Only GET and HEAD.\n");
        made.headers.emplace_back("Allow", "GET, HEAD");
        return made;
    }
    const std::optional<target> wanted = read_target(asked.uri, asked.host);
    if (!wanted)
        return plain(BAD_REQUEST, "This request makes no sense.\n");
    const bool is_own = wanted->host == asked.own_host;
    if (is_own && wanted->path == "/captive-portal")
        return captive_portal(asked);
    if (is_own && wanted->path == "/status" && site.has_status)
        return status();
    if (is_own && wanted->path == "/preview" && !site.preview_path.empty())
        return preview(site);
    return fault(asked, *wanted, is_own);
}

} // namespace

answer answer_to(const request &asked, const site &site)
{
    answer made = route(asked, site);
    made.headers.emplace_back("Cache-Control", "no-store");
    made.headers.emplace_back("X-Content-Type-Options", "nosniff");
    made.headers.emplace_back("Referrer-Policy", "no-referrer");
    // The next one must find its way afresh: to the site itself, once the line is back.
    made.headers.emplace_back("Connection", "close");
    return made;
}

} // namespace dhttpd
