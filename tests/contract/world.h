// The world around a ground, as the tests that run on every ground set it up: on the Linux ground with real interfaces,
// processes and files in namespaces of the test's own, on the virtual router by telling the model.
#ifndef TESTS_CONTRACT_WORLD_H
#define TESTS_CONTRACT_WORLD_H

#include <functional>
#include <memory>
#include <string>

class World
{
public:
    static std::unique_ptr<World> make();
    virtual ~World() = default;

    virtual void key(const std::string &name, const std::string &value) = 0;
    // A file with this text; its path.
    virtual std::string file(const std::string &text) = 0;

    // The LAN bridge comes up with this address (in a network of 256).
    virtual void lan_address(const std::string &address) = 0;
    // WAN 1's cable is plugged in or pulled out; both when it never was.
    virtual void wan_cable(bool plugged) = 0;
    // WAN 1 gets this address (in a network of 256); "" takes it away. Behind it, whatever ends in ".1" answers pings.
    virtual void wan_address(const std::string &address) = 0;

    // The 2.4 GHz radio's client interface exists, is switched on, and is associated or not; its name.
    virtual std::string radio(bool associated) = 0;

    virtual void process(const std::string &name) = 0;
    virtual void end_processes() = 0;

    // A LAN host sends and receives this many datagrams of 128 bytes through the router.
    virtual void traffic(const std::string &host, int sent, int received) = 0;
};

#endif
