#include "tools/replay/replay.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <utility>

#include <fmt/format.h>

#include "platform/sim/virtual_router.h"
#include "platform/status.h"
#include "tools/replay/world.h"

namespace replay
{

namespace
{

using sim::router;

std::string time_text(time_t wall, int uptime)
{
    return fmt::format("{} +{}", sim::local_text(wall), uptime);
}

// Puts each act beside what the rule found that did it (decision 0172).
class follower
{
public:
    explicit follower(std::vector<act> &into) : acts_(into)
    {
    }

    void look()
    {
        const sim::Journal &journal = router().journal;
        for (; seen_ < journal.lines().size(); seen_++) {
            const std::string &line = journal.lines()[seen_];
            const sim::Journal::Moment &at = journal.moments()[seen_];
            acts_.push_back(
                {.elapsed = router().clock.now(),
                 .line = time_text(at.wall, at.uptime) + " " + line,
                 .repeats = repeats(line),
                 .by = line == "reboot" ? finding_of(STATUS_REBOOT, reboot_before_) : finding_of(at.who, at.verdict)});
            if (line == "reboot")
                set_.clear();
        }
        reboot_before_ = status_page()->main.rows[STATUS_REBOOT].verdict;
    }

    void changed(const change &made)
    {
        if (made.what == kind::set || made.what == kind::save || made.what == kind::unset)
            set_.erase(made.words[0]);
        if (made.what == kind::power_cut)
            set_.clear();
    }

private:
    bool repeats(const std::string &line)
    {
        const size_t equals = line.find('=');
        if (!line.starts_with("set ") || equals == std::string::npos)
            return false;
        const std::string value = line.substr(equals + 1);
        const auto [place, is_new] = set_.try_emplace(line.substr(4, equals - 4), value);
        return !is_new && std::exchange(place->second, value) == value;
    }

    std::vector<act> &acts_;
    std::map<std::string, std::string> set_;
    size_t seen_ = 0;
    uint8_t reboot_before_ = STATUS_UNJUDGED; // all restarts are by one verdict: the one before it tells why
};

// What is told of the first moment is the world in which the router stands; it is set up at once.
void order_changes(const trace &told, follower &follows)
{
    const auto is_zone = [](const change &each) { return each.elapsed == 0 && each.what == kind::zone; };
    for (const change &each : told.changes)
        if (is_zone(each))
            apply(each);
    router().clock.set_exactly(told.begin, told.uptime);
    for (const change &each : told.changes) {
        const double seconds = static_cast<double>(each.elapsed) / static_cast<double>(SECOND);
        if (each.elapsed > 0)
            router().at(seconds, [&each, &follows] {
                apply(each);
                follows.changed(each);
            });
        else if (!is_zone(each))
            apply(each);
    }
}

void let_pass_to(micros elapsed)
{
    router().run(static_cast<double>(elapsed - router().clock.now()) / static_cast<double>(SECOND));
}

} // namespace

outcome run(const trace &told, micros until)
{
    outcome gone;
    follower follows(gone.acts);
    router().log.ignore();
    order_changes(told, follows);
    router().watch_passes([&follows] { follows.look(); });
    const micros end = std::clamp<micros>(until - told.begin, 0, told.length);
    const auto starts = std::ranges::find(told.changes, kind::daemon, &change::what);
    const micros start = starts == told.changes.end() ? 0 : starts->elapsed;
    let_pass_to(std::min(start, end));
    if (start <= end)
        gone.runs = router().boot();
    if (router().clock.now() < end)
        let_pass_to(end);
    follows.look();
    router().watch_passes(nullptr);
    gone.runs = gone.runs && (start > end || router().running());
    gone.ends = time_text(router().clock.wall(), router().clock.uptime());
    return gone;
}

} // namespace replay
