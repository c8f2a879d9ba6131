// Hundreds of random faults: what is published never contradicts the pass that published it.
#include <array>
#include <random>

#include "tests/support/wan_world.h"
#include "time_check/wan_surf_check.h"

namespace
{

constexpr int WANS = 2;
constexpr int FAULTS = 200;
constexpr int FORGIVEN = 5;

// One WAN of the world, and what a reader of the description expects to be published of it.
struct Wan {
    bool link = true;
    bool interface = true;
    bool address = true;
    bool answers = true;

    bool online = false;
    bool told_internet = true;
    bool blocked = false;
    int passes_forgiven = FORGIVEN; // since the last answer

    bool up() const
    {
        return link && interface && address;
    }
};

class RandomFaults : public RouterTest, public testing::WithParamInterface<unsigned>
{
protected:
    int pick(int count)
    {
        return static_cast<int>(random_() % static_cast<unsigned>(count)); // the same on every machine
    }

    void change_something()
    {
        Wan &wan = wans_[static_cast<size_t>(pick(WANS))];
        bool *const faults[] = {&wan.link, &wan.interface, &wan.address, &wan.answers, &dns_};
        const int which = pick(6);
        if (which < 5)
            *faults[which] = !*faults[which];
        else // all is well again: long chains of faults would hide the way back
            for (bool *fault : faults)
                *fault = true;
        show_world();
    }

    void renew()
    {
        wan_surf_check_init();
        resolved_ = false;
        for (Wan &wan : wans_)
            wan.blocked = false;
    }

    void pass_and_judge()
    {
        const size_t messages_before = box.journal.messages_to_netctrl().size();
        int interval_s = 0;
        ASSERT_EQ(surf_check(&interval_s, WANS), 1);

        Lines messages;
        Lines chain;
        int expected_interval_s = 20;
        for (int wan_id = 1; wan_id <= WANS; wan_id++) {
            Wan &wan = wans_[static_cast<size_t>(wan_id) - 1];
            expect_pass(wan_id, wan, messages);
            const std::string name = "wan" + std::to_string(wan_id);
            EXPECT_EQ(box.store.get(name + "_isonln"), wan.online ? "1" : "0") << name;
            EXPECT_EQ(box.store.get(name + "_check"), wan.up() ? "1" : "0") << name;
            if (!wan.online || wan.passes_forgiven > 0)
                expected_interval_s -= 8;
            if (wan.blocked)
                chain.push_back("-o " + wan_interface(wan_id) + " -j DROP");
        }
        EXPECT_EQ(interval_s, expected_interval_s);
        const Lines &all = box.journal.messages_to_netctrl();
        EXPECT_EQ(Lines(all.begin() + static_cast<ptrdiff_t>(messages_before), all.end()), messages);
        Lines blocked = box.commands.chain("dns_drop");
        std::ranges::sort(blocked);
        EXPECT_EQ(blocked, chain);
        EXPECT_EQ(box.commands.chain("OUTPUT").size(), 1U);
        EXPECT_TRUE(box.commands.rules().empty() || box.commands.rules().size() == 3U * WANS);
    }

private:
    void show_world()
    {
        for (int wan_id = 1; wan_id <= WANS; wan_id++) {
            const Wan &wan = wans_[static_cast<size_t>(wan_id) - 1];
            const std::string interface = wan_interface(wan_id);
            box.network.set_link(wan_id, wan.link);
            box.network.set_wan(wan_id, wan.interface ? interface : "");
            box.network.set_address(interface, wan.address ? "198.51.100.1" : "");
            box.network.set_reachable("*", interface, wan.answers);
        }
        box.network.set_dns(dns_);
    }

    // What one pass must make of a WAN.
    void expect_pass(int wan_id, Wan &wan, Lines &messages)
    {
        if (!wan.up()) {
            wan.online = wan.told_internet = false;
            wan.passes_forgiven = FORGIVEN;
            return;
        }
        resolved_ = (resolved_ && wan.online) || dns_;
        if (!resolved_) {
            wan.online = false;
            return;
        }
        wan.online = wan.answers || wan.passes_forgiven < FORGIVEN;
        wan.passes_forgiven = wan.answers ? 0 : std::min(wan.passes_forgiven + 1, FORGIVEN);
        if (wan.online != wan.told_internet) {
            messages.push_back(std::string(wan.online ? "52?op=15" : "52?op=16") + ",wan_id=" + std::to_string(wan_id));
            wan.told_internet = wan.online;
            wan.blocked = !wan.online;
        }
    }

    std::mt19937 random_{GetParam()};
    std::array<Wan, WANS> wans_;
    bool dns_ = true;
    bool resolved_ = false; // the addresses of the probe hosts are known
};

} // namespace

TEST_P(RandomFaults, NeverPublishAnythingElseThanTheLastPassSaw)
{
    make_wired_router(WANS);
    box.store.set("sys.mode", "0");
    wan_surf_check_init();
    pass_and_judge();
    for (int fault = 0; fault < FAULTS; fault++) {
        change_something();
        if (pick(20) == 0)
            renew();
        const int passes = 1 + pick(8);
        for (int i = 0; i < passes; i++)
            pass_and_judge();
        if (HasFailure())
            FAIL() << "seed " << GetParam() << ", fault " << fault;
    }
}

// The same beside the main loop: once the world has stood still for long enough, the store shows it.
TEST_P(RandomFaults, TheThreadSettlesOnTheTruth)
{
    make_wired_router(WANS);
    ASSERT_TRUE(box.boot());
    for (int fault = 0; fault < FAULTS; fault++) {
        change_something();
        if (pick(20) == 0)
            box.store.set("surf_check_renew_flag", "1");
        box.run(1 + pick(40));
    }
    for (int wan_id = 1; wan_id <= WANS; wan_id++)
        plug_wan(wan_id);
    box.network.set_dns(true);
    box.network.set_reachable("*", "eth1", true);
    box.network.set_reachable("*", "eth2", false);
    box.run(300); // five forgiven passes of 12 s, with pings that time out after 2 s
    EXPECT_EQ(box.store.get("wan1_isonln"), "1");
    EXPECT_EQ(box.store.get("wan1_check"), "1");
    EXPECT_EQ(box.store.get("wan2_isonln"), "0");
    EXPECT_EQ(box.store.get("wan2_check"), "1");
    EXPECT_EQ(box.commands.chain("OUTPUT").size(), 1U);
    EXPECT_EQ(box.commands.rules().size(), 6U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomFaults, testing::Range(1U, 21U));
