// The fault page, as HTML that needs nothing but itself.
#ifndef ROUTER_DHTTPD_FAULT_PAGE_H
#define ROUTER_DHTTPD_FAULT_PAGE_H

#include <string>
#include <string_view>

#include "router/dhttpd/report.h"
#include "router/dhttpd/request.h"

namespace dhttpd
{

// After how many seconds the page is fetched again, from where it was fetched.
int refresh_of(const report &told);

// `link` is what the client wanted, "" where that is not told.
std::string fault_page(const report &told, language which, std::string_view link);

// The beginning of any page of ours, up to and with <main>, and its end; `title` is text.
std::string page_head(std::string_view language_code, std::string_view title);
std::string page_foot(std::string_view footer_html);

// What a browser may do with these pages, for the header Content-Security-Policy: show them, and use this one style.
std::string_view page_policy();

} // namespace dhttpd

#endif
