// What the tests of the two watchdogs share.
#ifndef TESTS_SUPPORT_WATCHDOG_WORLD_H
#define TESTS_SUPPORT_WATCHDOG_WORLD_H

#include <functional>
#include <string>
#include <utility>

#include "tests/support/router_test.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_text.h"

inline TIME_CHECK_MODULES_COMMON_STRUCT watchdog_message(uint32_t op, const std::string &string_info)
{
    TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
    msg.op = op;
    copy_text(msg.string_info, sizeof msg.string_info, string_info.c_str());
    return msg;
}

// A web server whose use of the machine the test says, tick by tick. The module's state shows in its debug lines.
class CpuWatchdogTest : public RouterTest
{
protected:
    static constexpr uint32_t PID = 321;
    static constexpr const char *PID_FILE = "/etc/httpd.pid";

    void SetUp() override
    {
        box.files.set(PID_FILE, "321\n");
        machine_total(0);
        process_total(0);
    }

    static void debug_on()
    {
        _DEBUG_LIST_[TIME_CHECK_CPU] = 1;
    }

    void load()
    {
        set_time_check_cpu_info();
        box.log.clear();
    }

    void machine_total(uint32_t ticks)
    {
        box.files.set("/proc/stat", "cpu  " + std::to_string(ticks) + " 0 0 0 0 0 0 0 0\ncpu0 0 0 0 0 0 0 0 0 0\n");
    }

    void process_times(const std::string &name, uint64_t user, uint64_t system, uint64_t children_user,
                       uint64_t children_system)
    {
        box.files.set("/proc/321/stat", "321 " + name + " S 1 321 321 0 -1 4194304 120 0 0 0 " + std::to_string(user) +
                                            " " + std::to_string(system) + " " + std::to_string(children_user) + " " +
                                            std::to_string(children_system) + " 20 0 1 0 120\n");
    }

    void process_total(uint32_t ticks)
    {
        process_times("(httpd)", ticks, 0, 0, 0);
    }

    // A change of the world between a sample's two readings.
    void in_the_interval(std::function<void()> change)
    {
        box.at(0.05, std::move(change));
    }

    // Has the next sample measure that many percent of the machine.
    void busy(uint32_t percent)
    {
        machine_total(machine_ += 100);
        process_total(process_);
        in_the_interval([this, percent] {
            machine_total(machine_ += 100);
            process_total(process_ += percent);
        });
    }

    // One tick with the debug lines on, their log alone.
    void sample()
    {
        const uint32_t before = std::exchange(_DEBUG_LIST_[TIME_CHECK_CPU], 1);
        box.log.clear();
        time_check_cpu();
        _DEBUG_LIST_[TIME_CHECK_CPU] = before;
    }

    // A tick in which the server uses that many percent, if it is sampled; whether it was.
    bool tick(uint32_t percent)
    {
        busy(percent);
        sample();
        const bool sampled = has_body("file /etc/httpd.pid!");
        box.run(1); // also past the change, when no sample waited for it
        return sampled;
    }

    // What the last tick's second dump says.
    std::string measured()
    {
        return last_value("EXE_CPU:\t");
    }

    bool is_over()
    {
        return last_value("EXE_CHECK_RESULT:\t") == "1";
    }

    std::string last_value(const std::string &name)
    {
        std::string value;
        for (const std::string &body : box.log.bodies())
            if (body.starts_with(name))
                value = body.substr(name.size(), body.size() - name.size() - 1);
        return value;
    }

private:
    uint32_t machine_ = 100000;
    uint32_t process_ = 1000;
};

#endif
