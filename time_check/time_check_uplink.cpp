#include "time_check/time_check_uplink.h"

#include <cstdio>

#include "platform/netctrl.h"
#include "platform/system.h"
#include "platform/wifi.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"

bool time_check_state_lasts(int32_t *count, int32_t *opposite_count)
{
    *opposite_count = 0;
    *count += 1;
    return *count >= static_cast<int32_t>(SETTLED_TICKS);
}

// "dhcp_up" goes with the lost upstream and "dhcp_down" with the one that is back: it is the router's own DHCP
// that goes up (compat 71).
void time_check_post_upstream(bool there)
{
    char text[64];
    snprintf(text, sizeof text, "op=%d,string_info=%s", there ? OP_LAN_DHCPC_LAN_UP : OP_LAN_DHCPC_LAN_DOWN,
             there ? "dhcp_down" : "dhcp_up");
    send_msg_to_netctrl(LAN_DHCPC_MODULE, text);
}

// ---- a wireless link ----

constexpr int32_t GRACE_TICKS = 8;    // after a loss was told
constexpr int32_t FALLBACK_TICKS = 4; // from the end of the grace to the fallback

void time_check_link_add_lost_time(link_watch *link, int64_t now)
{
    if (link->last_time > 0)
        link->wl_not_conn_time += now - link->last_time;
    if (link->wl_not_conn_time < 0)
        link->wl_not_conn_time = 0;
}

bool time_check_link_schedule_fallback(link_watch *link)
{
    if (link->wlconf_restart != 1)
        return false;
    link->restart_wpa2_check = link->wlconf_up_time + FALLBACK_TICKS;
    link->wlconf_restart = 0;
    link->wl_not_conn_time = 0;
    return true;
}

void time_check_link_count_grace_down(link_watch *link, bool counts)
{
    if (link->wlconf_up != 1 || !counts)
        return;
    if (link->wlconf_up_time == 0) {
        link->wlconf_up = 0;
        link->wl_not_conn_time = 0;
    } else {
        link->wlconf_up_time--;
    }
}

bool time_check_link_bounce_when_due(link_watch *link, const char *ifname, const char *line)
{
    if (link->wl_not_conn_time < LINK_BOUNCE_S)
        return false;
    char quoted[shell_quoted_size(WIFI_IFNAME_SIZE)];
    shell_quoted(quoted, sizeof quoted, ifname);
    puts(line);
    doSystemCmd("ifconfig %s down && ifconfig %s up", quoted, quoted);
    link->wl_not_conn_time = 0;
    return true;
}

bool time_check_link_fallback_is_due(link_watch *link)
{
    if (link->restart_wpa2_check == 0)
        return false;
    link->restart_wpa2_check--;
    return link->restart_wpa2_check == 0;
}

link_news time_check_link_news(link_watch *link, bool up, bool loss_was_told)
{
    int32_t *count = up ? &link->link_connect_count : &link->link_not_connect_count;
    int32_t *opposite_count = up ? &link->link_not_connect_count : &link->link_connect_count;
    if (!time_check_state_lasts(count, opposite_count))
        return link_news::none;
    if (up)
        return loss_was_told ? link_news::back : link_news::none;
    return link->last_link_status == TPI_CONNECTED ? link_news::lost : link_news::none;
}

void time_check_link_loss_told(link_watch *link)
{
    link->last_link_status = TPI_NOT_CONNECTED;
    link->link_not_connect_count = 0;
    link->wlconf_restart = 1;
    link->wlconf_up = 1;
    link->wlconf_up_time = GRACE_TICKS;
}

void time_check_link_return_told(link_watch *link, int32_t last_link_status)
{
    link->last_link_status = last_link_status;
    link->link_connect_count = 0;
    link->wlconf_restart = 0;
    link->wlconf_up = 0;
    link->wlconf_up_time = 0;
}

void time_check_tell_link(const link_watch *link)
{
    status_uplink *told = &status_memory.main.uplink;
    status_note(&told->lost, link->wl_not_conn_time);
    status_note(&told->is_back, time_check_settling_ticks(link->link_connect_count));
    status_note(&told->is_lost, time_check_settling_ticks(link->link_not_connect_count));
    status_note(&told->grace, link->wlconf_up_time);
    status_note(&told->fallback, link->restart_wpa2_check);
}
