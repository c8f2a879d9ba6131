#include "router/dhttpd/report.h"

#include <algorithm>

#include "tools/tcctl/times.h"
#include "tools/tcctl/verdicts.h"

namespace dhttpd
{

namespace
{

line_state state_of(uint8_t verdict)
{
    switch (static_cast<tcctl::reach>(verdict)) {
    case tcctl::reach::no_link:
        return line_state::NO_CABLE;
    case tcctl::reach::no_address:
        return line_state::WITHOUT_ADDRESS;
    case tcctl::reach::not_connected:
        return line_state::NOT_ASSOCIATED;
    case tcctl::reach::unresolved:
        return line_state::NO_NAMES;
    case tcctl::reach::unreachable:
        return line_state::NO_ANSWER;
    case tcctl::reach::forgiven:
    case tcctl::reach::reachable:
        return line_state::GOOD;
    case tcctl::reach::not_supported:
        break;
    }
    return line_state::UNKNOWN; // also what a newer daemon finds
}

// A fault that is going ends the look for faults before the reachability check sees the internet.
bool is_well(const status_main &main)
{
    switch (static_cast<tcctl::stoppage>(main.stoppage_row.verdict)) {
    case tcctl::stoppage::online:
    case tcctl::stoppage::not_a_router:
    case tcctl::stoppage::fault_gone:
        return true;
    default:
        return false;
    }
}

} // namespace

std::array<standing, 3> parts_of(const line &line)
{
    using enum standing;
    switch (line.state) {
    case line_state::GOOD:
        return {GOOD, GOOD, GOOD};
    case line_state::NO_CABLE:
    case line_state::NOT_ASSOCIATED:
        return {BROKEN, UNKNOWN, UNKNOWN};
    case line_state::WITHOUT_ADDRESS:
        return {GOOD, BROKEN, UNKNOWN};
    case line_state::NO_NAMES:
    case line_state::NO_ANSWER:
        return {GOOD, GOOD, BROKEN};
    case line_state::UNKNOWN:
        break;
    }
    return {UNKNOWN, UNKNOWN, UNKNOWN};
}

report report_of(const status_reading *reading)
{
    constexpr int64_t CLOCK_IS_SET = 1577836800; // 2020
    report made;
    if (reading == nullptr)
        return made;
    const status_main &main = reading->status.main;
    const status_wans &wans = reading->status.wans;
    made.now = reading->calendar;
    for (uint32_t i = 0; i < std::min<uint32_t>(wans.num, STATUS_WANS); i++)
        made.lines.push_back({.interface = std::string(tcctl::text_of(wans.wan[i].interface)),
                              .state = state_of(wans.wan[i].row.verdict)});
    const int32_t fault = main.stoppage.fault;
    if (fault > 0 && fault < FAULTS) {
        made.what = outcome::FAULT;
        made.fault = static_cast<uint32_t>(fault);
        if (made.now >= CLOCK_IS_SET) // else the time would be of a clock that jumps when the line is back
            made.since = made.now - std::max(0, reading->uptime - main.stoppage.since_uptime);
    } else {
        made.what = is_well(main) ? outcome::WELL : outcome::FAULT;
    }
    return made;
}

} // namespace dhttpd
