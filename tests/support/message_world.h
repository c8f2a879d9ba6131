// Words for messages: handlers that note what they were given, to see from outside where the registry leads a message,
// and what the table of modules says of itself.
#ifndef TESTS_SUPPORT_MESSAGE_WORLD_H
#define TESTS_SUPPORT_MESSAGE_WORLD_H

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/router_test.h"
#include "time_check/time_check_dispatch.h"

struct dispatched {
    int handler; // the number of the probe
    TIME_CHECK_MODULES_COMMON_STRUCT msg;
};

inline std::vector<dispatched> dispatches;

template <int Handler>
int32_t note_dispatch(TIME_CHECK_MODULES_COMMON_STRUCT *msg)
{
    dispatches.push_back({Handler, *msg});
    return -1; // a result that nobody asks for
}

// A record of module `owner` for the messages of module `intent`; probe number `Handler`.
template <int Handler>
time_check_msg_ops probe(int owner, int intent, uint32_t op_type_bits = ALL_OP_TYPES)
{
    return {.list = {},
            .module_id = owner,
            .intent_module_id = intent,
            .op_type_bits = op_type_bits,
            .ops = note_dispatch<Handler>};
}

// The numbers of the probes that ran, in order.
inline std::vector<int> probes_run()
{
    std::vector<int> numbers;
    for (const dispatched &one : dispatches)
        numbers.push_back(one.handler);
    return numbers;
}

// The line about a name that no module has. It names the last module. Empties the log; the registry must be filled.
inline std::string line_of_unknown_names()
{
    box.log.clear();
    show_time_check_all_module_entries();
    std::string last;
    for (const std::string &line : box.log.lines())
        if (line.rfind("name:", 0) == 0)
            last = line.substr(5);
    box.log.clear();
    return "not found msg id[" + last + "]";
}

#endif
