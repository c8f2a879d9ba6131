// Instead of taking its words, a program prints what it would take, as one JSON object. Its main and its options are
// its own; this stands in the place of command_line.cpp.
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "tools/command_line.h"
#include "tools/describe/words.h"

namespace
{

using json = nlohmann::ordered_json;

constexpr int ANY_NUMBER = 1 << 28; // more than that CLI11 calls endless

// The value's name, with what is asked of it behind a colon: "LEVEL:{error,warning,note}".
json described(const CLI::Option &option)
{
    json names = json::array();
    for (const std::string &name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        names.push_back("--" + name);
    const bool is_flag = option.get_items_expected_max() == 0;
    return {{"names", names},
            {"argument", option.get_name(true)},
            {"value", is_flag ? "" : option.get_type_name()},
            {"about", option.get_description()},
            {"default", option.get_default_str()},
            {"required", option.get_required()},
            {"many", option.get_items_expected_max() >= ANY_NUMBER},
            {"listed", option.get_delimiter() != '\0'}};
}

json described(CLI::App &app)
{
    json options = json::array();
    json arguments = json::array();
    for (const CLI::Option *const option : static_cast<const CLI::App &>(app).get_options())
        (option->get_positional() ? arguments : options).push_back(described(*option));
    json commands = json::array();
    for (CLI::App *const command : app.get_subcommands([](CLI::App *) { return true; }))
        commands.push_back(described(*command));
    return {{"name", app.get_name()}, {"about", app.get_description()}, {"options", options},
            {"arguments", arguments}, {"commands", commands},           {"rest", app.get_prefix_command()}};
}

} // namespace

void take_words(CLI::App &app, const std::vector<std::string> & /*words*/)
{
    json whole = described(app);
    whole["words"] = known_words();
    std::cout << whole.dump(2) << '\n';
    throw CLI::Success();
}
