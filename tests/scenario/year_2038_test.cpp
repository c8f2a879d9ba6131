// Days after the ends of signed and of unsigned 32-bit time: a clock that is set there finds every schedule as it was.
#include <gmock/gmock.h>

#include "tests/support/reboot_world.h"
#include "tests/support/schedule_world.h"

using namespace schedule_world;
using testing::ElementsAre;

namespace
{

struct late_day {
    const char *date;
    const char *weekday;
    const char *next_date;
};

void PrintTo(const late_day &day, std::ostream *out)
{
    *out << day.date;
}

class Year2038 : public RebootDays, public testing::WithParamInterface<late_day>
{
protected:
    std::string at(const std::string &time) const
    {
        return GetParam().date + (" " + time);
    }
    std::string next_day_at(const std::string &time) const
    {
        return GetParam().next_date + (" " + time);
    }
    std::string weekly(const std::string &time) const
    {
        return GetParam().weekday + (" " + time);
    }

    // The daemon started in 2026 when its clock is set. It looks at its rules once a minute, first a second later.
    void boot_and_set_clock(const std::string &time)
    {
        radios("1", "1", "1");
        box.store.set("nkgw.led.state", "3");
        start_at("2026-03-03 12:00:00");
        box.run(60);
        forget();
        box.clock.set(at(time));
    }

    // Lines of acts that hold one of these texts, with their local time.
    Lines seen(std::initializer_list<const char *> texts) const
    {
        Lines found;
        for (const std::string &act : box.journal.timed_lines()) {
            const size_t uptime = act.find(" +");
            const std::string line = act.substr(0, uptime) + act.substr(act.find(' ', uptime + 1));
            if (std::ranges::any_of(texts, [&line](const char *text) { return line.find(text) != std::string::npos; }))
                found.push_back(line);
        }
        return found;
    }
};

} // namespace

TEST_P(Year2038, TheRebootComesWhenItsWindowOpens)
{
    schedule(0, "03:00", "05:30");
    boot_and_set_clock("00:29:59");
    box.run_until(next_day_at("12:00:00"));
    EXPECT_THAT(reboot_times(), ElementsAre(at("03:00:00"), next_day_at("03:00:00")));
}

TEST_P(Year2038, TheRebootWaitsForHalfAnHourOfQuietInItsWindow)
{
    schedule(1, "03:00", "05:30");
    boot_and_set_clock("00:29:59");
    quiet_client(60);
    box.run_until(at("12:00:00"));
    EXPECT_THAT(reboot_times(), ElementsAre(at("03:31:01")));
}

TEST_P(Year2038, ARouterThatStartedInsideTheWindowIsNotRebootedAgain)
{
    schedule(0, "03:00", "05:30");
    start_at(at("03:10:00"));
    box.run_until(next_day_at("12:00:00"));
    EXPECT_THAT(reboot_times(), ElementsAre(next_day_at("03:00:00")));
}

TEST_P(Year2038, WifiIsOffInItsPeriod)
{
    box.store.set("sys.sched.wifi.enable", "1");
    only_rule("nkgw.wlan", weekly("04:00"), "5:00");
    boot_and_set_clock("03:29:59");
    box.run_until(next_day_at("12:00:00"));
    EXPECT_THAT(seen({"op=1,wl_rate=24", "op=2,wl_rate=24"}),
                ElementsAre(at("04:00:00") + " command cfm post netctrl 19?op=2,wl_rate=24",
                            at("05:00:02") + " command cfm post netctrl 19?op=1,wl_rate=24"));
}

TEST_P(Year2038, LedsAreDarkInTheirPeriod)
{
    box.store.set("sys.sched.led.type", "time");
    only_rule("nkgw.led", weekly("04:00"), "5:00");
    boot_and_set_clock("03:29:59");
    box.run_until(next_day_at("12:00:00"));
    EXPECT_THAT(seen({"leds"}), ElementsAre(at("04:00:00") + " leds 0", at("05:00:02") + " leds 3"));
}

TEST_P(Year2038, PowerSavingSleepsAndWakes)
{
    power_saving("0", "23:00", "7:00");
    boot_and_set_clock("19:59:59");
    box.run_until(next_day_at("12:00:00"));
    EXPECT_THAT(seen({"pwr.save.mode"}), ElementsAre(at("23:00:01") + " set sys.is.pwr.save.mode=1",
                                                     next_day_at("07:00:02") + " set sys.is.pwr.save.mode=0"));
}

TEST_P(Year2038, TheGuestNetworkLivesAsLongAsItWasGiven)
{
    boot_and_set_clock("03:29:59");
    configure({{"wl.guest.dhcps_enable", "1"}, {"wl.guest.effective_time", "3600"}});
    box.post("9?string_info=wl_guest");
    box.run_until(next_day_at("12:00:00"));
    EXPECT_THAT(seen({"wl.guest.dhcps_enable=0"}), ElementsAre(at("04:29:59") + " set wl.guest.dhcps_enable=0"));
}

INSTANTIATE_TEST_SUITE_P(Days, Year2038,
                         testing::Values(late_day{"2026-05-06", "Wed", "2026-05-07"}, // these must be like any day
                                         late_day{"2038-01-20", "Wed", "2038-01-21"},
                                         late_day{"2106-02-08", "Mon", "2106-02-09"}));
