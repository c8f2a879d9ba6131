// What somebody probably meant to write.
#ifndef TOOLS_NEAREST_WORD_H
#define TOOLS_NEAREST_WORD_H

#include <cstddef>
#include <span>
#include <string_view>

// How many characters must be put in, taken out, replaced or swapped with their neighbour to make one of the other.
size_t word_distance(std::string_view one, std::string_view other);

// The one of `words` that is the fewest such changes away from `word`, the first of several; "" when none is within a
// third of the word's length, or when the nearest is the word itself.
std::string_view nearest_word(std::string_view word, std::span<const std::string_view> words);

#endif
