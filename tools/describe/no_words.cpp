#include "tools/describe/words.h"

std::map<std::string, std::vector<std::string>> known_words()
{
    return {};
}
