// Days of the scheduled reboot: what the scenarios set up, and the reboots that they see.
#ifndef TESTS_SUPPORT_REBOOT_WORLD_H
#define TESTS_SUPPORT_REBOOT_WORLD_H

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/router_test.h"

struct reboot_seen {
    std::string day;  // local, "2026-03-01"
    std::string time; // local, "02:00:00"
    int uptime;
};

class RebootDays : public RouterTest
{
protected:
    // Switches the reboot on: type 0 at the start of the window, type 1 once it is quiet; "" is the factory's time.
    void schedule(int type, const std::string &start = "", const std::string &end = "")
    {
        configure({{"sys.schedulereboot.enable", "1"},
                   {"sys.schedulereboot.type", std::to_string(type)},
                   {"sys.schedulereboot.start_time", start},
                   {"sys.schedulereboot.end_time", end}});
    }

    // Starts the router at this local time, up for so many seconds.
    void start_at(const std::string &local, int uptime = 0)
    {
        box.clock.set(local);
        box.clock.set_uptime(uptime);
        ASSERT_TRUE(box.boot());
        stop_cpu_watchdog();
    }

    void client_comes()
    {
        box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    }

    // A client, and what the LAN bridge has sent: the delay before a quiet reboot is this modulo 600.
    void quiet_client(uint64_t lan_bytes)
    {
        client_comes();
        box.network.set_counters("br0", 0, lan_bytes);
    }

    std::vector<reboot_seen> reboots() const
    {
        std::vector<reboot_seen> seen;
        for (const std::string &line : box.journal.timed_lines()) {
            char day[16] = "";
            char time[16] = "";
            char act[16] = "";
            int uptime = 0;
            if (sscanf(line.c_str(), "%15s %15s %d %15s", day, time, &uptime, act) == 4 && std::string(act) == "reboot")
                seen.push_back({day, time, uptime});
        }
        return seen;
    }

    // The reboots as "2026-03-01 02:00:00".
    Lines reboot_times() const
    {
        Lines times;
        for (const reboot_seen &one : reboots())
            times.push_back(one.day + " " + one.time);
        return times;
    }

    static int seconds_of(const std::string &time)
    {
        int hour = 0;
        int minute = 0;
        int second = 0;
        sscanf(time.c_str(), "%d:%d:%d", &hour, &minute, &second);
        return hour * 3600 + minute * 60 + second;
    }

    // Seconds that the random offset adds when the window opens at this up-time.
    static int offset_at(int uptime)
    {
        srandom(static_cast<unsigned>(uptime));
        return static_cast<int>(static_cast<unsigned>(random()) % 1800 * 5);
    }

    // An up-time, from a day on, whose offset lies in this range.
    static int uptime_with_offset(int lowest, int highest)
    {
        for (int uptime = 86400;; uptime++)
            if (offset_at(uptime) >= lowest && offset_at(uptime) <= highest)
                return uptime;
    }

private:
    // Its samples make some ticks longer, and now and then a tick then passes over a second of the clock. Here the
    // seconds count, so each daemon is told to stop it.
    void stop_cpu_watchdog()
    {
        if (box.restarts() + 1 > daemons_told_ && box.post("time_check_cpu?op=2,string_info=all"))
            daemons_told_ = box.restarts() + 1;
        box.at(0.5, [this] { stop_cpu_watchdog(); });
    }

    uint64_t daemons_told_ = 0;
};

#endif
