// Files that people hand to a tool.
#ifndef TOOLS_TEXT_FILE_H
#define TOOLS_TEXT_FILE_H

#include <cstddef>
#include <stdexcept>
#include <string>

namespace tools
{

// What cannot be done as it was asked for; what() is a line for people.
struct refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct text_file {
    std::string name; // for people: the path, or "standard input"
    std::string text;
};

// Reads a file to its end, "-" being standard input. Throws refused: also when it is larger than `limit` bytes, too
// large for what it is to be, `kind`.
text_file read_text(const std::string &path, size_t limit, const char *kind);

} // namespace tools

#endif
