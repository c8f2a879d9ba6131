// What a program's arguments may be where its command line does not say so.
#ifndef TOOLS_DESCRIBE_WORDS_H
#define TOOLS_DESCRIBE_WORDS_H

#include <map>
#include <string>
#include <vector>

// The words by the name of the argument or of the option's value; before it stands the command where they are that
// command's alone: "MODULE", "events MODULE".
std::map<std::string, std::vector<std::string>> known_words();

#endif
