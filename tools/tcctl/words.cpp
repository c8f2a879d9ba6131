#include "tools/tcctl/words.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "tools/nearest_word.h"

namespace tcctl
{

std::string lower(std::string_view text)
{
    std::string result(text);
    for (char &c : result)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return result;
}

std::string meant_word(std::string_view range, std::string_view value)
{
    std::vector<std::string_view> words;
    while (!range.empty()) {
        words.push_back(range.substr(0, range.find('|')));
        range.remove_prefix(std::min(range.size(), words.back().size() + 1));
    }
    for (const std::string_view word : words)
        if (lower(word) == lower(value))
            return std::string(word);
    return std::string(nearest_word(lower(value), words));
}

} // namespace tcctl
