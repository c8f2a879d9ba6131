// What a recorder makes of what it reads.
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

#include "tools/record/daemon_watch.h"
#include "tools/record/masked.h"
#include "tools/record/processes.h"
#include "tools/record/scribe.h"
#include "tools/record/world.h"
#include "tools/record/zone.h"

using record::kind;
using record::SECOND;

namespace
{

constexpr record::micros NOON = 1772452800 * SECOND; // 2026-03-02T12:00:00Z

// What a scribe writes.
class Written : public testing::Test
{
protected:
    Written()
    {
        setenv("TZ", "UTC0", 1);
        tzset();
    }
    ~Written() override
    {
        std::fclose(file);
        std::free(text);
    }
    void at(record::micros since)
    {
        out->now({.wall = NOON + since, .up = 100 * SECOND + since});
    }
    void begin()
    {
        out = std::make_unique<record::scribe>(file, true, 0);
        const record::clocks first = out->now();
        const record::clocks wanted = {.wall = NOON, .up = 100 * SECOND};
        if (first.wall - first.up !=
            wanted.wall - wanted.up) // the step from this machine's clock is no line of the test's
            out->now(wanted);
        std::fflush(file);
        begun = size;
    }
    std::string lines()
    {
        out->flush();
        return {text + begun, size - begun};
    }

    char *text = nullptr;
    size_t size = 0;
    size_t begun = 0;
    FILE *file = open_memstream(&text, &size);
    std::unique_ptr<record::scribe> out;
};

TEST_F(Written, IsOnlyWhatChanges)
{
    begin();
    at(SECOND);
    out->tell_state(kind::link, {"1", "up"}, 1);
    out->tell_state(kind::link, {"2", "up"}, 1);
    at(2 * SECOND);
    out->tell_state(kind::link, {"1", "up"}, 1);
    out->tell_state(kind::link, {"2", "down"}, 1);
    EXPECT_EQ(lines(),
              "2026-03-02T12:00:01Z link 1 up\n2026-03-02T12:00:01Z link 2 up\n2026-03-02T12:00:02Z link 2 down\n");
}

TEST_F(Written, StandsInOrder)
{
    begin();
    at(2 * SECOND);
    out->tell(kind::commit, {});
    out->tell_at(NOON + SECOND, kind::daemon, {}, true);
    EXPECT_EQ(lines(), "2026-03-02T12:00:02Z commit\n2026-03-02T12:00:02Z +102 daemon\n");
}

TEST_F(Written, TellsOfAClockThatWasSet)
{
    begin();
    at(SECOND);
    out->tell(kind::commit, {});
    out->now({.wall = NOON - 3600 * SECOND, .up = 102 * SECOND});
    out->tell(kind::commit, {});
    EXPECT_EQ(lines(), "2026-03-02T12:00:01Z commit\n2026-03-02T12:00:02Z clock 2026-03-02T11:00:00Z\n"
                       "2026-03-02T11:00:00Z commit\n");
}

TEST_F(Written, HoldsAsFewPassesAsKeepAllInTheirPlaces)
{
    begin();
    record::pass_line passes;
    passes.begin(NOON);
    record::micros ended = NOON;
    for (int i = 1; i <= 20; i++) {
        ended += SECOND + (i == 11 ? 5 * SECOND : SECOND / 500); // one of them is long
        out->now({.wall = ended, .up = ended - NOON + 100 * SECOND});
        passes.add(*out, ended, 1);
    }
    passes.finish(*out);
    EXPECT_EQ(lines(), "2026-03-02T12:00:16.02Z pass 10 2026-03-02T12:00:10.02Z\n"
                       "2026-03-02T12:00:17.022Z pass 11 2026-03-02T12:00:16.02Z\n"
                       "2026-03-02T12:00:25.038Z pass 20 2026-03-02T12:00:25.038Z\n");
}

// A look at WAN 1 that ended `ended` seconds after noon, and began so many before.
status_reading look_of(int64_t ended, uint32_t duration, const char *address)
{
    status_reading page = {};
    page.is_alive = true;
    page.pid = 7;
    page.start = 100;
    status_wans &wans = page.status.wans;
    wans.num = 1;
    wans.passes = 1;
    wans.next = NOON / SECOND + ended + 5;
    wans.wan[0].looked = NOON / SECOND + ended;
    wans.wan[0].duration = duration;
    wans.wan[0].names = STATUS_NO_ANSWER;
    std::snprintf(wans.wan[0].interface, sizeof wans.wan[0].interface, "wan1");
    std::snprintf(wans.wan[0].address, sizeof wans.wan[0].address, "%s", address);
    return page;
}

// What the first look of a daemon that started at noon is told as, by a recorder that learnt of an address at `comes`.
class Looks : public Written
{
protected:
    std::string told(record::micros comes, const status_reading &page)
    {
        begin();
        out->tell_state(kind::wan, {"1", "wan1"}, 1);
        out->tell_state(kind::link, {"1", "up"}, 1);
        out->tell_state(kind::address, {"wan1", "-"}, 1);
        record::daemon_watch watch;
        watch.look_at_start(*out, page);
        at(comes);
        out->tell_state(kind::address, {"wan1", "10.0.0.2"}, 1);
        at((page.status.wans.wan[0].looked + 1) * SECOND - NOON);
        watch.look(*out, page);
        const std::string all = lines();
        return all.substr(all.find("look 1"));
    }
};

TEST_F(Looks, BeginBehindTheAddressThatTheyHaveSeen)
{
    EXPECT_EQ(told(SECOND * 95 / 100, look_of(7, 7, "10.0.0.2")),
              "look 1 2026-03-02T12:00:00.95Z 2026-03-02T12:00:07.999999Z\n");
}

TEST_F(Looks, BeginBeforeTheAddressThatTheyHaveNotSeen)
{
    EXPECT_EQ(told(SECOND * 6 / 10, look_of(7, 7, "")),
              "look 1 2026-03-02T12:00:00.599999Z 2026-03-02T12:00:07.999999Z\n");
}

TEST_F(Looks, NeverBeginBeforeTheDaemon)
{
    EXPECT_EQ(told(1, look_of(7, 7, "")), "look 1 2026-03-02T12:00:00Z 2026-03-02T12:00:07.999999Z\n");
}

TEST(Masks, HideSecretsWhereverTheyStand)
{
    record::masks hides;
    EXPECT_EQ(hides.setting("wl.wisp.pppoe_password", "hunter2"), "***");
    EXPECT_EQ(hides.setting("wl.wisp.pppoe_password", ""), "");
    EXPECT_EQ(hides.setting("sys.workmode", "router"), "router");
    EXPECT_EQ(hides.text("pppd -p hunter2 -u me"), "pppd -p *** -u me");
    EXPECT_EQ(hides.text("hunter2hunter2"), "******");
    EXPECT_EQ(hides.setting("sys.workmode", "xhunter2x"), "x***x");
}

TEST(Masks, LeaveAShortSecretInsideOtherWords)
{
    record::masks hides;
    hides.setting("wl.wisp.pppoe_password", "1");
    EXPECT_EQ(hides.text("6?op=1,id=11"), "6?op=***,id=11");
}

TEST(Masks, ReplaceDevices)
{
    record::masks hides;
    EXPECT_EQ(hides.device("00:00:00:00:00:00"), "00:00:00:00:00:00");
    EXPECT_EQ(hides.device("f0:9f:c2:01:02:03"), "02:00:00:00:00:01");
    EXPECT_EQ(hides.device("f0:9f:c2:01:02:04"), "02:00:00:00:00:02");
    EXPECT_EQ(hides.device("f0:9f:c2:01:02:03"), "02:00:00:00:00:01");
}

TEST(Masks, LeaveOutWhatNobodyKnows)
{
    EXPECT_TRUE(record::is_told("wan2.connecttype"));
    EXPECT_FALSE(record::is_told("cloud.token"));
    record::masks hides;
    hides.other("cloud.Token", "abcdef");
    hides.other("cloud.name", "home");
    EXPECT_EQ(hides.text("post abcdef home"), "post *** home");
}

TEST(Tables, OfTheKernel)
{
    record::masks hides;
    const std::vector<record::row> rows =
        record::neighbours_in("IP address       HW type     Flags       HW address            Mask     Device\n"
                              "192.168.0.7      0x1         0x2         f0:9f:c2:01:02:03     *        br0\n"
                              "cut\n",
                              hides);
    EXPECT_EQ(rows, (std::vector<record::row>{{"192.168.0.7", "0x2", "02:00:00:00:00:01", "br0"}}));
    EXPECT_EQ(record::multicast_in("Interface      BytesIn  PktsIn  BytesOut PktsOut Flags Local    Remote\n"
                                   " 0 br0               1       2      345       3 00000 00000000 00000000\n"
                                   " 1 wan1              1       2      999       3 00000 00000000 00000000\n"),
              (std::vector<record::row>{{"br0", "345"}}));
}

TEST(Tables, OfProcesses)
{
    std::string name;
    EXPECT_EQ(record::cpu_ticks_in("7 (a) b) S 1 7 7 0 -1 4194304 120 0 0 0 10 20 3 4 20 0 1 0 120 1 1", name), 37U);
    EXPECT_EQ(name, "a) b");
    EXPECT_EQ(record::cpu_ticks_in(") (", name), 0U);
    const record::machine_time time = record::machine_time_in("cpu  1 2 3 4\ncpu0 1 1 1 1\ncpu1 0 1 2 3\nintr 5\n");
    EXPECT_EQ(time.ticks, 10U);
    EXPECT_EQ(time.cpus, 2);
}

TEST(Zones, AreTheRulesAtTheFilesEnd)
{
    using namespace std::string_literals;
    EXPECT_EQ(record::rules_in("TZif2\0\0 data \nCET-1CEST,M3.5.0,M10.5.0/3\n"s), "CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(record::rules_in("TZif\0 old \nx\n"s), "");
    EXPECT_EQ(record::rules_in(""), "");
}

} // namespace
