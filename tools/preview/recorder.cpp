#include "tools/preview/recorder.h"

#include <algorithm>
#include <utility>

#include "platform/config_keys.h"
#include "platform/sim/virtual_router.h"
#include "platform/status.h"

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
    const sim::Journal &journal = sim::router().journal;
    for (size_t i = 0; i < journal.lines().size(); i++) {
        const std::string_view line = journal.lines()[i];
        const sim::Journal::Moment &by = journal.moments()[i];
        if (line.starts_with("set ") && !line.starts_with("set failed "))
            set(line.substr(4, line.find('=') - 4), line.substr(line.find('=') + 1), by);
        else if (line == "commit")
            committed_ = running_;
        else if (line == "reboot")
            restarted(by);
    }
    if (!journal.lines().empty())
        sim::router().journal.clear();
    if (reboot_findings_.empty() || reboot_verdict_now() != reboot_findings_.back().verdict)
        reboot_findings_.push_back({.since = sim::router().clock.wall(), .verdict = reboot_verdict_now()});
}

void recorder::changed(std::string_view key, std::string_view value)
{
    set(key, value, {.wall = sim::router().clock.wall(), .uptime = 0, .who = STATUS_NOBODY, .verdict = 0});
}

void recorder::set(std::string_view key, std::string_view value, const sim::Journal::Moment &by)
{
    if (std::ranges::find(WATCHED_KEYS, key) == WATCHED_KEYS.end())
        return;
    running_[std::string(key)] = value;
    flip_to_store(by);
}

void recorder::flip_to_store(const sim::Journal::Moment &by)
{
    for (const track which : TRACKS) {
        if (which == track::restart)
            continue;
        const size_t index = index_of(which);
        const bool state = state_of(which);
        if (state == states_.at(index))
            continue;
        add_span(which, std::string(word_for(which, !state)), since_.at(index), by.wall);
        states_.at(index) = state;
        since_.at(index) = by.wall;
        add(by.wall, which, std::string(word_for(which, state)), cause_of(by));
    }
}

// The store comes back as it was committed, and the daemon's first pass follows.
void recorder::restarted(const sim::Journal::Moment &by)
{
    add(by.wall, track::restart, "restart", cause_of_restart());
    add_span(track::restart, "restarting", by.wall, by.wall + RESTART_TAKES_S);
    running_ = committed_;
    flip_to_store({.wall = by.wall + RESTART_TAKES_S, .uptime = 0, .who = STATUS_REBOOT, .verdict = by.verdict});
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

recorder::cause recorder::cause_of(const sim::Journal::Moment &by) const
{
    if (by.who == STATUS_NOBODY)
        return {"start", "", "The guest network counts as opened when the preview begins."};
    if (by.who == STATUS_REBOOT)
        return {"start", "", "The restart brought back what was committed."};
    const meaning means = meaning_of(by.who, by.verdict);
    if (by.verdict == STATUS_AT_START || means.name.empty())
        return {"start", "", std::string(STARTS)};
    cause found = {std::string(module_name(by.who)), std::string(means.name), std::string(means.why)};
    const auto power = static_cast<power_verdict>(by.verdict);
    if (by.who == STATUS_POWER &&
        (power == power_verdict::counting_no_client || power == power_verdict::counting_quiet))
        found.reason += " " + std::string(meaning_of(power_verdict::falling_asleep).why);
    return found;
}

// All restarts are told by one verdict: the one before it says what was waited for.
recorder::cause recorder::cause_of_restart() const
{
    const reboot_verdict before = reboot_findings_.empty() ? reboot_verdict::off : reboot_findings_.back().verdict;
    cause found = {"reboot", std::string(meaning_of(before).name), ""};
    switch (before) {
    case reboot_verdict::counting_no_client:
        found.reason = "Nobody was on the network for about three minutes in the window.";
        break;
    case reboot_verdict::armed:
    case reboot_verdict::counting_quiet:
        found.reason =
            "The network was quiet for about half an hour in the window: this is the earliest moment, and it "
            "may be up to ten minutes later.";
        break;
    default:
        found.reason = "The window opened, and the schedule waits for nothing.";
        break;
    }
    return found;
}

} // namespace preview
