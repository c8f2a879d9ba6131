#include "tests/contract/network_support.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/network.h"

namespace fs = std::filesystem;

void sh(const std::string &command)
{
    EXPECT_EQ(system(command.c_str()), 0) << command; // NOLINT(cert-env33-c)
}

static fs::path network_of(const std::string &pid)
{
    return fs::read_symlink("/proc/" + pid + "/ns/net");
}

OtherMachine::OtherMachine()
    : holder_([] {
          if (unshare(CLONE_NEWNET) == 0)
              pause();
      })
{
    EXPECT_TRUE(comes_true([this] { return network_of(pid()) != network_of("self"); }));
    sh("ip link set lo up");
}

void OtherMachine::sh(const std::string &command) const
{
    ::sh("nsenter -t " + pid() + " -n sh -c '" + command + "'");
}

void OtherMachine::act(const std::function<void()> &act) const
{
    Child there([&] {
        const int network = open(("/proc/" + pid() + "/ns/net").c_str(), O_RDONLY | O_CLOEXEC);
        if (network < 0 || setns(network, CLONE_NEWNET) != 0)
            _exit(99);
        act();
    });
    EXPECT_EQ(there.wait(), 0);
}

bool has_address(const char *ifname)
{
    char address[IF_ADDRESS_SIZE];
    return getIfIp(ifname, address) == 0;
}

void remove_interfaces_and_rules()
{
    for (const auto &interface : fs::directory_iterator("/sys/class/net"))
        if (interface.path().filename() != "lo") // NOLINTNEXTLINE(cert-env33-c): the pair's other end is gone by then
            (void)!system(("ip link del " + interface.path().filename().string() + " 2>/dev/null").c_str());
    (void)!system("nft flush ruleset"); // NOLINT(cert-env33-c)
}

void wire(const std::string &name, const OtherMachine &other)
{
    static int index = 100; // ends with equal numbers come up a second late
    sh("ip link add " + name + " index " + std::to_string(index++) + " type veth peer name eth0 netns " + other.pid());
    sh("ip link set " + name + " up");
    other.sh("ip link set eth0 up");
}

void send_datagrams(const std::string &from, const std::string &to, int number)
{
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    inet_pton(AF_INET, from.c_str(), &own.sin_addr);
    sockaddr_in peer = own;
    peer.sin_port = htons(9);
    inet_pton(AF_INET, to.c_str(), &peer.sin_addr);
    if (bind(socket, reinterpret_cast<sockaddr *>(&own), sizeof own) != 0)
        _exit(1);
    const std::string payload(100, 'x');
    for (int i = 0; i < number; i++)
        if (sendto(socket, payload.data(), payload.size(), 0, reinterpret_cast<sockaddr *>(&peer), sizeof peer) != 100)
            _exit(2);
    close(socket);
}
