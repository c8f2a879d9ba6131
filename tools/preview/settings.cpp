#include "tools/preview/settings.h"

#include <string_view>
#include <sys/stat.h>

#include <fmt/format.h>

#include "platform/linux/store/text.h"

namespace preview
{

namespace
{

// More than any store holds.
constexpr size_t FILE_MAX = size_t{64} * 1024 * 1024;

bool is_hex(char c)
{
    return std::string_view("0123456789abcdefABCDEF").find(c) != std::string_view::npos;
}

// Whether an escape as the store writes them begins behind this backslash.
bool is_escape(std::string_view behind)
{
    if (behind.starts_with('x'))
        return behind.size() > 2 && is_hex(behind[1]) && is_hex(behind[2]) && behind.substr(1, 2) != "00";
    return !behind.empty() && std::string_view("\\nrt").find(behind[0]) != std::string_view::npos;
}

// Where in the line the reader stumbled, from 1. It tells why alone.
size_t column_of_fault(std::string_view line)
{
    for (size_t i = 0; i < line.size(); i++)
        if ((static_cast<unsigned char>(line[i]) < 0x20 && line[i] != '\t') || line[i] == 0x7F)
            return i + 1;
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return line.size() + 1;
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] != '\\')
            continue;
        if (!is_escape(line.substr(i + 1)))
            return i + 1;
        i++;
    }
    return equals > CONFIG_STORE_KEY_MAX || equals == 0 ? 1 : equals + 2;
}

} // namespace

settings parse_settings(std::string text, const std::string &name)
{
    const std::string original = text; // it is decoded where it stands
    text.push_back('\0');
    store_text_reader reader = {.next = text.data(),
                                .end = text.data() + original.size(),
                                .line_number = 0,
                                .key = nullptr,
                                .value = nullptr,
                                .fault = nullptr};
    settings all;
    for (;;) {
        const auto begin = static_cast<size_t>(reader.next - text.data());
        switch (store_text_read(&reader)) {
        case STORE_TEXT_END:
            return all;
        case STORE_TEXT_SETTING:
            all.emplace_back(reader.key, reader.value);
            break;
        case STORE_TEXT_EMPTY:
            break;
        case STORE_TEXT_BAD:
            const std::string_view line = std::string_view(original).substr(begin, original.find('\n', begin) - begin);
            throw refused(fmt::format("{}: line {}, column {}: {}", name, reader.line_number, column_of_fault(line),
                                      reader.fault));
        }
    }
}

settings read_settings(const std::string &path)
{
    tools::text_file file = tools::read_text(path, FILE_MAX, "settings");
    return parse_settings(std::move(file.text), file.name);
}

} // namespace preview
