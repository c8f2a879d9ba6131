// When the weekly periods switch next, as tcctl works it out from the page: in that second, and in none before, the
// daemon switches.
#include <array>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "platform/status.h"
#include "tests/support/nights_world.h"
#include "tests/support/schedule_world.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_wifi.h"
#include "tools/tcctl/explain.h"
#include "tools/tcctl/local_edges.h"

using namespace schedule_world;

namespace
{

struct zone_and_change {
    const char *zone;
    const char *change; // a local time shortly before its clocks change
};

// Both ways, north and south, by a whole and by half an hour, at midnight, and never.
constexpr std::array<zone_and_change, 8> ZONES = {{{"UTC0", "2026-03-28 12:00:00"},
                                                   {"CET-1CEST,M3.5.0,M10.5.0/3", "2026-03-28 12:00:00"},
                                                   {"CET-1CEST,M3.5.0,M10.5.0/3", "2026-10-24 12:00:00"},
                                                   {"EST5EDT,M3.2.0,M11.1.0", "2026-03-07 12:00:00"},
                                                   {"EST5EDT,M3.2.0,M11.1.0", "2026-10-31 12:00:00"},
                                                   {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "2026-04-04 12:00:00"},
                                                   {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "2026-10-03 12:00:00"},
                                                   {"<-04>4<-03>,M9.1.6/24,M4.1.6/24", "2026-09-05 12:00:00"}}};

constexpr std::array<const char *, 9> DAYS = {"",         "Sun ",      "Mon..Fri ", "Sat,Sun ", "Fri..Mon ",
                                              "Tue,Thu ", "Sat..Sun ", "Wed ",      "Mon "};

std::string time_text(unsigned minutes)
{
    char text[8];
    snprintf(text, sizeof text, "%02u:%02u", minutes / 60 % 24, minutes % 60);
    return text;
}

// A period of at least a minute: one of a single second may lie between two looks of the daemon.
void random_rule(busy_nights::Dice &dice, const std::string &family, int number)
{
    const bool is_near_change = dice.roll(2) == 0;
    const auto start = static_cast<unsigned>(is_near_change ? dice.roll(240) : dice.roll(1440));
    const auto length = static_cast<unsigned>(1 + dice.roll(dice.roll(2) == 0 ? 120 : 1438));
    rule(family, number, dice.one_of(DAYS) + time_text(start), time_text(start + length));
}

void random_week(busy_nights::Dice &dice, const std::string &family)
{
    const auto num = static_cast<int>(1 + dice.roll(4));
    box.store.set(family + ".listnum", std::to_string(num));
    for (int number = 1; number <= num; number++)
        random_rule(dice, family, number);
}

void random_moment(busy_nights::Dice &dice)
{
    const zone_and_change &place = dice.one_of(ZONES);
    box.local_time.set_zone(place.zone);
    box.local_time.read_zone(); // as the daemon does in its sleep
    box.clock.set(place.change);
    box.clock.step(static_cast<int64_t>(dice.roll(4 * 86400)) - 86400);
}

tcctl::judged_second now()
{
    return {.calendar = box.clock.wall(), .uptime = box.clock.uptime()};
}

void go_to(int64_t calendar)
{
    box.clock.step(calendar - box.clock.wall());
}

class Edges : public RouterTest
{
protected:
    // Looks until `calendar`, twice a minute. Whether nothing was switched.
    template <typename Look, typename State>
    bool stays_until(int64_t calendar, Look look, State is_on)
    {
        const bool before = is_on();
        while (box.clock.wall() < calendar) {
            go_to(std::min<int64_t>(box.clock.wall() + 30, calendar));
            look();
            if (is_on() != before)
                return false;
        }
        return true;
    }

    // Nine days after the last look nothing has been switched when no edge is known, else in the edge's second.
    template <typename Look, typename State>
    void expect_edge(const char *module, Look look, State is_on)
    {
        constexpr int64_t AHEAD_S = 9 * 86400;
        look(); // the first look may switch
        box.clock.step(2);
        look();
        const bool before = is_on();
        const auto told = tcctl::explain(*status_page(), now(), module).next;
        known += told ? 1 : 0;
        // A look is not due sooner than two seconds after the last.
        ASSERT_TRUE(stays_until(told ? told->at - 2 : now().calendar + AHEAD_S, look, is_on)) << box.clock.local();
        if (!told)
            return;
        const bool held = tcctl::holds_at(tcctl::weekly_periods(weekly_of(module)), told->at - 1);
        EXPECT_EQ(held, !before);
        go_to(told->at);
        look();
        EXPECT_NE(is_on(), before) << told->what << " at " << box.clock.local();
        EXPECT_EQ(told->what.ends_with("on"), is_on()) << told->what;
    }

    static const status_weekly &weekly_of(const std::string &module)
    {
        return module == "wifi" ? status_page()->main.wifi : status_page()->main.led;
    }

    int known = 0; // edges
};

TEST_F(Edges, WifiSwitchesInTheSecondThatIsTold)
{
    constexpr int WEEKS = 200;
    busy_nights::Dice dice(1);
    for (int i = 0; i < WEEKS; i++) {
        SCOPED_TRACE(i);
        random_moment(dice);
        random_week(dice, "nkgw.wlan");
        radios("1", "1", "1");
        set_time_check_wifi_info();
        expect_edge(
            "wifi", [] { time_check_wifi(); }, radio_is_on);
        if (HasFailure())
            return;
    }
    EXPECT_GT(known, WEEKS * 9 / 10);
}

TEST_F(Edges, LedsSwitchInTheSecondThatIsTold)
{
    constexpr int WEEKS = 200;
    busy_nights::Dice dice(2);
    box.store.set("sys.sched.led.type", "time");
    for (int i = 0; i < WEEKS; i++) {
        SCOPED_TRACE(i);
        random_moment(dice);
        random_week(dice, "nkgw.led");
        set_time_check_led_info();
        expect_edge(
            "led", [] { time_check_led(); }, leds_are_on);
        if (HasFailure())
            return;
    }
    EXPECT_GT(known, WEEKS * 9 / 10);
}

// ---- by hand ----

// Off by hand: the next end of a period switches on; on by hand in a period: the next start switches off.
TEST_F(Edges, ByHandTheOtherEdgeIsTold)
{
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    radios("1", "1", "1");
    set_time_check_wifi_info();
    box.clock.set("2026-03-02 08:00:00");
    time_check_wifi();
    radios("1", "1", "0");
    box.clock.step(2);
    time_check_wifi();
    const tcctl::explanation off = tcctl::explain(*status_page(), now(), "wifi");
    EXPECT_EQ(off.verdict, "off_by_hand");
    ASSERT_TRUE(off.next);
    EXPECT_EQ(sim::local_text(off.next->at), "2026-03-02 17:00:01"); // the end's own second is in the period

    box.clock.set("2026-03-02 09:00:00");
    time_check_wifi();
    radios("1", "1", "1");
    box.clock.step(2);
    time_check_wifi();
    const tcctl::explanation on = tcctl::explain(*status_page(), now(), "wifi");
    EXPECT_EQ(on.verdict, "on_by_hand");
    ASSERT_TRUE(on.next);
    EXPECT_EQ(sim::local_text(on.next->at), "2026-03-09 09:00:00");
}

} // namespace
