// What a message to netctrl asks for: a verb of verbs.def, and what it is about.
#ifndef ROUTER_NETCTRL_MESSAGE_H
#define ROUTER_NETCTRL_MESSAGE_H

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// A row of verbs.def.
struct verb {
    int module;
    int op;
    std::string_view arguments;
    std::string_view name;
    std::string_view subject;
    std::string_view supersedes; // names, parted by blanks
};

std::span<const verb> all_verbs();

struct request {
    const verb *what;
    std::string message; // as verbs.def has it: nothing in it comes from the sender but what the row allows
    std::string subject;
    std::map<std::string, std::string, std::less<>> arguments;
};

// What "MODULE?key=value,..." asks for. None: no row has it, or it is no such text.
std::optional<request> read_message(std::string_view text);

// Whether `later` makes `earlier`, of the same subject, needless: it is the same, or its row says so.
bool supersedes(const request &later, const request &earlier);

// Each message that a row stands for, one a value that it allows.
std::vector<std::string> messages_of(const verb &verb);

// "NAME=VALUE" of the variables that the verb's program is given.
std::vector<std::string> environment_of(const request &request);

#endif
