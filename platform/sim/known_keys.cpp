#include "platform/sim/known_keys.h"

#include <algorithm>
#include <cctype>

namespace sim
{

static constexpr const char *TABLE[] = {
#define CONFIG_KEY(NAME, key, ...) key,
#include "platform/config_keys.def"
};

static size_t digits(std::string_view text)
{
    if (text.empty() || text.front() == '0')
        return 0;
    const auto *const end = std::ranges::find_if_not(text, [](unsigned char sign) { return isdigit(sign) != 0; });
    return static_cast<size_t>(end - text.begin());
}

bool matches_key(const char *row, std::string_view key)
{
    for (; *row != '\0'; row++) {
        if (row[0] == '%' && row[1] == 's') {
            const std::string_view rest(row + 2);
            return key.size() > rest.size() && key.ends_with(rest);
        }
        const size_t length = *row == '%' ? digits(key) : static_cast<size_t>(key.starts_with(*row));
        if (length == 0)
            return false;
        if (*row == '%')
            row++; // the conversion's letter
        key.remove_prefix(length);
    }
    return key.empty();
}

bool is_known_key(std::string_view key)
{
    return std::ranges::any_of(TABLE, [key](const char *row) { return matches_key(row, key); });
}

} // namespace sim
