// Days and months of the whole daemon with a random fault in every hour of every other day. While a fault stands the
// published WAN state is what the world is like; the days in between show that nothing of the faults is left.
//
// SOAK_DAYS in the environment: for how many days, four if not given.
#include <cstdlib>
#include <functional>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/scenario/busy_nights.h"
#include "tests/support/schedule_world.h"

namespace
{

using busy_nights::box;

constexpr double HOUR_S = 3600;
constexpr uint64_t LINES_A_DAY_MAX = 2000000; // a debug switch that is on prints ten lines a tick
constexpr size_t ACTS_A_DAY_MAX = 50000;

class Dice
{
public:
    explicit Dice(unsigned seed) : generator_(seed)
    {
    }

    // 0 to sides - 1.
    size_t roll(size_t sides)
    {
        return generator_() % sides;
    }

private:
    std::mt19937 generator_;
};

int days_to_run()
{
    constexpr int SHORT_DAYS = 4;
    const char *days = getenv("SOAK_DAYS");
    return days == nullptr ? SHORT_DAYS : std::max(2, atoi(days));
}

// ---- the router: every module has something to do ----

void internet_of_two_wans()
{
    box.internet(true);
    box.dns(true);
    box.ping_takes(0, 1000);
    for (const int wan : {1, 2}) {
        box.link(wan, true);
        box.address("eth" + std::to_string(wan), "203.0.113." + std::to_string(wan));
    }
}

void configure_all()
{
    box.clock("2026-03-01 00:00:00");
    box.uptime(100000);
    busy_nights::configure({{"sys.schedulereboot.enable", "1"},
                            {"sys.schedulereboot.type", "0"},
                            {"sys.schedulereboot.start_time", "03:00"},
                            {"sys.schedulereboot.end_time", "05:00"},
                            {"sys.powersleep.enable", "1"},
                            {"sys.powersleep.type", "0"},
                            {"sys.powersleep.start_time", "01:00"},
                            {"sys.powersleep.end_time", "05:00"},
                            {"sys.sched.wifi.enable", "1"},
                            {"sys.sched.led.type", "time"},
                            {"wl.guest.effective_time", "0"},
                            {"lan.ip", "192.168.0.1"},
                            {"wans.flag", "2"},
                            {"sys.workmode", "router"},
                            {"wl2g.public.mode", "ap"},
                            {"wl5g.public.mode", "ap"}});
    schedule_world::radios("1", "1", "1");
    box.set("nkgw.led.state", "3");
    schedule_world::only_rule("nkgw.wlan", "23:00", "6:00");
    schedule_world::only_rule("nkgw.led", "22:00", "7:00");
    box.arp("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    box.host("192.168.0.7", 1000, 2000);
    box.multicast("br0", 300);
    box.wan(1, "eth1");
    box.wan(2, "eth2");
    internet_of_two_wans();
}

// ---- the faults ----

// What the reachability check must have published while a fault stands.
enum class Wans { UNKNOWN, ALL_ONLINE, NONE_ONLINE, FIRST_DOWN, SECOND_DOWN };

struct Fault {
    const char *name;
    Wans wans;
    void (*begin)(Dice &dice);
    void (*end)();
};

int64_t stepped_s;

void step_clock(int64_t seconds)
{
    stepped_s = seconds;
    box.step_clock(seconds);
}

void call_fails(Dice &dice)
{
    // Without its name on the bus the daemon ends, without its thread nobody looks at the WANs.
    static const Lines spared = {"RegMsgHandle", "pthread_create"};
    const Lines &calls = sim::VirtualRouter::calls();
    const std::string &call = calls.at(dice.roll(calls.size()));
    if (std::ranges::find(spared, call) == spared.end())
        box.fail(call, static_cast<unsigned>(1 + dice.roll(500)), EIO, dice.roll(4) == 0);
}

void strange_messages(Dice &dice)
{
    static const std::array<const char *, 8> texts = {"time_check_debug?op=1,debug_id=5",
                                                      "time_check_power?op=2,string_info=nimbix_wake_up",
                                                      "time_check_wifi?op=2",
                                                      "6?op=1,string_info=minidlna",
                                                      "5?op=2,string_info=all",
                                                      "4?relate_module_id=19,string_info=first_time_start",
                                                      "99999999999?=,=,op",
                                                      "9?string_info=wl_guest"};
    for (size_t i = 1 + dice.roll(20); i > 0; i--)
        box.at(static_cast<double>(dice.roll(2400)), [text = texts.at(dice.roll(texts.size()))] { box.post(text); });
}

const std::array FAULTS = {
    Fault{"nothing", Wans::ALL_ONLINE, [](Dice &) {}, [] {}},
    Fault{"no internet", Wans::NONE_ONLINE, [](Dice &) { box.internet(false); }, internet_of_two_wans},
    Fault{"wan1 unplugged", Wans::FIRST_DOWN, [](Dice &) { box.link(1, false); }, internet_of_two_wans},
    Fault{"wan2 unplugged", Wans::SECOND_DOWN, [](Dice &) { box.link(2, false); }, internet_of_two_wans},
    Fault{"wan1 without address", Wans::FIRST_DOWN, [](Dice &) { box.address("eth1", ""); }, internet_of_two_wans},
    Fault{"slow pings", Wans::ALL_ONLINE, [](Dice &) { box.ping_takes(900, 3000); }, internet_of_two_wans},
    Fault{"power cut", Wans::ALL_ONLINE, [](Dice &) { box.restart(); }, [] {}},
    Fault{"httpd runs away", Wans::ALL_ONLINE, [](Dice &) { box.cpu_share("httpd", 100); },
          [] {
              box.process("httpd", 412);
              box.cpu_share("httpd", 0);
          }},
    Fault{"commands fail", Wans::UNKNOWN, [](Dice &) { box.on_command([](const std::string &) { return 1; }); },
          [] { box.on_command([](const std::string &) { return sim::NOT_HANDLED; }); }},
    Fault{"the clock jumps", Wans::ALL_ONLINE,
          [](Dice &dice) { step_clock(static_cast<int64_t>(dice.roll(20 * 86400)) - 10 * 86400); },
          [] { box.step_clock(-stepped_s); }},
    Fault{"the clock is lost", Wans::ALL_ONLINE, [](Dice &) { step_clock(-box.wall()); },
          [] { box.step_clock(-stepped_s); }},
    Fault{"garbage in a file", Wans::ALL_ONLINE, [](Dice &) { box.file("/proc/net/arp", std::string(3000, '\xff')); },
          [] { box.clear_arp(); }},
    Fault{"messages", Wans::ALL_ONLINE, strange_messages, [] {}},
    Fault{"a call fails", Wans::UNKNOWN, call_fails, [] { box.clear_faults(); }},
};

// ---- what must hold ----

bool is_between(int hour, int from, int to)
{
    return from < to ? hour >= from && hour < to : hour >= from || hour < to;
}

std::string published(int wan)
{
    const std::string key = "wan" + std::to_string(wan);
    return box.get(key + "_check") + box.get(key + "_isonln");
}

void expect_wans(Wans wans)
{
    const bool none = wans == Wans::NONE_ONLINE;
    EXPECT_EQ(published(1), none ? "10" : wans == Wans::FIRST_DOWN ? "00" : "11") << "wan1: probed, online";
    EXPECT_EQ(published(2), none ? "10" : wans == Wans::SECOND_DOWN ? "00" : "11") << "wan2: probed, online";
}

// At the half hour of a day without faults.
void expect_schedules(int hour)
{
    const bool asleep = is_between(hour, 1, 5);
    EXPECT_EQ(box.get("sys.is.pwr.save.mode"), asleep ? "1" : "0");
    EXPECT_EQ(schedule_world::radio_is_on(), !asleep && !is_between(hour, 23, 6));
    EXPECT_EQ(schedule_world::leds_are_on(), !asleep && !is_between(hour, 22, 7));
    EXPECT_EQ(box.chain("dns_drop"), Lines{});
    EXPECT_EQ(box.rules().size(), 6U);
    expect_wans(Wans::ALL_ONLINE);
}

size_t open_in_process()
{
    size_t open = 0;
    for (int fd = 0; fd < 1024; fd++)
        open += lseek(fd, 0, SEEK_CUR) >= 0 || errno != EBADF;
    return open;
}

class Days
{
public:
    explicit Days(unsigned seed) : dice_(seed)
    {
    }

    // False when something did not hold; what, gtest has been told.
    bool run(int days)
    {
        box.keep_log(false);
        configure_all();
        if (!box.boot())
            return false;
        open_ = open_in_process();
        for (int day = 0; day < days && !testing::Test::HasFailure(); day++) {
            day % 2 == 0 ? day_with_faults() : day_without();
            end_day();
        }
        return !testing::Test::HasFailure();
    }

    // FNV-1a over every act and its time.
    uint64_t journal_hash() const
    {
        return hash_;
    }

private:
    void day_with_faults()
    {
        bool calls_failed = false;
        for (int hour = 0; hour < 23; hour++) {
            const Fault &fault = FAULTS.at(dice_.roll(FAULTS.size()));
            SCOPED_TRACE(std::string(fault.name) + " from " + box.local_time());
            const uint64_t ticks = box.ticks();
            fault.begin(dice_);
            box.run(0.75 * HOUR_S);
            EXPECT_TRUE(box.running()) << "the daemon has ended";
            EXPECT_GT(box.ticks(), ticks + 200) << "the daemon ticks no more";
            calls_failed |= fault.begin == call_fails;
            if (fault.wans != Wans::UNKNOWN && !calls_failed)
                expect_wans(fault.wans);
            fault.end();
            box.run(0.25 * HOUR_S);
        }
        if (calls_failed) // a setting that could not be read is read at the next start
            box.restart();
        box.run(HOUR_S);
    }

    void day_without()
    {
        const uint64_t restarts = box.restarts();
        for (int hour = 0; hour < 24; hour++) {
            box.run(HOUR_S / 2);
            SCOPED_TRACE("without a fault, " + box.local_time());
            if (hour > 0)
                expect_schedules(hour);
            box.run(HOUR_S / 2);
        }
        EXPECT_EQ(box.restarts(), restarts + 1) << "one restart, in the window";
    }

    void end_day()
    {
        SCOPED_TRACE("the day that ends at " + box.local_time());
        for (const std::string &act : box.timed_journal())
            for (const char c : act)
                hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 1099511628211U;
        const auto strange = std::ranges::find_if_not(box.journal(), busy_nights::is_sane);
        EXPECT_EQ(strange, box.journal().end()) << "strange act: " << *strange;
        EXPECT_LT(box.journal().size(), ACTS_A_DAY_MAX);
        EXPECT_LT(box.lines_logged() - lines_, LINES_A_DAY_MAX);
        EXPECT_EQ(box.open_descriptors(), Lines{});
        EXPECT_EQ(open_in_process(), open_) << "descriptors of this process";
        lines_ = box.lines_logged();
        box.clear_journal();
    }

    Dice dice_;
    size_t open_ = 0;
    uint64_t lines_ = 0;
    uint64_t hash_ = 14695981039346656037U;
};

class Soak : public RouterTest, public testing::WithParamInterface<unsigned>
{
};

std::string program()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return {path, length > 0 ? static_cast<size_t>(length) : 0};
}

// The hash of the days' journal, made in a process of its own; 0 when something did not hold.
uint64_t hash_of_days(unsigned seed, int days)
{
    uint64_t hash = 0;
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        Days run(seed);
        hash = run.run(days) ? run.journal_hash() : 0;
        _exit(write(ends[1], &hash, sizeof hash) == sizeof hash ? 0 : 1);
    }
    close(ends[1]);
    EXPECT_EQ(read(ends[0], &hash, sizeof hash), static_cast<ssize_t>(sizeof hash));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return hash;
}

} // namespace

TEST_P(Soak, LeavesTheRouterInOrder)
{
    if (!Days(GetParam()).run(days_to_run()))
        ADD_FAILURE() << "replay:\nSOAK_DAYS=" << days_to_run() << " " << program()
                      << " --gtest_filter=Seeds/Soak.LeavesTheRouterInOrder/" << GetParam();
}

TEST_P(Soak, GivesTheSameJournalForTheSameSeed)
{
    const uint64_t hash = hash_of_days(GetParam(), 2);
    EXPECT_NE(hash, 0U);
    EXPECT_EQ(hash_of_days(GetParam(), 2), hash);
    EXPECT_NE(hash_of_days(GetParam() + 1, 2), hash);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Soak, testing::Values(0U, 1U, 2U));
