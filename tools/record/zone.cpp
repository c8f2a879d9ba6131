#include "tools/record/zone.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace record
{

// From the second version of the form on, the rules are a line of their own at the end.
std::string rules_in(std::string_view zone_file)
{
    if (!zone_file.starts_with("TZif") || zone_file.size() < 6 || zone_file[4] < '2' || !zone_file.ends_with('\n'))
        return "";
    const std::string_view text = zone_file.substr(0, zone_file.size() - 1);
    const size_t before = text.rfind('\n');
    return before == std::string_view::npos ? "" : std::string(text.substr(before + 1));
}

std::string current_zone()
{
    const char *const told = std::getenv("TZ");
    if (told != nullptr && *told != '\0' && *told != ':' && *told != '/')
        return told;
    std::ifstream file("/etc/localtime", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::string rules = rules_in(bytes);
    return rules.empty() ? "UTC0" : rules;
}

} // namespace record
