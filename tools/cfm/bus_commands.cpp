// The commands for the message bus.
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <string>
#include <unistd.h>

#include "platform/linux/bus.h"
#include "platform/linux/bus_copy.h"
#include "tools/cfm/commands.h"
#include "tools/cfm/output.h"

namespace
{

int bus_failure(const std::string &name, bus_result result)
{
    return fail(name + ": " + bus_result_text(result));
}

// A message is one line, whatever it holds.
std::string message_line(const bus_message &message)
{
    char sender[48];
    bus_name_sender(message.sender, sender);
    return shown(std::string(sender) + ": " + message.text, false) + '\n';
}

int print_waiting(const bus_end &end, const std::string &name)
{
    bus_message message;
    for (;;) {
        const bus_result result = bus_receive(&end, &message);
        if (result == BUS_NOTHING)
            return DONE;
        if (result == BUS_SYSTEM_ERROR)
            return bus_failure(name, result);
        if (result != BUS_DONE) // one message was dropped; the next may be good
            bus_failure(name, result);
        else if (print(message_line(message)) != DONE)
            return FAILED;
    }
}

} // namespace

int post(const std::string &name, const std::string &text)
{
    const bus_result result = bus_post(name.c_str(), text.c_str());
    if (result != BUS_DONE)
        return bus_failure(name, result);
    bus_copy(name.c_str(), text.c_str());
    return DONE;
}

// Ends by a signal, or when nobody reads its output any more.
int listen_to(const std::string &name)
{
    bus_end end = {};
    const bus_result result = bus_open(name.c_str(), &end);
    if (result != BUS_DONE)
        return bus_failure(name, result);
    int outcome = DONE;
    while (outcome == DONE) {
        std::array<pollfd, 2> waits = {{{end.socket, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
        if (poll(waits.data(), waits.size(), -1) < 0 && errno != EINTR)
            outcome = fail(std::string("cannot wait: ") + std::strerror(errno));
        else if (waits[1].revents != 0)
            outcome = fail("nobody reads the output any more");
        else
            outcome = print_waiting(end, name);
    }
    bus_close(&end);
    return outcome;
}
