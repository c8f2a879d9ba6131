// Small tools for texts.
#ifndef TOOLS_TCCTL_WORDS_H
#define TOOLS_TCCTL_WORDS_H

#include <string>
#include <string_view>

namespace tcctl
{

// The letters A to Z as small ones.
std::string lower(std::string_view text);

// The one of "open|close|time" that was probably meant; "" when none is near.
std::string meant_word(std::string_view range, std::string_view value);

} // namespace tcctl

#endif
