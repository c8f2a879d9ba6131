// What cfm prints: results to standard output, everything else to standard error.
#ifndef TOOLS_CFM_OUTPUT_H
#define TOOLS_CFM_OUTPUT_H

#include <string>

constexpr int DONE = 0;
constexpr int FAILED = 1;         // a line says why
constexpr int CALLED_WRONGLY = 2; // a line says how

// Everything that may be shown as it is, line ends too when there may be several lines; other bytes as "\xHH", which is
// how `import` takes them.
std::string shown(const std::string &text, bool has_lines);

// One line on standard error, "cfm: " before it.
void tell(const std::string &line);

// The same, and FAILED.
int fail(const std::string &why);

// The line as it is and one that leads to the help, and CALLED_WRONGLY.
int called_wrongly(const std::string &why);

// To standard output, as it is. DONE, or FAILED when not all of it can be written.
int print(const std::string &text);

#endif
