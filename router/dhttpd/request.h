// What a client's request says, as far as it is read here: which page in which language, and what it had wanted.
// Anybody may send anything; nothing of it gets further than into the answer, escaped.
#ifndef ROUTER_DHTTPD_REQUEST_H
#define ROUTER_DHTTPD_REQUEST_H

#include <optional>
#include <string>
#include <string_view>

namespace dhttpd
{

enum class language { ENGLISH, GERMAN };

// The one that suits the header Accept-Language best; English where neither does.
language language_of(std::string_view accepted);

struct target {
    std::string host; // in small letters, of IPv6 as short as it can be, without port; "" where the client named none
    std::string port; // "" where it is the usual one
    std::string path; // with its query; begins with a slash
};

// From a request's first line and its header Host. Nothing: no request that makes sense.
std::optional<target> read_target(std::string_view uri, std::string_view host);

// What the client wanted, as an address to be shown; "" where it should not be.
std::string link_to(const target &wanted);

// For a text or an attribute in HTML.
std::string escaped(std::string_view text);

} // namespace dhttpd

#endif
