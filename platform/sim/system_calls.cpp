// Clocks, LEDs, the restart and the bus: the rest of the contract.
#include <cstdlib>

#include "platform/message_bus.h"
#include "platform/sim/model.h"
#include "platform/sim/virtual_router.h"
#include "platform/system.h"

using sim::Call;
using sim::Micros;
using sim::model;
using sim::SECOND;

extern "C" {

int get_uptime(void)
{
    return model().machine.clock.uptime();
}

void system_sleep(int seconds)
{
    model().machine.wait(seconds * SECOND);
}

int get_sys_mode(void)
{
    const std::string *const mode = model().store.value_of("sys.mode");
    return mode == nullptr ? 0 : atoi(mode->c_str());
}

void set_all_led(int state)
{
    if (state < 0 || state > 3)
        return;
    model().journal.act("leds " + std::to_string(state));
}

int tpi_systool_reboot(void)
{
    model().journal.act("reboot");
    if (model().faults.hits(Call::tpi_systool_reboot))
        return -1;
    if (!model().reboot_returns)
        model().machine.restart_by_daemon();
    return 0;
}

int RegMsgHandle(const char * /*name*/, const char * /*filter*/, message_handle_fn handle)
{
    return !model().faults.hits(Call::RegMsgHandle) && model().machine.take_name(handle);
}

} // extern "C"
