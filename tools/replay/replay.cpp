#include "tools/replay/replay.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <utility>

#include <fmt/format.h>

#include "platform/sim/virtual_router.h"
#include "platform/status.h"
#include "tools/replay/pace.h"
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
        if (made.what == kind::power_cut || made.what == kind::daemon)
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

const change *start_after(const trace &told, const change *start)
{
    const auto from = told.changes.begin() + (start == nullptr ? 0 : start - told.changes.data() + 1);
    const auto found =
        std::find_if(from, told.changes.end(), [](const change &each) { return each.what == kind::daemon; });
    return found == told.changes.end() ? nullptr : &*found;
}

// Where the trace tells of another start of the daemon, that ends a restart.
void let_restarts_wait(const trace &told, const change *start)
{
    constexpr int UNTIL_IT_IS_TOLD_S = 1000000;
    constexpr int FACTORY_S = 20;
    if (start != nullptr && start_after(told, start) != nullptr)
        router().restart_takes(UNTIL_IT_IS_TOLD_S);
    else if (start != start_after(told, nullptr))
        router().restart_takes(FACTORY_S);
}

// A start that is not the first. Where the up-time says that the router had been started in between, and the daemon in
// here has not done that, it was a power cut.
void start_daemon_again(const trace &told, const change &line, pace &goes)
{
    sim::VirtualRouter &box = router();
    const bool is_restarting = box.clock.uptime() < 0;
    if (!is_restarting && line.uptime >= 0 && line.uptime + SECOND < int64_t{box.clock.uptime()} * SECOND)
        box.restart();
    box.start_daemon_now();
    if (line.uptime >= 0)
        box.clock.set_exactly(box.clock.wall_us(), line.uptime);
    goes.daemon_starts(box.clock.now());
    let_restarts_wait(told, &line);
}

// The daemon goes as it went on the trace's router.
void keep_pace(pace &goes)
{
    if (!goes.is_told())
        return;
    router().pace_pauses([&goes, looked = uint32_t{0}](bool is_main_loop, micros ends) mutable {
        const micros now = router().clock.now();
        if (is_main_loop)
            return goes.end_of_pass_pause(now, ends);
        const uint32_t passes = status_page()->wans.passes;
        if (passes == 0)
            return goes.end_of_start(now, ends);
        return std::exchange(looked, passes) == passes ? ends : goes.end_of_look_pause(now, ends);
    });
    router().network.delay_answers([&goes] {
        const status_wans &wans = status_page()->wans;
        const int wan = wans.acting == STATUS_WAN2 ? 2 : 1;
        return goes.wait_for_answers(router().clock.now(), wan, wans.passes == 0);
    });
}

// What is told of the first moment is the world in which the router stands; it is set up at once.
void order_changes(const trace &told, follower &follows, pace &goes)
{
    const auto is_zone = [](const change &each) { return each.elapsed == 0 && each.what == kind::zone; };
    for (const change &each : told.changes)
        if (is_zone(each))
            apply(each);
    router().clock.set_exactly(told.begin, told.uptime);
    const change *const first = start_after(told, nullptr);
    let_restarts_wait(told, first);
    for (size_t i = 0; i < told.changes.size(); i++) {
        const change &each = told.changes[i];
        const micros begins = goes.begin_of_finding(i);
        const double seconds = static_cast<double>(begins) / static_cast<double>(SECOND);
        if (each.what == kind::daemon && &each != first)
            router().at(seconds, [&told, &each, &goes, &follows] {
                start_daemon_again(told, each, goes);
                follows.changed(each);
            });
        else if (begins > 0)
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
    pace goes(told);
    keep_pace(goes);
    order_changes(told, follows, goes);
    router().watch_passes([&follows] { follows.look(); });
    const micros end = std::clamp<micros>(until - told.begin, 0, told.length);
    const auto starts = std::ranges::find(told.changes, kind::daemon, &change::what);
    const micros start = starts == told.changes.end() ? 0 : starts->elapsed;
    let_pass_to(std::min(start, end));
    goes.daemon_starts(start);
    if (start <= end)
        gone.runs = router().boot();
    if (router().clock.now() < end)
        let_pass_to(end);
    follows.look();
    router().watch_passes(nullptr);
    router().pace_pauses(nullptr);
    router().network.delay_answers(nullptr);
    gone.runs = gone.runs && (start > end || router().running());
    gone.ends = time_text(router().clock.wall(), router().clock.uptime());
    return gone;
}

} // namespace replay
