// tcctl events --follow: what happens from now on.
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tools/tcctl/command.h"
#include "tools/tcctl/event_place.h"
#include "tools/tcctl/events.h"
#include "tools/tcctl/journal_tail.h"
#include "tools/tcctl/output.h"

namespace tcctl
{

namespace
{

constexpr int LOOK_MS = 200;
// Without another act for so many looks, what has come is an event.
constexpr int LOOKS_TO_WAIT = (event_maker::GAP_S + 1) * 1000 / LOOK_MS;

// Whether whoever reads the output is still there, after a pause.
bool is_read_after_pause()
{
    pollfd output = {.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    return poll(&output, 1, LOOK_MS) <= 0 || (output.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

// Makes events of what comes, and of what has come when nothing came for a while.
class follower
{
public:
    void take(const std::vector<journal_record> &acts, std::vector<event> &events)
    {
        quiet_looks_ = acts.empty() ? quiet_looks_ + 1 : 0;
        for (const journal_record &act : acts)
            maker_.take(act, events);
        if (quiet_looks_ == LOOKS_TO_WAIT)
            maker_.flush(events);
    }

    uint64_t complete() const
    {
        return maker_.complete();
    }

private:
    event_maker maker_;
    int quiet_looks_ = 0;
};

// Runs the program for events after the first `skipped` records, and notes how far it has come.
class runner
{
public:
    runner(const events_options &options, uint64_t skipped)
        : options_(options), program_(options.program, options.limits), place_(options.place), skipped_(skipped)
    {
    }

    void go_on(const std::vector<journal_record> &acts, uint32_t lost)
    {
        program_.count_lost(lost);
        for (const journal_record &act : acts)
            place_.take(act);
        std::vector<event> events;
        follower_.take(acts, events);
        for (const event &told : events)
            if (told.order > skipped_ && is_wanted(options_, told))
                program_.run(told);
        if (!place_.done(follower_.complete()) && !has_complained_) {
            fail(fmt::format("cannot write {}: {}", options_.place, std::strerror(errno)));
            has_complained_ = true;
        }
    }

private:
    const events_options &options_;
    event_program program_;
    event_place place_;
    follower follower_;
    uint64_t skipped_;
    bool has_complained_ = false;
};

} // namespace

int follow_printing(const events_options &options)
{
    journal_tail journal;
    follower follower;
    event_lines lines;
    std::vector<journal_record> acts;
    std::string why;
    journal.begin(acts, &why);
    do {
        std::vector<event> events;
        follower.take(acts, events);
        const std::string text = options.is_raw ? printed(options, lines, acts) : printed(options, lines, events);
        if (!text.empty() && print(text) != WELL)
            return CANNOT;
        acts.clear();
        journal.look(acts);
    } while (is_read_after_pause());
    return WELL;
}

int follow_running(const events_options &options)
{
    journal_tail journal;
    std::vector<journal_record> acts;
    std::string why;
    journal.begin(acts, &why);
    const bool is_all_new =
        !options.since_text.empty() && (options.place.empty() || access(options.place.c_str(), F_OK) != 0);
    runner runner(options, is_all_new ? 0 : event_place(options.place).done_in(acts));
    for (;;) {
        runner.go_on(acts, journal.take_lost());
        acts.clear();
        poll(nullptr, 0, LOOK_MS);
        journal.look(acts);
    }
}

} // namespace tcctl
