// The settings that a preview is made of, in the form in which the store is exported and imported.
#ifndef TOOLS_PREVIEW_SETTINGS_H
#define TOOLS_PREVIEW_SETTINGS_H

#include <string>
#include <utility>
#include <vector>

#include "tools/text_file.h"

namespace preview
{

// What cannot be previewed as it was asked for; what() is a line for people.
using tools::refused;

using settings = std::vector<std::pair<std::string, std::string>>;

// Reads a file to its end, "-" being standard input. Throws refused with "NAME: LINE: COLUMN: why".
settings read_settings(const std::string &path);

// The same of a text; `name` stands for it in what is thrown.
settings parse_settings(std::string text, const std::string &name);

} // namespace preview

#endif
