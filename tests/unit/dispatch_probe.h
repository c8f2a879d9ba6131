// Handlers that note what they were given, to see from outside where the registry leads a message.
#ifndef TESTS_UNIT_DISPATCH_PROBE_H
#define TESTS_UNIT_DISPATCH_PROBE_H

#include <vector>

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

#endif
