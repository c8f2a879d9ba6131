// Arguments for calls on files, made up by chance.
#ifndef TESTS_CONTRACT_PAIR_FILE_WORDS_H
#define TESTS_CONTRACT_PAIR_FILE_WORDS_H

#include "tests/contract/pair/pair.h"

namespace pair
{

constexpr int SLOTS = 4; // descriptors that a sequence has at a time

Words open_words(Random &random);
Words slot_words(Random &random);
Words size_words(Random &random);
Words read_words(Random &random);
Words text_words(Random &random);
Words mode_words(Random &random);
Words owner_words(Random &random);
Words name_words(Random &random);
Words two_names(Random &random);
Words link_words(Random &random);
Words set_words(Random &random);
Words readlink_words(Random &random);
Words plain_words(Random &random);

} // namespace pair

#endif
