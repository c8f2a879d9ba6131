// What the status page says of each module, in words: the gates of its rule in their order up to the one that holds,
// what would have to happen, and what comes next.
//
// The verdict in the page says which gate holds; the page's numbers only make the sentences. Nothing here reads a
// file or a clock.
#ifndef TOOLS_TCCTL_EXPLAIN_H
#define TOOLS_TCCTL_EXPLAIN_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/status.h"
#include "tools/tcctl/verdicts.h"

namespace tcctl
{

// The second in which the main loop last judged.
struct judged_second {
    int64_t calendar; // seconds since 1970
    int64_t uptime;   // seconds
};

struct gate {
    std::string_view name; // of the question, for programs
    std::string question;  // with the inputs
    bool is_open;          // the answer; no other gate follows one that is closed
    std::string detail;    // how far it is, where it is closed
};

struct coming {
    int64_t at; // seconds since 1970
    std::string what;
};

struct explanation {
    std::string module;
    std::string verdict;      // the branch's name, "" when the page has none that is known
    std::string_view meaning; // its sentence
    bool is_wrong = false;    // something that its owner wants to know of
    bool is_ordinary = true;  // worth no line of its own in the overview, for a program that is watched
    std::vector<gate> gates;
    std::string brief;          // with what it is busy, with numbers
    std::string outlook;        // what is to be expected, where the meaning does not say it
    std::optional<coming> next; // as far as it is known
    status_row row = {};        // since when, and the last act
};

// The modules by the names that people use, in the order of the overview. "sleep" is power's other name, "fault"
// stoppage's, "wifi_connect" and "ap_connect" those of uplink and ap.
std::span<const std::string_view> module_names();

// The name of a module by any of its names; "" when there is none.
std::string_view module_named(std::string_view name);

// `module` is one of module_names().
explanation explain(const time_check_status &page, const judged_second &now, std::string_view module);

// The watched programs of "cpu" or "daemon", each with its own gates; the module's name is then "cpu httpd".
std::vector<explanation> explain_programs(const time_check_status &page, const judged_second &now,
                                          std::string_view module);

// Whether the clock had been set.
bool clock_is_set(const judged_second &now);

// ---- for the files that explain one kind each ----

explanation explain_reboot(const time_check_status &page, const judged_second &now);
explanation explain_power(const time_check_status &page, const judged_second &now);
explanation explain_wifi(const time_check_status &page, const judged_second &now);
explanation explain_led(const time_check_status &page, const judged_second &now);
explanation explain_guest(const time_check_status &page, const judged_second &now);
explanation explain_watchdog(const time_check_status &page, const judged_second &now, std::string_view module);
explanation explain_uplink(const time_check_status &page, const judged_second &now);
explanation explain_gateway(const time_check_status &page, const judged_second &now);
explanation explain_stoppage(const time_check_status &page, const judged_second &now);
explanation explain_wan(const time_check_status &page, const judged_second &now, unsigned index);

} // namespace tcctl

#endif
