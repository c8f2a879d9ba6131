// Whatever stands in the files that the daemon reads, in the store and in the messages that it gets, and however clocks
// and counters jump: it goes on ticking and does nothing strange. Each seed gives the same night on every machine.
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/nights_world.h"

using namespace busy_nights;

namespace
{

const Lines PATHS = {"/proc/net/arp",
                     "/proc/net/ip_mr_vif",
                     "/proc/stat",
                     "/proc/412/stat",
                     "/proc/413/stat",
                     "/etc/httpd.pid",
                     "/etc/resolv.conf",
                     "/etc/lan.ini",
                     "etc/dhcpc/noresp",
                     "/sys/class/net/br0/statistics/tx_bytes",
                     "/sys/class/net/br0/statistics/rx_bytes"};

const Lines KEYS = {"sys.schedulereboot.wday",
                    "sys.schedulereboot.start_time",
                    "sys.schedulereboot.max_speed",
                    "sys.powersleep.start_time",
                    "sys.powersleep.end_time",
                    "sys.powersleep.wday",
                    "nkgw.wlan.listnum",
                    "nkgw.wlan.offtime.list1",
                    "nkgw.wlan.ontime.list1",
                    "nkgw.led.listnum",
                    "nkgw.led.offtime.list1",
                    "nkgw.led.ontime.list1",
                    "wl.guest.effective_time",
                    "wans.flag",
                    "wan1.connecttype",
                    "wan1_err_check",
                    "wl2g.public.mode",
                    "wl5g.public.mode",
                    "sys.workmode",
                    "wl.wisp.access_mode",
                    "wl.wisp.ifname",
                    "wl2g.extra.ssid",
                    "lan.ip",
                    "sys.mode",
                    "surf_check_renew_flag",
                    "time_check_debug",
                    "sys.sched.led.type",
                    "power.sleep.closetype.changed"};

const Lines NUMBERS = {"0",
                       "-1",
                       "1",
                       "4294967295",
                       "4294967296",
                       "2147483647",
                       "-2147483648",
                       "99999999",
                       "18446744073709551615",
                       "18446744073709551616",
                       "1e9",
                       "0x10",
                       "  7",
                       "+7",
                       ""};

std::string garbage(Dice &dice)
{
    std::string text;
    switch (dice.roll(5)) {
    case 0: // any bytes at all
        for (size_t left = dice.roll(3000); left > 0; left--)
            text += static_cast<char>(dice.roll(256));
        break;
    case 1: // one line without an end
        text.assign(dice.roll(5000), 'x');
        break;
    case 2: // columns of numbers
        for (size_t left = dice.roll(400); left > 0; left--)
            text += dice.one_of(NUMBERS) + (dice.roll(8) == 0 ? "\n" : " ");
        break;
    case 3: // lines of known words
        for (size_t left = dice.roll(100); left > 0; left--)
            text += dice.one_of(Lines{"br0", "0x2", "0x0", "00:00:00:00:00:00", "nameserver", "cpu", "gateway=", "1",
                                      "\t", ";", ":", "\n"});
        break;
    default: // nothing
        break;
    }
    return text;
}

// A value of the store or a message: no zero bytes.
std::string short_garbage(Dice &dice)
{
    std::string text = dice.roll(2) == 0 ? dice.one_of(NUMBERS) : garbage(dice).substr(0, dice.roll(700));
    std::erase(text, '\0');
    return text;
}

void something_strange(Dice &dice)
{
    static const std::array<int64_t, 8> steps = {1, -1, 3600, -3600, 86400, -86400, 400000000, -400000000};
    switch (dice.roll(6)) {
    case 0:
        box.files.set(dice.one_of(PATHS), garbage(dice));
        break;
    case 1:
        box.files.set_unreadable(dice.one_of(PATHS));
        break;
    case 2:
        box.clock.step(dice.one_of(steps));
        break;
    case 3:
        box.network.set_counters("br0", dice.roll(3) * UINT32_MAX, dice.roll(2) * UINT64_MAX);
        box.network.set_host("192.168.0.7", dice.roll(3) * UINT32_MAX, dice.roll(2) * UINT64_MAX);
        break;
    case 4:
        box.store.set(dice.one_of(KEYS), short_garbage(dice));
        break;
    default:
        box.post(std::to_string(dice.roll(11)) + "?" + (dice.roll(2) == 0 ? "op=" : "string_info=") +
                 short_garbage(dice).substr(0, 260));
        break;
    }
}

class Garbage : public testing::TestWithParam<unsigned>
{
};

void strange_night(unsigned seed)
{
    Dice dice(seed);
    dice.one_of(NIGHTS).prepare();
    for (double moment = 3; moment < NIGHT_S; moment += 3)
        box.at(moment, [&dice] { something_strange(dice); });
    box.boot();
    box.run(NIGHT_S + 60);
}

// The night's journal, from a process of its own.
std::string journal_of_night(unsigned seed)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        strange_night(seed);
        for (const std::string &line : box.journal.timed_lines())
            dprintf(ends[1], "%s\n", line.c_str());
        _exit(0);
    }
    close(ends[1]);
    std::string journal;
    char part[4096];
    for (ssize_t got = read(ends[0], part, sizeof part); got > 0; got = read(ends[0], part, sizeof part))
        journal.append(part, static_cast<size_t>(got));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return journal;
}

} // namespace

TEST_P(Garbage, TheDaemonGoesOn)
{
    strange_night(GetParam());
    EXPECT_EQ(complaint(), "");
}

TEST(GarbageNight, IsTheSameEachTime)
{
    const std::string journal = journal_of_night(11);
    EXPECT_GT(journal.size(), 10000U);
    EXPECT_TRUE(journal == journal_of_night(11));
    EXPECT_FALSE(journal == journal_of_night(12));
}

INSTANTIATE_TEST_SUITE_P(Seeds, Garbage, testing::Range(1U, 41U));
