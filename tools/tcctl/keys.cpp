// tcctl keys: the table of keys, for reading.
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/key_table.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/words.h"

namespace tcctl
{

namespace
{

struct keys_options {
    std::string pattern;
    bool is_json = false;
};

// A key of the store, such as wan2.ifname, asks for its own row alone; any other text for the rows that hold it.
std::vector<const keys::row *> wanted_rows(const std::string &pattern)
{
    if (const keys::row *const exact = keys::find(pattern); exact != nullptr)
        return {exact};
    const std::string part = lower(pattern);
    std::vector<const keys::row *> rows;
    for (const keys::row &row : keys::table())
        if (lower(row.key).find(part) != std::string::npos || lower(row.meaning).find(part) != std::string::npos)
            rows.push_back(&row);
    return rows;
}

// ---- text ----

std::string type_text(const keys::row &row)
{
    std::string text(keys::name_of(row.type));
    if (!row.range.empty())
        text += fmt::format(" {}", row.range);
    return text;
}

std::string reads_text(const keys::row &row)
{
    std::string text;
    for (const keys::read &read : row.reads)
        text += fmt::format("{}{} ({})", text.empty() ? "" : "; ", read.unit, read.when);
    return text;
}

std::string writers_text(const keys::row &row)
{
    std::string text(row.writers);
    for (const keys::write &write : row.writes) {
        text += fmt::format("{}{}", text.empty() ? "" : "; ", write.unit);
        if (!write.meaning.empty())
            text += fmt::format(" ({})", write.meaning);
    }
    return text;
}

// How a change becomes known: words of the column `after` are messages, or KEY=VALUE to set.
std::string after_text(const keys::row &row)
{
    std::string text;
    std::string_view rest = row.after;
    while (!rest.empty()) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(rest.size(), word.size() + 1));
        text += text.empty() ? "" : "; ";
        const size_t equals = word.find('=');
        if (word.starts_with("time_check"))
            text += fmt::format("cfm post time_check '{}'", word);
        else if (equals != std::string_view::npos)
            text += fmt::format("cfm set {} {}", word.substr(0, equals), word.substr(equals + 1));
    }
    return text;
}

std::string line_of(std::string_view what, std::string_view text)
{
    return text.empty() ? "" : fmt::format("    {:<11}{}\n", what, text);
}

std::string text_of(const keys::row &row)
{
    std::string text = painted(colour::BOLD, row.key) + '\n';
    text += fmt::format("    {}\n", row.meaning);
    text += line_of("type", type_text(row));
    text += line_of("standard", row.standard);
    text += line_of("kind", keys::name_of(row.kind));
    text += line_of("read by", reads_text(row));
    for (const keys::read &read : row.reads)
        if (!read.missing.empty())
            text += line_of("missing", fmt::format("{}: {}", read.unit, read.missing));
    text += line_of("written by", writers_text(row));
    text += line_of("to apply", after_text(row));
    for (const std::string_view trap : row.traps)
        text += fmt::format("    {}{}\n", painted(colour::YELLOW, "trap       "), trap);
    return text;
}

// ---- JSON ----

nlohmann::ordered_json json_of(const keys::row &row)
{
    nlohmann::ordered_json reads = nlohmann::ordered_json::array();
    for (const keys::read &read : row.reads)
        reads.push_back(
            {{"unit", read.unit}, {"when", read.when}, {"missing", read.missing}, {"meaning", read.meaning}});
    nlohmann::ordered_json writes = nlohmann::ordered_json::array();
    for (const keys::write &write : row.writes)
        writes.push_back({{"unit", write.unit}, {"meaning", write.meaning}});
    return {{"key", row.key},
            {"type", keys::name_of(row.type)},
            {"range", row.range},
            {"standard", row.standard},
            {"kind", keys::name_of(row.kind)},
            {"writers", row.writers},
            {"after", row.after},
            {"meaning", row.meaning},
            {"traps", std::vector<std::string_view>(row.traps.begin(), row.traps.end())},
            {"reads", reads},
            {"writes", writes}};
}

int run(const keys_options &options)
{
    const std::vector<const keys::row *> rows = wanted_rows(options.pattern);
    if (rows.empty()) {
        const std::string_view near = keys::nearest(options.pattern);
        return fail(fmt::format("no key holds {}{}", options.pattern,
                                near.empty() ? "" : fmt::format(" (did you mean {}?)", near)));
    }
    if (options.is_json) {
        nlohmann::ordered_json all = nlohmann::ordered_json::array();
        for (const keys::row *row : rows)
            all.push_back(json_of(*row));
        return print(all.dump(2) + '\n');
    }
    std::string text;
    for (const keys::row *row : rows)
        text += (text.empty() ? "" : "\n") + text_of(*row);
    return print(text);
}

} // namespace

run_fn add_keys(CLI::App &app)
{
    const auto options = std::make_shared<keys_options>();
    app.add_option("PATTERN", options->pattern, "a key, or a part of keys or of what they mean");
    app.add_flag("--json", options->is_json, "print an array of objects");
    return [options] { return run(*options); };
}

} // namespace tcctl
