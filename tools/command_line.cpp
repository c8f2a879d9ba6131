#include "tools/command_line.h"

#include <CLI/CLI.hpp>

void take_words(CLI::App &app, const std::vector<std::string> &words)
{
    app.parse(std::vector<std::string>(words.rbegin(), words.rend())); // it takes them from the back
}
