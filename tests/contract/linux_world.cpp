// The world of the Linux ground: interfaces, processes and files, and the real store in a folder of its own.
#include <csignal>
#include <cstdlib>
#include <optional>
#include <sys/prctl.h>
#include <unistd.h>
#include <vector>

#include "platform/config_store.h"
#include "platform/statistics.h"
#include "platform/system.h"
#include "tests/contract/network_support.h"
#include "tests/contract/world.h"

users_info *ip_info;

namespace
{

// The address of the machine at the other end: the network's first.
std::string neighbour_of(const std::string &address)
{
    return address.substr(0, address.rfind('.')) + ".1";
}

class LinuxWorld : public World
{
public:
    LinuxWorld()
    {
        setenv("TIME_CHECK_RUN_DIR", (folder_.path() / "run").c_str(), 1);
        setenv("TIME_CHECK_CONF_DIR", (folder_.path() / "conf").c_str(), 1);
    }

    ~LinuxWorld() override
    {
        remove_interfaces_and_rules();
    }

    void key(const std::string &name, const std::string &value) override
    {
        EXPECT_EQ(SetValue(name.c_str(), value.c_str()), 1);
    }

    std::string file(const std::string &text) override
    {
        const std::filesystem::path path = folder_.path() / "settings";
        write_text(path, text);
        return path;
    }

    void lan_address(const std::string &address) override
    {
        lan_.emplace();
        wire("lan0", *lan_);
        sh("ip link add br0 type bridge && ip link set lan0 master br0 && ip link set br0 up");
        sh("ip addr add " + address + "/24 dev br0");
        EXPECT_TRUE(comes_true([] { return text_of("/sys/class/net/br0/operstate") == "up\n"; }));
    }

    void wan_cable(bool plugged) override
    {
        if (!provider_) {
            provider_.emplace();
            wire("wan1", *provider_);
        }
        provider_->sh(plugged ? "ip link set eth0 up" : "ip link set eth0 down");
    }

    void wan_address(const std::string &address) override
    {
        sh("ip addr flush dev wan1");
        if (address.empty())
            return;
        sh("ip addr add " + address + "/24 dev wan1");
        provider_->sh("ip addr add " + neighbour_of(address) + "/24 dev eth0");
    }

    std::string radio(bool associated) override
    {
        if (!access_point_) {
            access_point_.emplace();
            wire("wlan0", *access_point_);
        }
        access_point_->sh(associated ? "ip link set eth0 up" : "ip link set eth0 down");
        return "wlan0";
    }

    void process(const std::string &name) override
    {
        processes_.push_back(std::make_unique<Child>([&] {
            prctl(PR_SET_NAME, name.c_str());
            for (;;)
                pause();
        }));
        EXPECT_TRUE(comes_true([&] { return check_app(name.c_str()) == 1; }));
    }

    void end_processes() override
    {
        processes_.clear();
    }

    void traffic(const std::string &host, int sent, int received) override
    {
        connect_lan_to_internet();
        lan_->sh("ip addr add " + host + "/24 dev eth0; ip route replace default via 192.168.0.1");
        lan_->act([&] { send_datagrams(host, "10.91.0.1", sent); });
        provider_->act([&] { send_datagrams("10.91.0.1", host, received); });
    }

private:
    void connect_lan_to_internet()
    {
        if (lan_)
            return;
        lan_address("192.168.0.1");
        wan_cable(true);
        wan_address("10.91.0.2");
        sh("echo 1 >/proc/sys/net/ipv4/ip_forward");
        provider_->sh("ip route add default via 10.91.0.2");
        // the answer of an unreachable port would be counted too
        for (const OtherMachine *machine : {&*lan_, &*provider_})
            machine->sh("nft \"table ip quiet { chain c { type filter hook input priority 0; udp dport 9 drop; }; }\"");
    }

    TemporaryFolder folder_;
    std::optional<OtherMachine> lan_;
    std::optional<OtherMachine> provider_;
    std::optional<OtherMachine> access_point_;
    std::vector<std::unique_ptr<Child>> processes_;
};

} // namespace

std::unique_ptr<World> World::make()
{
    return std::make_unique<LinuxWorld>();
}
