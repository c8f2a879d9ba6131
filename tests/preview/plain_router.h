// What Wi-Fi, LEDs and sleep do by their settings, reckoned from what the settings mean, minute by minute: the other
// opinion that a preview is held against. Nothing in here comes from the daemon or the virtual router.
#ifndef TESTS_PREVIEW_PLAIN_ROUTER_H
#define TESTS_PREVIEW_PLAIN_ROUTER_H

#include <ctime>
#include <vector>

namespace plain
{

struct period {
    unsigned days; // bit 0 Sunday: those on which it starts
    int start;     // seconds since midnight
    int end;
};

enum class led_setting { open, close, time };

struct rules {
    bool user_2g;
    bool user_5g;
    bool wifi_switch; // power saving leaves Wi-Fi off in a period
    std::vector<period> wifi;
    led_setting led_type;
    std::vector<period> led;
    bool leds_are_on; // at the beginning
    bool has_sleep;
    period sleep; // of every day
    bool has_restart;
    period restart; // as soon as its window opens
};

class router
{
public:
    explicit router(const rules &given) : rules_(given), led_on(given.leds_are_on)
    {
        start();
    }

    // Lets the minute pass that begins at `begin`, with the router up for so many seconds then. True: it restarted.
    bool pass_minute(time_t begin, long uptime)
    {
        const time_t middle = begin + 30;
        localtime_r(&middle, &local_);
        const bool restarts = rules_.has_restart && rules_.restart.start <= rules_.restart.end &&
                              is_daily(rules_.restart) && uptime + 30 >= rules_.restart.end - rules_.restart.start;
        if (restarts)
            start();
        if (rules_.has_sleep)
            sleep_or_wake();
        if (!is_sleeping_time()) {
            switch_wifi();
            switch_leds();
        }
        return restarts;
    }

private:
    const rules rules_;
    struct tm local_ = {};
    bool saw_wifi_on_ = false; // as the schedule last left it

public:
    bool wifi_on = false;
    bool led_on;
    bool asleep = false;

private:
    void start()
    {
        wifi_on = rules_.user_2g || rules_.user_5g;
        saw_wifi_on_ = wifi_on;
        asleep = false;
    }

    int now() const
    {
        return (local_.tm_hour * 60 + local_.tm_min) * 60 + local_.tm_sec;
    }

    bool is_daily(const period &wanted) const
    {
        return wanted.start <= wanted.end ? wanted.start <= now() && now() <= wanted.end
                                          : now() >= wanted.start || now() <= wanted.end;
    }

    bool is_sleeping_time() const
    {
        return rules_.has_sleep && is_daily(rules_.sleep);
    }

    bool holds(const std::vector<period> &periods) const
    {
        const auto has_day = [](unsigned days, int day) {
            return (days >> static_cast<unsigned>((day + 7) % 7) & 1U) != 0;
        };
        for (const period &each : periods) {
            const bool today = has_day(each.days, local_.tm_wday);
            const bool yesterday = has_day(each.days, local_.tm_wday - 1);
            if (each.start <= each.end ? today && each.start <= now() && now() <= each.end
                                       : (today && now() >= each.start) || (yesterday && now() < each.end))
                return true;
        }
        return false;
    }

    void sleep_or_wake()
    {
        if (is_sleeping_time() == asleep)
            return;
        asleep = !asleep;
        if (asleep) {
            led_on = wifi_on = false;
            return;
        }
        if (!(rules_.wifi_switch && holds(rules_.wifi)))
            turn_wifi_on();
        const bool leds_stay_off =
            rules_.led_type == led_setting::close ||
            (rules_.led_type == led_setting::time && !rules_.led.empty() && is_daily(rules_.led[0]));
        led_on = led_on || !leds_stay_off;
    }

    void turn_wifi_on()
    {
        wifi_on = wifi_on || rules_.user_2g || rules_.user_5g;
    }

    // At the edges alone.
    void switch_wifi()
    {
        if (rules_.wifi.empty())
            return;
        const bool wanted = !holds(rules_.wifi);
        if (wanted && !saw_wifi_on_)
            turn_wifi_on();
        else if (!wanted && saw_wifi_on_)
            wifi_on = false;
        saw_wifi_on_ = wanted;
    }

    void switch_leds()
    {
        if (rules_.led_type != led_setting::time)
            led_on = rules_.led_type == led_setting::open;
        else if (!rules_.led.empty())
            led_on = !holds(rules_.led);
    }
};

} // namespace plain

#endif
