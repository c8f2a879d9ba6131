#include "platform/linux/printable.h"

#include <cstdint>

size_t printable_character(const char *text, size_t length)
{
    // The least that a character of so many bytes stands for. Two bytes could hold the C1 controls, which are as good
    // as escape sequences, and a lenient terminal also takes them in more bytes than they need.
    static constexpr uint32_t LEAST[] = {' ', 0xA0, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0xC0)
        return first >= ' ' && first < 0x7F ? 1 : 0;
    const size_t more = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    if (first >= 0xF8 || more >= length)
        return 0;
    uint32_t character = first & (0x3FU >> more);
    for (size_t i = 1; i <= more; i++) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            return 0;
        character = character << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
    }
    return character >= LEAST[more] ? more + 1 : 0;
}

void make_printable(char *text, size_t length)
{
    for (size_t i = 0; i < length;) {
        const size_t shown = printable_character(text + i, length - i);
        if (shown == 0)
            text[i] = '?';
        i += shown == 0 ? 1 : shown;
    }
}
