#include "tools/replay/pace.h"

#include <algorithm>
#include <cstdlib>

namespace replay
{

namespace
{

bool is_finding(kind what)
{
    return what == kind::answers || what == kind::name || what == kind::dns || what == kind::look;
}

// When a moment that a line tells of was; `wall` is the line's own by the clock.
micros elapsed_of(const change &line, const std::string &moment, micros wall)
{
    return std::clamp<micros>(line.elapsed + *read_moment(moment) - wall, 0, line.elapsed);
}

} // namespace

pace::pace(const trace &told) : lives_({{.begins = 0, .passes = {}}})
{
    micros wall = told.begin; // by the clock as it goes on from the line above
    micros before = 0;
    for (size_t i = 0; i < told.changes.size(); i++) {
        const change &each = told.changes[i];
        wall += each.elapsed - before;
        before = each.elapsed;
        finding_begins_.push_back(each.elapsed);
        if (each.what == kind::clock)
            wall = *read_moment(each.words[0]);
        if (each.what == kind::daemon)
            lives_.push_back({.begins = each.elapsed, .passes = {}});
        if (each.what == kind::pass) {
            lives_.back().passes.push_back({.ends = elapsed_of(each, each.words[1], wall),
                                            .number = std::strtoull(each.words[0].c_str(), nullptr, 10)});
            has_passes_ = true;
        }
        if (each.what == kind::look)
            add_look(told, i, wall);
    }
    std::ranges::stable_sort(looks_, {}, &look::begins);
}

// What stands above it in the same moment was known at its end, and was so from its beginning on.
void pace::add_look(const trace &told, size_t number, micros wall)
{
    const change &line = told.changes[number];
    const look made = {.wan = std::atoi(line.words[0].c_str()),
                       .begins = elapsed_of(line, line.words[1], wall),
                       .ends = elapsed_of(line, line.words[2], wall)};
    looks_.push_back(made);
    for (size_t i = number; i > 0 && told.changes[i].elapsed == line.elapsed && is_finding(told.changes[i].what); i--)
        finding_begins_[i] = std::min(finding_begins_[i], made.begins);
}

void pace::daemon_starts(micros now)
{
    passed_ = 0;
    next_ = 0;
    for (size_t i = 0; i < lives_.size(); i++)
        if (lives_[i].begins <= now)
            life_ = i;
}

// Between two passes that are told of the others are spread evenly; from the last one on they are a second apart.
micros pace::end_of_pass(const life &in)
{
    while (next_ < in.passes.size() && in.passes[next_].number < passed_)
        next_++;
    const pass before = next_ == 0 ? pass{.ends = in.begins, .number = 0} : in.passes[next_ - 1];
    if (next_ == in.passes.size() || in.passes[next_].number <= before.number)
        return before.ends + static_cast<micros>(passed_ - std::min(before.number, passed_)) * SECOND;
    const pass &after = in.passes[next_];
    const auto share = static_cast<double>(passed_ - before.number) / static_cast<double>(after.number - before.number);
    return before.ends + static_cast<micros>(share * static_cast<double>(after.ends - before.ends));
}

micros pace::end_of_pass_pause(micros now, micros ends)
{
    passed_++;
    const life &in = lives_[life_];
    const micros told = in.passes.empty() ? ends : end_of_pass(in) + SECOND;
    return told < now + SECOND / 2 ? ends : told; // less of a pause no daemon makes: this one does something else
}

micros pace::end_of_look_pause(micros now, micros ends) const
{
    constexpr micros FAR = SECOND * 3 / 2;
    micros best = ends;
    micros best_distance = FAR;
    for (auto each = std::ranges::lower_bound(looks_, now, {}, &look::begins); each != looks_.end(); ++each) {
        const micros distance = std::abs(each->begins - ends);
        if (each->begins > ends + FAR)
            break;
        if (distance < best_distance) {
            best = each->begins;
            best_distance = distance;
        }
    }
    return best;
}

micros pace::end_of_start(micros now, micros ends) const
{
    constexpr micros LONGEST = 60 * SECOND;
    const auto first = std::ranges::lower_bound(looks_, lives_[life_].begins, {}, &look::begins);
    return first == looks_.end() || first->begins > now + LONGEST ? ends : std::max(first->begins, ends);
}

micros pace::wait_for_answers(micros now, int wan, bool is_first) const
{
    constexpr micros LONGEST = 300 * SECOND;
    const micros early = is_first ? 60 * SECOND : SECOND;
    for (auto each = std::ranges::lower_bound(looks_, now - LONGEST, {}, &look::begins); each != looks_.end(); ++each) {
        if (each->begins > now + early)
            break;
        if (each->wan == wan && each->ends >= now - SECOND)
            return std::max<micros>(each->ends - now, 0);
    }
    return 0;
}

} // namespace replay
