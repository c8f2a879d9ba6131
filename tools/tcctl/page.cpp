#include "tools/tcctl/page.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <fmt/format.h>

#include "platform/linux/run_directory.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

static std::string complaint(status_fault fault, const std::string &path, int error)
{
    switch (fault) {
    case STATUS_NO_PAGE:
        return fmt::format("no daemon has run here: there is no {}", path);
    case STATUS_UNREADABLE:
        return fmt::format("cannot read {}: {}", path, std::strerror(error));
    case STATUS_OTHER_VERSION:
        return fmt::format("{} is of a daemon of another version than this tcctl", path);
    case STATUS_OTHER_BYTE_ORDER:
        return fmt::format("{} is of a machine of the other byte order", path);
    default:
        return fmt::format("{} is no status page, or is damaged", path);
    }
}

bool read_page(status_reading *reading, std::string *why)
{
    const std::string folder = run_directory();
    const std::array<std::string, 2> paths = {folder + "/status", folder + "-status/status"};
    why->clear();
    return std::any_of(paths.begin(), paths.end(), [&](const std::string &path) {
        const status_fault fault = status_read(path.c_str(), reading);
        const int error = errno;
        if (fault != STATUS_READ &&
            (why->empty() || fault != STATUS_NO_PAGE)) // what is there tells more than what is not
            *why = complaint(fault, path, error);
        return fault == STATUS_READ;
    });
}

std::string is_stale_because(const status_reading &reading)
{
    constexpr uint32_t PATIENCE_MS = 30000; // a second's work may wait for a command or a few pings
    if (!reading.is_alive)
        return fmt::format("the daemon is dead since {}", time_of(reading.calendar, time(nullptr)));
    if (reading.age_ms > PATIENCE_MS)
        return fmt::format("the daemon runs (process {}) and has not looked for {}", reading.pid,
                           length_of(reading.age_ms / 1000));
    return "";
}

judged_second second_of(const status_reading &reading)
{
    return {.calendar = reading.calendar, .uptime = reading.uptime};
}

} // namespace tcctl
