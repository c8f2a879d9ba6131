// The machine's time zone, as POSIX writes it.
#ifndef TOOLS_RECORD_ZONE_H
#define TOOLS_RECORD_ZONE_H

#include <string>
#include <string_view>

namespace record
{

// What rules a time zone's file ends with; "" where it has none: it is another file, or an old one.
std::string rules_in(std::string_view zone_file);

// That of the environment (TZ), or else of /etc/localtime, read anew; UTC0 where neither tells.
std::string current_zone();

} // namespace record

#endif
