// Over random days of a whole router: each gate that tcctl finds open is open, and the one that it finds closed is
// closed, by what the test itself set and saw.
#include <array>
#include <cstdio>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "platform/status.h"
#include "tests/support/nights_world.h"
#include "tests/support/reboot_world.h"
#include "tools/tcctl/explain.h"

namespace
{

using busy_nights::Dice;

// A local time of day in seconds, of "03:10".
uint32_t seconds(const std::string &text)
{
    unsigned hour = 0;
    unsigned minute = 0;
    sscanf(text.c_str(), "%u:%u", &hour, &minute);
    return hour * 3600 + minute * 60;
}

class Gates : public RebootDays
{
protected:
    // Ends in a second that the main loop has just judged.
    static void pass(double seconds_of_time)
    {
        box.run(seconds_of_time);
        box.tick();
    }

    static tcctl::explanation look(const char *module)
    {
        return tcctl::explain(*status_page(), {.calendar = box.clock.wall(), .uptime = box.clock.uptime()}, module);
    }

    static bool clock_is_set()
    {
        return box.clock.local() >= "2001";
    }

    static uint32_t now_of_day()
    {
        return static_cast<uint32_t>(seconds_of(box.clock.local().substr(11)));
    }

    static bool is_inside(uint32_t start, uint32_t end)
    {
        const uint32_t now = now_of_day();
        return start <= end ? start <= now && now <= end : now >= start || now <= end;
    }

    // Each gate against `truth`, in which it says whether it is open. Names that truth does not have are an error.
    void compare(const tcctl::explanation &told, const std::map<std::string_view, bool> &truth)
    {
        seen.insert(told.module + " " + told.verdict);
        ASSERT_FALSE(told.gates.empty()) << told.verdict;
        for (size_t i = 0; i < told.gates.size(); i++) {
            const tcctl::gate &gate = told.gates[i];
            const auto known = truth.find(gate.name);
            ASSERT_NE(known, truth.end()) << told.module << " " << gate.name;
            EXPECT_EQ(gate.is_open, known->second)
                << told.module << " " << told.verdict << ": " << gate.question << " at " << box.clock.local();
            EXPECT_TRUE(gate.is_open || i + 1 == told.gates.size()) << gate.name;
        }
    }

    std::set<std::string> seen; // modules with their verdicts
};

// ---- the scheduled reboot ----

struct Schedule {
    std::string enable, type, start, end;
};

class RebootGates : public Gates
{
protected:
    void configure_randomly(Dice &dice)
    {
        constexpr std::array<const char *, 4> STARTS = {"03:00", "", "23:30", "01:15"};
        constexpr std::array<const char *, 4> ENDS = {"05:00", "01:00", "03:40", "06:30"};
        constexpr std::array<const char *, 8> TYPES = {"1", "1", "1", "1", "1", "0", "2", "7"};
        now = {dice.roll(8) == 0 ? "0" : "1", dice.one_of(TYPES), dice.one_of(STARTS), dice.one_of(ENDS)};
        configure({{"sys.schedulereboot.enable", now.enable},
                   {"sys.schedulereboot.type", now.type},
                   {"sys.schedulereboot.start_time", now.start},
                   {"sys.schedulereboot.end_time", now.end}});
        offset_lines_before = lines_with("start_time+offset_time:");
        ASSERT_TRUE(box.post("1"));
        ASSERT_TRUE(box.post("time_check_cpu?op=2,string_info=all"));
    }

    // What the daemon's clients do until the next look.
    void world_goes_on(Dice &dice)
    {
        switch (dice.roll(20)) {
        case 0:
            box.network.clear_neighbours();
            break;
        case 1:
            client_comes();
            break;
        case 2:
            bytes += 1000000;
            client_comes();
            box.network.set_host("192.168.0.7", 0, bytes);
            break;
        default:
            break;
        }
    }

    uint32_t start_as_moved() const
    {
        const uint32_t start = seconds(now.start.empty() ? "02:00" : now.start);
        if (!offset_is_added())
            return start;
        unsigned hour = 0;
        unsigned minute = 0;
        unsigned second = 0;
        for (const std::string &line : box.log.lines())
            if (const size_t at = line.find("offset_time:"); at != std::string::npos)
                sscanf(line.c_str() + at, "offset_time:%u:%u:%u", &hour, &minute, &second);
        return hour * 3600 + minute * 60 + second;
    }

    // Once a run of the daemon, and only for settings that it has read since.
    bool offset_is_added() const
    {
        return now.start.empty() && lines_with("start_time+offset_time:") > offset_lines_before;
    }

    // Whether a delay by chance runs in this run of the daemon.
    bool is_armed() const
    {
        bool armed = false;
        for (const std::string &line : box.log.lines())
            if (line.find("S after to reboot!!") != std::string::npos)
                armed = line.find("sleep 0S") == std::string::npos;
        return armed;
    }

    std::map<std::string_view, bool> truth() const
    {
        const uint32_t width = seconds(now.end) - start_as_moved();
        return {{"enabled", now.enable != "0"},
                {"type", now.type == "0" || now.type == "1"},
                {"uptime", static_cast<uint32_t>(box.clock.uptime()) >= width},
                {"clock", clock_is_set()},
                {"delay", !is_armed()},
                {"window", is_inside(start_as_moved(), seconds(now.end))},
                {"offset", offset_is_added()},
                {"quiet", false}}; // whoever was quiet for long enough is armed or gone
    }

    Schedule now;
    uint64_t bytes = 0;
    size_t offset_lines_before = 0;
};

// Each day of a month four times, each a router of its own.
TEST_F(RebootGates, HoldOverARandomMonth)
{
    constexpr int DAYS = 120;
    Dice dice(7);
    for (int day = 1; day <= DAYS; day++) {
        SCOPED_TRACE(day);
        sim::make_router_anew();
        bytes = 0;
        char local[32];
        snprintf(local, sizeof local, "2026-03-%02d %02d:%02d:00", 1 + day % 30, static_cast<int>(dice.roll(5)),
                 static_cast<int>(dice.roll(60)));
        start_at(dice.roll(10) == 0 ? "1970-01-02 03:10:00" : local, static_cast<int>(dice.roll(4) * 7200));
        box.network.set_counters("br0", 0, dice.roll(600)); // the delay by chance
        configure_randomly(dice);
        for (int i = 0; i < 60 && !HasFailure(); i++) {
            world_goes_on(dice);
            const uint64_t restarts = box.restarts();
            pass(static_cast<double>(dice.roll(dice.roll(2) == 0 ? 2 : 1200)));
            if (box.restarts() != restarts)
                break;
            compare(look("reboot"), truth());
        }
        if (HasFailure())
            return;
    }
    for (const char *verdict : {"off", "kind_without_behaviour", "unknown_kind", "not_up_long_enough", "clock_unset",
                                "outside_window", "counting_no_client", "network_busy", "counting_quiet", "armed"})
        EXPECT_TRUE(seen.contains(std::string("reboot ") + verdict)) << verdict;
}

// ---- power saving, Wi-Fi, LEDs and the guest network ----

class NightGates : public Gates
{
protected:
    // Periods begin and end at full minutes, and are looked at every other second.
    static bool is_at_an_edge()
    {
        return now_of_day() % 60 < 3;
    }

    void configure_randomly(Dice &dice)
    {
        constexpr std::array<const char *, 3> STARTS = {"01:00", "22:10", "02:30"};
        constexpr std::array<const char *, 3> ENDS = {"04:00", "01:40", "03:15"};
        constexpr std::array<const char *, 6> TYPES = {"0", "0", "1", "1", "3", "9"};
        constexpr std::array<const char *, 4> SETTINGS = {"time", "time", "open", "close"};
        power = {dice.roll(4) == 0 ? "0" : "1", dice.one_of(TYPES), dice.one_of(STARTS), dice.one_of(ENDS)};
        off = dice.one_of(STARTS);
        on = dice.one_of(ENDS);
        rules = dice.roll(6) == 0 ? 0 : 1;
        led_setting = dice.one_of(SETTINGS);
        limit = dice.roll(4) == 0 ? 0 : 900;
        is_started = false;
        configure({{"sys.powersleep.enable", power.enable},
                   {"sys.powersleep.type", power.type},
                   {"sys.powersleep.start_time", power.start},
                   {"sys.powersleep.end_time", power.end},
                   {"sys.sched.led.type", led_setting},
                   {"wl.guest.effective_time", std::to_string(limit)}});
        for (const char *family : {"nkgw.wlan", "nkgw.led"}) {
            box.store.set(std::string(family) + ".listnum", std::to_string(rules));
            schedule_world::rule(family, 1, off, on);
        }
        schedule_world::radios("1", "1", "1");
    }

    void somebody_does_something(Dice &dice)
    {
        switch (dice.roll(12)) {
        case 0: // Wi-Fi by hand
            schedule_world::radios("1", "1", schedule_world::radio_is_on() ? "0" : "1");
            break;
        case 1:
            box.store.set("wl.guest.dhcps_enable", "1");
            ASSERT_TRUE(box.post("9?string_info=wl_guest"));
            box.tick();
            started = box.clock.uptime() - 1;
            is_started = true;
            break;
        case 2:
            box.store.set("wl.guest.dhcps_enable", "0");
            break;
        case 3:
            schedule_world::client();
            break;
        case 4:
            box.network.clear_neighbours();
            break;
        default:
            break;
        }
    }

    bool is_power_time() const
    {
        return power.enable == "1" && is_inside(seconds(power.start), seconds(power.end));
    }

    // A period that passes midnight does not hold in its last second, no look is taken there.
    bool is_in_period() const
    {
        return rules == 1 && is_inside(seconds(off), seconds(on));
    }

    void compare_power()
    {
        const tcctl::explanation told = look("power");
        if (told.verdict != "falling_asleep" && told.verdict != "waking")
            compare(told, {{"enabled", power.enable == "1"},
                           {"suspended", true},
                           {"type", power.type == "0" || power.type == "1"},
                           {"clock", clock_is_set()},
                           {"window", is_inside(seconds(power.start), seconds(power.end))},
                           {"awake", !schedule_world::asleep()},
                           {"quiet", false}});
    }

    void compare_wifi()
    {
        const tcctl::explanation told = look("wifi");
        if (told.verdict == "switching_off" || told.verdict == "switching_on")
            return;
        compare(told, {{"periods", rules == 1},
                       {"clock", clock_is_set()},
                       {"power", !is_power_time()},
                       {"period", true},
                       {"switching", false}});
        expect_period(told);
        const bool wants_radio_on = told.verdict == "between_periods" || told.verdict == "on_by_hand";
        EXPECT_TRUE(!told.gates.back().name.starts_with("switch") || schedule_world::radio_is_on() == wants_radio_on);
    }

    void compare_led()
    {
        const tcctl::explanation told = look("led");
        compare(told, {{"setting", true},
                       {"periods", rules == 1},
                       {"clock", clock_is_set()},
                       {"power", !is_power_time() || !clock_is_set()},
                       {"period", true}});
        expect_period(told);
    }

    void expect_period(const tcctl::explanation &told)
    {
        for (const tcctl::gate &gate : told.gates)
            EXPECT_TRUE(gate.name != "period" ||
                        (gate.question.find(" inside ") != std::string::npos) == is_in_period())
                << gate.question;
    }

    void compare_guest()
    {
        const bool is_on = box.store.get("wl.guest.dhcps_enable") == "1";
        const bool is_up = box.clock.uptime() - started >= limit;
        const tcctl::explanation told = look("guest");
        if (told.verdict == "closing" || told.verdict == "closed_already")
            seen.insert("guest " + told.verdict);
        // Closed by the daemon: its time has ended with it.
        if (is_started && limit != 0 && is_up && told.verdict == "not_started")
            is_started = false;
        if (told.verdict != "closing")
            compare(told, {{"limit", limit != 0}, {"started", is_started}, {"time", is_up}, {"open", is_on}});
    }

    Schedule power;
    std::string off, on, led_setting;
    int rules = 0;
    int limit = 0;
    int started = 0;
    bool is_started = false;
};

// What the nights have to have in them.
constexpr std::array OF_NIGHTS = {"power off",
                                  "power kind_without_behaviour",
                                  "power unknown_kind",
                                  "power clock_unset",
                                  "power outside_period",
                                  "power asleep",
                                  "power counting_no_client",
                                  "power counting_quiet",
                                  "wifi no_period",
                                  "wifi clock_unset",
                                  "wifi power_saving_first",
                                  "wifi in_period",
                                  "wifi on_by_hand",
                                  "wifi between_periods",
                                  "wifi off_by_hand",
                                  "led no_period",
                                  "led clock_unset",
                                  "led power_saving_first",
                                  "led always_on",
                                  "led always_off",
                                  "led in_period",
                                  "led between_periods",
                                  "guest no_limit",
                                  "guest not_started",
                                  "guest time_left",
                                  "guest closed_already"};

TEST_F(NightGates, HoldOverRandomNights)
{
    constexpr int NIGHTS = 60;
    Dice dice(11);
    for (int night = 0; night < NIGHTS; night++) {
        SCOPED_TRACE(night);
        sim::make_router_anew();
        configure_randomly(dice);
        char local[32];
        snprintf(local, sizeof local, "2026-03-%02d 0%d:%02d:07", 1 + night % 30, static_cast<int>(dice.roll(3)),
                 static_cast<int>(dice.roll(60)));
        start_at(dice.roll(10) == 0 ? "1970-01-02 01:10:07" : local, 100000);
        for (int i = 0; i < 40 && !HasFailure(); i++) {
            somebody_does_something(dice);
            pass(static_cast<double>(3 + dice.roll(dice.roll(2) == 0 ? 30 : 900)));
            if (is_at_an_edge())
                continue;
            compare_power();
            compare_wifi();
            compare_led();
            compare_guest();
        }
        if (HasFailure())
            return;
    }
    for (const char *verdict : OF_NIGHTS)
        EXPECT_TRUE(seen.contains(verdict)) << verdict;
}

} // namespace
