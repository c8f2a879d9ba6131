// As describe.cpp, for cfm, whose command line is a table (tools/cfm/command_line.h).
#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/cfm/command_line.h"

namespace
{

using json = nlohmann::ordered_json;

json described(const json &names, const std::string &argument, const std::string &value, const std::string &about)
{
    return {{"names", names}, {"argument", argument}, {"value", value}, {"about", about},
            {"default", ""},  {"required", false},    {"many", false},  {"listed", false}};
}

// What every one of them takes.
json options_of(std::span<const command_line::option> options)
{
    json all = {described({"-h", "--help"}, "", "", "")};
    for (const command_line::option &option : options)
        all.push_back(described({option.name}, "", option.value == nullptr ? "" : option.value, option.about));
    return all;
}

json described(const command_line::command &command)
{
    json arguments = json::array();
    for (const command_line::argument &argument : command.arguments) {
        arguments.push_back(described(json::array(), argument.name, "TEXT", ""));
        arguments.back()["required"] = argument.is_required;
        arguments.back()["many"] = argument.is_many;
    }
    return {{"name", command.name},   {"about", command.about},    {"options", options_of(command.options)},
            {"arguments", arguments}, {"commands", json::array()}, {"rest", false}};
}

} // namespace

int command_line::run(const program &program, const std::vector<std::string> & /*words*/)
{
    json commands = json::array();
    for (const command &command : program.commands)
        commands.push_back(described(command));
    json options = options_of({});
    options.push_back(described({"--version"}, "", "", ""));
    const json whole = {{"name", program.name},       {"about", program.about}, {"options", options},
                        {"arguments", json::array()}, {"commands", commands},   {"rest", false},
                        {"words", json::object()}};
    std::puts(whole.dump(2).c_str());
    return 0;
}
