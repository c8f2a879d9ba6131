// What tcctl prints. Results go to standard output, everything else to standard error.
#ifndef TOOLS_TCCTL_OUTPUT_H
#define TOOLS_TCCTL_OUTPUT_H

#include <string>
#include <string_view>

namespace tcctl
{

// Foreign text as a line for a terminal: what the terminal might obey is shown as "\xHH", a line end as "\n".
std::string shown(std::string_view text);

enum class colour { RED, YELLOW, GREEN, CYAN, BOLD };

// Whether standard output is a terminal whose owner has not set NO_COLOR.
bool has_colour();

// `text`, which must be safe for a terminal, in that colour where has_colour says so.
std::string painted(colour which, std::string_view text);

// Prints the text and sees that it went out. WELL, or CANNOT with a line that says why not.
int print(std::string_view text);

// Prints "tcctl: why" on standard error, made safe for a terminal. Always CANNOT.
int fail(std::string_view why);

} // namespace tcctl

#endif
