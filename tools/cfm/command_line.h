// How cfm takes its words: by a table of what there is. The C++ library's own ways, and those of a library for command
// lines, cost more at each start than all that a "cfm get" does (decision 0231).
#ifndef TOOLS_CFM_COMMAND_LINE_H
#define TOOLS_CFM_COMMAND_LINE_H

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace command_line
{

struct argument {
    const char *name; // as the help shows it
    bool is_required;
    bool is_many; // takes all words that are left; the last one of its command
};

struct option {
    const char *name;  // "--json"
    const char *value; // what its value is called; null: it has none
    const char *about;
};

// What a command was called with.
struct call {
    std::vector<std::string> arguments; // all that are required, and no more than there are
    struct chosen {
        const option *which;
        std::string value; // "" without one
    };
    std::vector<chosen> options;

    // Null when it was not given.
    [[nodiscard]] const chosen *find(std::string_view option) const
    {
        const auto found = std::find_if(options.begin(), options.end(),
                                        [option](const chosen &each) { return option == each.which->name; });
        return found == options.end() ? nullptr : &*found;
    }
    [[nodiscard]] bool has(std::string_view option) const
    {
        return find(option) != nullptr;
    }
    // The argument in this place, "" when it was not given.
    [[nodiscard]] std::string argument(size_t place) const
    {
        return place < arguments.size() ? arguments[place] : "";
    }
};

struct command {
    const char *name;
    const char *about;
    std::span<const argument> arguments;
    std::span<const option> options;
    int (*act)(const call &call);
};

struct program {
    const char *name;
    const char *about;
    const char *version; // what --version prints
    std::span<const command> commands;
};

// Understands the words, in the shell's order, and does what they ask for: the command, or the help or version. Gives
// the program's exit status. The program that is built to describe the command line has another one, which prints the
// table instead (decision 0185).
int run(const program &program, const std::vector<std::string> &words);

} // namespace command_line

#endif
