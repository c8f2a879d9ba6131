// A program that is run for each event, such as one that sends a message.
#ifndef TOOLS_TCCTL_EVENT_PROGRAM_H
#define TOOLS_TCCTL_EVENT_PROGRAM_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "tools/tcctl/event.h"

namespace tcctl
{

struct program_limits {
    int timeout_s = 30;
    int most_a_minute = 30;
};

class event_program
{
public:
    // `command` is a program, looked for in PATH, and its arguments: no shell sees them.
    event_program(std::vector<std::string> command, const program_limits &limits);

    // Runs it with the event in its environment (docs/alarms.md), and waits until it has ended; one that takes too long
    // is ended with all that it has started and that is still of its process group. Dropped, and counted, when there
    // were too many within a minute.
    void run(const event &told);

    // Events that nobody can be told of any more: the next run is told how many.
    void count_lost(uint32_t number);

private:
    bool may_run();
    void wait_for(int pid);

    std::vector<std::string> command_;
    program_limits limits_;
    std::deque<int64_t> runs_; // of the last minute: when, milliseconds of the monotonic clock
    uint64_t dropped_ = 0;
};

} // namespace tcctl

#endif
