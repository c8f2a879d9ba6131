// Text in a document of HTML.
#ifndef TOOLS_HTML_H
#define TOOLS_HTML_H

#include <string>
#include <string_view>

// For a text or an attribute in either kind of quotes; bytes that are no markup stay as they are.
inline std::string escaped_html(std::string_view text)
{
    std::string safe;
    for (const char c : text)
        switch (c) {
        case '&':
            safe += "&amp;";
            break;
        case '<':
            safe += "&lt;";
            break;
        case '>':
            safe += "&gt;";
            break;
        case '"':
            safe += "&quot;";
            break;
        case '\'':
            safe += "&#39;";
            break;
        default:
            safe += c;
        }
    return safe;
}

#endif
