#include "tools/cfm/output.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

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

int called_wrongly(const std::string &why)
{
    std::fprintf(stderr, "%s\nRun with --help for more information.\n", shown(why, false).c_str());
    return CALLED_WRONGLY;
}

int print(const std::string &text)
{
    for (size_t done = 0; done < text.size();) {
        const ssize_t written = write(STDOUT_FILENO, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR)
            return fail(std::string("cannot write: ") + std::strerror(errno));
        done += written > 0 ? static_cast<size_t>(written) : 0;
    }
    return DONE;
}
