#include "tools/store_settings.h"

#include <algorithm>
#include <string_view>

#include "platform/linux/store/admin.h"

namespace
{

bool append(void *text, const char *piece, size_t length)
{
    static_cast<std::string *>(text)->append(piece, length);
    return true;
}

// Comments are passed over.
settings taken_apart(std::string_view text)
{
    settings found;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() + 1); // every line has its end
        const size_t equals = line.find('=');
        if (line[0] != '#' && equals != std::string_view::npos)
            found.emplace_hint(found.end(), line.substr(0, equals), line.substr(equals + 1));
    }
    return found;
}

// Of the keys that only one of them has as well.
size_t differences(const settings &one, const settings &other)
{
    const auto is_other = [](const settings &among, const settings::value_type &setting) {
        const auto found = among.find(setting.first);
        return found == among.end() || found->second != setting.second;
    };
    const auto changed =
        std::ranges::count_if(one, [&](const settings::value_type &each) { return is_other(other, each); });
    const auto gone =
        std::ranges::count_if(other, [&](const settings::value_type &each) { return !one.contains(each.first); });
    return static_cast<size_t>(changed + gone);
}

// As a commit writes them, and as one did.
std::optional<size_t> count_uncommitted()
{
    std::string running;
    std::string committed;
    if (!config_store_export(append, &running) || !config_store_committed(append, &committed))
        return std::nullopt;
    return running == committed ? 0 : differences(taken_apart(running), taken_apart(committed));
}

} // namespace

bool read_running(const std::string &prefix, settings &found)
{
    std::string text;
    if (!config_store_list(prefix.c_str(), append, &text))
        return false;
    found = taken_apart(text);
    return true;
}

bool read_settings(settings &found)
{
    std::string text;
    if (!config_store_export(append, &text))
        return false;
    found = taken_apart(text);
    return true;
}

bool read_committed(settings &found)
{
    std::string text;
    if (!config_store_committed(append, &text))
        return false;
    found = taken_apart(text);
    return true;
}

std::optional<size_t> uncommitted_settings()
{
    if (!config_store_is_there())
        return std::nullopt;
    const bool is_noted = config_store_is_noted();
    const std::optional<size_t> found = is_noted ? 0 : count_uncommitted();
    config_store_close();
    if (!is_noted && found == 0) {
        config_store_note();
        config_store_close();
    }
    return found;
}
