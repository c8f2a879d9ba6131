// A week in which chance moves the world, told twice: to the virtual router by its own calls, and as a trace. Gone
// through again, the trace gives the same journal to the last byte. Most worlds last a day; TIME_CHECK_WEEKS=all in the
// environment gives each its week, and takes ten minutes.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <random>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/busy_settings.h"
#include "tests/support/router_test.h"
#include "tools/replay/replay.h"

namespace
{

using replay::kind;
using replay::micros;
using replay::SECOND;

constexpr micros BEGIN = 1772323200 * SECOND; // 2026-03-01
constexpr micros UPTIME = 100000 * SECOND;
constexpr int CHANGES_A_DAY = 60;
constexpr unsigned WEEKS = 3; // the first worlds

// Tells each change to both.
class Teller
{
public:
    Teller(unsigned seed, int days) : random_(seed), days_(days)
    {
    }

    std::string text = replay::head();

    void tell_beginning()
    {
        for (const auto &[key, value] : BUSY_SETTINGS)
            save(key, value);
        save("sys.workmode", "router");
        save("wl2g.public.mode", "ap");
        save("wans.flag", roll(2) == 0 ? "1" : "2");
        save("wl2g.enable", "1");
        save("nkgw.wlan.listnum", "1");
        save("nkgw.wlan.offtime.list1", "23:00");
        save("nkgw.wlan.ontime.list1", "6:00");
        tell(kind::wan, {"2", "eth2"}, [] { box.network.set_wan(2, "eth2"); });
        for (const int port : {1, 2})
            set_link(port, true);
        set_internet(true);
        tell(kind::process, {"dhttpd", "414", ""}, [] { box.processes.start("dhttpd", 414); });
    }

    void tell_days()
    {
        std::vector<micros> moments;
        for (int i = 0; i < CHANGES_A_DAY * days_; i++)
            moments.push_back(1 + static_cast<micros>(roll(86400 * static_cast<unsigned>(days_))) * SECOND +
                              roll(SECOND));
        std::ranges::sort(moments);
        for (const micros moment : moments) {
            elapsed_ = moment;
            tell_change();
        }
        elapsed_ = length();
        tell(kind::end, {}, [] {});
    }

    micros length() const
    {
        return micros{days_} * 86400 * SECOND + SECOND;
    }

private:
    unsigned roll(unsigned sides)
    {
        return static_cast<unsigned>(random_() % sides);
    }

    void tell(kind what, const std::vector<std::string> &words, std::function<void()> make)
    {
        text += replay::line_of(BEGIN + wall_ + elapsed_, 3600, elapsed_ == 0 ? UPTIME : -1, what, words);
        if (elapsed_ == 0)
            make();
        else
            box.at(static_cast<double>(elapsed_) / SECOND, std::move(make));
    }

    void save(const std::string &key, const std::string &value)
    {
        tell(kind::save, {key, value}, [key, value] { box.store.set(key, value); });
    }

    void set_link(int port, bool up)
    {
        tell(kind::link, {std::to_string(port), up ? "up" : "down"}, [port, up] { box.network.set_link(port, up); });
        const std::string ifname = "eth" + std::to_string(port);
        const std::string ip = up ? "203.0.113." + std::to_string(port) : "";
        tell(kind::address, {ifname, ip}, [ifname, ip] { box.network.set_address(ifname, ip); });
    }

    void set_internet(bool up)
    {
        tell(kind::internet, {up ? "up" : "down"}, [up] { box.network.set_internet(up); });
    }

    void tell_clients()
    {
        const std::string ip = "192.168.0." + std::to_string(2 + roll(9));
        if (roll(3) == 0)
            tell(kind::no_neighbours, {}, [] { box.network.clear_neighbours(); });
        else
            tell(kind::neighbour, {ip, "0x2", "02:00:00:00:00:01", "br0"},
                 [ip] { box.network.set_neighbour(ip, "0x2", "02:00:00:00:00:01", "br0"); });
        const uint64_t bytes = random_() * uint64_t{1000};
        tell(kind::host, {ip, "0", std::to_string(bytes)}, [ip, bytes] { box.network.set_host(ip, 0, bytes); });
        tell(kind::counters, {"br0", "7", std::to_string(bytes)},
             [bytes] { box.network.set_counters("br0", 7, bytes); });
    }

    void tell_processes()
    {
        const std::string name = roll(2) == 0 ? "httpd" : "minidlna";
        const int percent = static_cast<int>(roll(101));
        if (roll(3) == 0)
            tell(kind::no_process, {name}, [name] { box.processes.end(name); });
        else
            tell(kind::process, {name, name == "httpd" ? "412" : "413", "/bin/" + name + " -f x"},
                 [name] { box.processes.start(name, name == "httpd" ? 412 : 413, "/bin/" + name + " -f x"); });
        tell(kind::cpu, {name, std::to_string(percent)}, [name, percent] { box.processes.set_share(name, percent); });
    }

    void tell_clock()
    {
        const micros step = (static_cast<micros>(roll(7201)) - 3600) * SECOND;
        tell(kind::clock, {replay::moment_text(BEGIN + wall_ + elapsed_ + step)},
             [step] { box.clock.step(step / SECOND); });
        wall_ += step;
    }

    void tell_settings()
    {
        constexpr std::array KEYS = {"sys.schedulereboot.enable", "sys.powersleep.enable", "sys.sched.wifi.enable",
                                     "wl2g.public.enable",        "wl5g.public.enable",    "wl.guest.dhcps_enable"};
        const std::string key = KEYS.at(roll(KEYS.size()));
        const std::string value = roll(2) == 0 ? "0" : "1";
        if (roll(2) == 0)
            save(key, value);
        else
            tell(kind::set, {key, value}, [key, value] { box.store.set_uncommitted(key, value); });
        const std::string message = std::to_string(roll(16)) + "?op=1,string_info=wl_guest";
        tell(kind::message, {"web", message}, [message] { box.post(message, "web"); });
    }

    void tell_change()
    {
        constexpr std::array ZONES = {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "<-03>3"};
        switch (roll(9)) {
        case 0:
            return set_internet(roll(3) != 0);
        case 1:
            return set_link(1 + static_cast<int>(roll(2)), roll(3) != 0);
        case 2:
            return tell_clients();
        case 3:
            return tell_processes();
        case 4:
            return tell_settings();
        case 5:
            if (roll(8) == 0)
                return tell_clock();
            return tell_clients();
        case 6:
            if (roll(8) == 0) {
                const std::string zone = ZONES.at(roll(ZONES.size()));
                return tell(kind::zone, {zone}, [zone] { box.local_time.set_zone(zone); });
            }
            return tell_settings();
        case 7:
            if (roll(16) == 0)
                return tell(kind::power_cut, {}, [] { box.restart(); });
            return tell(kind::dns, {"down"}, [] { box.network.set_dns(false); });
        default:
            return tell(kind::dns, {"up"}, [] { box.network.set_dns(true); });
        }
    }

    std::mt19937 random_;
    const int days_;
    micros elapsed_ = 0;
    micros wall_ = 0; // what the steps of the clock add up to
};

class RandomWeeks : public testing::TestWithParam<unsigned>
{
};

int days_of(unsigned world)
{
    const char *const weeks = std::getenv("TIME_CHECK_WEEKS");
    return world < WEEKS || (weeks != nullptr && std::string_view(weeks) == "all") ? 7 : 1;
}

TEST_P(RandomWeeks, AreTheSameFromTheirTraces)
{
    box.log.ignore();
    Teller teller(GetParam(), days_of(GetParam()));
    box.clock.set(BEGIN / SECOND);
    box.clock.set_uptime(UPTIME / SECOND);
    teller.tell_beginning();
    teller.tell_days();
    box.boot();
    box.run(static_cast<double>(teller.length() - box.clock.now()) / SECOND);
    const Lines lived = box.journal.timed_lines();
    ASSERT_GT(lived.size(), 100U);

    sim::make_router_anew();
    const replay::outcome gone = replay::run(replay::parse(teller.text, "week"));
    const Lines again = box.journal.timed_lines();
    ASSERT_EQ(lived.size(), again.size());
    for (size_t i = 0; i < lived.size(); i++)
        ASSERT_EQ(lived[i], again[i]);
    EXPECT_EQ(gone.acts.size(), again.size());
}

INSTANTIATE_TEST_SUITE_P(Worlds, RandomWeeks, testing::Range(0U, 100U));

} // namespace
