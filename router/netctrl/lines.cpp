#include "router/netctrl/lines.h"

#include <algorithm>
#include <poll.h>
#include <unistd.h>

#include "platform/linux/printable.h"

namespace
{

constexpr size_t LINE_MAX_BYTES = 1024; // less than a pipe that can be written to takes at once

unsigned long lost_lines;

bool write_line(std::string line)
{
    pollfd writable = {.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    if (poll(&writable, 1, 0) != 1 || (writable.revents & POLLOUT) == 0)
        return false;
    line.resize(std::min(line.size(), LINE_MAX_BYTES));
    make_printable(line.data(), line.size());
    line += '\n';
    return write(STDOUT_FILENO, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

} // namespace

void say(std::string line)
{
    if (lost_lines > 0 && write_line("netctrl: " + std::to_string(lost_lines) + " lines were lost"))
        lost_lines = 0;
    if (!write_line(std::move(line)))
        lost_lines++;
}
