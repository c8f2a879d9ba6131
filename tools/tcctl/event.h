// The journal's acts put together to what happened: what was done, when, by which module and why.
#ifndef TOOLS_TCCTL_EVENT_H
#define TOOLS_TCCTL_EVENT_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/common/journal.h"
#include "tools/tcctl/acts.h"

namespace tcctl
{

struct event {
    uint64_t order = 0;               // the number of its first act among those that were taken, from 1
    std::vector<journal_record> acts; // in their order, at least one
    std::vector<change> changes;      // what they changed, the weightiest first; at least one
    std::string_view reason;          // a verdict's name, or "at_start", "by_message"; "" where there is none
    std::string_view after;           // a restart's: the verdict before it, "" where it is not known

    const journal_record &first() const
    {
        return acts.front();
    }
    change_kind kind() const
    {
        return changes.front().kind;
    }
};

// A sentence without an end: "Wi-Fi off, both bands: a period has started".
std::string text_of(const event &told);

// The name of a verdict by which `who` acted, as an event's reason; and its sentence's beginning, for people.
std::string_view reason_of(uint8_t who, uint8_t verdict);
std::string reason_text(uint8_t who, uint8_t verdict);

// The names of all verdicts of a module, in their order; none where there is no such module.
std::vector<std::string_view> verdict_names(std::string_view module);

// Takes records in the order in which they were written, of one router over its restarts, and makes events of them.
// Acts of one module by one finding within a few seconds are one event (decision 0168).
class event_maker
{
public:
    // The acts that belong together lie no further apart than this, in seconds of up-time.
    static constexpr int32_t GAP_S = 3;

    // Events that are complete with this are at the end of `events`.
    void take(const journal_record &act, std::vector<event> &events);

    // Nothing more comes, or not for some time: what is open is complete.
    void flush(std::vector<event> &events);

    // How many acts were taken up to the first that is in no complete event yet.
    uint64_t complete() const;

private:
    struct group {
        uint64_t order = 0; // of its first act
        std::vector<journal_record> acts;
    };
    bool belongs_to(const group &open, const journal_record &act) const;
    void close(group &open, std::vector<event> &events);
    change seen_change(const journal_record &act);
    void add_failures(const group &closed, std::vector<event> &events);
    event made_of(group closed);

    std::map<uint8_t, group> open_;                         // by who acts
    std::map<std::string, std::string, std::less<>> known_; // what only the daemon writes, since the router's start
    uint64_t taken_ = 0;
    uint8_t armed_verdict_ = STATUS_UNJUDGED; // the reboot's last one before it restarts
};

} // namespace tcctl

#endif
