#include "router/dhttpd/request.h"

#include <algorithm>
#include <arpa/inet.h>

#include "tools/html.h"

namespace dhttpd
{

namespace
{

constexpr size_t LONGEST_HOST = 255;  // of a name that can be looked up
constexpr size_t LONGEST_LINK = 1000; // what a person may still recognise

char small(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view BLANKS = " \t";
    const size_t begin = std::min(text.find_first_not_of(BLANKS), text.size());
    return text.substr(begin, text.find_last_not_of(BLANKS) + 1 - begin);
}

// What stands before the separator, which is taken away with it.
std::string_view cut(std::string_view &text, char separator)
{
    const size_t at = std::min(text.find(separator), text.size());
    const std::string_view part = text.substr(0, at);
    text.remove_prefix(std::min(at + 1, text.size()));
    return trimmed(part);
}

bool is_same(std::string_view text, std::string_view small_text)
{
    return std::equal(text.begin(), text.end(), small_text.begin(), small_text.end(),
                      [](char a, char b) { return small(a) == b; });
}

// "q=0.8" as 800, as 0 what is no weight.
int weight_of(std::string_view parameter)
{
    std::string_view name = cut(parameter, '=');
    if (!is_same(name, "q") || parameter.empty() || parameter.size() > 5 || !is_digit(parameter[0]))
        return 0;
    int weight = (parameter[0] - '0') * 1000;
    int unit = 100;
    for (size_t i = 1; i < parameter.size(); i++) {
        if (i == 1 ? parameter[i] != '.' : !is_digit(parameter[i]))
            return 0;
        if (i > 1)
            weight += (parameter[i] - '0') * unit;
        unit /= i > 1 ? 10 : 1;
    }
    return std::min(weight, 1000);
}

bool is_name(std::string_view host)
{
    return !host.empty() && std::all_of(host.begin(), host.end(), [](char c) {
        return is_digit(c) || (c >= 'a' && c <= 'z') || c == '.' || c == '-' || c == '_';
    });
}

// Has "[FD00:0::1]" as "[fd00::1]", which is how everybody else writes it.
bool shorten_address_6(std::string *host)
{
    if (host->size() < 2 || host->front() != '[' || host->back() != ']')
        return false;
    in6_addr address = {};
    char text[INET6_ADDRSTRLEN] = "";
    if (inet_pton(AF_INET6, host->substr(1, host->size() - 2).c_str(), &address) != 1)
        return false;
    *host = std::string("[") + inet_ntop(AF_INET6, &address, text, sizeof text) + ']';
    return true;
}

bool read_host(std::string_view text, target *wanted)
{
    if (text.size() > LONGEST_HOST)
        return false;
    std::transform(text.begin(), text.end(), std::back_inserter(wanted->host), small);
    const size_t bracket = wanted->host.find(']');
    const size_t colon = wanted->host.find(':', bracket == std::string::npos ? 0 : bracket);
    if (colon != std::string::npos) {
        wanted->port = wanted->host.substr(colon + 1);
        wanted->host.resize(colon);
    }
    if (wanted->port == "80")
        wanted->port.clear();
    return (is_name(wanted->host) || shorten_address_6(&wanted->host)) && wanted->port.size() <= 5 &&
           std::all_of(wanted->port.begin(), wanted->port.end(), is_digit);
}

bool is_path(std::string_view path)
{
    return !path.empty() && path.front() == '/' &&
           std::all_of(path.begin(), path.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

} // namespace

language language_of(std::string_view accepted)
{
    constexpr int MOST = 32; // of a browser's there are a handful
    int english = 0;
    int german = 0;
    for (int i = 0; i < MOST && !accepted.empty(); i++) {
        std::string_view range = cut(accepted, ',');
        std::string_view tag = cut(range, ';');
        const int weight = range.empty() ? 1000 : weight_of(trimmed(range));
        const std::string_view primary = cut(tag, '-');
        if (is_same(primary, "de"))
            german = std::max(german, weight * 2 + (english < weight * 2 ? 1 : 0)); // of two alike the first
        else if (is_same(primary, "en"))
            english = std::max(english, weight * 2);
    }
    return german > english ? language::GERMAN : language::ENGLISH;
}

std::optional<target> read_target(std::string_view uri, std::string_view host)
{
    constexpr std::string_view SCHEME = "http://";
    target wanted;
    host = trimmed(host);
    if (uri.size() > SCHEME.size() && is_same(uri.substr(0, SCHEME.size()), SCHEME)) { // as to a proxy
        uri.remove_prefix(SCHEME.size());
        const size_t end = std::min(uri.find_first_of("/?"), uri.size());
        host = uri.substr(0, end);
        uri.remove_prefix(end);
        if (host.empty())
            return std::nullopt;
        if (uri.empty())
            uri = "/";
    }
    if ((!host.empty() && !read_host(host, &wanted)) || !is_path(uri))
        return std::nullopt;
    wanted.path = uri;
    return wanted;
}

std::string link_to(const target &wanted)
{
    if (wanted.host.empty() || wanted.path.find_first_of("\"<>\\^`{|}") != std::string::npos)
        return "";
    std::string link = "http://" + wanted.host;
    if (!wanted.port.empty())
        link += ':' + wanted.port;
    link += wanted.path;
    return link.size() > LONGEST_LINK ? "" : link;
}

std::string escaped(std::string_view text)
{
    // What no document may contain, and bytes that nobody has checked.
    std::string shown(text);
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return (c < ' ' || c >= '\x7f') && c != '\n'; }, '?');
    return escaped_html(shown);
}

} // namespace dhttpd
