// What is wrong with settings.
#ifndef TOOLS_TCCTL_FINDING_H
#define TOOLS_TCCTL_FINDING_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tcctl/settings.h"

namespace tcctl
{

enum class severity : uint8_t { ERROR, WARNING, NOTE };

// "error", "warning", "note".
std::string_view name_of(severity severity);

// The traps that the documents tell of, and what else there is (decision 0155).
enum class fault : uint8_t {
#define FINDING(name, SEVERITY) name,
#include "tools/tcctl/findings.def"
#undef FINDING
};

std::string id_of(fault fault); // "time-unreadable"
severity severity_of(fault fault);

// Sentences without a full stop, which are printed one after the other.
struct finding {
    tcctl::fault fault;
    setting where;          // what is about no setting at all, such as the time zone, has an empty key
    std::string message;    // what is wrong
    std::string effect;     // what the daemon does with it
    std::string suggestion; // what was probably meant; "" when that cannot be told
};

using findings = std::vector<finding>;

// One for each theme: what it finds is added at the end.
void check_keys(const settings &given, findings &found);
void check_daily(const settings &given, findings &found);
void check_weekly(const settings &given, findings &found);
void check_network(const settings &given, findings &found);
void check_overlaps(const settings &given, findings &found);

// All of these, in the order of the files' lines.
findings check_settings(const settings &given);

// Where the machine has what check_machine looks at.
struct machine_paths {
    std::string interfaces = "/sys/class/net";
    std::string zone_file = "/etc/localtime";
    std::string zones = "/usr/share/zoneinfo";
};

// Whether these settings, of the machine's own store, fit the machine: its bridges and its time zone. `zone` is what
// the environment has under TZ, null for nothing.
findings check_machine(const settings &given, const machine_paths &paths, const char *zone);

} // namespace tcctl

#endif
