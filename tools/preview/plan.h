// What the coming days hold for a router: what the daemon does, when and why.
#ifndef TOOLS_PREVIEW_PLAN_H
#define TOOLS_PREVIEW_PLAN_H

#include <array>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace preview
{

// In the order of the charts.
enum class track { wifi, led, sleep, guest, restart };
inline constexpr std::array<track, 5> TRACKS = {track::wifi, track::led, track::sleep, track::guest, track::restart};

// "wifi", as programs read it, and "Wi-Fi", as people do.
std::string_view name_of(track which);
std::string_view title_of(track which);

// A span of time in which a track does not change. The states are "on" and "off", "asleep" and "awake", "open" and
// "closed"; of the restart there are "window", in which it may come, and "restarting", and the spans leave gaps and
// overlap.
struct span {
    track of;
    std::string state;
    time_t from;
    time_t to; // the first second that is not of it
};

// Whether the span shows what is not the rule: off, asleep, open, a window, a restart. Charts draw these alone.
bool is_marked(const span &one);

struct act {
    time_t at;
    track of;
    std::string what;   // the state that begins, or "restart"
    std::string module; // who decided it: "wifi", "led", "power", "guest", "reboot", or "start", the daemon's own start
    std::string verdict; // what the module's rule found, "" for a start
    std::string reason;
};

struct surprise {
    time_t at;
    std::string kind; // a word for programs
    std::string text; // a sentence
};

struct clock_change {
    time_t at; // the first second by the new time
    int by;    // seconds
};

// How long the machine takes to come up again, as it is taken to be.
inline constexpr int RESTART_TAKES_S = 20;

struct plan {
    time_t from;
    time_t to;
    std::vector<act> acts;           // by time
    std::vector<span> spans;         // a track after the other, by time
    std::vector<surprise> surprises; // by time
    std::vector<clock_change> clock_changes;
};

} // namespace preview

#endif
