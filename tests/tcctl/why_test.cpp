// What tcctl says of each verdict that there is.
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "platform/status.h"
#include "tools/tcctl/explain.h"
#include "tools/tcctl/times.h"

namespace
{

constexpr tcctl::judged_second NOW = {.calendar = 1772593953, .uptime = 400000};

// A page on which every module has its `number`-th verdict.
time_check_status page_of(uint8_t number)
{
    time_check_status page = {};
    for (status_row &row : page.main.rows)
        row.verdict = number;
    page.main.stoppage_row.verdict = number;
    page.main.cpu.enabled = 1;
    page.main.daemon.enabled = 1;
    for (status_watchdog *dog : {&page.main.cpu, &page.main.daemon}) {
        dog->num = 1;
        dog->programs[0].verdict = number;
    }
    page.main.led.setting = 2;
    page.wans.num = 2;
    for (status_wan &wan : page.wans.wan) {
        wan.looked = NOW.calendar - 1;
        wan.row.verdict = number;
    }
    return page;
}

void expect_in_order(const tcctl::explanation &told)
{
    EXPECT_FALSE(told.gates.empty()) << told.module << " " << told.verdict;
    EXPECT_FALSE(told.meaning.empty()) << told.module << " " << told.verdict;
    for (size_t i = 0; i + 1 < told.gates.size(); i++)
        EXPECT_TRUE(told.gates[i].is_open) << told.module << " " << told.verdict << " " << told.gates[i].name;
}

TEST(Why, EachVerdictHasGatesOfWhichTheLastAloneMayBeClosed)
{
    constexpr uint8_t MOST_VERDICTS = 30;
    for (uint8_t number = 0; number < MOST_VERDICTS; number++) {
        const time_check_status page = page_of(number);
        for (const std::string_view module : tcctl::module_names()) {
            const tcctl::explanation told = tcctl::explain(page, NOW, module);
            EXPECT_EQ(told.module, module);
            if (!told.verdict.empty())
                expect_in_order(told);
            for (const tcctl::explanation &program : tcctl::explain_programs(page, NOW, module))
                if (!program.verdict.empty())
                    expect_in_order(program);
        }
    }
}

// What no reader knows is said so, and nothing is read beyond the tables.
TEST(Why, APageOfNonsenseIsNotExplained)
{
    time_check_status page = page_of(STATUS_UNJUDGED);
    page.main.wifi.num = 4000000000U;
    page.main.led.num = 21;
    page.main.cpu.num = 11;
    page.main.stoppage.fault = -5;
    page.main.guest.limit = INT32_MIN;
    page.main.reboot.start = 4294967295U;
    for (const std::string_view module : tcctl::module_names()) {
        const tcctl::explanation told = tcctl::explain(page, NOW, module);
        const bool is_watchdog = module == "cpu" || module == "daemon";
        EXPECT_EQ(told.verdict.empty(), !is_watchdog) << module;
        EXPECT_TRUE(told.gates.empty() || is_watchdog) << module;
        EXPECT_FALSE(told.next.has_value()) << module;
    }
    EXPECT_EQ(tcctl::explain_programs(page, NOW, "cpu").size(), 10U);
}

std::string sentence(const tcctl::gate &gate)
{
    return gate.question + ": " + (gate.is_open ? "yes" : "NO") + (gate.detail.empty() ? "" : ", " + gate.detail);
}

class Counting : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("TZ", "UTC0", 1);
        tzset();
        page.main.rows[STATUS_REBOOT].verdict = static_cast<uint8_t>(tcctl::reboot::counting_quiet);
        page.main.reboot.enabled = 1;
        page.main.reboot.type = 1;
        page.main.reboot.start = 3 * 3600;
        page.main.reboot.end = 5 * 3600;
        page.main.reboot.quiet.sampled = FOUR + 740;
        page.main.reboot.quiet.busy = FOUR + 501;
        page.main.reboot.quiet.busy_received = 41000;
        page.main.reboot.quiet.limit = 5000;
        page.main.reboot.quiet.low = 212;
    }

    static constexpr int64_t FOUR = 1772596800; // 2026-03-04 04:00:00
    time_check_status page = {};
};

TEST_F(Counting, NamesEachInputAndTheEarliestRestart)
{
    const tcctl::explanation told = tcctl::explain(page, {.calendar = FOUR + 720, .uptime = 15000}, "reboot");
    ASSERT_EQ(told.gates.size(), 7U);
    EXPECT_EQ(sentence(told.gates[0]), "enabled: yes");
    EXPECT_EQ(sentence(told.gates[2]), "up 4 h 10 min >= window 2 h: yes");
    EXPECT_EQ(sentence(told.gates[5]), "04:12 inside 03:00-05:00: yes");
    EXPECT_EQ(sentence(told.gates[6]),
              "quiet: NO, 212 of 1800 samples; last busy 04:08:21, 41.0 kB/s down, 0.0 kB/s up (limit 5.0 kB/s)");
    EXPECT_EQ(told.outlook, "earliest restart 04:38:29, the window ends 05:00; chance adds up to 10 min");
    ASSERT_TRUE(told.next);
    EXPECT_EQ(told.next->at, FOUR + 720 + 1589);
}

TEST_F(Counting, SaysThatItWillNotComeInThisWindow)
{
    const tcctl::explanation told = tcctl::explain(page, {.calendar = FOUR + 3000, .uptime = 15000}, "reboot");
    EXPECT_TRUE(
        told.outlook.starts_with("no restart in this window any more: earliest 05:16:29, the window ends 05:00"))
        << told.outlook;
    ASSERT_TRUE(told.next);
    EXPECT_EQ(told.next->at, FOUR + 3600);
}

TEST(Words, LengthsHaveTwoUnits)
{
    EXPECT_EQ(tcctl::length_of(-1), "0 s");
    EXPECT_EQ(tcctl::length_of(59), "59 s");
    EXPECT_EQ(tcctl::length_of(60), "1 min");
    EXPECT_EQ(tcctl::length_of(545), "9 min 5 s");
    EXPECT_EQ(tcctl::length_of(4 * 3600 + 5), "4 h");
    EXPECT_EQ(tcctl::length_of(6 * 86400 + 4 * 3600 + 659), "6 d 4 h");
}

TEST(Words, TimesAreAsNearAsTheyAre)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    constexpr int64_t NOON = 1772625600; // 2026-03-04, a Wednesday
    EXPECT_EQ(tcctl::time_of(NOON + 21, NOON), "12:00:21");
    EXPECT_EQ(tcctl::time_of(NOON + 86400, NOON), "Thu 12:00");
    EXPECT_EQ(tcctl::time_of(NOON - 86400, NOON), "Tue 12:00");
    EXPECT_EQ(tcctl::time_of(NOON + 6 * 86400, NOON), "2026-03-10 12:00");
}

} // namespace
