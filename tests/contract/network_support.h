// Networks of a test's own, inside its namespaces.
#ifndef TESTS_CONTRACT_NETWORK_SUPPORT_H
#define TESTS_CONTRACT_NETWORK_SUPPORT_H

#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "tests/contract/contract_support.h"

// Runs a shell command that must succeed.
void sh(const std::string &command);

// Another machine: a network namespace held by a process.
class OtherMachine
{
public:
    OtherMachine();

    // Runs a shell command there.
    void sh(const std::string &command) const;

    // Runs `act` there, in a process of its own that must end with 0.
    void act(const std::function<void()> &act) const;

    std::string pid() const
    {
        return std::to_string(holder_.pid());
    }

private:
    Child holder_;
};

// An interface `name` here, wired to "eth0" on `other`; up on both sides.
void wire(const std::string &name, const OtherMachine &other);

// Whether the ground knows an address of the interface.
bool has_address(const char *ifname);

// Takes everything away that a test made here.
void remove_interfaces_and_rules();

// Sends datagrams of 100 bytes, which are 128 with the headers of UDP and IPv4, from one address to another's discard
// port. Ends the process when that fails.
void send_datagrams(const std::string &from, const std::string &to, int number);

class NetworkTest : public testing::Test
{
protected:
    ~NetworkTest() override
    {
        remove_interfaces_and_rules();
    }
};

#endif
