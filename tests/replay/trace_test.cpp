// The form of a trace: what is read, what is written, and where a mistake is.
#include <gtest/gtest.h>

#include "tools/replay/trace.h"

using replay::kind;
using replay::parse;
using replay::SECOND;

namespace
{

constexpr std::string_view HEAD = "time_check trace 1\n";
constexpr std::string_view FIRST = "2026-03-02T23:00:00Z +7200 ";

replay::trace trace_of(const std::string &lines)
{
    return parse(std::string(HEAD) + std::string(FIRST) + lines, "t");
}

// What is thrown for a trace whose first line begins as FIRST and goes on so.
std::string complaint(const std::string &text)
{
    try {
        parse(text, "t");
    } catch (const replay::refused &refusal) {
        return refusal.what();
    }
    return "";
}

std::string complaint_of(const std::string &lines)
{
    return complaint(std::string(HEAD) + std::string(FIRST) + lines);
}

TEST(Moments, AreReadWithTheirOffset)
{
    const auto noon = replay::read_moment("2026-03-02T12:00:00Z");
    ASSERT_TRUE(noon);
    EXPECT_EQ(*noon, 1772452800 * SECOND);
    EXPECT_EQ(replay::read_moment("2026-03-02T13:30:00+01:30"), noon);
    EXPECT_EQ(replay::read_moment("2026-03-02T09:00:00-03:00"), noon);
    EXPECT_EQ(replay::read_moment("2026-03-02T12:00:00.25Z"), *noon + SECOND / 4);
}

TEST(Moments, ThatAreNoneAreNotRead)
{
    for (const char *text :
         {"", "2026-02-30T12:00:00Z", "2026-03-02 12:00:00Z", "2026-03-02T24:00:00Z", "2026-03-02T12:00:00",
          "2026-03-02T12:00:00.Z", "2026-03-02T12:00:00.1234567Z", "2026-03-02T12:00:00+1:00", "2026-03-02T12:00:00ZZ",
          "1970-01-01T00:00:00+01:00", "2200-01-01T00:00:00Z", "+026-03-02T12:00:00Z"})
        EXPECT_FALSE(replay::read_moment(text)) << text;
}

TEST(Moments, AreWrittenAsTheyAreRead)
{
    for (const char *text : {"2026-03-02T12:00:00Z", "1970-01-01T00:00:00.000001Z", "2199-12-31T23:59:59.5Z"})
        EXPECT_EQ(replay::moment_text(*replay::read_moment(text)), text);
    EXPECT_EQ(replay::moment_text(*replay::read_moment("2026-03-02T12:00:00Z"), -12600), "2026-03-02T08:30:00-03:30");
}

TEST(Trace, HoldsChangesWithTheirTimes)
{
    const replay::trace told = trace_of("link 1 up\n"
                                        "# nothing\n"
                                        "\n"
                                        "2026-03-02T23:00:01.5Z address eth1 -\n"
                                        "2026-03-02T23:00:02Z +7202 set a\\x20b=c d \\\\ \\n=\n"
                                        "2026-03-02T23:00:03Z message web 6?op=1,string_info=x y\n"
                                        "2026-03-02T23:00:03Z answers * eth1 no\n");
    EXPECT_EQ(told.begin, 1772492400 * SECOND);
    EXPECT_EQ(told.uptime, 7200 * SECOND);
    EXPECT_EQ(told.length, 3 * SECOND);
    const std::vector<replay::change> wanted = {
        {.elapsed = 0, .what = kind::link, .words = {"1", "up"}, .uptime = 7200 * SECOND},
        {.elapsed = SECOND * 3 / 2, .what = kind::address, .words = {"eth1", ""}},
        {.elapsed = 2 * SECOND, .what = kind::set, .words = {"a b", "c d \\ \n="}, .uptime = 7202 * SECOND},
        {.elapsed = 3 * SECOND, .what = kind::message, .words = {"web", "6?op=1,string_info=x y"}},
        {.elapsed = 3 * SECOND, .what = kind::answers, .words = {"", "eth1", "no"}},
    };
    EXPECT_EQ(told.changes, wanted);
}

TEST(Trace, TakesTheClockOnWhereAChangeOfItLeftIt)
{
    const replay::trace told = trace_of("clock 2026-01-01T00:00:00Z\n2026-01-01T00:00:10Z +7210 end\n");
    EXPECT_EQ(told.changes.back().elapsed, 10 * SECOND);
}

TEST(Trace, MayTellThatTheRouterStarted)
{
    EXPECT_EQ(trace_of("commit\n2026-03-02T23:10:00Z +30 end\n").length, 600 * SECOND);
}

TEST(Trace, IsWrittenAsItIsRead)
{
    const std::string line =
        replay::line_of(1772492400 * SECOND, 3600, 7200 * SECOND + SECOND / 2, kind::save, {"a b", " c=\xc3\xa4\x01"});
    EXPECT_EQ(line, "2026-03-03T00:00:00+01:00 +7200.5 save a\\x20b= c=\xc3\xa4\\x01\n");
    const replay::trace told = parse(std::string(HEAD) + line, "t");
    EXPECT_EQ(told.changes.at(0).words, (std::vector<std::string>{"a b", " c=\xc3\xa4\x01"}));
    EXPECT_EQ(replay::line_of(0, 0, -1, kind::answers, {"", "*", "yes"}), "1970-01-01T00:00:00Z answers * \\x2a yes\n");
}

TEST(Mistakes, OfTheFirstLine)
{
    EXPECT_EQ(complaint(""), "t:1:1: no trace: its first line is not \"time_check trace 1\"");
    EXPECT_EQ(complaint("time_check trace 2\n"), "t:1:1: no trace: its first line is not \"time_check trace 1\"");
    EXPECT_EQ(complaint(std::string(HEAD)), "t:1:1: the trace has no line that says what changed");
}

TEST(Mistakes, OfTimes)
{
    EXPECT_EQ(complaint(std::string(HEAD) + "now end\n"),
              "t:2:1: no moment such as 2026-03-02T23:00:00Z or 2026-03-02T23:00:00+01:00");
    EXPECT_EQ(complaint(std::string(HEAD) + "2026-03-02T23:00:00Z end\n"),
              "t:2:1: the first line tells the up-time, too, such as +7200");
    EXPECT_EQ(complaint(std::string(HEAD) + "2026-03-02T23:00:00Z +x end\n"),
              "t:2:22: no up-time in seconds, such as +7200 or +7200.25");
    EXPECT_EQ(complaint_of("commit\n2026-03-02T22:00:00Z end\n"), "t:3:1: this is before the line above");
    EXPECT_EQ(complaint_of("commit\n2046-03-02T22:00:00Z end\n"), "t:3:1: more than ten years since the first line");
    EXPECT_EQ(
        complaint_of("commit\n2026-03-02T23:01:00Z +9000 end\n"),
        "t:3:22: the up-time is +7260 by the lines above: the clock was changed, which a line with clock tells, or "
        "the router started, and the up-time is less");
    EXPECT_EQ(complaint_of("end\n2026-03-02T23:01:00Z commit\n"), "t:3:22: the trace went to its end above");
}

TEST(Mistakes, OfWords)
{
    EXPECT_EQ(complaint_of("lnik 1 up\n"), "t:2:28: no kind of change: lnik");
    EXPECT_EQ(complaint_of("\n"), "t:2:28: the line ends without saying what changed");
    EXPECT_EQ(complaint_of("link 1 on\n"), "t:2:35: neither up nor down");
    EXPECT_EQ(complaint_of("link 0 up\n"), "t:2:33: no number from 1 to 1000000");
    EXPECT_EQ(complaint_of("link 1\n"), "t:2:34: link has more words than these");
    EXPECT_EQ(complaint_of("link 1 up down\n"), "t:2:38: link has fewer words than these");
    EXPECT_EQ(complaint_of("host 192.0.2.1 -1 2\n"), "t:2:43: no number of bytes, 0 to 18446744073709551615");
    EXPECT_EQ(complaint_of("cpu httpd 12.345\n"), "t:2:38: no number of per cent with two decimals at most");
    EXPECT_EQ(complaint_of("set abc\n"), "t:2:35: no '=' between key and value");
    EXPECT_EQ(complaint_of("set =1\n"), "t:2:32: the key is empty");
    EXPECT_EQ(complaint_of("set a=\\q\n"), "t:2:34: a backslash that begins no escape");
    EXPECT_EQ(complaint_of("set a=b\\x00\n"), "t:2:35: a backslash that begins no escape");
    EXPECT_EQ(complaint_of("set a=\tb\n"), "t:2:34: a control character");
    EXPECT_EQ(complaint_of("zone ../../etc/passwd\n"), "t:2:33: no time zone");
}

} // namespace
