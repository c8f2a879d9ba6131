// cfm: the shell's way to the configuration store and the message bus.
//
// Results go to standard output, everything else to standard error. Ends with 0 when all was done, 1 when it was not
// (a line says why), 2 when it was called wrongly; diff and wait say more with them.
#include <algorithm>
#include <array>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "platform/linux/store/admin.h"
#include "tools/cfm/commands.h"
#include "tools/cfm/output.h"
#include "tools/command_line.h"
#include "tools/nearest_word.h"

namespace
{

constexpr std::array<std::string_view, 12> COMMANDS = {"get",    "set",    "unset", "list", "diff", "import",
                                                       "export", "commit", "watch", "wait", "post", "listen"};

struct arguments {
    std::string key;
    std::string text;
    std::vector<std::string> words;
    list_choice choice;
    std::optional<double> timeout;
    bool apply = false;
    bool secrets = false;
};

// Values and messages may begin with "-": behind these commands nothing is an option, but for --apply as the first word
// or behind what is to be set.
std::vector<std::string> mark_texts(const std::vector<std::string> &words)
{
    std::vector<std::string> marked = words;
    const bool takes_text = words.size() > 1 && (words[0] == "set" || words[0] == "post");
    if (!takes_text || words[1] == "--help" || words[1] == "-h" || words[1] == "--")
        return marked;
    auto text = marked.begin() + 1;
    if (words[0] == "set") {
        const size_t needed = words[1].find('=') == std::string::npos ? 4 : 3;
        if (words.size() >= needed && words.back() == "--apply")
            std::rotate(text, marked.end() - 1, marked.end());
        if (*text == "--apply" && words.size() > 2)
            ++text;
    }
    marked.insert(text, "--");
    return marked;
}

// "KEY VALUE", or any number of "KEY=VALUE".
std::optional<assignments> assignments_of(const std::vector<std::string> &words)
{
    if (words.size() == 2 && (words[0].find('=') == std::string::npos || words[1].find('=') == std::string::npos))
        return assignments{{words[0], words[1]}};
    assignments wanted;
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        if (equals == std::string::npos)
            return std::nullopt;
        wanted.emplace_back(word.substr(0, equals), word.substr(equals + 1));
    }
    return wanted;
}

int set_words(const arguments &given)
{
    const std::optional<assignments> wanted = assignments_of(given.words);
    if (wanted)
        return set(*wanted, given.apply);
    tell("set takes KEY VALUE, or KEY=VALUE any number of times");
    return CALLED_WRONGLY;
}

// ---- command line ----

CLI::App *add_command(CLI::App &app, const char *name, const char *what, int &outcome, std::function<int()> act)
{
    CLI::App *command = app.add_subcommand(name, what);
    command->callback([&outcome, act = std::move(act)] { outcome = act(); });
    return command;
}

constexpr const char *SECRETS_HELP = "show secrets instead of ***";

void add_key_commands(CLI::App &app, arguments &given, int &outcome)
{
    CLI::App *command = add_command(app, "get", "print the value of KEY", outcome, [&] { return get(given.key); });
    command->add_option("KEY", given.key)->required();
    command = add_command(app, "set", "store VALUE under KEY, or any number of KEY=VALUE", outcome,
                          [&] { return set_words(given); });
    command->add_option("KEY VALUE | KEY=VALUE", given.words)->required();
    command->add_flag("--apply", given.apply, "commit, and tell the daemon that it is to look");
    command = add_command(app, "unset", "remove each KEY", outcome, [&] { return unset(given.words); });
    command->add_option("KEY", given.words)->required();
}

void add_list(CLI::App &app, arguments &given, int &outcome)
{
    CLI::App *command = add_command(app, "list", "print the keys that begin with PREFIX, and their values", outcome,
                                    [&] { return list(given.choice); });
    command->add_option("PREFIX", given.choice.prefix);
    command->add_flag("--json", given.choice.json, "as one JSON object");
    command->add_flag("--settings", given.choice.settings, "only what is set");
    command->add_flag("--state", given.choice.state, "only what tells how the router is doing, or what it remembers");
    command->add_flag("--changed", given.choice.changed, "only what differs from the committed settings");
    command->add_flag("--secrets", given.choice.secrets, SECRETS_HELP);
}

void add_store_commands(CLI::App &app, arguments &given, int &outcome)
{
    add_list(app, given, outcome);
    CLI::App *command = add_command(app, "diff", "print what differs from the committed settings", outcome,
                                    [&] { return diff(given.secrets); });
    command->add_flag("--secrets", given.secrets, SECRETS_HELP);
    command = add_command(app, "import", "store all settings of FILE (- for standard input), or none", outcome,
                          [&] { return import(given.key); });
    command->add_option("FILE", given.key)->required();
    add_command(app, "export", "print all settings as import takes them", outcome, export_all);
    add_command(app, "commit", "make the running settings durable", outcome, commit);
    command = add_command(app, "watch", "print the keys that begin with PREFIX as they change", outcome,
                          [&] { return watch(given.key, given.secrets); });
    command->add_option("PREFIX", given.key);
    command->add_flag("--secrets", given.secrets, SECRETS_HELP);
    command = add_command(app, "wait", "wait until KEY has VALUE", outcome,
                          [&] { return wait_for(given.key, given.timeout); });
    command->add_option("KEY=VALUE", given.key)->required();
    command->add_option("--timeout", given.timeout, "give up after so many seconds")->type_name("SECONDS");
}

void add_bus_commands(CLI::App &app, arguments &given, int &outcome)
{
    CLI::App *command =
        add_command(app, "post", "post TEXT to NAME on the bus", outcome, [&] { return post(given.key, given.text); });
    command->add_option("NAME", given.key)->required();
    command->add_option("TEXT", given.text)->required();
    command = add_command(app, "listen", "hold NAME on the bus and print what arrives, a line a message", outcome,
                          [&] { return listen_to(given.key); });
    command->add_option("NAME", given.key)->required();
}

// ---- what was meant ----

// What scripts call most, understood by itself: to build the whole command line costs as much as all the rest
// (decision 0100).
std::optional<int> run_plain(const std::vector<std::string> &words)
{
    if (words.size() < 2 || words[1].empty() || words[1][0] == '-')
        return std::nullopt;
    if (words.size() == 2 && words[0] == "get")
        return get(words[1]);
    if (words.size() == 3 && words[0] == "set" && words[1].find('=') == std::string::npos)
        return set({{words[1], words[2]}}, false);
    if (words.size() == 3 && words[0] == "post")
        return post(words[1], words[2]);
    return std::nullopt;
}

std::optional<int> run_unknown(const std::vector<std::string> &words)
{
    if (words.empty() || words[0].starts_with('-') ||
        std::find(COMMANDS.begin(), COMMANDS.end(), words[0]) != COMMANDS.end())
        return std::nullopt;
    const std::string_view near = nearest_word(words[0], COMMANDS);
    tell("unknown command " + words[0] +
         (near.empty() ? "; cfm --help lists them" : " (did you mean " + std::string(near) + "?)"));
    return CALLED_WRONGLY;
}

int run_any(const std::vector<std::string> &arguments_given)
{
    CLI::App app("The configuration store and the message bus of the router.", "cfm");
    app.set_version_flag("--version", "cfm " CFM_VERSION);
    app.require_subcommand(1);
    arguments given;
    int outcome = FAILED;
    add_key_commands(app, given, outcome);
    add_store_commands(app, given, outcome);
    add_bus_commands(app, given, outcome);
    const std::vector<std::string> words = mark_texts(arguments_given);
    try {
        take_words(app, words);
    } catch (const CLI::ParseError &error) {
        if (app.exit(error) != 0)
            return CALLED_WRONGLY;
        return std::cout.flush() ? DONE : fail("cannot write the help");
    }
    return outcome;
}

int run(const std::vector<std::string> &arguments_given)
{
    std::optional<int> outcome = run_plain(arguments_given);
    if (!outcome)
        outcome = run_unknown(arguments_given);
    if (!outcome)
        outcome = run_any(arguments_given);
    config_store_close();
    return *outcome;
}

} // namespace

int main(int argc, char *argv[])
{
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        return fail(error.what());
    }
}
