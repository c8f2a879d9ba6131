// cfm: the shell's way to the configuration store and the message bus.
//
// Results go to standard output, everything else to standard error. Ends with 0 when all was done, 1 when it was not
// (a line says why), 2 when it was called wrongly.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/config_store.h"
#include "platform/linux/bus.h"
#include "platform/linux/config_store_admin.h"

namespace
{

constexpr int DONE = 0;
constexpr int FAILED = 1;
constexpr int CALLED_WRONGLY = 2;

int fail(const std::string &why)
{
    std::fprintf(stderr, "cfm: %s\n", why.c_str());
    return FAILED;
}

int print(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        return fail(std::string("cannot write: ") + std::strerror(errno));
    return DONE;
}

// ---- store ----

int get(const std::string &key)
{
    const auto value = std::make_unique_for_overwrite<char[]>(CONFIG_STORE_VALUE_MAX + 1);
    if (!config_store_open())
        return FAILED;
    if (GetValue(key.c_str(), value.get(), CONFIG_STORE_VALUE_MAX + 1) == 0)
        return fail("no key '" + key + "'");
    return print(std::string(value.get()) + '\n');
}

int set(const std::string &key, const std::string &value)
{
    return SetValue(key.c_str(), value.c_str()) != 0 ? DONE : FAILED;
}

int unset(const std::string &key)
{
    const int result = config_store_unset(key.c_str());
    if (result == 0)
        return fail("no key '" + key + "'");
    return result > 0 ? DONE : FAILED;
}

bool append(void *text, const char *piece, size_t length)
{
    static_cast<std::string *>(text)->append(piece, length);
    return true;
}

int list(const std::string &prefix)
{
    std::string text;
    return config_store_list(prefix.c_str(), append, &text) ? print(text) : FAILED;
}

int export_all()
{
    std::string text;
    return config_store_export(append, &text) ? print(text) : FAILED;
}

int import(const std::string &file)
{
    if (file == "-")
        return config_store_import(STDIN_FILENO, "standard input") ? DONE : FAILED;
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return fail("cannot open " + file + ": " + std::strerror(errno));
    const bool imported = config_store_import(fd, file.c_str());
    close(fd);
    return imported ? DONE : FAILED;
}

int commit()
{
    return CommitCfm() != 0 ? DONE : FAILED;
}

// ---- bus ----

int bus_failure(const std::string &name, bus_result result)
{
    return fail(name + ": " + bus_result_text(result));
}

int post(const std::string &name, const std::string &text)
{
    const bus_result result = bus_post(name.c_str(), text.c_str());
    return result == BUS_DONE ? DONE : bus_failure(name, result);
}

// A message is one line, whatever it holds.
std::string message_line(const bus_message &message)
{
    char sender[48];
    bus_name_sender(message.sender, sender);
    std::string line = std::string(sender) + ": ";
    for (const char *c = message.text; *c != '\0'; c++)
        line += *c == '\n' ? std::string("\\n") : std::string(1, *c);
    return line + '\n';
}

int print_waiting(const bus_end &end, const std::string &name)
{
    bus_message message;
    for (;;) {
        const bus_result result = bus_receive(&end, &message);
        if (result == BUS_NOTHING)
            return DONE;
        if (result == BUS_SYSTEM_ERROR)
            return bus_failure(name, result);
        if (result != BUS_DONE) // one message was dropped; the next may be good
            bus_failure(name, result);
        else if (print(message_line(message)) != DONE)
            return FAILED;
    }
}

// Ends by a signal, or when nobody reads its output any more.
int listen_to(const std::string &name)
{
    bus_end end = {};
    const bus_result result = bus_open(name.c_str(), &end);
    if (result != BUS_DONE)
        return bus_failure(name, result);
    int outcome = DONE;
    while (outcome == DONE) {
        std::array<pollfd, 2> waits = {{{end.socket, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
        if (poll(waits.data(), waits.size(), -1) < 0 && errno != EINTR)
            outcome = fail(std::string("cannot wait: ") + std::strerror(errno));
        else if (waits[1].revents != 0)
            outcome = fail("nobody reads the output any more");
        else
            outcome = print_waiting(end, name);
    }
    bus_close(&end);
    return outcome;
}

// ---- command line ----

using words = std::vector<std::string>;

struct command {
    const char *name;
    const char *what;
    std::array<const char *, 2> takes = {}; // the names of the words behind it
    size_t needs = 0;                       // so many of them must be there
    bool takes_any_text = false;            // values and messages may begin with "-": nothing behind it is an option
    int (*act)(const words &given);         // with as many words as it could take, empty ones for those missing
};

constexpr auto COMMANDS = std::to_array<command>({
    {.name = "get",
     .what = "print the value of KEY",
     .takes = {"KEY"},
     .needs = 1,
     .act = [](const words &given) { return get(given[0]); }},
    {.name = "set",
     .what = "store VALUE under KEY",
     .takes = {"KEY", "VALUE"},
     .needs = 2,
     .takes_any_text = true,
     .act = [](const words &given) { return set(given[0], given[1]); }},
    {.name = "unset",
     .what = "remove KEY",
     .takes = {"KEY"},
     .needs = 1,
     .act = [](const words &given) { return unset(given[0]); }},
    {.name = "list",
     .what = "print the settings whose keys begin with PREFIX",
     .takes = {"PREFIX"},
     .act = [](const words &given) { return list(given[0]); }},
    {.name = "import",
     .what = "store all settings of FILE (- for standard input), or none",
     .takes = {"FILE"},
     .needs = 1,
     .act = [](const words &given) { return import(given[0]); }},
    {.name = "export",
     .what = "print the whole store as import takes it",
     .act = [](const words &) { return export_all(); }},
    {.name = "commit", .what = "make the running store durable", .act = [](const words &) { return commit(); }},
    {.name = "post",
     .what = "post TEXT to NAME on the bus",
     .takes = {"NAME", "TEXT"},
     .needs = 2,
     .takes_any_text = true,
     .act = [](const words &given) { return post(given[0], given[1]); }},
    {.name = "listen",
     .what = "hold NAME on the bus and print what arrives, a line a message",
     .takes = {"NAME"},
     .needs = 1,
     .act = [](const words &given) { return listen_to(given[0]); }},
});

size_t takes_at_most(const command &command)
{
    return static_cast<size_t>(std::ranges::count_if(command.takes, [](const char *name) { return name != nullptr; }));
}

// ---- its help ----

std::string help_line(const std::string &left, const std::string &right)
{
    std::string line = "  " + left;
    line.resize(30, ' ');
    return line + right + '\n';
}

std::string help_of_options()
{
    return "\nOptions:\n" + help_line("-h,--help", "Print this help message and exit");
}

std::string help()
{
    std::string text = "The configuration store and the message bus of the router.\n"
                       "Usage: cfm [OPTIONS] SUBCOMMAND\n" +
                       help_of_options() + help_line("--version", "Display program version information and exit") +
                       "\nSubcommands:\n";
    for (const command &command : COMMANDS)
        text += help_line(command.name, command.what);
    return text + '\n';
}

std::string help_of(const command &command)
{
    std::string usage = std::string("Usage: cfm ") + command.name + " [OPTIONS]";
    std::string lines;
    for (size_t i = 0; i < takes_at_most(command); i++) {
        const std::string name = command.takes.at(i);
        const bool is_needed = i < command.needs;
        usage += is_needed ? ' ' + name : " [" + name + ']';
        lines += help_line(name + (is_needed ? " TEXT REQUIRED" : " TEXT"), "");
    }
    if (!lines.empty())
        lines.insert(0, "\nPositionals:\n");
    return std::string(command.what) + '\n' + usage + '\n' + lines + help_of_options() + '\n';
}

// ---- its words ----

struct call {
    const command *wanted = nullptr;
    words given;
    words unexpected;
    bool is_marked = false; // nothing more is an option
    bool wants_help = false;
    bool wants_version = false;
};

const command *find_command(const std::string &name)
{
    const auto *const found =
        std::ranges::find_if(COMMANDS, [&](const command &command) { return command.name == name; });
    return found == COMMANDS.end() ? nullptr : found;
}

// "-x" and "--word", but not "-", "-5" or "- text".
bool is_option(const std::string &word)
{
    const size_t dashes = word.starts_with("--") ? 2 : 1;
    if (word.size() <= dashes || word[0] != '-' || std::strchr("-! \n", word[dashes]) != nullptr)
        return false;
    return dashes == 2 || std::strchr("0123456789", word[1]) == nullptr;
}

bool is_flag(const std::string &word, const std::string &flag)
{
    return word == flag || word.starts_with(flag + '=');
}

void take_option(const std::string &word, call *call)
{
    if (is_flag(word, "--help") || word[1] == 'h')
        call->wants_help = true;
    else if (call->wanted == nullptr && is_flag(word, "--version"))
        call->wants_version = true;
    else
        call->unexpected.push_back(word);
}

void take_plain(const std::string &word, call *call)
{
    if (call->wanted != nullptr && call->given.size() < takes_at_most(*call->wanted))
        call->given.push_back(word);
    else if (call->wanted == nullptr && !call->is_marked && find_command(word) != nullptr)
        call->wanted = find_command(word);
    else
        call->unexpected.push_back(word);
}

bool begins_any_text(const std::string &word, const call &call)
{
    return call.wanted != nullptr && call.wanted->takes_any_text && word != "--help" && word != "-h" && word != "--";
}

// Nothing behind "--" is an option, but behind all words of a command it says nothing.
bool is_mark(const std::string &word, const call &call)
{
    const bool is_filled = call.wanted != nullptr && call.given.size() == takes_at_most(*call.wanted);
    return !call.is_marked && !is_filled && (word == "--" || begins_any_text(word, call));
}

call read_call(const words &all)
{
    call call;
    for (const std::string &word : all) {
        const bool is_behind_mark = call.is_marked;
        if (is_mark(word, call)) {
            call.is_marked = true;
            call.unexpected.emplace_back("--"); // told beside others only
        }
        if (word == "--" && !is_behind_mark)
            continue;
        if (!call.is_marked && is_option(word))
            take_option(word, &call);
        else
            take_plain(word, &call);
    }
    return call;
}

int called_wrongly(const std::string &why)
{
    std::fprintf(stderr, "%s\nRun with --help for more information.\n", why.c_str());
    return CALLED_WRONGLY;
}

int tell_unexpected(const words &unexpected)
{
    std::string why = unexpected.size() > 1 ? "The following arguments were not expected:"
                                            : "The following argument was not expected:";
    for (auto word = unexpected.rbegin(); word != unexpected.rend(); ++word)
        why += ' ' + *word;
    return called_wrongly(why);
}

int run(const words &all)
{
    call call = read_call(all);
    if (call.wants_version)
        return print("cfm " CFM_VERSION "\n");
    if (call.wants_help)
        return print(call.wanted == nullptr ? help() : help_of(*call.wanted));
    if (call.wanted == nullptr)
        return called_wrongly("A subcommand is required");
    if (call.given.size() < call.wanted->needs)
        return called_wrongly(std::string(call.wanted->takes.at(call.given.size())) + " is required");
    if (call.unexpected.size() > (call.is_marked ? 1 : 0))
        return tell_unexpected(call.unexpected);
    call.given.resize(call.wanted->takes.size());
    const int outcome = call.wanted->act(call.given);
    config_store_close();
    return outcome;
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
