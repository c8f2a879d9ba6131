#include "tools/cfm/output.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/linux/printable.h"

std::string shown(const std::string &text, bool has_lines)
{
    std::string result;
    for (size_t i = 0; i < text.size();) {
        size_t length = printable_character(text.data() + i, text.size() - i);
        if (length == 0 && has_lines && text[i] == '\n')
            length = 1;
        if (length > 0) {
            result.append(text, i, length);
        } else {
            std::array<char, 8> escape = {};
            std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned>(text[i]) & 0xFFU);
            result += text[i] == '\n' ? "\\n" : escape.data();
        }
        i += std::max<size_t>(length, 1);
    }
    return result;
}

void tell(const std::string &line)
{
    std::fprintf(stderr, "cfm: %s\n", shown(line, false).c_str());
}

int fail(const std::string &why)
{
    tell(why);
    return FAILED;
}

int print(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        return fail(std::string("cannot write: ") + std::strerror(errno));
    return DONE;
}
