// A tick keeps nothing. That it asks the heap for nothing is shown elsewhere: the daemon's objects may use no symbol
// that is not listed, and of the heap's only free is, for the records that the ground hands over.
#include <malloc.h>

#include <gtest/gtest.h>

#include "platform/statistics.h"
#include "tests/support/router_test.h"

namespace
{

class Allocation : public RouterTest
{
};

TEST_F(Allocation, AnHourOfTicksKeepsNothing)
{
    configure({{"sys.schedulereboot.enable", "1"},
               {"sys.schedulereboot.type", "1"},
               {"sys.schedulereboot.start_time", "03:00"},
               {"sys.schedulereboot.end_time", "05:30"},
               {"sys.schedulereboot.max_speed", "1"}});
    box.clock.set("2026-03-04 03:00:00");
    box.clock.set_uptime(86400);
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    box.network.set_multicast("br0", 1);
    box.log.keep(false);
    box.boot();
    uint64_t received = 0;
    const auto busy_seconds = [&](int seconds) {
        for (int i = 0; i < seconds; i++) {
            box.network.set_host("192.168.0.7", 1000, received += 1000); // busy: a sample and its line every second
            box.tick();
        }
    };
    busy_seconds(600);
    box.journal.clear();
    const size_t held = mallinfo2().uordblks;
    const uint64_t records = box.faults.made("get_statistic_info");
    busy_seconds(3600);
    box.journal.clear();
    EXPECT_GE(box.faults.made("get_statistic_info"), records + 3500);
    EXPECT_LE(mallinfo2().uordblks, held + 10000); // a record left behind in each tick would be ten times that
    EXPECT_EQ(ip_info, nullptr);
}

} // namespace
