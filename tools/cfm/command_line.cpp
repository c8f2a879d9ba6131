#include "tools/cfm/command_line.h"

#include <algorithm>
#include <string_view>

#include "tools/cfm/output.h"
#include "tools/nearest_word.h"

namespace command_line
{

namespace
{

// ---- help ----

constexpr size_t COLUMN = 30; // where it is said what something is about

std::string item(const std::string &name, const char *about)
{
    std::string line = "  " + name;
    if (about[0] != '\0') {
        line.resize(std::max(line.size() + 1, COLUMN), ' ');
        line += about;
    }
    return line + '\n';
}

std::string usage(const command &command)
{
    std::string text = " [OPTIONS]";
    for (const argument &argument : command.arguments) {
        const std::string name = std::string(argument.name) + (argument.is_many ? "..." : "");
        text += argument.is_required ? " " + name : " [" + name + "]";
    }
    return text + '\n';
}

constexpr const char *HELP_ABOUT = "Print this help message and exit";

std::string help_of(const program &program, const command &command)
{
    std::string text = std::string(command.about) + "\nUsage: " + program.name + ' ' + command.name + usage(command);
    for (const argument &argument : command.arguments) {
        const std::string many = argument.is_many ? " ..." : "";
        text += &argument == command.arguments.data() ? "\nPositionals:\n" : "";
        text += item(argument.name + (" TEXT" + many) + (argument.is_required ? " REQUIRED" : ""), "");
    }
    text += "\nOptions:\n" + item("-h,--help", HELP_ABOUT);
    for (const option &option : command.options)
        text +=
            item(option.value == nullptr ? option.name : option.name + std::string(" ") + option.value, option.about);
    return text + '\n';
}

std::string help_of(const program &program)
{
    std::string text = std::string(program.about) + "\nUsage: " + program.name + " [OPTIONS] SUBCOMMAND\n\nOptions:\n" +
                       item("-h,--help", HELP_ABOUT) +
                       item("--version", "Display program version information and exit") + "\nSubcommands:\n";
    for (const command &command : program.commands)
        text += item(command.name, command.about);
    return text + '\n';
}

// ---- understanding ----

struct reading {
    const command *chosen = nullptr;
    call given;
    bool wants_help = false;
    bool wants_version = false;
    std::string fault;                   // the first of an option, "" when there is none
    std::vector<std::string> unexpected; // words
};

const command *find_command(const program &program, std::string_view name)
{
    const auto found = std::find_if(program.commands.begin(), program.commands.end(),
                                    [&](const command &each) { return name == each.name; });
    return found == program.commands.end() ? nullptr : &*found;
}

const option *find_option(const command *chosen, std::string_view name)
{
    if (chosen != nullptr)
        for (const option &each : chosen->options)
            if (name == each.name)
                return &each;
    return nullptr;
}

using word = std::vector<std::string>::const_iterator;

// "--name", "--name=VALUE" or "--name VALUE". Gives the last word that it takes.
word take_option(reading &found, word at, word end)
{
    const size_t equals = at->find('=');
    const option *const which = find_option(found.chosen, at->substr(0, equals));
    std::string value;
    if (which == nullptr || (which->value == nullptr && equals != std::string::npos)) {
        found.unexpected.push_back(*at);
        return at;
    }
    if (equals != std::string::npos)
        value = at->substr(equals + 1);
    else if (which->value != nullptr && at + 1 != end)
        value = *++at;
    else if (which->value != nullptr && found.fault.empty())
        found.fault = std::string(which->name) + ": 1 required " + which->value + " missing";
    if (which->value != nullptr && found.given.has(which->name) && found.fault.empty())
        found.fault = std::string(which->name) + ": At Most 1 required but received 2";
    found.given.options.push_back({which, value});
    return at;
}

void take_argument(reading &found, const std::string &text)
{
    const std::span<const argument> arguments = found.chosen->arguments;
    std::vector<std::string> &given = found.given.arguments;
    if (given.size() < arguments.size() || (!arguments.empty() && arguments.back().is_many))
        given.push_back(text);
    else
        found.unexpected.push_back(text);
}

// Ends at a command that there is not.
reading read(const program &program, const std::vector<std::string> &words)
{
    reading found;
    bool has_options = true;
    for (word at = words.begin(); at != words.end(); ++at) {
        if (has_options && *at == "--") {
            has_options = false;
        } else if (has_options && (*at == "-h" || *at == "--help")) {
            found.wants_help = true;
        } else if (has_options && found.chosen == nullptr && *at == "--version") {
            found.wants_version = true;
        } else if (has_options && at->size() > 1 && at->front() == '-') {
            at = take_option(found, at, words.end());
        } else if (found.chosen != nullptr) {
            take_argument(found, *at);
        } else {
            found.chosen = find_command(program, *at);
            if (found.chosen == nullptr) {
                found.given.arguments = {*at};
                break;
            }
        }
    }
    return found;
}

// ---- what is wrong ----

int unknown_command(const program &program, const std::string &name)
{
    std::vector<std::string_view> names;
    for (const command &command : program.commands)
        names.emplace_back(command.name);
    const std::string_view near = nearest_word(name, names);
    tell("unknown command " + name +
         (near.empty() ? "; " + std::string(program.name) + " --help lists them"
                       : " (did you mean " + std::string(near) + "?)"));
    return CALLED_WRONGLY;
}

// "" when nothing is.
std::string fault_of(const reading &found, const command &chosen)
{
    if (!found.fault.empty())
        return found.fault;
    const size_t given = found.given.arguments.size();
    if (given < chosen.arguments.size() && chosen.arguments[given].is_required)
        return std::string(chosen.arguments[given].name) + " is required";
    if (found.unexpected.empty())
        return "";
    std::string fault = found.unexpected.size() == 1 ? "The following argument was not expected:"
                                                     : "The following arguments were not expected:";
    for (const std::string &each : found.unexpected)
        fault += " " + each;
    return fault;
}

} // namespace

int run(const program &program, const std::vector<std::string> &words)
{
    const reading found = read(program, words);
    if (found.chosen == nullptr && !found.given.arguments.empty())
        return unknown_command(program, found.given.arguments[0]);
    if (found.wants_help)
        return print(found.chosen == nullptr ? help_of(program) : help_of(program, *found.chosen));
    if (found.wants_version)
        return print(std::string(program.version) + '\n');
    if (found.chosen == nullptr)
        return called_wrongly("A subcommand is required");
    const std::string fault = fault_of(found, *found.chosen);
    return fault.empty() ? found.chosen->act(found.given) : called_wrongly(fault);
}

} // namespace command_line
