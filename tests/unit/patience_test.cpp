// What would never end is a failure that says what it was doing.
#include "tests/support/patience.h"

#include <gtest/gtest.h>
#include <stdexcept>

#include "platform/config_store.h"
#include "tests/support/schedule_world.h"

using Patience = RouterTest;

TEST_F(Patience, ALoopInWhichNoTimePassesEndsWithAReport)
{
    EXPECT_EXIT(
        {
            box.clock.set("2026-03-04 03:00:00");
            box.clock.set_uptime(77);
            limit_processor_time(1);
            char value[16];
            for (;;)
                GetValue("wan1_isonln", value);
        },
        testing::ExitedWithCode(1),
        "has used 1 s of processor time.*\n.*pass 0, up for 77 s.*last call GetValue \\(made [0-9]+ times\\)");
}

TEST_F(Patience, APassOfTheMainLoopThatWaitsForADayIsAnError)
{
    schedule_world::only_rule("nkgw.wlan", "11:00", "13:00");
    schedule_world::radios("1", "1", "1");
    box.store.set("sys.sched.wifi.enable", "1");
    box.commands.set_duration(3 * 86400);
    EXPECT_THROW(box.boot(), std::runtime_error);
}
