// What the charts of all formats have in common.
#ifndef TOOLS_PREVIEW_CHART_H
#define TOOLS_PREVIEW_CHART_H

#include <string>
#include <vector>

#include "tools/preview/calendar.h"
#include "tools/preview/plan.h"

namespace preview
{

inline constexpr int SECONDS_A_DAY = 24 * 3600;

// The part of a span that lies in a day, as the clock shows it: seconds since midnight, from < to <= 86400. An hour
// that comes twice is drawn once.
struct mark {
    const span *of;
    int from;
    int to;
};

// The marked spans of a track in a day, by time; windows first, so that a restart is drawn upon its own.
std::vector<mark> marks_of(const plan &shown, track which, const local_day &day);

// "Wi-Fi off from Mon 23:00:00 to Tue 06:30:00".
std::string sentence_of(const span &one);

// "Wi-Fi off", "Asleep", "Restart".
std::string headline_of(const act &one);

// The day's change of the clock as a remark, "" when there is none: "clock +1 h at 02:00".
std::string clock_remark(const plan &shown, const local_day &day);

// The surprises as a list: those that say the same are one, with the others' number.
struct remark {
    const surprise *first;
    unsigned more;
};
std::vector<remark> remarks_of(const plan &shown);

// What is drawn for a state, for the legend: "off", "asleep", "open", "may restart", "restarting".
std::string legend_of(const span &one);

} // namespace preview

#endif
