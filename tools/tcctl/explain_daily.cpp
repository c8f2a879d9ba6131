// The scheduled reboot and power saving.
#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "tools/tcctl/explain.h"
#include "tools/tcctl/gates.h"
#include "tools/tcctl/local_edges.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

namespace
{

constexpr uint32_t ONCE_QUIET = 1;            // the type that waits for it
constexpr uint32_t QUIET_SAMPLES = 1800;      // low ones in a row; the next decides
constexpr uint32_t NO_CLIENT_SAMPLES = 180;   // without anybody, in a row; the next decides
constexpr std::string_view SPREAD = "10 min"; // the most that chance adds before a restart

std::string type_text(uint32_t type)
{
    switch (type) {
    case 0:
        return "type 0, every day";
    case ONCE_QUIET:
        return "type 1, every day once the network is quiet";
    case 2:
    case 3:
        return fmt::format("type {}, one day", type);
    default:
        return fmt::format("type {}, of no meaning", type);
    }
}

std::string window_text(const status_daily &daily)
{
    return time_of_day(daily.start) + "-" + time_of_day(daily.end);
}

std::string inside_text(const status_daily &daily, const judged_second &now)
{
    return fmt::format("{} inside {}", time_of(now.calendar, now.calendar), window_text(daily));
}

std::string traffic_text(const status_quiet &quiet)
{
    if (quiet.sampled == 0)
        return "no sample yet";
    return fmt::format("{} down, {} up (limit {})", rate_of(quiet.received), rate_of(quiet.sent), rate_of(quiet.limit));
}

std::string busy_text(const status_quiet &quiet, int64_t now)
{
    if (quiet.busy == 0)
        return fmt::format("never busy so far (limit {})", rate_of(quiet.limit));
    return fmt::format("last busy {}, {} down, {} up (limit {})", time_of(quiet.busy, now),
                       rate_of(quiet.busy_received), rate_of(quiet.busy_sent), rate_of(quiet.limit));
}

enum class waits_for { NOBODY, QUIET };

std::string count_text(const status_quiet &quiet, waits_for what)
{
    if (what == waits_for::NOBODY)
        return fmt::format("{} of {} samples without a client", quiet.no_client, NO_CLIENT_SAMPLES);
    return fmt::format("{} of {} samples", quiet.low, QUIET_SAMPLES);
}

// Seconds until the sample that decides, at one a second.
int64_t samples_left(const status_quiet &quiet, waits_for what)
{
    const uint32_t count = what == waits_for::NOBODY ? quiet.no_client : quiet.low;
    const uint32_t last = what == waits_for::NOBODY ? NO_CLIENT_SAMPLES : QUIET_SAMPLES;
    return count > last ? 0 : last + 1 - count;
}

// When the window that is open closes: its last second.
std::optional<int64_t> last_second(const status_daily &daily, const judged_second &now)
{
    const std::optional<int64_t> closed = next_turn(daily_window(daily.start, daily.end), now.calendar, false);
    return closed ? std::optional<int64_t>(*closed - 1) : std::nullopt;
}

void expect_opening(explanation &made, const status_daily &daily, const judged_second &now, const char *what)
{
    const std::optional<int64_t> opening = next_turn(daily_window(daily.start, daily.end), now.calendar, true);
    if (opening)
        made.next = coming{*opening, what};
}

// What counting in the open window comes to.
void expect_decision(explanation &made, const status_daily &daily, const judged_second &now, waits_for what,
                     const std::string &act)
{
    const int64_t earliest = now.calendar + samples_left(daily.quiet, what);
    const std::optional<int64_t> end = last_second(daily, now);
    const std::string closes = end ? fmt::format("the window ends {}", time_of(*end, now.calendar)) : "";
    if (end && earliest > *end) {
        made.outlook =
            fmt::format("no {} in this window any more: earliest {}, {}", act, time_of(earliest, now.calendar), closes);
        made.next = coming{*end, "the window ends, too early for a " + act};
        return;
    }
    made.outlook =
        fmt::format("earliest {} {}{}{}", act, time_of(earliest, now.calendar), closes.empty() ? "" : ", ", closes);
    made.next = coming{earliest, "earliest " + act};
}

// ---- the scheduled reboot ----

using walk = gate_walk<reboot>;

// A gate that its inputs would close and that is open was not asked for: debug lifts it.
constexpr std::string_view LIFTED = ", not asked while debug is on";

void add_uptime(walk &rule, const status_daily &daily, const judged_second &now)
{
    using enum reboot;
    const bool is_closed = rule.is({not_up_long_enough});
    const bool passes_midnight = daily.start > daily.end;
    const int64_t width = passes_midnight ? 0 : daily.end - daily.start;
    const std::string window = passes_midnight ? window_text(daily) : length_of(width);
    std::string question = fmt::format("up {} >= window {}", length_of(now.uptime), window);
    if (!is_closed && (passes_midnight || now.uptime < width))
        question += LIFTED;
    rule.made().is_wrong = rule.made().is_wrong || (is_closed && passes_midnight);
    rule.add("uptime", {not_up_long_enough}, question,
             passes_midnight ? "a window that passes midnight never opens"
                             : fmt::format("not before {}", time_of(now.calendar + width - now.uptime, now.calendar)));
}

// Asked for when `is_open`.
std::string clock_text(const judged_second &now, bool is_open)
{
    std::string text = "clock set";
    if (is_open && !clock_is_set(now))
        text += LIFTED;
    return text;
}

// A restart by chance's delay has no more to do with the window.
bool asks_for_window(const walk &rule, const status_daily &daily)
{
    return !rule.is({reboot::armed}) && !(rule.is({reboot::restarting}) && daily.type == ONCE_QUIET);
}

void add_quiet(walk &rule, const status_quiet &quiet, const judged_second &now)
{
    using enum reboot;
    const waits_for what = rule.is({counting_no_client}) ? waits_for::NOBODY : waits_for::QUIET;
    const std::string detail =
        count_text(quiet, what) + (what == waits_for::NOBODY ? "" : "; " + busy_text(quiet, now.calendar));
    rule.add("quiet", {counting_no_client, network_busy, counting_quiet}, "quiet", detail);
}

void add_gates(walk &rule, const time_check_status &page, const judged_second &now)
{
    using enum reboot;
    const status_daily &daily = page.main.reboot;
    rule.add("enabled", {off}, "enabled");
    rule.add("type", {kind_without_behaviour, unknown_kind}, type_text(daily.type), "it can be set and does nothing");
    add_uptime(rule, daily, now);
    rule.add("clock", {clock_unset}, clock_text(now, !rule.is({clock_unset})));
    if (daily.type == ONCE_QUIET)
        rule.add("delay", {armed}, "no delay by chance to wait for",
                 fmt::format("restart {}", time_of(page.main.rows[STATUS_REBOOT].next, now.calendar)));
    if (!asks_for_window(rule, daily))
        return;
    rule.add("window", {outside_window}, inside_text(daily, now));
    if (daily.factory_start == 1)
        rule.add("offset", {offset_owed}, "the factory's start time has been moved by chance",
                 "just moved to " + time_of_day(daily.start));
    if (daily.type == ONCE_QUIET)
        add_quiet(rule, daily.quiet, now);
}

void expect(walk &rule, const time_check_status &page, const judged_second &now)
{
    using enum reboot;
    const status_daily &daily = page.main.reboot;
    explanation &made = rule.made();
    if (rule.is({armed})) {
        made.next = coming{page.main.rows[STATUS_REBOOT].next, "restart"};
        made.brief = "the network was quiet for long enough";
    } else if (rule.is({outside_window, offset_owed})) {
        expect_opening(made, daily, now, "the window opens");
        made.brief = "window " + window_text(daily);
    } else if (rule.is({not_up_long_enough}) && daily.start <= daily.end) {
        made.next = coming{now.calendar + daily.end - daily.start - now.uptime, "up for long enough"};
        made.brief = fmt::format("up {} of {}", length_of(now.uptime), length_of(daily.end - daily.start));
    } else if (rule.is({not_up_long_enough})) {
        made.brief = fmt::format("window {} passes midnight and never opens", window_text(daily));
    } else if (rule.is({counting_no_client})) {
        made.brief = count_text(daily.quiet, waits_for::NOBODY);
        expect_decision(made, daily, now, waits_for::NOBODY, "restart");
    } else if (rule.is({network_busy, counting_quiet})) {
        made.brief = count_text(daily.quiet, waits_for::QUIET) + ", " + traffic_text(daily.quiet);
        expect_decision(made, daily, now, waits_for::QUIET, "restart");
        made.outlook += fmt::format("; chance adds up to {}", SPREAD);
    } else if (rule.is({kind_without_behaviour, unknown_kind})) {
        made.brief = type_text(daily.type);
    }
}

} // namespace

explanation explain_reboot(const time_check_status &page, const judged_second &now)
{
    const status_row &row = page.main.rows[STATUS_REBOOT];
    walk rule("reboot", row, row.verdict);
    rule.is_wrong_if({reboot::kind_without_behaviour, reboot::unknown_kind, reboot::clock_unset});
    add_gates(rule, page, now);
    expect(rule, page, now);
    return std::move(rule.made());
}

// ---- power saving ----

namespace
{

using sleep_walk = gate_walk<power>;

void add_quiet(sleep_walk &rule, const status_quiet &quiet, const judged_second &now)
{
    using enum power;
    const bool is_nobody = rule.is({counting_no_client});
    std::string detail = count_text(quiet, is_nobody ? waits_for::NOBODY : waits_for::QUIET);
    if (is_nobody && quiet.no_client > NO_CLIENT_SAMPLES)
        detail = "nobody is there, for which it has slept once already";
    else if (!is_nobody)
        detail += "; " + busy_text(quiet, now.calendar);
    rule.add("quiet", {counting_no_client, network_busy, counting_quiet}, "quiet", detail);
}

void add_gates(sleep_walk &rule, const time_check_status &page, const judged_second &now)
{
    using enum power;
    const status_daily &daily = page.main.power;
    rule.add("enabled", {off}, "enabled");
    rule.add("suspended", {suspended}, rule.is({suspended}) ? "goes on" : "not suspended by the app",
             "suspended for " + length_of(static_cast<int32_t>(daily.suspended)));
    rule.add("type", {kind_without_behaviour, unknown_kind}, type_text(daily.type), "it can be set and does nothing");
    rule.add("clock", {clock_unset}, clock_text(now, !rule.is({clock_unset})));
    rule.add("window", {waking, outside_period}, inside_text(daily, now), rule.is({waking}) ? "just woken" : "");
    rule.add("awake", {asleep}, "awake", "put to sleep already");
    if (daily.type == ONCE_QUIET)
        add_quiet(rule, daily.quiet, now);
}

void expect(sleep_walk &rule, const time_check_status &page, const judged_second &now)
{
    using enum power;
    const status_daily &daily = page.main.power;
    explanation &made = rule.made();
    if (rule.is({suspended})) {
        made.next = coming{now.calendar + static_cast<int32_t>(daily.suspended), "goes on"};
    } else if (rule.is({waking, outside_period})) {
        made.brief = "period " + window_text(daily);
        expect_opening(made, daily, now, "the period begins");
    } else if (rule.is({asleep, falling_asleep})) {
        made.brief = "period " + window_text(daily);
        if (const std::optional<int64_t> end = last_second(daily, now); end)
            made.next = coming{*end + 1, "wakes"};
    } else if (rule.is({counting_no_client}) && daily.quiet.no_client > NO_CLIENT_SAMPLES) {
        made.brief = "nobody is there, for which it has slept once already";
    } else if (rule.is({counting_no_client})) {
        made.brief = count_text(daily.quiet, waits_for::NOBODY);
        expect_decision(made, daily, now, waits_for::NOBODY, "sleep");
    } else if (rule.is({network_busy, counting_quiet})) {
        made.brief = count_text(daily.quiet, waits_for::QUIET) + ", " + traffic_text(daily.quiet);
        expect_decision(made, daily, now, waits_for::QUIET, "sleep");
    } else if (rule.is({kind_without_behaviour, unknown_kind})) {
        made.brief = type_text(daily.type);
    }
}

} // namespace

explanation explain_power(const time_check_status &page, const judged_second &now)
{
    const status_row &row = page.main.rows[STATUS_POWER];
    sleep_walk rule("power", row, row.verdict);
    rule.is_wrong_if({power::kind_without_behaviour, power::unknown_kind, power::clock_unset});
    add_gates(rule, page, now);
    expect(rule, page, now);
    return std::move(rule.made());
}

} // namespace tcctl
