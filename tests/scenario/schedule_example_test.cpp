// The example of docs/schedules.md, line by line as it is printed there, on a router whose store is empty.
#include <fstream>
#include <gmock/gmock.h>

#include "platform/sim/shell.h"
#include "tests/support/router_test.h"

using testing::ElementsAre;

namespace
{

// The page's first block that sets something.
Lines example_commands()
{
    Lines block;
    bool inside = false;
    bool sets = false;
    std::ifstream page(PROJECT_FOLDER "/docs/schedules.md");
    for (std::string line; std::getline(page, line);) {
        if (!line.starts_with("```")) {
            if (inside)
                block.push_back(line.substr(0, line.find(" #")));
            sets |= inside && line.starts_with("cfm set");
        } else if (inside && sets) {
            return block;
        } else {
            inside = !inside;
            block.clear();
        }
    }
    return {};
}

class ScheduleExample : public RouterTest
{
protected:
    // What a user does, in a shell of the router. The daemon hears of it from the message alone.
    void type(const std::string &line)
    {
        const Lines words = sim::read_command_line(line).at(0).words;
        ASSERT_EQ(words.at(0), "cfm") << line;
        if (words.at(1) == "set")
            box.store.set(words.at(2), words.at(3));
        else if (words.at(1) == "post")
            ASSERT_TRUE(box.post(words.at(3))) << line;
        else
            ASSERT_EQ(words.at(1), "commit") << line;
    }

    // What netctrl was told to do with the radios, and when.
    Lines switchings() const
    {
        Lines found;
        for (const std::string &line : box.journal.timed_lines())
            if (const size_t act = line.find("cfm post netctrl 19?"); act != std::string::npos)
                found.push_back(line.substr(0, line.find(" +")) + " " + line.substr(line.find('?')));
        return found;
    }
};

TEST_F(ScheduleExample, SwitchesAsThePageSays)
{
    box.clock.set("2026-05-07 18:00:00"); // a Thursday
    ASSERT_TRUE(box.boot());
    const Lines commands = example_commands();
    ASSERT_FALSE(commands.empty());
    for (const std::string &line : commands)
        type(line);
    box.run_until("2026-05-09 18:00:00");
    EXPECT_THAT(switchings(),
                ElementsAre("2026-05-07 23:00:00 ?op=2,wl_rate=24", "2026-05-07 23:00:01 ?op=2,wl_rate=5",
                            "2026-05-08 06:30:00 ?op=1,wl_rate=24", "2026-05-09 12:00:00 ?op=2,wl_rate=24",
                            "2026-05-09 12:00:01 ?op=2,wl_rate=5", "2026-05-09 13:30:01 ?op=1,wl_rate=24"));
}

} // namespace
