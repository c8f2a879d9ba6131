// Explanations as text for a terminal of 80 columns, and as JSON.
#ifndef TOOLS_TCCTL_RENDER_H
#define TOOLS_TCCTL_RENDER_H

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "platform/common/status_file.h"
#include "tools/tcctl/explain.h"

namespace tcctl
{

// `text` in lines of at most 80 columns, broken at blanks, of which the first begins with `first` and the others with
// as many blanks as `indent`. No line ends with a blank; the last one ends.
std::string wrapped(std::string_view first, size_t indent, std::string_view text);

// One module in the overview.
std::string overview_of(const explanation &made, const judged_second &now);

// The gates, with the answers.
std::string gates_of(const explanation &made, const judged_second &now);

// What a module, or a program of the watchdogs, is doing: docs/schema/ has the fields.
nlohmann::ordered_json json_of(const explanation &made);
nlohmann::ordered_json json_of_gates(const explanation &made);

// The daemon that was read.
nlohmann::ordered_json json_of(const status_reading &reading);

} // namespace tcctl

#endif
