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
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "platform/config_store.h"
#include "platform/linux/bus.h"
#include "platform/linux/printable.h"
#include "platform/linux/store/admin.h"

namespace
{

constexpr int DONE = 0;
constexpr int FAILED = 1;
constexpr int CALLED_WRONGLY = 2;

// Everything that may be shown as it is, line ends too when there may be several lines; other bytes as "\xHH", which is
// how `import` takes them.
std::string shown(const std::string &text, bool has_lines)
{
    std::string result;
    for (size_t i = 0; i < text.size();) {
        size_t length = printable_character(text.data() + i, text.size() - i);
        if (length == 0 && has_lines && text[i] == '\n')
            length = 1;
        if (length > 0) {
            result.append(text, i, length);
        } else {
            std::array<char, 8> escape = {};
            std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned>(text[i]) & 0xFFU);
            result += text[i] == '\n' ? "\\n" : escape.data();
        }
        i += std::max<size_t>(length, 1);
    }
    return result;
}

int fail(const std::string &why)
{
    std::fprintf(stderr, "cfm: %s\n", shown(why, false).c_str());
    return FAILED;
}

int print(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        return fail(std::string("cannot write: ") + std::strerror(errno));
    return DONE;
}

// ---- store ----

// The store is closed before anything is printed: whoever reads the output may take his time, and there are only some
// hundred places for processes that look at the store.

int get(const std::string &key)
{
    const auto value = std::make_unique_for_overwrite<char[]>(CONFIG_STORE_VALUE_MAX + 1);
    if (!config_store_open())
        return FAILED;
    const bool is_found = GetValue(key.c_str(), value.get(), CONFIG_STORE_VALUE_MAX + 1) != 0;
    config_store_close();
    if (!is_found)
        return fail("no key '" + key + "'");
    // Programs take values as they are; a terminal would obey them.
    const std::string text = value.get();
    const std::string safe = shown(text, true);
    return print((safe != text && isatty(STDOUT_FILENO) != 0 ? safe : text) + '\n');
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
    const bool is_listed = config_store_list(prefix.c_str(), append, &text);
    config_store_close();
    return is_listed ? print(shown(text, true)) : FAILED;
}

int export_all()
{
    std::string text;
    const bool is_exported = config_store_export(append, &text);
    config_store_close();
    return is_exported ? print(shown(text, true)) : FAILED;
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
    return shown(std::string(sender) + ": " + message.text, false) + '\n';
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

struct arguments {
    std::string key;
    std::string text;
};

// Values and messages may begin with "-": behind these commands nothing is an option.
std::vector<std::string> mark_texts(const std::vector<std::string> &words)
{
    std::vector<std::string> marked = words;
    const bool takes_text = words.size() > 1 && (words[0] == "set" || words[0] == "post");
    if (takes_text && words[1] != "--help" && words[1] != "-h" && words[1] != "--")
        marked.insert(marked.begin() + 1, "--");
    return marked;
}

CLI::App *add_command(CLI::App &app, const char *name, const char *what, int &outcome, std::function<int()> act)
{
    CLI::App *command = app.add_subcommand(name, what);
    command->callback([&outcome, act = std::move(act)] { outcome = act(); });
    return command;
}

void add_store_commands(CLI::App &app, arguments &given, int &outcome)
{
    CLI::App *command = add_command(app, "get", "print the value of KEY", outcome, [&] { return get(given.key); });
    command->add_option("KEY", given.key)->required();
    command = add_command(app, "set", "store VALUE under KEY", outcome, [&] { return set(given.key, given.text); });
    command->add_option("KEY", given.key)->required();
    command->add_option("VALUE", given.text)->required();
    command = add_command(app, "unset", "remove KEY", outcome, [&] { return unset(given.key); });
    command->add_option("KEY", given.key)->required();
    command = add_command(app, "list", "print the settings whose keys begin with PREFIX", outcome,
                          [&] { return list(given.key); });
    command->add_option("PREFIX", given.key);
    command = add_command(app, "import", "store all settings of FILE (- for standard input), or none", outcome,
                          [&] { return import(given.key); });
    command->add_option("FILE", given.key)->required();
    add_command(app, "export", "print the whole store as import takes it", outcome, export_all);
    add_command(app, "commit", "make the running store durable", outcome, commit);
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

// What scripts call most, understood by itself: to build the whole command line costs as much as all the rest
// (decision 0100).
std::optional<int> run_plain(const std::vector<std::string> &words)
{
    if (words.size() < 2 || words[1].empty() || words[1][0] == '-')
        return std::nullopt;
    if (words.size() == 2 && words[0] == "get")
        return get(words[1]);
    if (words.size() == 3 && words[0] == "set")
        return set(words[1], words[2]);
    if (words.size() == 3 && words[0] == "post")
        return post(words[1], words[2]);
    return std::nullopt;
}

int run_any(const std::vector<std::string> &arguments_given)
{
    CLI::App app("The configuration store and the message bus of the router.", "cfm");
    app.set_version_flag("--version", "cfm " CFM_VERSION);
    app.require_subcommand(1);
    arguments given;
    int outcome = FAILED;
    add_store_commands(app, given, outcome);
    add_bus_commands(app, given, outcome);
    const std::vector<std::string> words = mark_texts(arguments_given);
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend())); // it takes the words from the back
    } catch (const CLI::ParseError &error) {
        if (app.exit(error) != 0)
            return CALLED_WRONGLY;
        return std::cout.flush() ? DONE : fail("cannot write the help");
    }
    return outcome;
}

int run(const std::vector<std::string> &arguments_given)
{
    const std::optional<int> plain = run_plain(arguments_given);
    const int outcome = plain ? *plain : run_any(arguments_given);
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
