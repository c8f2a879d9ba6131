#include "tools/tcctl/event.h"

#include <algorithm>

#include "platform/config_keys.h"
#include "tools/tcctl/verdicts.h"

namespace tcctl
{

namespace
{

bool is_note(const journal_record &act)
{
    return act.kind == JOURNAL_NOTE || act.kind == JOURNAL_END || act.kind == JOURNAL_START;
}

// What only the daemon writes: a value that stands there already changes nothing.
bool is_daemons_own(std::string_view key)
{
    return key == KEY_PWR_SAVE_MODE || key == KEY_STOPPAGE_FLAG || key == KEY_WAN_STOPPAGE_ERR ||
           (key.starts_with("wan") && key.ends_with(WAN_FIELD_ISONLN));
}

bool is_end_of_a_program(const journal_record &act)
{
    const change_kind kind = change_of(act).kind;
    return kind == change_kind::PROCESS_KILLED || kind == change_kind::PROCESS_RESTARTED;
}

// Whether something like it stands there: the same again is another event.
bool is_among(const std::vector<journal_record> &acts, const journal_record &act)
{
    const set_act set = set_of(act);
    const bool is_end = is_end_of_a_program(act);
    return std::any_of(acts.begin(), acts.end(), [&](const journal_record &each) {
        return (!set.key.empty() && set_of(each).key == set.key) || (is_end && is_end_of_a_program(each));
    });
}

bool is_failure(change_kind kind)
{
    return kind >= change_kind::COMMIT_FAILED && kind < change_kind::MINOR;
}

void add(std::vector<change> &changes, change made)
{
    const bool stands = std::any_of(changes.begin(), changes.end(), [&](const change &each) {
        return each.kind == made.kind && each.subject == made.subject;
    });
    if (!stands)
        changes.push_back(std::move(made));
}

} // namespace

bool event_maker::belongs_to(const group &open, const journal_record &act) const
{
    const journal_record &before = open.acts.back();
    return before.verdict == act.verdict && before.since == act.since && act.uptime >= before.uptime &&
           act.uptime - before.uptime <= GAP_S && !is_among(open.acts, act);
}

// Like change_of, with what is known of the router's state.
change event_maker::seen_change(const journal_record &act)
{
    change made = change_of(act);
    const set_act set = set_of(act);
    if (!is_daemons_own(set.key))
        return made;
    const auto known = known_.find(set.key);
    const bool is_off_at_first = known == known_.end() && set.value == "0" && made.kind != change_kind::WAN_OFFLINE;
    if (is_off_at_first || (known != known_.end() && known->second == set.value))
        made = {};
    known_.insert_or_assign(std::string(set.key), std::string(set.value));
    if (set.key == KEY_STOPPAGE_FLAG && set.value == "0") // the next fault is another one, also of the same kind
        known_.erase(KEY_WAN_STOPPAGE_ERR);
    return made;
}

event event_maker::made_of(group closed)
{
    event made;
    made.order = closed.order;
    for (const journal_record &act : closed.acts) {
        const change seen = seen_change(act);
        if (!is_failure(seen.kind))
            add(made.changes, seen);
    }
    std::stable_sort(made.changes.begin(), made.changes.end(),
                     [](const change &one, const change &other) { return one.kind < other.kind; });
    const journal_record &first = closed.acts.front();
    const bool is_restart = first.kind == JOURNAL_REBOOT || (first.kind == JOURNAL_START && first.who == STATUS_REBOOT);
    if (is_restart && armed_verdict_ != STATUS_UNJUDGED)
        made.after = reason_of(STATUS_REBOOT, armed_verdict_);
    made.reason = reason_of(first.who, first.verdict);
    made.acts = std::move(closed.acts);
    return made;
}

void event_maker::add_failures(const group &closed, std::vector<event> &events)
{
    for (const journal_record &act : closed.acts)
        if (const change seen = change_of(act); is_failure(seen.kind))
            events.push_back({.order = closed.order,
                              .acts = {act},
                              .changes = {seen},
                              .reason = reason_of(act.who, act.verdict),
                              .after = ""});
}

void event_maker::close(group &open, std::vector<event> &events)
{
    if (open.acts.empty())
        return;
    const group closed = std::move(open);
    open = {};
    event made = made_of(closed);
    if (!made.changes.empty())
        events.push_back(std::move(made));
    add_failures(closed, events);
}

void event_maker::take(const journal_record &act, std::vector<event> &events)
{
    taken_++;
    group &open = open_[act.who];
    const bool is_boot = change_of(act).kind == change_kind::BOOT;
    if (is_note(act)) {
        flush(events);
        if (is_boot)
            known_.clear();
    } else if (!open.acts.empty() && !belongs_to(open, act)) {
        close(open, events);
    }
    if (open.acts.empty())
        open.order = taken_;
    open.acts.push_back(act);
    if (is_note(act) || act.kind == JOURNAL_REBOOT) // after which there may be nobody any more to go on
        close(open, events);
    if (is_boot)
        armed_verdict_ = STATUS_UNJUDGED;
    else if (act.who == STATUS_REBOOT && act.kind == JOURNAL_COMMAND)
        armed_verdict_ = act.verdict;
}

void event_maker::flush(std::vector<event> &events)
{
    const auto before = static_cast<std::ptrdiff_t>(events.size());
    for (auto &[who, open] : open_)
        close(open, events);
    std::stable_sort(events.begin() + before, events.end(),
                     [](const event &one, const event &other) { return one.order < other.order; });
}

uint64_t event_maker::complete() const
{
    uint64_t complete = taken_;
    for (const auto &[who, open] : open_)
        if (!open.acts.empty())
            complete = std::min(complete, open.order - 1);
    return complete;
}

} // namespace tcctl
