#include "tools/tcctl/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include <fmt/format.h>

#include "platform/linux/printable.h"
#include "tools/tcctl/command.h"

namespace tcctl
{

std::string shown(std::string_view text)
{
    std::string result;
    for (size_t i = 0; i < text.size();) {
        const size_t length = printable_character(text.data() + i, text.size() - i);
        if (length > 0)
            result.append(text, i, length);
        else if (text[i] == '\n')
            result += "\\n";
        else
            result += fmt::format("\\x{:02x}", static_cast<unsigned char>(text[i]));
        i += std::max<size_t>(length, 1);
    }
    return result;
}

bool has_colour()
{
    static const bool IS_WANTED = [] {
        const char *const no_color = std::getenv("NO_COLOR");
        return (no_color == nullptr || *no_color == '\0') && isatty(STDOUT_FILENO) != 0;
    }();
    return IS_WANTED;
}

static int code_of(colour which)
{
    switch (which) {
    case colour::RED:
        return 31;
    case colour::YELLOW:
        return 33;
    case colour::GREEN:
        return 32;
    case colour::CYAN:
        return 36;
    case colour::BOLD:
        return 1;
    }
    return 0;
}

std::string painted(colour which, std::string_view text)
{
    return has_colour() ? fmt::format("\033[{}m{}\033[m", code_of(which), text) : std::string(text);
}

int print(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        return fail(fmt::format("cannot write: {}", std::strerror(errno)));
    return WELL;
}

int fail(std::string_view why)
{
    fmt::print(stderr, "tcctl: {}\n", shown(why));
    return CANNOT;
}

} // namespace tcctl
