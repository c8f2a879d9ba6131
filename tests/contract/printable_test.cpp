// What may be shown on a terminal, and what is put in the place of the rest.
#include "platform/linux/printable.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace
{

std::string printable(std::string text)
{
    make_printable(text.data(), text.size());
    return text;
}

TEST(Printable, LettersOfAnyLanguageStay)
{
    for (const char *text : {"", "plain ~text", "\u00a0\u00fc\u07ff", "\u0800\u20ac\uffee", "\U00010000\U0001f4e1"})
        EXPECT_EQ(printable(text), text);
}

TEST(Printable, ControlsAreReplaced)
{
    EXPECT_EQ(printable(std::string("a\0b\nc\rd\te\033[2Jf\177g", 16)), "a?b?c?d?e?[2Jf?g");
}

TEST(Printable, C1ControlsAreReplacedInEveryForm)
{
    EXPECT_EQ(printable("\x80\x9b\x9f"), "???");
    EXPECT_EQ(printable("a\u0080\u009b\u009fb"), "a??????b");
    EXPECT_EQ(printable("\xc1\x9b|\xe0\x82\x9b|\xf0\x80\x82\x9b"), "??|???|????") << "in more bytes than they need";
}

TEST(Printable, BytesThatAreNoTextAreReplacedOneByOne)
{
    EXPECT_EQ(printable("\xff\xfe|\xc3|\xc3\xc3\xa4|\xe2\x82|\xf8\x90\x90\x90\x90"), "??|?|?\u00e4|??|?????");
    EXPECT_EQ(printable("cut \xe2\x82"), "cut ??");
    EXPECT_EQ(printable("cut \xf0"), "cut ?");
}

TEST(Printable, NothingBehindTheTextIsLookedAt)
{
    const char bytes[] = {'\xe2', '\x82', '\xac'};
    EXPECT_EQ(printable_character(bytes, 3), 3U);
    EXPECT_EQ(printable_character(bytes, 2), 0U);
    EXPECT_EQ(printable_character(bytes, 1), 0U);
}

} // namespace
