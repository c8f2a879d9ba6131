#include "tools/preview/recorder.h"

#include <algorithm>
#include <utility>

#include "platform/config_keys.h"
#include "platform/sim/virtual_router.h"

namespace preview
{

namespace
{

constexpr std::array WATCHED_KEYS = {
    KEY_WL2G_PUBLIC_ENABLE, KEY_WL2G_SSID0_ENABLE, KEY_WL5G_PUBLIC_ENABLE, KEY_WL5G_SSID0_ENABLE,
    KEY_LED_STATE,          KEY_PWR_SAVE_MODE,     KEY_GUEST_DHCPS_ENABLE,
};

constexpr std::string_view STARTS = "The daemon started: it brings the router in line with its settings.";

// The words for a track that is in its usual state (true), and for one that is not.
std::string_view word_for(track which, bool state)
{
    switch (which) {
    case track::sleep:
        return state ? "awake" : "asleep";
    case track::guest:
        return state ? "closed" : "open";
    default:
        return state ? "on" : "off";
    }
}

size_t index_of(track which)
{
    return static_cast<size_t>(which);
}

} // namespace

recorder::recorder(plan &into, time_t from, time_t to) : plan_(into), from_(from), to_(to)
{
    for (const char *key : WATCHED_KEYS)
        if (const std::string *const value = sim::router().store.value_of(key); value != nullptr)
            running_[key] = *value;
    committed_ = running_;
    for (const track which : TRACKS)
        if (which != track::restart) {
            states_.at(index_of(which)) = state_of(which);
            since_.at(index_of(which)) = from;
        }
}

bool recorder::state_of(track which) const
{
    const auto is = [this](const char *key, std::string_view value) {
        const auto found = running_.find(key);
        return found != running_.end() && found->second == value;
    };
    switch (which) {
    case track::wifi:
        return (is(KEY_WL2G_PUBLIC_ENABLE, "1") && is(KEY_WL2G_SSID0_ENABLE, "1")) ||
               (is(KEY_WL5G_PUBLIC_ENABLE, "1") && is(KEY_WL5G_SSID0_ENABLE, "1"));
    case track::led:
        return running_.contains(KEY_LED_STATE) && !is(KEY_LED_STATE, "0");
    case track::sleep:
        return !is(KEY_PWR_SAVE_MODE, "1");
    case track::guest:
        return !is(KEY_GUEST_DHCPS_ENABLE, "1");
    case track::restart:
        break;
    }
    return true;
}

void recorder::look()
{
    now_ = verdicts_now();
    const sim::Journal &journal = sim::router().journal;
    if (reboot_findings_.empty() || now_.reboot != reboot_findings_.back().verdict)
        reboot_findings_.push_back({.since = sim::router().clock.wall(), .verdict = now_.reboot});
    if (!journal.lines().empty()) {
        for (size_t i = 0; i < journal.lines().size(); i++) {
            const std::string_view line = journal.lines()[i];
            const time_t at = journal.moments()[i].wall;
            if (line.starts_with("set ") && !line.starts_with("set failed "))
                set(line.substr(4, line.find('=') - 4), line.substr(line.find('=') + 1), at);
            else if (line == "commit")
                committed_ = running_;
            else if (line == "reboot")
                restarted(at);
        }
        sim::router().journal.clear();
    }
    before_ = now_;
    at_start_ = false;
}

void recorder::changed(std::string_view key, std::string_view value)
{
    set(key, value, sim::router().clock.wall());
}

void recorder::set(std::string_view key, std::string_view value, time_t at)
{
    if (std::ranges::find(WATCHED_KEYS, key) == WATCHED_KEYS.end())
        return;
    running_[std::string(key)] = value;
    flip_to_store(at);
}

void recorder::flip_to_store(time_t at)
{
    for (const track which : TRACKS) {
        if (which == track::restart)
            continue;
        const size_t index = index_of(which);
        const bool state = state_of(which);
        if (state == states_.at(index))
            continue;
        add_span(which, std::string(word_for(which, !state)), since_.at(index), at);
        states_.at(index) = state;
        since_.at(index) = at;
        add(at, which, std::string(word_for(which, state)), cause_of(which, state));
    }
}

// The store comes back as it was committed, and the daemon's first pass follows.
void recorder::restarted(time_t at)
{
    add(at, track::restart, "restart", cause_of_restart());
    add_span(track::restart, "restarting", at, at + RESTART_TAKES_S);
    running_ = committed_;
    at_start_ = true;
    is_back_ = true;
    flip_to_store(at + RESTART_TAKES_S);
    is_back_ = false;
}

void recorder::add(time_t at, track which, std::string what, const cause &by)
{
    if (at < from_ || at >= to_)
        return;
    plan_.acts.push_back({.at = at,
                          .of = which,
                          .what = std::move(what),
                          .module = by.module,
                          .verdict = by.verdict,
                          .reason = by.reason});
}

void recorder::add_span(track which, std::string state, time_t from, time_t to)
{
    const time_t begin = std::max(from, from_);
    const time_t end = std::min(to, to_);
    if (begin < end)
        spans_.at(index_of(which)).push_back({.of = which, .state = std::move(state), .from = begin, .to = end});
}

void recorder::finish()
{
    for (const track which : TRACKS) {
        const size_t index = index_of(which);
        if (which != track::restart)
            add_span(which, std::string(word_for(which, states_.at(index))), since_.at(index), to_);
        plan_.spans.insert(plan_.spans.end(), spans_.at(index).begin(), spans_.at(index).end());
    }
}

// ---- why ----

// A module's verdict of the pass in which it acted is still there when the pass ends. Power saving switches Wi-Fi and
// LEDs, too; then theirs does not speak of it.
recorder::cause recorder::cause_of(track which, bool state) const
{
    const auto found = [](std::string_view module, auto verdict) {
        const meaning means = meaning_of(verdict);
        return cause{std::string(module), std::string(means.name), std::string(means.why)};
    };
    if (is_back_)
        return {"start", "", "The restart brought back what was committed."};
    const bool by_power = now_.power == (state ? power_verdict::waking : power_verdict::falling_asleep);
    if (which == track::wifi && now_.wifi == (state ? wifi_verdict::switching_on : wifi_verdict::switching_off))
        return found("wifi", now_.wifi);
    if (which == track::led && !by_power &&
        (state ? now_.led == led_verdict::between_periods || now_.led == led_verdict::always_on
               : now_.led == led_verdict::in_period || now_.led == led_verdict::always_off))
        return found("led", now_.led);
    if (which == track::guest && now_.guest == guest_verdict::closing)
        return found("guest", now_.guest);
    if (by_power && !(at_start_ && state)) {
        cause slept = found("power", now_.power);
        if (before_.power == power_verdict::counting_no_client || before_.power == power_verdict::counting_quiet)
            slept.reason = std::string(meaning_of(before_.power).why) + " " + slept.reason;
        return slept;
    }
    if (which == track::guest && now_.wifi == wifi_verdict::switching_off && !at_start_)
        return found("wifi", now_.wifi);
    if (which == track::guest && !state)
        return {"start", "", "The guest network counts as opened when the preview begins."};
    return {"start", "", std::string(STARTS)};
}

recorder::cause recorder::cause_of_restart() const
{
    cause by = {"reboot", std::string(meaning_of(before_.reboot).name), ""};
    switch (before_.reboot) {
    case reboot_verdict::counting_no_client:
        by.reason = "Nobody was on the network for about three minutes in the window.";
        break;
    case reboot_verdict::armed:
    case reboot_verdict::counting_quiet:
        by.reason = "The network was quiet for about half an hour in the window: this is the earliest moment, and it "
                    "may be up to ten minutes later.";
        break;
    default:
        by.reason = "The window opened, and the schedule waits for nothing.";
        break;
    }
    return by;
}

} // namespace preview
