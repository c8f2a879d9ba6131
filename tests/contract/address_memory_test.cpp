// What is remembered of the machine's addresses holds as long as they stand still, and no longer.
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>

#include "platform/linux/memory/addresses.h"
#include "platform/network.h"
#include "platform/system.h"
#include "tests/contract/contract_support.h"
#include "tests/contract/network_support.h"

namespace
{

using AddressMemory = NetworkTest;

bool is_readable(int descriptor)
{
    pollfd readable = {.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&readable, 1, 0) == 1;
}

TEST_F(AddressMemory, AddressesThatStoodStillAreNotReadAgain)
{
    in_own_process([] {
        const OtherMachine provider;
        wire("wan1", provider);
        const int changes = address_changes();
        ASSERT_GE(changes, 0);
        sh("ip addr add 192.168.100.200/24 dev wan1");
        EXPECT_TRUE(is_readable(changes));
        addresses_changed();
        EXPECT_FALSE(is_readable(changes));

        EXPECT_TRUE(has_address("wan1"));
        addresses_slept(true);
        sh("ip addr flush dev wan1");
        EXPECT_TRUE(has_address("wan1")) << "read again";
        EXPECT_TRUE(is_readable(changes));
        addresses_changed();
        EXPECT_FALSE(has_address("wan1"));
        addresses_slept(true);
        sh("ip addr add 192.168.100.200/24 dev wan1");
        EXPECT_FALSE(has_address("wan1")) << "read again";
        addresses_in_doubt();
        EXPECT_TRUE(has_address("wan1"));
    });
}

TEST_F(AddressMemory, AddressesReadBeforeTheWatchAreReadAgain)
{
    in_own_process([] {
        const OtherMachine provider;
        wire("wan1", provider);
        EXPECT_FALSE(has_address("wan1"));
        sh("ip addr add 192.168.100.200/24 dev wan1");
        ASSERT_GE(address_changes(), 0);
        addresses_slept(true);
        EXPECT_TRUE(has_address("wan1"));
    });
}

TEST_F(AddressMemory, RenamedAndRemovedInterfacesAreChangesOfAddresses)
{
    in_own_process([] {
        sh("ip link add wan5 type bridge");
        const int changes = address_changes();
        for (const char *command : {"ip addr add 192.168.100.200/24 dev wan5", "ip link set wan5 name wan7",
                                    "ip link set wan7 up", "ip link set wan7 down", "ip link del wan7"}) {
            const bool changes_addresses = strstr(command, " up") == nullptr && strstr(command, " down") == nullptr;
            sh(command);
            EXPECT_EQ(is_readable(changes), changes_addresses) << command;
            addresses_changed();
        }
    });
}

TEST_F(AddressMemory, AddressesAreReadAgainAfterACommand)
{
    in_own_process([] {
        sh("ip link add wan5 type bridge");
        ASSERT_GE(address_changes(), 0);
        EXPECT_FALSE(has_address("wan5"));
        addresses_slept(true);
        doSystemCmd("ip addr add 192.168.100.200/24 dev wan5");
        EXPECT_TRUE(has_address("wan5"));
    });
}

TEST_F(AddressMemory, AddressBehindAHundredOthersIsSeenComingAndGoing)
{
    in_own_process([] {
        sh("ip link add wan5 type bridge");
        sh("for i in $(seq 1 100); do echo address replace 10.9.0.$i/32 dev lo; done | ip -batch -");
        ASSERT_GE(address_changes(), 0);
        EXPECT_FALSE(has_address("wan5"));
        addresses_slept(true);
        sh("ip addr add 192.168.100.200/24 dev wan5");
        addresses_changed();
        EXPECT_TRUE(has_address("wan5"));
        sh("ip addr flush dev wan5");
        addresses_changed();
        EXPECT_FALSE(has_address("wan5"));
        sh("ip addr flush dev lo");
    });
}

} // namespace
