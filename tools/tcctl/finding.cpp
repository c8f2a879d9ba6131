#include "tools/tcctl/finding.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <tuple>

namespace tcctl
{

namespace
{

struct fault_row {
    std::string_view name;
    tcctl::severity severity;
};

constexpr std::array ROWS = {
#define FINDING(name, SEVERITY) fault_row{#name, severity::SEVERITY},
#include "tools/tcctl/findings.def"
#undef FINDING
};

} // namespace

std::string_view name_of(severity severity)
{
    constexpr std::array<std::string_view, 3> NAMES = {"error", "warning", "note"};
    return NAMES[static_cast<size_t>(severity)];
}

std::string id_of(fault fault)
{
    std::string id(ROWS[static_cast<size_t>(fault)].name);
    std::replace(id.begin(), id.end(), '_', '-');
    return id;
}

severity severity_of(fault fault)
{
    return ROWS[static_cast<size_t>(fault)].severity;
}

findings check_settings(const settings &given)
{
    findings found;
    for (const auto check : {check_keys, check_daily, check_weekly, check_network, check_overlaps})
        check(given, found);
    std::stable_sort(found.begin(), found.end(), [](const finding &one, const finding &other) {
        return std::tie(one.where.file_number, one.where.line) < std::tie(other.where.file_number, other.where.line);
    });
    return found;
}

} // namespace tcctl
