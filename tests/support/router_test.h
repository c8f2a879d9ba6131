// The fixture of tests on the virtual router: a factory router, and at the end of each test a look at whether the
// daemon left its world in order.
#ifndef TESTS_SUPPORT_ROUTER_TEST_H
#define TESTS_SUPPORT_ROUTER_TEST_H

#include <algorithm>
#include <gtest/gtest.h>
#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/sim/virtual_router.h"

using Lines = std::vector<std::string>;

// The one way of all tests to the router. Worlds and helpers outside the fixture say it, too.
inline sim::VirtualRouter &box = sim::router();

// Sets several keys of the store.
inline void configure(std::initializer_list<std::pair<std::string_view, std::string_view>> settings)
{
    for (const auto &[key, value] : settings)
        box.store.set(key, value);
}

class RouterTest : public testing::Test
{
protected:
    void TearDown() override
    {
        EXPECT_EQ(box.files.unknown_paths(), Lines{}) << "the daemon opened paths that the test does not know of";
        EXPECT_EQ(box.store.unknown_keys(), Lines{})
            << "the daemon uses keys that platform/config_keys.def does not know of";
        EXPECT_EQ(box.open_descriptors(), Lines{}) << "the daemon left these open";
    }

    // Whether the daemon printed a line with this body.
    bool has_body(std::string_view body) const
    {
        const Lines bodies = box.log.bodies();
        return std::ranges::find(bodies, body) != bodies.end();
    }

    // Whether the daemon printed a line that holds this text. Console lines carry line numbers, which may change.
    bool has_line(std::string_view text) const
    {
        return lines_with(text) > 0;
    }

    size_t lines_with(std::string_view text) const
    {
        return static_cast<size_t>(std::ranges::count_if(
            box.log.lines(), [text](const std::string &line) { return line.find(text) != std::string::npos; }));
    }

    // How often exactly this act happened.
    size_t times(std::string_view act) const
    {
        return static_cast<size_t>(std::ranges::count(box.journal.lines(), act));
    }
};

// The whole journal, act by act; without arguments: nothing happened.
#define EXPECT_ACTS(...) EXPECT_EQ(box.journal.lines(), (Lines{__VA_ARGS__}))

// The bodies of all lines printed.
#define EXPECT_BODIES(...) EXPECT_EQ(box.log.bodies(), (Lines{__VA_ARGS__}))

#endif
