// What the supervision of the wireless uplink and the wired AP mode's gateway check share: when a state has lasted long
// enough to be told, what is told about the upstream, and how a lost link is nursed (decision 0053).
#ifndef TIME_CHECK_TIME_CHECK_UPLINK_H
#define TIME_CHECK_TIME_CHECK_UPLINK_H

#include <cstdint>

constexpr uint32_t SETTLED_TICKS = 3; // in a row, after which a state is told

// Counts one more tick of a state, and forgets the ticks of its opposite. True: it has lasted for long enough (three
// ticks) to be told. The count goes on until the caller or the opposite state clears it.
bool time_check_state_lasts(int32_t *count, int32_t *opposite_count);

// How many of these ticks have passed.
inline uint32_t time_check_settling_ticks(int32_t count)
{
    const auto ticks = static_cast<uint32_t>(count);
    return ticks < SETTLED_TICKS ? ticks : SETTLED_TICKS;
}

// Tells netctrl's LAN DHCP client that the upstream network is there, or is lost.
void time_check_post_upstream(bool there);

// ---- a wireless link ----

// How it has been doing, and what is still to be done about its last loss.
struct link_watch {
    int32_t last_link_status;       // TPI_NOT_CONNECTED or TPI_CONNECTED, 0: not yet known; the owner says of what
    int32_t link_not_connect_count; // ticks in a row with the radio link down
    int32_t link_connect_count;     // ticks in a row with the radio link up
    int64_t wl_not_conn_time;       // seconds without a connection since the last bounce
    int64_t last_time;              // clock of the previous tick; 0: none yet (decision 0054)
    int32_t wlconf_restart;         // 1: the loss has been told, the cipher fallback is still to be scheduled
    int32_t wlconf_up;              // 1: in the grace after a loss
    int32_t wlconf_up_time;         // ticks of it that are left
    int32_t restart_wpa2_check;     // ticks until the fallback; 0: it is not scheduled
};

// Adds the time since the previous tick, by the clock, so that a tick that took long counts in full. A clock that was
// set back takes off at most what there is.
void time_check_link_add_lost_time(link_watch *link, int64_t now);

// Schedules the cipher fallback, once after a loss; whether it did.
bool time_check_link_schedule_fallback(link_watch *link);

// One tick of the grace, if this tick counts: at its end the time without a connection starts again.
void time_check_link_count_grace_down(link_watch *link, bool counts);

constexpr uint32_t LINK_BOUNCE_S = 60; // without a connection

// Takes the interface down and up when it has been without a connection for so long, with `line` on the console;
// whether it did.
bool time_check_link_bounce_when_due(link_watch *link, const char *ifname, const char *line);

// One tick of the time until the fallback; true when it is over.
bool time_check_link_fallback_is_due(link_watch *link);

// What there is to tell of the radio link.
enum class link_news : uint8_t { none, back, lost };

// Counts one more tick of the radio link, up or down, and says what there is to tell now that this has lasted: its
// return when a loss was told, its loss when its last status is TPI_CONNECTED.
link_news time_check_link_news(link_watch *link, bool up, bool loss_was_told);

// The radio link's loss, or return, has been told.
void time_check_link_loss_told(link_watch *link);
void time_check_link_return_told(link_watch *link, int32_t last_link_status);

// Tells how the link is doing.
void time_check_tell_link(const link_watch *link);

#endif
