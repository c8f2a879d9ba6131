#include "tests/contract/pair/file_words.h"

#include <fcntl.h>
#include <vector>

namespace pair
{
namespace
{

// Where files and links may lie: their folders are there.
std::string plain_name(Random &random)
{
    return random.pick({"a", "b", "l", "m", "d/a", "d/l", "d/e/a"});
}

std::string some_name(Random &random)
{
    static const std::string longest(255, 'n');
    static const std::string longer(256, 'n');
    if (!random.one_in(4))
        return plain_name(random);
    switch (random.below(12)) {
    case 0:
        return longest;
    case 1:
        return longer;
    case 2:
        return std::string(4200, 'p');
    case 3:
        return "";
    default:
        return random.pick({"d",       "d/",       "d/e",         "d/e/..",   "a/",     "l/",  "a/b",
                            "l/a",     "l/l",      "absent",      "absent/a", "d//a",   "./a", "d/./a",
                            "d/../a",  "d/e/../a", "absent/../a", "a/../b",   "l/../a", ".",   "d/.",
                            "absent/", "m/e/a",    "d/l/a",       "l/."});
    }
}

std::string slot(Random &random)
{
    return std::to_string(random.below(SLOTS));
}

} // namespace

Words open_words(Random &random)
{
    static const std::vector<int> ACCESS = {O_RDONLY, O_WRONLY, O_RDWR};
    static const std::vector<int> FLAGS = {O_CREAT,    O_CREAT | O_EXCL, O_TRUNC,   O_APPEND,
                                           O_NOFOLLOW, O_DIRECTORY,      O_CLOEXEC, O_NONBLOCK};
    int flags = random.pick(ACCESS);
    for (int i = random.below(4); i > 0; i--)
        flags |= random.pick(FLAGS);
    if ((flags & O_CREAT) != 0)
        flags &= ~O_DIRECTORY; // kernels differ in what both together are
    const std::string place = slot(random);
    const std::string name = some_name(random);
    return {place, name, std::to_string(flags),
            std::to_string(random.pick(std::vector<int>{0600, 0644, 0666, 0755, 0}))};
}

Words slot_words(Random &random)
{
    return {slot(random)};
}

Words size_words(Random &random)
{
    const std::string place = slot(random);
    return {place, std::to_string(random.one_in(10) ? random.below(2) - 1 : random.below(40))};
}

Words read_words(Random &random)
{
    const std::string place = slot(random);
    return {place, std::to_string(random.below(30))};
}

Words text_words(Random &random)
{
    const std::string place = slot(random);
    return {place, some_text(random, random.one_in(20) ? 3000 : 12)};
}

Words mode_words(Random &random)
{
    const std::string place = slot(random);
    return {place, std::to_string(random.below(01000))};
}

Words owner_words(Random &random)
{
    const std::string place = slot(random);
    const std::string user = random.pick({"0", "-1"});
    return {place, user, random.pick({"0", "-1"})};
}

Words name_words(Random &random)
{
    return {some_name(random)};
}

Words two_names(Random &random)
{
    const std::string from = some_name(random);
    return {from, some_name(random)};
}

Words link_words(Random &random)
{
    const std::string name = plain_name(random);
    return {name, random.pick({"a",
                               "b",
                               "d",
                               "d/a",
                               "l",
                               "m",
                               "d/l",
                               "../a",
                               "e/a",
                               "e",
                               ".",
                               "..",
                               "./a",
                               "d/",
                               "a/",
                               "absent",
                               "absent/a",
                               "/tmp/pair/scratch/a",
                               "/tmp/pair/scratch/d",
                               "/tmp/pair/scratch/l",
                               "../d/a",
                               "d//a"})};
}

Words set_words(Random &random)
{
    const std::string name = plain_name(random);
    return {name, some_text(random, 20)};
}

Words readlink_words(Random &random)
{
    const std::string name = some_name(random);
    return {name, std::to_string(random.pick(std::vector<int>{0, 1, 5, 100}))};
}

Words plain_words(Random &random)
{
    return {plain_name(random)};
}

} // namespace pair
