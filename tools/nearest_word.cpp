#include "tools/nearest_word.h"

#include <algorithm>
#include <vector>

size_t word_distance(std::string_view one, std::string_view other)
{
    std::vector<size_t> before(other.size() + 1); // the row of the character before the last
    std::vector<size_t> last(other.size() + 1);
    std::vector<size_t> row(other.size() + 1);
    for (size_t j = 0; j <= other.size(); j++)
        last[j] = j;
    for (size_t i = 1; i <= one.size(); i++) {
        row[0] = i;
        for (size_t j = 1; j <= other.size(); j++) {
            const bool is_same = one[i - 1] == other[j - 1];
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (is_same ? 0 : 1)});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = last;
        last = row;
    }
    return last[other.size()];
}

std::string_view nearest_word(std::string_view word, std::span<const std::string_view> words)
{
    std::string_view nearest;
    size_t fewest = std::max<size_t>(word.size() / 3, 1) + 1;
    for (const std::string_view each : words) {
        const size_t distance = word_distance(word, each);
        if (distance < fewest) {
            fewest = distance;
            nearest = each;
        }
    }
    return fewest == 0 ? std::string_view{} : nearest;
}
