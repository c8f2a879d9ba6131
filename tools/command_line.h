// How a program for people takes its words.
#ifndef TOOLS_COMMAND_LINE_H
#define TOOLS_COMMAND_LINE_H

#include <string>
#include <vector>

namespace CLI
{
class App;
}

// Has `app` take the words, in the shell's order. Throws what CLI11 throws: its help and version too. The programs that
// are built to describe a command line have another one, which prints what `app` takes instead (decision 0185).
void take_words(CLI::App &app, const std::vector<std::string> &words);

#endif
