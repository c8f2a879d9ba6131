#include "router/netctrl/wanted.h"

#include <algorithm>

namespace
{

constexpr std::string_view FIRST_LINE = "netctrl wants 1";

constexpr int64_t FIRST_PAUSE_MS = 1000;
constexpr int64_t LONGEST_PAUSE_MS = 60'000;

// 1, 2, 4, ... 60 seconds.
int64_t pause_after(unsigned tries)
{
    return tries > 6 ? LONGEST_PAUSE_MS : std::min(LONGEST_PAUSE_MS, FIRST_PAUSE_MS << (tries - 1));
}

bool runs_something(const std::list<wish> &wishes)
{
    return std::any_of(wishes.begin(), wishes.end(), [](const wish &each) { return each.is_running; });
}

std::list<wish> &of_same_subject(wanted *all, const wish &wish)
{
    return all->subjects.find(wish.asked.subject)->second;
}

std::string_view next_line(std::string_view *text)
{
    const std::string_view line = text->substr(0, text->find('\n'));
    text->remove_prefix(std::min(text->size(), line.size() + 1));
    return line;
}

} // namespace

std::vector<std::string> want(wanted *all, request asked, int64_t now_ms)
{
    std::vector<std::string> needless;
    wish fresh = {std::move(asked), now_ms, 0, 0, 0};
    std::list<wish> &wishes = all->subjects[fresh.asked.subject];
    for (auto each = wishes.begin(); each != wishes.end();) {
        if (each->is_running || !supersedes(fresh.asked, each->asked)) {
            ++each;
            continue;
        }
        if (each->asked.message == fresh.asked.message) { // asking more often shortens no pause
            fresh.due_ms = each->due_ms;
            fresh.tries = each->tries;
            fresh.repeats = each->repeats + 1;
            fresh.superseded += each->superseded;
        } else {
            fresh.superseded += each->superseded + each->repeats + 1;
            needless.push_back(each->asked.message);
        }
        each = wishes.erase(each);
    }
    wishes.push_back(std::move(fresh));
    return needless;
}

wish *begin_next(wanted *all, int64_t now_ms)
{
    for (auto &[subject, wishes] : all->subjects) {
        if (runs_something(wishes))
            continue;
        for (wish &each : wishes)
            if (each.due_ms <= now_ms) {
                each.is_running = true;
                return &each;
            }
    }
    return nullptr;
}

void over(wanted *all, wish *running)
{
    of_same_subject(all, *running).remove_if([running](const wish &each) { return &each == running; });
}

std::optional<int64_t> not_yet(wanted *all, wish *running, int64_t now_ms)
{
    for (const wish &each : of_same_subject(all, *running))
        if (&each != running && supersedes(each.asked, running->asked)) {
            over(all, running);
            return std::nullopt;
        }
    running->is_running = false;
    running->repeats = 0;
    running->superseded = 0;
    const int64_t pause_ms = pause_after(++running->tries);
    running->due_ms = now_ms + pause_ms;
    return pause_ms;
}

std::optional<int64_t> next_due(const wanted &all)
{
    std::optional<int64_t> earliest;
    for (const auto &[subject, wishes] : all.subjects)
        if (!runs_something(wishes))
            for (const wish &each : wishes)
                earliest = std::min(earliest.value_or(each.due_ms), each.due_ms);
    return earliest;
}

std::string text_of(const wanted &all)
{
    std::string text = std::string(FIRST_LINE) + "\n";
    for (const auto &[subject, wishes] : all.subjects)
        for (const wish &each : wishes)
            text += each.asked.message + "\n";
    return text;
}

std::vector<std::string> read_text(wanted *all, std::string_view text, int64_t now_ms)
{
    std::vector<std::string> strange;
    if (text.empty())
        return strange;
    if (const std::string_view first = next_line(&text); first != FIRST_LINE)
        return {std::string(first)};
    while (!text.empty()) {
        const std::string_view line = next_line(&text);
        if (std::optional<request> asked = read_message(line))
            want(all, std::move(*asked), now_ms);
        else
            strange.emplace_back(line);
    }
    return strange;
}
