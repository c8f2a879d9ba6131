// tcctl check: looks for mistakes in settings.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/linux/store/admin.h"
#include "tools/key_table.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/finding.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/settings.h"

namespace tcctl
{

namespace
{

struct check_options {
    std::vector<std::string> files;
    std::string level = "note";
    bool is_json = false;
    bool is_quiet = false;
    bool is_whole = false;
};

// ---- what is checked ----

// As much as a full store takes with every byte written as an escape, and the same again for comments.
constexpr size_t LARGEST_TEXT = 8UL * 1024 * 1024;

// errno of what failed, or 0.
int read_to_end(int fd, std::string &text)
{
    std::array<char, 16384> piece = {};
    for (;;) {
        const ssize_t got = read(fd, piece.data(), piece.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got == 0 ? 0 : errno;
        text.append(piece.data(), static_cast<size_t>(got));
        if (text.size() > LARGEST_TEXT)
            return EFBIG;
    }
}

std::string name_of_file(const std::string &file)
{
    return file == "-" ? "standard input" : file;
}

// False, with a line: it cannot be opened or read.
bool load(const std::string &file, std::string &text)
{
    const int fd = file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        fail(fmt::format("cannot open {}: {}", file, std::strerror(errno)));
        return false;
    }
    const int failed = read_to_end(fd, text);
    if (fd != STDIN_FILENO)
        close(fd);
    if (failed != 0)
        fail(fmt::format("cannot read {}: {}", name_of_file(file), std::strerror(failed)));
    return failed == 0;
}

bool add_file(const std::string &file, settings &given)
{
    std::string text;
    if (!load(file, text))
        return false;
    const std::vector<bad_line> bad = given.add_text(name_of_file(file), text);
    for (const bad_line &each : bad)
        fail(fmt::format("{}:{}:{}: {}", name_of_file(file), each.line, each.column, each.why));
    return bad.empty();
}

bool append(void *text, const char *piece, size_t length)
{
    static_cast<std::string *>(text)->append(piece, length);
    return true;
}

// The store says itself why it cannot be read. It is closed before anything is printed, since whoever reads the output
// may take his time.
bool add_running_store(settings &given)
{
    std::string text;
    const bool is_listed = config_store_list("", append, &text);
    config_store_close();
    if (is_listed)
        given.add_store(text);
    return is_listed;
}

// None when something cannot be read.
std::optional<findings> find_mistakes(const check_options &options)
{
    settings given;
    bool is_read = true;
    if (options.files.empty())
        is_read = add_running_store(given);
    for (const std::string &file : options.files)
        is_read = add_file(file, given) && is_read;
    if (!is_read)
        return std::nullopt;
    if (options.is_whole)
        given.set_whole();
    findings found = check_settings(given);
    if (options.files.empty()) {
        const findings of_machine = check_machine(given, {}, std::getenv("TZ"));
        found.insert(found.end(), of_machine.begin(), of_machine.end());
    }
    return found;
}

// ---- output ----

// A secret is not shown, nor what somebody probably meant by it.
std::string value_of(const setting &where)
{
    const keys::row *const row = keys::find(where.key);
    return row != nullptr && row->kind == keys::kind::secret ? "***" : where.value;
}

colour colour_of(severity severity)
{
    switch (severity) {
    case severity::ERROR:
        return colour::RED;
    case severity::WARNING:
        return colour::YELLOW;
    case severity::NOTE:
        return colour::CYAN;
    }
    return colour::BOLD;
}

std::string text_of(const finding &finding)
{
    const setting &where = finding.where;
    std::string text;
    if (where.line > 0)
        text = fmt::format("{}:{}: ", shown(where.file), where.line);
    if (!where.key.empty())
        text += painted(colour_of(severity_of(finding.fault)),
                        fmt::format("{}={}", shown(where.key), shown(value_of(where)))) +
                ": ";
    text += fmt::format("{}; {}", shown(finding.message), shown(finding.effect));
    if (!finding.suggestion.empty())
        text += fmt::format("; meant: {}", shown(finding.suggestion));
    return text + '\n';
}

nlohmann::ordered_json json_of(const finding &finding)
{
    return {{"id", id_of(finding.fault)},      {"severity", name_of(severity_of(finding.fault))},
            {"file", finding.where.file},      {"line", finding.where.line},
            {"key", finding.where.key},        {"value", value_of(finding.where)},
            {"message", finding.message},      {"effect", finding.effect},
            {"suggestion", finding.suggestion}};
}

int print_findings(const findings &found, bool is_json)
{
    std::string text;
    if (is_json) {
        nlohmann::ordered_json all = nlohmann::ordered_json::array();
        for (const finding &each : found)
            all.push_back(json_of(each));
        // Bytes that are no UTF-8 cannot stand in JSON.
        text = all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
    } else {
        for (const finding &each : found)
            text += text_of(each);
    }
    return print(text);
}

int run(const check_options &options)
{
    std::optional<findings> found = find_mistakes(options);
    if (!found)
        return CANNOT;
    std::erase_if(*found, [&](const finding &each) {
        const severity severity = severity_of(each.fault);
        return (severity == severity::NOTE && options.level != "note") ||
               (severity == severity::WARNING && options.level == "error");
    });
    if (!options.is_quiet && print_findings(*found, options.is_json) != WELL)
        return CANNOT;
    return found->empty() ? WELL : FOUND;
}

} // namespace

run_fn add_check(CLI::App &app)
{
    const auto options = std::make_shared<check_options>();
    app.add_option("FILE", options->files,
                   "lines key=value as cfm import takes them, - for standard input; several as if imported one after "
                   "the other; none for the running store");
    app.add_flag("--json", options->is_json, "print an array of objects");
    app.add_flag("--quiet", options->is_quiet, "print nothing, the exit code says it");
    app.add_flag("--whole", options->is_whole, "a key that the files do not name is missing on the router, too");
    app.add_option("--level", options->level, "least severity that counts: error, warning or note")
        ->type_name("LEVEL")
        ->check(CLI::IsMember({"error", "warning", "note"}));
    return [options] { return run(*options); };
}

} // namespace tcctl
