#include "router/dhttpd/report.h"

#include <cstring>
#include <gtest/gtest.h>

#include "router/dhttpd/fault_page.h"
#include "router/dhttpd/words.h"

using dhttpd::outcome;
using dhttpd::report;
using dhttpd::report_of;
using dhttpd::standing;

namespace
{

constexpr int64_t NOON = 1774000000;
enum { ONLINE = 0, NO_FAULT = 3, FAULT_GONE = 5, FAULT_LASTS = 8 };

status_reading reading_with(int32_t fault, uint8_t verdict)
{
    status_reading reading = {};
    reading.uptime = 5000;
    reading.calendar = NOON;
    reading.status.main.stoppage = {.fault = fault, .since_uptime = 4400};
    reading.status.main.stoppage_row.verdict = verdict;
    return reading;
}

TEST(DhttpdReport, HasTheFaultAndItsBeginning)
{
    for (int32_t fault = 1; fault <= 4; fault++) {
        const status_reading reading = reading_with(fault, FAULT_LASTS);
        const report told = report_of(&reading);
        EXPECT_EQ(told.what, outcome::FAULT);
        EXPECT_EQ(told.fault, static_cast<uint32_t>(fault));
        EXPECT_EQ(told.since, NOON - 600);
    }
}

TEST(DhttpdReport, HasNoTimeByAClockThatIsNotSet)
{
    status_reading reading = reading_with(1, FAULT_LASTS);
    reading.calendar = 600;
    EXPECT_EQ(report_of(&reading).since, 0);
}

TEST(DhttpdReport, TellsFaultsThatNobodyKnows)
{
    for (const int32_t fault : {0, -1, 5, 1000}) {
        const status_reading reading = reading_with(fault, NO_FAULT);
        EXPECT_EQ(report_of(&reading).what, outcome::FAULT) << fault;
        EXPECT_EQ(report_of(&reading).fault, 0U) << fault;
    }
}

TEST(DhttpdReport, IsWellWhenTheFaultIsOver)
{
    for (const uint8_t verdict : {ONLINE, FAULT_GONE}) {
        const status_reading reading = reading_with(0, verdict);
        EXPECT_EQ(report_of(&reading).what, outcome::WELL);
    }
    EXPECT_EQ(report_of(nullptr).what, outcome::UNTOLD);
}

TEST(DhttpdReport, HasEachLineWithWhatIsMissing)
{
    status_reading reading = reading_with(4, FAULT_LASTS);
    reading.status.wans.num = 7; // as nobody writes it
    memset(reading.status.wans.wan[0].interface, 'x', sizeof reading.status.wans.wan[0].interface);
    for (int verdict = 0; verdict < 256; verdict++) {
        reading.status.wans.wan[0].row.verdict = static_cast<uint8_t>(verdict);
        const report told = report_of(&reading);
        ASSERT_EQ(told.lines.size(), 2U);
        EXPECT_EQ(told.lines[0].interface, std::string(16, 'x'));
        const auto parts = dhttpd::parts_of(told.lines[0]);
        const bool is_known = verdict > 0 && verdict < 8;
        EXPECT_EQ(parts[0] == standing::UNKNOWN, !is_known) << verdict;
        const auto broken = std::count(parts.begin(), parts.end(), standing::BROKEN);
        EXPECT_EQ(broken, is_known && verdict < 6 ? 1 : 0) << verdict;
    }
}

TEST(DhttpdPage, HasWordsForEverythingInBothLanguages)
{
    for (const auto which : {dhttpd::language::ENGLISH, dhttpd::language::GERMAN}) {
        const dhttpd::words &in = dhttpd::words_in(which);
        for (const char *const text : in.states)
            EXPECT_NE(text, nullptr);
        for (const dhttpd::advice &each : in.faults) {
            EXPECT_NE(each.title, nullptr);
            EXPECT_NE(each.steps[0], nullptr);
        }
    }
    for (size_t i = 0; i < dhttpd::FAULTS; i++)
        EXPECT_STRNE(dhttpd::words_in(dhttpd::language::ENGLISH).faults[i].title,
                     dhttpd::words_in(dhttpd::language::GERMAN).faults[i].title);
}

TEST(DhttpdPage, NamesTheDayWhereItIsAnother)
{
    EXPECT_EQ(dhttpd::time_in(dhttpd::language::ENGLISH, NOON, NOON).size(), 5U);
    EXPECT_EQ(dhttpd::time_in(dhttpd::language::ENGLISH, NOON - 200000, NOON).size(), 16U);
    EXPECT_NE(dhttpd::time_in(dhttpd::language::GERMAN, NOON - 200000, NOON).find(".2026 "), std::string::npos);
}

} // namespace
