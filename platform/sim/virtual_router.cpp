// What tests ask for, on the parts.
#include "platform/sim/virtual_router.h"

#include "platform/sim/model.h"

namespace sim
{

void VirtualRouter::set(std::string_view key, std::string_view value)
{
    model().store.set(key, value);
}

void VirtualRouter::set_uncommitted(std::string_view key, std::string_view value)
{
    model().store.set_uncommitted(key, value);
}

void VirtualRouter::unset(std::string_view key)
{
    model().store.unset(key);
}

std::string VirtualRouter::get(std::string_view key) const
{
    return model().store.get(key);
}

bool VirtualRouter::has(std::string_view key) const
{
    return model().store.has(key);
}

std::string VirtualRouter::committed(std::string_view key) const
{
    return model().store.committed(key);
}

std::vector<std::string> VirtualRouter::used_keys() const
{
    return model().store.used_keys();
}

std::vector<std::string> VirtualRouter::unknown_keys() const
{
    return model().store.unknown_keys();
}

void VirtualRouter::product_key(std::string_view key)
{
    model().store.add_product_key(key);
}

void VirtualRouter::timezone(const std::string &posix_tz)
{
    model().local_time.set_zone(posix_tz);
}

void VirtualRouter::clock(const std::string &local)
{
    model().machine.clock.set(local);
}

void VirtualRouter::clock_at(time_t seconds)
{
    model().machine.clock.set(seconds);
}

void VirtualRouter::step_clock(int64_t seconds)
{
    model().machine.clock.step(seconds);
}

time_t VirtualRouter::wall() const
{
    return model().machine.clock.wall();
}

std::string VirtualRouter::local_time() const
{
    return model().machine.clock.local();
}

void VirtualRouter::uptime(int seconds)
{
    model().machine.clock.set_uptime(seconds);
}

int VirtualRouter::uptime() const
{
    return model().machine.clock.uptime();
}

void VirtualRouter::file(const std::string &path, std::string_view text)
{
    model().files.set(path, text);
}

std::string VirtualRouter::file(const std::string &path) const
{
    return model().files.text_of(path);
}

bool VirtualRouter::file_exists(const std::string &path) const
{
    return model().files.exists(path);
}

void VirtualRouter::link_file(const std::string &path, const std::string &target)
{
    model().files.set_link(path, target);
}

void VirtualRouter::permissions(const std::string &path, unsigned mode, unsigned user, unsigned group)
{
    model().files.set_permissions(path, mode, user, group);
}

std::string VirtualRouter::permissions(const std::string &path) const
{
    return model().files.permissions_of(path);
}

void VirtualRouter::remove_file(const std::string &path)
{
    model().files.remove(path);
}

void VirtualRouter::unreadable(const std::string &path, int error)
{
    model().files.set_unreadable(path, error);
}

void VirtualRouter::missing(const std::string &path)
{
    model().files.set_missing(path);
}

const std::vector<std::string> &VirtualRouter::unknown_paths() const
{
    return model().files.unknown_paths();
}

void VirtualRouter::directory(const std::string &path)
{
    model().files.set_directory(path);
}

std::vector<std::string> VirtualRouter::open_descriptors() const
{
    std::vector<std::string> paths = model().files.open_paths();
    const std::vector<std::string> directories = model().streams.open_directories();
    paths.insert(paths.end(), directories.begin(), directories.end());
    return paths;
}

void VirtualRouter::counters(const std::string &ifname, uint64_t rx_bytes, uint64_t tx_bytes)
{
    model().network.set_counters(ifname, rx_bytes, tx_bytes);
}

void VirtualRouter::arp(const std::string &ip, const std::string &flags, const std::string &mac,
                        const std::string &ifname)
{
    model().network.set_neighbour(ip, flags, mac, ifname);
}

void VirtualRouter::clear_arp()
{
    model().network.clear_neighbours();
}

void VirtualRouter::multicast(const std::string &ifname, uint64_t bytes_out)
{
    model().network.set_multicast(ifname, bytes_out);
}

void VirtualRouter::host(const std::string &ip, uint64_t up_bytes, uint64_t down_bytes)
{
    model().network.set_host(ip, up_bytes, down_bytes);
}

void VirtualRouter::address(const std::string &ifname, const std::string &ip)
{
    model().network.set_address(ifname, ip);
}

void VirtualRouter::link(int port, bool up)
{
    model().network.set_link(port, up);
}

void VirtualRouter::lan(const std::string &ifname)
{
    model().network.set_lan(ifname);
}

void VirtualRouter::wan(int wan_id, const std::string &ifname)
{
    model().network.set_wan(wan_id, ifname);
}

void VirtualRouter::on_wan_ifname(std::function<std::string(int wan_id, int sys_mode, int conn_type)> hook)
{
    model().network.set_wan_hook(std::move(hook));
}

void VirtualRouter::eth_name(int id, const std::string &name)
{
    model().network.set_eth_name(id, name);
}

void VirtualRouter::name(const std::string &host_name, const std::string &ip)
{
    model().network.set_name(host_name, ip);
}

void VirtualRouter::dns(bool up)
{
    model().network.set_dns(up);
}

void VirtualRouter::name_server(const std::string &ip, bool up)
{
    model().network.set_name_server(ip, up);
}

void VirtualRouter::reachable(const std::string &ip, const std::string &ifname, bool answers)
{
    model().network.set_reachable(ip, ifname, answers);
}

void VirtualRouter::ping_takes(int answered_ms, int failed_ms)
{
    model().network.set_ping_durations(answered_ms, failed_ms);
}

void VirtualRouter::internet(bool up)
{
    model().network.set_internet(up);
}

void VirtualRouter::radio(const std::string &ifname, int phy_state, int relay_state)
{
    model().radios.set(ifname, phy_state, relay_state);
}

void VirtualRouter::radio_connection(const std::string &ifname, int state)
{
    model().radios.set_connection(ifname, state);
}

int VirtualRouter::access_type_asked() const
{
    return model().radios.access_type_asked;
}

void VirtualRouter::radio_name(int band, const std::string &ifname)
{
    model().radios.set_name(band, ifname);
}

void VirtualRouter::wisp_page(int status)
{
    model().radios.webpage_status = status;
}

void VirtualRouter::process(const std::string &name, int pid, const std::string &argv)
{
    model().processes.start(name, pid, argv);
}

void VirtualRouter::end_process(const std::string &name)
{
    model().processes.end(name);
}

bool VirtualRouter::runs(const std::string &name) const
{
    return model().processes.runs(name);
}

void VirtualRouter::cpus(int number)
{
    model().processes.set_cpus(number);
}

void VirtualRouter::cpu_share(const std::string &name, double percent_of_one_cpu)
{
    model().processes.set_share(name, percent_of_one_cpu);
}

void VirtualRouter::started_by_command(const std::string &program, bool starts)
{
    model().commands.set_starts(program, starts);
}

void VirtualRouter::command_output(const std::string &command, std::string_view output)
{
    model().commands.set_output(command, output);
}

void VirtualRouter::command_status(const std::string &command, int exit_status)
{
    model().commands.set_status(command, exit_status);
}

void VirtualRouter::on_command(std::function<int(const std::string &command)> hook)
{
    model().commands.set_hook(std::move(hook));
}

void VirtualRouter::commands_take(int seconds)
{
    model().commands.set_duration(seconds);
}

std::vector<std::string> VirtualRouter::chain(const std::string &name) const
{
    return model().commands.chain(name);
}

bool VirtualRouter::has_chain(const std::string &name) const
{
    return model().commands.has_chain(name);
}

std::vector<std::string> VirtualRouter::rules() const
{
    return model().commands.rules();
}

const std::vector<std::string> &VirtualRouter::messages_to_netctrl() const
{
    return model().journal.messages_to_netctrl();
}

void VirtualRouter::fail(const std::string &call, unsigned nth, int error, bool forever)
{
    model().faults.fail(call, nth, error, forever);
}

void VirtualRouter::fail_when(const std::string &call, std::function<bool(uint64_t nth)> fails, int error)
{
    model().faults.fail_when(call, std::move(fails), error);
}

void VirtualRouter::clear_faults()
{
    model().faults.clear();
}

uint64_t VirtualRouter::calls_made(const std::string &call) const
{
    return model().faults.made(call);
}

const std::vector<std::string> &VirtualRouter::calls()
{
    return Faults::names();
}

bool VirtualRouter::boot()
{
    return model().machine.boot();
}

bool VirtualRouter::running() const
{
    return model().machine.running();
}

int VirtualRouter::exit_status() const
{
    return model().machine.exit_status();
}

void VirtualRouter::tick(unsigned n)
{
    model().machine.tick(n);
}

void VirtualRouter::run(double seconds)
{
    model().machine.run(seconds);
}

void VirtualRouter::run_until(const std::string &local)
{
    model().machine.run_until(local);
}

bool VirtualRouter::post(std::string_view text, const std::string &sender)
{
    return model().machine.post(std::string(text), sender);
}

void VirtualRouter::at(double seconds_from_now, std::function<void()> change)
{
    model().machine.at(seconds_from_now, std::move(change));
}

void VirtualRouter::reboot_returns(bool returns)
{
    model().reboot_returns = returns;
}

void VirtualRouter::restart_takes(int seconds)
{
    model().machine.restart_takes(seconds);
}

void VirtualRouter::restart()
{
    model().machine.restart();
}

uint64_t VirtualRouter::restarts() const
{
    return model().machine.restarts();
}

size_t VirtualRouter::threads() const
{
    return model().machine.threads();
}

uint64_t VirtualRouter::ticks() const
{
    return model().machine.ticks();
}

const std::vector<std::string> &VirtualRouter::journal() const
{
    return model().journal.lines();
}

std::vector<std::string> VirtualRouter::timed_journal() const
{
    return model().journal.timed_lines();
}

std::vector<std::string> VirtualRouter::acts(std::string_view first_word) const
{
    return model().journal.acts(first_word);
}

void VirtualRouter::clear_journal()
{
    model().journal.clear();
}

void VirtualRouter::mute(const std::string &first_word)
{
    model().journal.mute(first_word);
}

const std::vector<std::string> &VirtualRouter::log() const
{
    return model().log.lines();
}

std::vector<std::string> VirtualRouter::bodies() const
{
    return model().log.bodies();
}

std::string VirtualRouter::body(const std::string &line)
{
    return Log::body(line);
}

void VirtualRouter::clear_log()
{
    model().log.clear();
}

void VirtualRouter::keep_log(bool keep)
{
    model().log.keep(keep);
}

void VirtualRouter::show_log(bool show)
{
    model().log.show(show);
}

uint64_t VirtualRouter::lines_logged() const
{
    return model().log.count();
}

} // namespace sim
