#include "platform/netctrl.h"

#include <cstdio>

#include "platform/common/journal.h"
#include "platform/linux/bus.h"
#include "platform/linux/ground_log.h"

int send_msg_to_netctrl(int module, const char *text)
{
    char message[BUS_TEXT_MAX + 1];
    const int length = snprintf(message, sizeof message, "%d?%s", module, text);
    const bool fits = length >= 0 && static_cast<size_t>(length) < sizeof message;
    const bus_result result = fits ? bus_post("netctrl", message) : BUS_TOO_LONG;
    journal_netctrl(module, text, result == BUS_DONE);
    if (result == BUS_DONE)
        return 0;
    ground_log("bus: cannot post \"%s\" to netctrl: %s", message, bus_result_text(result));
    return -1;
}
