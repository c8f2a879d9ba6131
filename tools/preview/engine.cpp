#include "tools/preview/engine.h"

#include <algorithm>

#include "platform/config_keys.h"
#include "platform/sim/virtual_router.h"
#include "tools/preview/calendar.h"
#include "tools/preview/recorder.h"
#include "tools/preview/surprises.h"
#include "tools/preview/world.h"

namespace preview
{

namespace
{

using sim::router;

// The daemon starts so long before the preview begins, if the router has been up for so long: what a start alone does
// is then over (decision 0164).
constexpr int START_BEFORE_S = 60;

constexpr time_t PIECE_S = time_t{6} * 3600; // between two looks at the progress

// A guest network that is open stays open for its time from the beginning: since when it is, no setting tells, and a
// start of the daemon would close it.
void open_guest_network_after(int seconds, recorder &records)
{
    router().store.set(KEY_GUEST_DHCPS_ENABLE, "0");
    records.changed(KEY_GUEST_DHCPS_ENABLE, "0");
    router().at(seconds, [&records] {
        router().store.set(KEY_GUEST_DHCPS_ENABLE, "1");
        records.changed(KEY_GUEST_DHCPS_ENABLE, "1");
        router().post("time_check_wl_guest?string_info=wl_guest", "preview");
    });
}

void watch(recorder &records)
{
    router().watch_passes([&records, restarts = router().restarts()]() mutable {
        if (restarts != router().restarts()) {
            restarts = router().restarts();
            set_chance();
        }
        records.look();
        if (takes_samples_now())
            move_traffic();
    });
}

} // namespace

plan make_plan(const request &asked, const progress_fn &progress)
{
    const int before = std::min(START_BEFORE_S, asked.uptime);
    make_world(asked, asked.from - before);
    router().clock.set_uptime(asked.uptime - before);
    plan made = {.from = asked.from,
                 .to = days_later(asked.from, asked.days),
                 .acts = {},
                 .spans = {},
                 .surprises = {},
                 .clock_changes = {}};
    order_clients(asked, made.to);
    recorder records(made, made.from, made.to);
    watch(records);
    if (before > 0 && router().store.get(KEY_GUEST_DHCPS_ENABLE) == "1")
        open_guest_network_after(before, records);
    router().boot();
    router().run(before);
    const time_t length = made.to - made.from;
    for (time_t done = 0; done < length; done += PIECE_S) {
        progress(static_cast<double>(done) / static_cast<double>(length));
        router().run(static_cast<double>(std::min(PIECE_S, length - done)));
    }
    router().watch_passes(nullptr);
    records.finish();
    add_restart_windows(made);
    made.clock_changes = clock_changes_between(made.from, made.to);
    add_surprises(made, records.reboot_findings());
    return made;
}

} // namespace preview
