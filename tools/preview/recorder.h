// Follows the daemon in the virtual router, and writes down what it does as acts and spans.
#ifndef TOOLS_PREVIEW_RECORDER_H
#define TOOLS_PREVIEW_RECORDER_H

#include <array>
#include <ctime>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/journal.h"
#include "tools/preview/plan.h"
#include "tools/preview/verdicts.h"

namespace preview
{

class recorder
{
public:
    // What is in the store now counts as the state at `from`. Of what happens before `from` or at `to` and later only
    // the outcome is kept.
    recorder(plan &into, time_t from, time_t to);

    // Looks at a pass of the main loop that has just ended, and clears the journal.
    void look();

    // A setting was changed by somebody else than the daemon, who leaves no line in the journal.
    void changed(std::string_view key, std::string_view value);

    // Ends the spans.
    void finish();

    // Since when the scheduled reboot's rule has found what, each change.
    struct finding {
        time_t since;
        reboot_verdict verdict;
    };
    const std::vector<finding> &reboot_findings() const
    {
        return reboot_findings_;
    }

private:
    using store = std::map<std::string, std::string, std::less<>>;
    struct cause {
        std::string module;
        std::string verdict;
        std::string reason;
    };
    static constexpr size_t STATES = 4; // of the tracks before the restart's

    void set(std::string_view key, std::string_view value, const sim::Journal::Moment &by);
    void flip_to_store(const sim::Journal::Moment &by);
    bool state_of(track which) const;
    void restarted(const sim::Journal::Moment &by);
    void add(time_t at, track which, std::string what, const cause &by);
    void add_span(track which, std::string state, time_t from, time_t to);
    cause cause_of(const sim::Journal::Moment &by) const;
    cause cause_of_restart() const;

    plan &plan_;
    time_t from_;
    time_t to_;
    store running_;
    store committed_;
    std::array<bool, STATES> states_ = {};
    std::array<time_t, STATES> since_ = {};
    std::array<std::vector<span>, STATES + 1> spans_;
    std::vector<finding> reboot_findings_;
};

} // namespace preview

#endif
