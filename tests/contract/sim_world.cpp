// The world of the virtual router: what the model is told.
#include "platform/network.h"
#include "platform/sim/virtual_router.h"
#include "platform/wifi.h"
#include "tests/contract/world.h"

namespace
{

class SimWorld : public World
{
public:
    SimWorld()
    {
        box_.network.set_wan(1, "wan1");
        box_.store.unset("sys.mode");
        box_.store.unset("wan1.connecttype");
        for (const char *ifname : {"br0", "wan1"})
            box_.network.set_address(ifname, "");
        box_.network.set_reachable("*", "", false);
        box_.processes.end("dhttpd");
    }

    void key(const std::string &name, const std::string &value) override
    {
        box_.store.set(name, value);
    }

    std::string file(const std::string &text) override
    {
        box_.files.set("/etc/settings", text);
        return "/etc/settings";
    }

    void lan_address(const std::string &address) override
    {
        box_.network.set_address("br0", address);
    }

    void wan_cable(bool plugged) override
    {
        box_.network.set_link(wanid_to_sw_port(1), plugged);
    }

    void wan_address(const std::string &address) override
    {
        box_.network.set_address("wan1", address);
        if (address.empty())
            return;
        const std::string provider = address.substr(0, address.rfind('.')) + ".1";
        box_.network.set_reachable(provider, "", true);
        box_.network.set_reachable(provider, "absent9", false);
    }

    std::string radio(bool associated) override
    {
        box_.radios.set_name(24, "wlan0");
        box_.radios.set("wlan0", associated ? TPI_CONNECTED : TPI_NOT_CONNECTED,
                        associated ? WIFI_RELAY_CONNECTED : WIFI_RELAY_UP);
        return "wlan0";
    }

    void process(const std::string &name) override
    {
        box_.processes.start(name, 4321);
        processes_.push_back(name);
    }

    void end_processes() override
    {
        for (const std::string &name : processes_)
            box_.processes.end(name);
    }

    void traffic(const std::string &host, int sent, int received) override
    {
        constexpr uint64_t DATAGRAM = 128;
        box_.network.set_host(host, static_cast<uint64_t>(sent) * DATAGRAM, static_cast<uint64_t>(received) * DATAGRAM);
    }

private:
    sim::VirtualRouter &box_ = sim::router();
    std::vector<std::string> processes_;
};

} // namespace

std::unique_ptr<World> World::make()
{
    return std::make_unique<SimWorld>();
}
