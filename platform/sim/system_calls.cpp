// Clocks, LEDs, the restart and the bus: the rest of the contract.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "platform/common/journal.h"
#include "platform/message_bus.h"
#include "platform/program.h"
#include "platform/sim/virtual_router.h"
#include "platform/system.h"

using sim::Call;
using sim::Micros;
using sim::router;
using sim::SECOND;

extern "C" {

int get_uptime(void)
{
    return router().clock.uptime();
}

void system_sleep(int seconds)
{
    router().pause(seconds * SECOND);
}

int get_sys_mode(void)
{
    const std::string *const mode = router().store.value_of("sys.mode");
    const long long number = mode == nullptr ? 0 : strtoll(mode->c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long long>(number, INT_MIN, INT_MAX));
}

void set_all_led(int state)
{
    if (state < 0 || state > 3)
        return;
    router().journal.act("leds " + std::to_string(state));
    journal_leds(state);
}

int tpi_systool_reboot(void)
{
    router().journal.act("reboot");
    journal_reboot();
    if (router().faults.hits(Call::tpi_systool_reboot))
        return -1;
    if (!router().reboot_returns)
        router().restart_by_daemon();
    return 0;
}

void program_begin(int /*count*/, char *const /*arguments*/[], void (*end)(void), void (*read_again)(void))
{
    router().take_program(end, read_again);
}

int RegMsgHandle(const char * /*name*/, const char * /*filter*/, message_handle_fn handle)
{
    return !router().faults.hits(Call::RegMsgHandle) && router().take_name(handle);
}

// ---- the journal ----

void journal_write(const journal_record *record)
{
    router().journal.reason(*record);
}

int journal_is_kept(void)
{
    return 1;
}

status_part journal_part(void)
{
    return router().runs_main_thread() ? STATUS_PART_MAIN : STATUS_PART_WANS;
}

int journal_look_up(const char *key, char *value, size_t size)
{
    const std::string *const found = router().store.value_of(key); // which is no use of the key by the daemon
    snprintf(value, size, "%s", found == nullptr ? "" : found->c_str());
    return found != nullptr;
}

} // extern "C"
