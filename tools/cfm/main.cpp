// cfm: the shell's way to the configuration store and the message bus.
//
// Results go to standard output, everything else to standard error. Ends with 0 when all was done, 1 when it was not
// (a line says why), 2 when it was called wrongly; diff and wait say more with them.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/store/admin.h"
#include "tools/cfm/command_line.h"
#include "tools/cfm/commands.h"
#include "tools/cfm/output.h"

namespace
{

using command_line::argument;
using command_line::call;
using command_line::command;
using command_line::option;

// ---- what is to be set ----

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

int set_words(const call &call)
{
    const std::optional<assignments> wanted = assignments_of(call.arguments);
    if (wanted)
        return set(*wanted, call.has("--apply"));
    tell("set takes KEY VALUE, or KEY=VALUE any number of times");
    return CALLED_WRONGLY;
}

// ---- the others that take more than words ----

int list_chosen(const call &call)
{
    return list({.prefix = call.argument(0),
                 .json = call.has("--json"),
                 .settings = call.has("--settings"),
                 .state = call.has("--state"),
                 .changed = call.has("--changed"),
                 .secrets = call.has("--secrets")});
}

int wait_some_time(const call &call)
{
    const auto *const timeout = call.find("--timeout");
    if (timeout == nullptr)
        return wait_for(call.argument(0), std::nullopt);
    char *end = nullptr;
    const double seconds = std::strtod(timeout->value.c_str(), &end);
    if (timeout->value.empty() || *end != '\0')
        return called_wrongly("Could not convert: --timeout = " + timeout->value);
    return wait_for(call.argument(0), seconds);
}

// ---- command line ----

constexpr auto KEY = std::to_array<argument>({{"KEY", true, false}});
constexpr auto KEYS = std::to_array<argument>({{"KEY", true, true}});
constexpr auto ASSIGNMENTS = std::to_array<argument>({{"KEY VALUE | KEY=VALUE", true, true}});
constexpr auto PREFIX = std::to_array<argument>({{"PREFIX", false, false}});
constexpr auto FILE_NAME = std::to_array<argument>({{"FILE", true, false}});
constexpr auto CONDITION = std::to_array<argument>({{"KEY=VALUE", true, false}});
constexpr auto NAME = std::to_array<argument>({{"NAME", true, false}});
constexpr auto NAME_AND_TEXT = std::to_array<argument>({{"NAME", true, false}, {"TEXT", true, false}});

constexpr option SHOW_SECRETS = {"--secrets", nullptr, "show secrets instead of ***"};
constexpr auto SECRETS = std::to_array<option>({SHOW_SECRETS});
constexpr auto APPLY = std::to_array<option>({{"--apply", nullptr, "commit, and tell the daemon that it is to look"}});
constexpr auto TIMEOUT = std::to_array<option>({{"--timeout", "SECONDS", "give up after so many seconds"}});
constexpr auto CHOICES =
    std::to_array<option>({{"--json", nullptr, "as one JSON object"},
                           {"--settings", nullptr, "only what is set"},
                           {"--state", nullptr, "only what tells how the router is doing, or what it remembers"},
                           {"--changed", nullptr, "only what differs from the committed settings"},
                           SHOW_SECRETS});

constexpr auto COMMANDS = std::to_array<command>({
    {"get", "print the value of KEY", KEY, {}, [](const call &call) { return get(call.argument(0)); }},
    {"set", "store VALUE under KEY, or any number of KEY=VALUE", ASSIGNMENTS, APPLY, set_words},
    {"unset", "remove each KEY", KEYS, {}, [](const call &call) { return unset(call.arguments); }},
    {"list", "print the keys that begin with PREFIX, and their values", PREFIX, CHOICES, list_chosen},
    {"diff",
     "print what differs from the committed settings",
     {},
     SECRETS,
     [](const call &call) { return diff(call.has("--secrets")); }},
    {"import",
     "store all settings of FILE (- for standard input), or none",
     FILE_NAME,
     {},
     [](const call &call) { return import(call.argument(0)); }},
    {"export", "print all settings as import takes them", {}, {}, [](const call & /*call*/) { return export_all(); }},
    {"commit", "make the running settings durable", {}, {}, [](const call & /*call*/) { return commit(); }},
    {"watch", "print the keys that begin with PREFIX as they change", PREFIX, SECRETS,
     [](const call &call) { return watch(call.argument(0), call.has("--secrets")); }},
    {"wait", "wait until KEY has VALUE", CONDITION, TIMEOUT, wait_some_time},
    {"post",
     "post TEXT to NAME on the bus",
     NAME_AND_TEXT,
     {},
     [](const call &call) { return post(call.argument(0), call.argument(1)); }},
    {"listen",
     "hold NAME on the bus and print what arrives, a line a message",
     NAME,
     {},
     [](const call &call) { return listen_to(call.argument(0)); }},
});

constexpr command_line::program CFM = {"cfm", "The configuration store and the message bus of the router.",
                                       "cfm " CFM_VERSION, COMMANDS};

// Values and messages may begin with "-": behind these commands nothing is an option, but for --apply as the first word
// or behind what is to be set.
std::vector<std::string> mark_texts(std::vector<std::string> words)
{
    const bool takes_text = words.size() > 1 && (words[0] == "set" || words[0] == "post");
    if (!takes_text || words[1] == "--help" || words[1] == "-h" || words[1] == "--")
        return words;
    auto text = words.begin() + 1;
    if (words[0] == "set") {
        const size_t needed = words[1].find('=') == std::string::npos ? 4 : 3;
        if (words.size() >= needed && words.back() == "--apply")
            std::rotate(text, words.end() - 1, words.end());
        if (*text == "--apply" && words.size() > 2)
            ++text;
    }
    words.insert(text, "--");
    return words;
}

} // namespace

int main(int argc, char *argv[])
{
    const int outcome = command_line::run(CFM, mark_texts({argv + 1, argv + argc}));
    config_store_leave();
    return outcome;
}
