#include "tools/cfm/settings.h"

#include <cstdlib>

#include "platform/linux/run_directory.h"
#include "platform/linux/store/admin.h"
#include "tools/cfm/output.h"
#include "tools/key_table.h"

namespace
{

// The byte that an escape stands for; `from` is moved behind it.
char unescaped(std::string_view text, size_t &from)
{
    const char letter = text[from++];
    switch (letter) {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case 'x':
        from += 2;
        return static_cast<char>(std::strtol(std::string(text.substr(from - 2, 2)).c_str(), nullptr, 16));
    default:
        return letter;
    }
}

} // namespace

bool open_store(bool (*opens)())
{
    const bool was_there = config_store_is_there();
    if (!opens())
        return false;
    if (!was_there)
        tell(std::string("no store was in ") + run_directory() + ": a new one is made there");
    return true;
}

std::string decoded(std::string_view text)
{
    std::string result;
    for (size_t i = 0; i < text.size();) {
        const char c = text[i++];
        result += c == '\\' ? unescaped(text, i) : c;
    }
    return result;
}

std::string_view shown_value(const settings::value_type &setting, bool secrets)
{
    if (secrets || setting.second.empty())
        return setting.second;
    const std::optional<keys::row> row = keys::find_bare(decoded(setting.first));
    if (row && row->kind == keys::kind::secret)
        return "***";
    return setting.second;
}
