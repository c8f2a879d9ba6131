// A preview's spans against another reckoning of the same settings, minute by minute, for settings by chance.
#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>

#include "platform/sim/virtual_router.h"
#include "tests/preview/plain_router.h"
#include "tools/preview/calendar.h"
#include "tools/preview/engine.h"

namespace
{

constexpr unsigned ROUTERS = 500;
constexpr unsigned PARTS = 10;

constexpr std::array<const char *, 7> DAYS = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

// Zones, and beginnings of which some lie just before a change of the clock.
constexpr std::array<const char *, 5> ZONES = {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0",
                                               "NZST-12NZDT,M9.5.0,M4.1.0/3", "JST-9"};
constexpr std::array<const char *, 7> BEGINNINGS = {"2026-03-28 12:00:00", "2026-10-24 12:00:00", "2026-03-07 18:05:00",
                                                    "2026-10-31 21:30:00", "2026-04-04 09:00:00", "2026-09-26 12:00:00",
                                                    "2026-07-01 00:00:00"};

struct chance {
    std::mt19937 engine; // its numbers are the same everywhere, unlike those of the distributions
    unsigned below(unsigned limit)
    {
        return static_cast<unsigned>(engine() % limit);
    }
    bool one_in(unsigned number)
    {
        return below(number) == 0;
    }
};

std::string time_text(int seconds)
{
    return fmt::format("{:02}:{:02}", seconds / 3600, seconds % 3600 / 60);
}

std::string days_text(unsigned days)
{
    std::string text;
    for (size_t day = 0; day < DAYS.size(); day++)
        if ((days >> day & 1U) != 0)
            text += fmt::format("{}{}", text.empty() ? "" : ",", DAYS.at(day));
    return text;
}

struct scene {
    plain::rules rules;
    preview::request asked;
};

int some_time(chance &dice)
{
    return static_cast<int>(dice.below(24 * 12)) * 300;
}

plain::period some_period(chance &dice)
{
    return {.days = dice.one_in(3) ? 127 : 1 + dice.below(127), .start = some_time(dice), .end = some_time(dice)};
}

void add_periods(scene &made, chance &dice, const std::string &family, std::vector<plain::period> &periods)
{
    for (unsigned left = dice.below(4); left > 0; left--)
        periods.push_back(some_period(dice));
    made.asked.settings.emplace_back(family + ".listnum", std::to_string(periods.size()));
    for (size_t i = 0; i < periods.size(); i++) {
        made.asked.settings.emplace_back(fmt::format("{}.offtime.list{}", family, i + 1),
                                         days_text(periods[i].days) + " " + time_text(periods[i].start));
        made.asked.settings.emplace_back(fmt::format("{}.ontime.list{}", family, i + 1), time_text(periods[i].end));
    }
}

void add_daily(scene &made, const std::string &prefix, bool is_on, const plain::period &when)
{
    made.asked.settings.emplace_back(prefix + ".enable", is_on ? "1" : "0");
    made.asked.settings.emplace_back(prefix + ".type", "0");
    made.asked.settings.emplace_back(prefix + ".start_time", time_text(when.start));
    made.asked.settings.emplace_back(prefix + ".end_time", time_text(when.end));
}

void add_radios(scene &made, chance &dice)
{
    made.rules.user_2g = !dice.one_in(4);
    made.rules.user_5g = dice.one_in(2);
    for (const auto &[band, is_on] : {std::pair{"wl2g", made.rules.user_2g}, std::pair{"wl5g", made.rules.user_5g}}) {
        made.asked.settings.emplace_back(std::string(band) + ".enable", is_on ? "1" : "0");
        for (const char *key : {".public.enable", ".ssid0.enable"})
            made.asked.settings.emplace_back(std::string(band) + key, dice.one_in(2) ? "1" : "0");
    }
}

void add_leds(scene &made, chance &dice)
{
    static constexpr std::array<const char *, 3> TYPES = {"open", "close", "time"};
    const unsigned type = dice.one_in(2) ? 2 : dice.below(3);
    made.rules.led_type = static_cast<plain::led_setting>(type);
    made.asked.settings.emplace_back("sys.sched.led.type", TYPES.at(type));
    made.rules.leds_are_on = dice.one_in(2);
    made.asked.settings.emplace_back("nkgw.led.state", made.rules.leds_are_on ? "3" : "0");
    add_periods(made, dice, "nkgw.led", made.rules.led);
}

scene scene_of(unsigned seed)
{
    chance dice{std::mt19937(seed)};
    scene made = {};
    add_radios(made, dice);
    made.rules.wifi_switch = dice.one_in(2);
    made.asked.settings.emplace_back("sys.sched.wifi.enable", made.rules.wifi_switch ? "1" : "0");
    add_periods(made, dice, "nkgw.wlan", made.rules.wifi);
    add_leds(made, dice);
    made.rules.has_sleep = dice.one_in(2);
    made.rules.sleep = some_period(dice);
    add_daily(made, "sys.powersleep", made.rules.has_sleep, made.rules.sleep);
    made.rules.has_restart = dice.one_in(2);
    made.rules.restart = some_period(dice);
    if (made.rules.restart.start == 2 * 3600) // the factory's, which is moved by chance
        made.rules.restart.start += 300;
    add_daily(made, "sys.schedulereboot", made.rules.has_restart, made.rules.restart);

    made.asked.zone = ZONES.at(dice.below(ZONES.size()));
    setenv("TZ", made.asked.zone.c_str(), 1);
    tzset();
    made.asked.from = preview::read_local(BEGINNINGS.at(dice.below(BEGINNINGS.size()))).value();
    made.asked.days = static_cast<int>(1 + dice.below(3));
    made.asked.uptime = static_cast<int>(1 + dice.below(3000)) * 60;
    return made;
}

bool has_state(const preview::plan &made, preview::track of, std::string_view state, time_t at)
{
    return std::ranges::any_of(made.spans, [&](const preview::span &each) {
        return each.of == of && each.state == state && each.from <= at && at < each.to;
    });
}

// What they disagree on first, "" when on nothing. The minute of a restart and the next one are left out.
std::string disagreement(const scene &given, const preview::plan &made)
{
    plain::router expected(given.rules);
    time_t up_since = given.asked.from - given.asked.uptime;
    time_t compare_from = given.asked.from;
    for (time_t minute = given.asked.from - 60; minute < made.to; minute += 60) {
        if (expected.pass_minute(minute, minute - up_since)) {
            up_since = minute + preview::RESTART_TAKES_S;
            compare_from = minute + 120;
        }
        if (minute < compare_from)
            continue;
        const time_t middle = minute + 30;
        for (const auto &[of, state] : {std::pair{preview::track::wifi, expected.wifi_on ? "on" : "off"},
                                        std::pair{preview::track::led, expected.led_on ? "on" : "off"},
                                        std::pair{preview::track::sleep, expected.asleep ? "asleep" : "awake"}})
            if (!has_state(made, of, state, middle))
                return fmt::format("{} is not {} at {}", preview::name_of(of), state, preview::iso_text(middle));
    }
    return "";
}

std::string text_of(const preview::settings &settings)
{
    std::string text;
    for (const auto &[key, value] : settings)
        text += fmt::format("{}={}\n", key, value);
    return text;
}

class PreviewSpans : public testing::TestWithParam<unsigned>
{
};

TEST_P(PreviewSpans, AgreeWithAnotherReckoningEveryMinute)
{
    size_t marked = 0;
    for (unsigned seed = GetParam(); seed < ROUTERS; seed += PARTS) {
        sim::make_router_anew();
        const scene given = scene_of(seed);
        const preview::plan made = preview::make_plan(given.asked, [](double) {});
        EXPECT_EQ(disagreement(given, made), "")
            << "seed " << seed << ", from " << preview::iso_text(made.from) << ", zone " << given.asked.zone
            << ", up for " << given.asked.uptime << " s\n"
            << text_of(given.asked.settings);
        marked += static_cast<size_t>(std::ranges::count_if(made.spans, preview::is_marked));
    }
    EXPECT_GT(marked, 100U); // there was something to agree on
}

INSTANTIATE_TEST_SUITE_P(Parts, PreviewSpans, testing::Range(0U, PARTS));

} // namespace
