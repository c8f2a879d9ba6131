// The commands that print many settings.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "platform/linux/printable.h"
#include "platform/linux/store/admin.h"
#include "tools/cfm/commands.h"
#include "tools/cfm/output.h"
#include "tools/cfm/settings.h"
#include "tools/key_table.h"

// The store is closed before anything is printed: whoever reads the output may take his time, and there are only some
// hundred places for processes that look at the store.

namespace
{

// ---- JSON ----

// A character of UTF-8: how many bytes it takes, and its code point. 0 bytes: the first byte begins none.
struct character {
    size_t length;
    uint32_t code;
};

character character_at(std::string_view text)
{
    static constexpr std::array<uint32_t, 5> LEAST = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80)
        return {1, first};
    const size_t length = first < 0xC0 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF8 ? 4 : 0;
    if (length == 0 || text.size() < length)
        return {0, 0};
    uint32_t code = first & (0x7FU >> length);
    for (size_t i = 1; i < length; i++) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80)
            return {0, 0};
        code = code << 6 | (byte & 0x3FU);
    }
    const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < LEAST[length] || code > 0x10FFFF || is_surrogate ? character{0, 0} : character{length, code};
}

// "\u0007"; in two parts beyond the first 65536.
std::string json_escape(uint32_t code)
{
    std::array<char, 16> escape = {};
    if (code < 0x10000)
        std::snprintf(escape.data(), escape.size(), "\\u%04x", code);
    else
        std::snprintf(escape.data(), escape.size(), "\\u%04x\\u%04x", 0xD7C0 + (code >> 10), 0xDC00 + (code & 0x3FF));
    return escape.data();
}

// Bytes that are no UTF-8 become the text "\xHH": JSON has no way to say them (decision 0151).
std::string json_text(const std::string &text)
{
    std::string result = "\"";
    for (std::string_view rest = text; !rest.empty();) {
        const character next = character_at(rest);
        const std::string bytes(rest.substr(0, std::max<size_t>(next.length, 1)));
        if (next.length == 0)
            result += "\\" + shown(bytes, false);
        else if (next.code == '"' || next.code == '\\')
            result += "\\" + bytes;
        else
            result += printable_character(bytes.data(), bytes.size()) > 0 ? bytes : json_escape(next.code);
        rest.remove_prefix(bytes.size());
    }
    return result + '"';
}

std::string json_object(const settings &listed, bool secrets)
{
    std::string text = "{";
    for (const settings::value_type &setting : listed) {
        text += text.size() == 1 ? "\n  " : ",\n  ";
        text += json_text(decoded(setting.first)) + ": " + json_text(decoded(shown_value(setting, secrets)));
    }
    return text + (listed.empty() ? "}\n" : "\n}\n");
}

// ---- which keys ----

enum class sort { SETTING, STATE, PUBLISHED };

// What the table of keys does not know belongs to another program, and is committed: a setting.
sort sort_of(const std::string &key)
{
    const std::optional<keys::row> row = keys::find_bare(decoded(key));
    if (!row)
        return sort::SETTING;
    if (row->kind == keys::kind::published)
        return sort::PUBLISHED;
    return row->kind == keys::kind::state ? sort::STATE : sort::SETTING;
}

bool is_same_in(const settings &others, const settings::value_type &setting)
{
    const auto found = others.find(setting.first);
    return found != others.end() && found->second == setting.second;
}

// What is published is never committed, and does not count as changed.
bool is_chosen(const list_choice &choice, const settings &committed, const settings::value_type &setting)
{
    if (!choice.settings && !choice.state && !choice.changed)
        return true;
    const sort found = sort_of(setting.first);
    if (choice.settings != choice.state && choice.settings != (found == sort::SETTING))
        return false;
    return !choice.changed || (found != sort::PUBLISHED && !is_same_in(committed, setting));
}

std::string line_of(const settings::value_type &setting, bool secrets)
{
    std::string line = setting.first + '=';
    line += shown_value(setting, secrets);
    return line + '\n';
}

} // namespace

int list(const list_choice &choice)
{
    settings listed;
    settings committed;
    const bool is_read =
        open_store() && read_running(choice.prefix, listed) && (!choice.changed || read_committed(committed));
    config_store_close();
    if (!is_read)
        return FAILED;
    std::erase_if(listed, [&](const auto &setting) { return !is_chosen(choice, committed, setting); });
    if (choice.json)
        return print(json_object(listed, choice.secrets));
    std::string text;
    for (const settings::value_type &setting : listed)
        text += line_of(setting, choice.secrets);
    return print(shown(text, true));
}

int diff(bool secrets)
{
    settings running;
    settings committed;
    const bool is_read = open_store() && read_settings(running) && read_committed(committed);
    config_store_close();
    if (!is_read)
        return TROUBLE;
    settings all = committed;
    all.insert(running.begin(), running.end());
    std::string text;
    for (const auto &[key, value] : all) {
        const auto old = committed.find(key);
        const auto now = running.find(key);
        if (old != committed.end() && !is_same_in(running, *old))
            text += '-' + line_of(*old, secrets);
        if (now != running.end() && !is_same_in(committed, *now))
            text += '+' + line_of(*now, secrets);
    }
    if (print(shown(text, true)) != DONE)
        return TROUBLE;
    return text.empty() ? DONE : DIFFERENT;
}
