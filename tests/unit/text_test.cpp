// Numbers and texts in fixed buffers, and text files read line by line.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "time_check/time_check_text.h"

using testing::ElementsAre;

namespace
{

// Every text of up to `length` characters of the alphabet.
void for_each_text(const std::string &alphabet, size_t length, const std::function<void(const std::string &)> &visit)
{
    std::vector<std::string> texts = {""};
    for (size_t first = 0, size = 0; size <= length; size++) {
        const size_t end = texts.size();
        for (size_t i = first; i < end; i++) {
            const std::string text = texts[i];
            visit(text);
            for (const char c : alphabet)
                texts.push_back(text + c);
        }
        first = end;
    }
}

// ---- numbers ----

// What the 32-bit device gives, written down from its rules.
int32_t leading_integer(const std::string &text)
{
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r')))
        i++;
    const bool negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+'))
        i++;
    int64_t number = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; i++)
        number = std::min<int64_t>(number * 10 + (text[i] - '0'), 1LL << 40);
    if (negative)
        number = -number;
    return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(number, INT32_MIN), INT32_MAX));
}

TEST(Number, IsTheLeadingInteger)
{
    EXPECT_EQ(time_check_atoi(""), 0);
    EXPECT_EQ(time_check_atoi("abc"), 0);
    EXPECT_EQ(time_check_atoi("12abc"), 12);
    EXPECT_EQ(time_check_atoi(" \t\n12"), 12);
    EXPECT_EQ(time_check_atoi("-12"), -12);
    EXPECT_EQ(time_check_atoi("+12"), 12);
    EXPECT_EQ(time_check_atoi("- 12"), 0);
    EXPECT_EQ(time_check_atoi("--12"), 0);
    EXPECT_EQ(time_check_atoi("0x10"), 0);
    EXPECT_EQ(time_check_atoi("010"), 10);
    EXPECT_EQ(time_check_atoi("1.9"), 1);
}

TEST(Number, SaturatesAtTheSigned32BitLimits)
{
    EXPECT_EQ(time_check_atoi("2147483646"), 2147483646);
    EXPECT_EQ(time_check_atoi("2147483647"), 2147483647);
    EXPECT_EQ(time_check_atoi("2147483648"), 2147483647);
    EXPECT_EQ(time_check_atoi("4294967296"), 2147483647);
    EXPECT_EQ(time_check_atoi("9223372036854775808"), 2147483647);
    EXPECT_EQ(time_check_atoi("99999999999999999999999999999999"), 2147483647);
    EXPECT_EQ(time_check_atoi("-2147483648"), INT32_MIN);
    EXPECT_EQ(time_check_atoi("-2147483649"), INT32_MIN);
    EXPECT_EQ(time_check_atoi("-99999999999999999999999999999999"), INT32_MIN);
}

TEST(Number, AllShortTextsFollowTheRule)
{
    for_each_text("019 \n+-.a", 4, [](const std::string &text) {
        ASSERT_EQ(time_check_atoi(text.c_str()), leading_integer(text)) << '"' << text << '"';
    });
}

// ---- copies ----

TEST(Copy, IsCutToTheBufferAndTerminated)
{
    char buffer[5] = {'#', '#', '#', '#', '#'};
    copy_text(buffer, 4, "abcdef");
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(buffer[4], '#');
    copy_text(buffer, 4, "abc");
    EXPECT_STREQ(buffer, "abc");
    copy_text(buffer, 4, "");
    EXPECT_STREQ(buffer, "");
    copy_text(buffer, 1, "abc");
    EXPECT_STREQ(buffer, "");
}

TEST(Copy, OfAPartTakesNoMoreThanThePart)
{
    char buffer[8];
    copy_text_n(buffer, sizeof buffer, "abcdef", 3);
    EXPECT_STREQ(buffer, "abc");
    copy_text_n(buffer, 3, "abcdef", 6);
    EXPECT_STREQ(buffer, "ab");
    copy_text_n(buffer, sizeof buffer, "abcdef", 0);
    EXPECT_STREQ(buffer, "");
}

TEST(Column, IsTheNumberedRunOfNonBlanks)
{
    char buffer[16];
    EXPECT_TRUE(copy_column(buffer, sizeof buffer, "192.168.0.2  0x1\t0x2 aa", 3));
    EXPECT_STREQ(buffer, "0x2");
    EXPECT_FALSE(copy_column(buffer, sizeof buffer, "one two", 3));
    EXPECT_STREQ(buffer, "");
}

TEST(Column, AllShortTextsFollowTheRule)
{
    for_each_text("ab \t", 6, [](const std::string &text) {
        std::istringstream words(text);
        for (unsigned number = 1; number <= 4; number++) {
            std::string word;
            words >> word;
            if (!words)
                word.clear();
            for (const size_t size : {1U, 2U, 3U, 8U}) {
                char buffer[9] = "########";
                const bool found = copy_column(buffer, size, text.c_str(), number);
                ASSERT_EQ(found, !word.empty()) << '"' << text << "\" " << number;
                ASSERT_EQ(buffer, word.substr(0, size - 1)) << '"' << text << "\" " << number;
            }
        }
    });
}

// ---- quoting for the shell ----

// What a shell makes of one word of ours, or "?" when it is more or less than one plain or single-quoted word.
std::string shell_word(const std::string &word)
{
    std::string text;
    bool quoted = false;
    for (size_t i = 0; i < word.size(); i++) {
        if (word[i] == '\'')
            quoted = !quoted;
        else if (quoted)
            text += word[i];
        else if (word[i] == '\\' && i + 1 < word.size() && word[i + 1] == '\'')
            text += word[++i];
        else if (std::string("ABCabc019_@%+=:,./-").find(word[i]) == std::string::npos)
            return "?";
        else
            text += word[i];
    }
    return quoted ? "?" : text;
}

TEST(ShellText, PlainTextsStayAsTheyAre)
{
    char buffer[shell_quoted_size(128)];
    const std::string plain = "ABCXYZabcxyz0123456789_@%+=:,./-";
    EXPECT_EQ(shell_quoted(buffer, sizeof buffer, plain.c_str()), plain);
    EXPECT_STREQ(shell_quoted(buffer, sizeof buffer, ""), "");
}

TEST(ShellText, EverythingElseIsQuoted)
{
    char buffer[shell_quoted_size(128)];
    EXPECT_STREQ(shell_quoted(buffer, sizeof buffer, "a b"), "'a b'");
    EXPECT_STREQ(shell_quoted(buffer, sizeof buffer, "$(reboot)"), "'$(reboot)'");
    EXPECT_STREQ(shell_quoted(buffer, sizeof buffer, "it's"), "'it'\\''s'");
    EXPECT_STREQ(shell_quoted(buffer, sizeof buffer, "a;b"), "'a;b'");
    EXPECT_STREQ(shell_quoted(buffer, sizeof buffer, "~"), "'~'");
    EXPECT_STREQ(shell_quoted(buffer, sizeof buffer, "caf\xc3\xa9"), "'caf\xc3\xa9'");
}

TEST(ShellText, TheShellReadsBackEveryShortText)
{
    char buffer[shell_quoted_size(6)];
    for_each_text("a'$ \\", 5, [&buffer](const std::string &text) {
        ASSERT_EQ(shell_word(shell_quoted(buffer, sizeof buffer, text.c_str())), text);
    });
}

TEST(ShellText, WhatDoesNotFitIsCutWithTheQuotesClosed)
{
    for_each_text("a' ", 6, [](const std::string &text) {
        for (size_t size = 4; size < 12; size++) {
            char buffer[13] = "############";
            const std::string word = shell_quoted(buffer, size, text.c_str());
            ASSERT_LT(word.size(), size);
            ASSERT_EQ(text.find(shell_word(word)), 0U) << '"' << text << "\" " << size;
        }
    });
}

TEST(ShellText, ARealShellReadsBackEveryByte)
{
    std::string text;
    for (int c = 1; c < 256; c++)
        text += static_cast<char>(c);
    char buffer[shell_quoted_size(256)];
    const std::string command = std::string("printf %s ") + shell_quoted(buffer, sizeof buffer, text.c_str());
    const std::unique_ptr<FILE, int (*)(FILE *)> shell(popen(command.c_str(), "r"), pclose);
    ASSERT_NE(shell, nullptr);
    char read_back[512];
    const size_t got = fread(read_back, 1, sizeof read_back, shell.get());
    EXPECT_EQ(std::string(read_back, got), text);
}

// ---- lines of a file ----

class FileLines : public RouterTest
{
protected:
    static constexpr char path[] = "/etc/lines";

    std::vector<std::string> read_all(const std::string &text, size_t size)
    {
        box.files.set(path, text);
        std::vector<std::string> lines;
        line_reader reader;
        EXPECT_TRUE(open_lines(&reader, path));
        std::vector<char> line(size + 1, '#');
        while (read_line(&reader, line.data(), size))
            lines.emplace_back(line.data());
        EXPECT_EQ(line[size], '#');
        EXPECT_FALSE(reader.failed);
        close_lines(&reader);
        return lines;
    }
};

TEST_F(FileLines, AnAbsentFileCannotBeOpened)
{
    line_reader reader;
    box.files.set_missing(path);
    EXPECT_FALSE(open_lines(&reader, path));
}

TEST_F(FileLines, KeepTheirEnds)
{
    EXPECT_THAT(read_all("one\ntwo\n", 16), ElementsAre("one\n", "two\n"));
    EXPECT_THAT(read_all("one\n\ntwo", 16), ElementsAre("one\n", "\n", "two"));
    EXPECT_THAT(read_all("", 16), ElementsAre());
}

TEST_F(FileLines, ALongLineComesInPieces)
{
    EXPECT_THAT(read_all("abcdefg\nx\n", 4), ElementsAre("abc", "def", "g\n", "x\n"));
    EXPECT_THAT(read_all("abc\n", 4), ElementsAre("abc", "\n"));
}

TEST_F(FileLines, NothingIsLostAtTheReadersOwnBuffer)
{
    for (size_t length = 500; length < 520; length++) {
        const std::string text = std::string(length, 'a') + "\n" + std::string(600, 'b') + "\nend";
        std::string joined;
        for (const std::string &line : read_all(text, 100))
            joined += line;
        ASSERT_EQ(joined, text);
    }
}

TEST_F(FileLines, AFailingReadEndsTheFileAndIsTold)
{
    box.files.set(path, "one\ntwo\n");
    line_reader reader;
    char line[16];
    box.faults.fail("read", 1, EIO);
    ASSERT_TRUE(open_lines(&reader, path));
    EXPECT_FALSE(read_line(&reader, line, sizeof line));
    EXPECT_TRUE(reader.failed);
    EXPECT_STREQ(line, "");
    close_lines(&reader);
}

TEST_F(FileLines, AReaderForgetsTheFailureOfItsLastFile)
{
    box.files.set(path, "one\n");
    line_reader reader;
    reader.failed = true;
    ASSERT_TRUE(open_lines(&reader, path));
    EXPECT_FALSE(reader.failed);
    close_lines(&reader);
}

TEST_F(FileLines, AnInterruptedReadGoesOn)
{
    box.files.set(path, "one\n");
    line_reader reader;
    char line[16];
    box.faults.fail("read", 1, EINTR);
    ASSERT_TRUE(open_lines(&reader, path));
    EXPECT_TRUE(read_line(&reader, line, sizeof line));
    EXPECT_STREQ(line, "one\n");
    close_lines(&reader);
}

TEST_F(FileLines, TheFileIsClosed)
{
    read_all("one\n", 16);
    EXPECT_THAT(box.open_descriptors(), testing::IsEmpty());
}

} // namespace
