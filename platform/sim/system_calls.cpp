// Clocks, LEDs, the restart and the bus: the rest of the contract, and what tests ask of them.
#include <cmath>
#include <cstdlib>
#include <stdexcept>

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
    return model().scheduler.uptime();
}

void system_sleep(int seconds)
{
    model().scheduler.wait(seconds * SECOND);
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
    model().leds = state;
    model().journal.act("leds " + std::to_string(state));
}

int tpi_systool_reboot(void)
{
    model().journal.act("reboot");
    if (model().faults.hits(Call::tpi_systool_reboot))
        return -1;
    if (!model().reboot_returns)
        model().scheduler.restart_machine();
    return 0;
}

int RegMsgHandle(const char *name, const char * /*filter*/, message_handle_fn handle)
{
    return !model().faults.hits(Call::RegMsgHandle) && model().scheduler.take_name(name, handle);
}

} // extern "C"

// ---- what tests ask for ----

namespace sim
{

static Micros micros(double seconds)
{
    return std::llround(seconds * static_cast<double>(SECOND));
}

void VirtualRouter::timezone(const std::string &posix_tz)
{
    model().local_time.set_zone(posix_tz);
}

static time_t local_time_or_throw(const std::string &local)
{
    const time_t time = from_local_text(local);
    if (time == -1)
        throw std::invalid_argument("not a local time \"YYYY-MM-DD HH:MM:SS\": " + local);
    return time;
}

void VirtualRouter::clock(const std::string &local)
{
    model().scheduler.set_wall(local_time_or_throw(local));
}

void VirtualRouter::clock_at(time_t seconds)
{
    model().scheduler.set_wall(seconds);
}

void VirtualRouter::step_clock(int64_t seconds)
{
    model().scheduler.step_wall(seconds * SECOND);
}

time_t VirtualRouter::wall() const
{
    return model().scheduler.wall();
}

std::string VirtualRouter::local_time() const
{
    return local_text(wall());
}

void VirtualRouter::uptime(int seconds)
{
    model().scheduler.set_uptime(seconds);
}

int VirtualRouter::uptime() const
{
    return model().scheduler.uptime();
}

int VirtualRouter::leds() const
{
    return model().leds;
}

bool VirtualRouter::boot()
{
    return model().scheduler.boot();
}

int VirtualRouter::exit_status() const
{
    return model().scheduler.main_result();
}

bool VirtualRouter::running() const
{
    return model().scheduler.main_runs();
}

void VirtualRouter::tick(unsigned n)
{
    model().scheduler.tick(n);
}

void VirtualRouter::run(double seconds)
{
    model().scheduler.run_until(model().scheduler.now() + micros(seconds));
}

void VirtualRouter::run_until(const std::string &local)
{
    const Micros goal = static_cast<Micros>(local_time_or_throw(local)) * SECOND;
    while (model().scheduler.wall_us() < goal)
        model().scheduler.run_until(model().scheduler.now() + goal - model().scheduler.wall_us(), true);
}

bool VirtualRouter::post(std::string_view text, const std::string &sender)
{
    return model().scheduler.post(sender, std::string(text));
}

void VirtualRouter::at(double seconds_from_now, std::function<void()> change)
{
    model().scheduler.at(micros(seconds_from_now), std::move(change));
}

void VirtualRouter::reboot_returns(bool returns)
{
    model().reboot_returns = returns;
}

void VirtualRouter::restart_takes(int seconds)
{
    model().scheduler.restart_takes(seconds);
}

void VirtualRouter::restart()
{
    model().scheduler.restart_now();
}

size_t VirtualRouter::threads() const
{
    return model().scheduler.threads();
}

uint64_t VirtualRouter::restarts() const
{
    return model().scheduler.restarts();
}

uint64_t VirtualRouter::ticks() const
{
    return model().scheduler.ticks();
}

} // namespace sim
