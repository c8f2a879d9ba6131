#include "time_check/time_check_wifi_connect.h"

#include <cstring>
#include <ctime>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/netctrl.h"
#include "platform/network.h"
#include "platform/system.h"
#include "time_check/time_check_common.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"
#include "time_check/time_check_uplink.h"

constexpr int32_t GATE_TICKS = 60;   // without a DHCP client
constexpr int32_t MISSING_TICKS = 2; // without a PPPoE client
constexpr size_t ACCOUNT_SIZE = 256; // PPP carries names and passwords of at most 255 characters (decision 0056)

static struct wifi_connect_state {
    // The start-up gate; it opens once.
    int32_t wifiRestart = 4; // ticks from there to the supervision; the last looks at the DHCP server
    int32_t first = 1;       // 1: closed
    int32_t counts;          // ticks spent waiting for a DHCP client

    // WISP. last_link_status: 3 from when the WAN was found up until its loss is told, or until nobody wants
    // supervision, else 1.
    link_watch wisp_link = {.last_link_status = TPI_NOT_CONNECTED,
                            .link_not_connect_count = 0,
                            .link_connect_count = 0,
                            .wl_not_conn_time = 0,
                            .last_time = 0,
                            .wlconf_restart = 0,
                            .wlconf_up = 0,
                            .wlconf_up_time = 0,
                            .restart_wpa2_check = 0};
    int32_t wisp_send_msgNetctrl = 1;            // 1: netctrl has yet to be told that the static WAN is up
    int32_t last_connect_status = TPI_CONNECTED; // of the radio link, as netctrl was last told
    int32_t pppoe_missing;                       // ticks in a row without the PPPoE client

    // AP client. last_link_status: 0 not yet known, else 1 or 3 as netctrl was last told, or as first seen.
    link_watch apclient_link;

    wifi_connect_verdict verdict; // the last tick's
} state;

static time_check_msg_ops sys_time_check_wifi_connect_ops =
    own_handler(TIME_CHECK_WIFI_CONNECT, time_check_wifi_connect_msg_handle);

// ---- what it tells of itself ----

// By what the next acts are done. A second comes by several of these, and its row holds the last.
static void judged(wifi_connect_verdict verdict)
{
    state.verdict = verdict;
    status_acts_by(verdict);
}

static void tell_verdict()
{
    status_row *row = &status_memory.main.rows[STATUS_WIFI_CONNECT];
    status_judged(row, state.verdict);
    switch (state.verdict) {
    case wifi_connect_verdict::waiting_for_dhcp_client:
        status_count(row, static_cast<uint32_t>(state.counts), GATE_TICKS);
        break;
    case wifi_connect_verdict::wan_lost:
    case wifi_connect_verdict::association_lost:
        status_count(row, static_cast<uint32_t>(status_memory.main.uplink.lost), LINK_BOUNCE_S);
        break;
    case wifi_connect_verdict::pppoe_missing:
        status_count(row, static_cast<uint32_t>(state.pppoe_missing), MISSING_TICKS);
        break;
    default:
        break;
    }
}

// ---- settings and messages ----

int32_t time_check_wifi_connect_msg_handle(TIME_CHECK_MODULES_COMMON_STRUCT *var)
{
    if (strcmp(var->string_info, "wifi_connect_init") == 0)
        return TIMER_CHECK_ERR;
    set_time_check_wifi_connect_info();
    return TIMER_CHECK_SUC;
}

void time_check_wifi_connect_init()
{
    set_time_check_wifi_connect_info();
    register_time_check_module_msg_opses(&sys_time_check_wifi_connect_ops, 1);
}

// ---- what both kinds of uplink do ----

enum LAN_ADDRESS { LAN_WITHOUT_ADDRESS, LAN_CONFIGURED_ADDRESS, LAN_UPSTREAM_ADDRESS };

static LAN_ADDRESS lan_address(const WIFI_CONNECT *wifi)
{
    char address[IF_ADDRESS_SIZE];
    if (getIfIp(getLanIfName(), address) < 0)
        return LAN_WITHOUT_ADDRESS;
    return strcmp(address, wifi->lan_ip) == 0 ? LAN_CONFIGURED_ADDRESS : LAN_UPSTREAM_ADDRESS;
}

static void post_op(int module, int op, const char *rest)
{
    char text[64];
    snprintf(text, sizeof text, "op=%d%s", op, rest);
    send_msg_to_netctrl(module, text);
}

// ---- WISP ----

// Whether `access_mode` is one that there is.
static bool access_type_of(const char *access_mode, TPI_WAN_CONN_TYPE *type)
{
    if (wifi_mode_is(access_mode, "dhcp"))
        *type = TPI_WAN_DHCP;
    else if (wifi_mode_is(access_mode, "static"))
        *type = TPI_WAN_STATIC;
    else if (wifi_mode_is(access_mode, "pppoe"))
        *type = TPI_WAN_PPPOE;
    else
        return false;
    return true;
}

static void wisp_connected(TPI_WAN_CONN_TYPE type)
{
    state.wisp_link.last_link_status = TPI_CONNECTED;
    state.wisp_link.wl_not_conn_time = 0;
    if (type == TPI_WAN_STATIC && state.wisp_send_msgNetctrl == 1) {
        post_op(WAN_MODULE, OP_WISP_UP, ",wan_id=1");
        state.wisp_send_msgNetctrl = 0;
    }
}

// The loss is told only if the WAN was seen up since the last one, the return only after a loss was told: two different
// memories (compat 74).
static void watch_wisp_radio(bool up)
{
    link_watch *link = &state.wisp_link;
    switch (time_check_link_news(link, up, state.last_connect_status == TPI_NOT_CONNECTED)) {
    case link_news::none:
        break;
    case link_news::back:
        judged(wifi_connect_verdict::return_told);
        post_op(WIFI_MODULE, OP_WISP_START, "");
        time_check_link_return_told(link, TPI_NOT_CONNECTED); // the WAN has yet to be seen up
        state.last_connect_status = TPI_CONNECTED;
        state.wisp_send_msgNetctrl = 1;
        break;
    case link_news::lost:
        judged(wifi_connect_verdict::loss_told);
        post_op(WIFI_MODULE, OP_WISP_STOP, "");
        time_check_link_loss_told(link);
        state.last_connect_status = TPI_NOT_CONNECTED;
        break;
    }
}

static void nurse_lost_wan(const WIFI_CONNECT *wifi, bool radio_waits, time_t now)
{
    link_watch *link = &state.wisp_link;
    time_check_link_count_grace_down(link, radio_waits);
    printf("wisp NOT_CONNECTED,  wl_not_conn_time:%lld cur_time:%lld last_time:%lld \n",
           static_cast<long long>(link->wl_not_conn_time), static_cast<long long>(now),
           static_cast<long long>(link->last_time));
    judged(wifi_connect_verdict::bounced); // before it is done
    if (!time_check_link_bounce_when_due(link, wifi->ifname, "wisp not connected time over 60 s."))
        judged(wifi_connect_verdict::wan_lost);
}

// Each look moves the link's counts and times, and lines are printed in between: so there is no judging before acting.
// The verdict is that of the last thing done, for want of any how the link is.
void wifi_wisp_link_check(P_WIFI_CONNECT wifi)
{
    link_watch *link = &state.wisp_link;
    const time_t now = time(nullptr);
    if (tpi_wisp_get_webpage_status() == 0) {
        link->last_link_status = TPI_NOT_CONNECTED;
        link->link_not_connect_count = 0;
        link->link_connect_count = 0;
        judged(wifi_connect_verdict::being_changed);
        return;
    }
    char access_mode[sizeof wifi->access_mode];
    TPI_WAN_CONN_TYPE type = TPI_WAN_DHCP;
    GetValue(KEY_WISP_ACCESS_MODE, access_mode);
    judged(wifi_connect_verdict::unknown_access_mode);
    if (!access_type_of(access_mode, &type))
        return;

    const int32_t phy = tpi_wifi_wisp_phy_link_check(wifi->ifname);
    const bool radio_waits = phy == TPI_NOT_CONNECTED; // a radio that cannot be asked does not count the delays down
    judged(wifi_connect_verdict::wan_connected);
    if (tpi_wifi_wisp_connect_check(wifi->ifname, type) == TPI_CONNECTED) {
        wisp_connected(type);
    } else {
        state.wisp_send_msgNetctrl = 1;
        time_check_link_add_lost_time(link, now);
        if (time_check_link_schedule_fallback(link))
            LOG_TRACE(DEBUG_INFO, "restart_wpa2_check = %d !!\n", link->restart_wpa2_check);
        nurse_lost_wan(wifi, radio_waits, now);
    }
    if (time_check_link_fallback_is_due(link) && radio_waits) {
        judged(wifi_connect_verdict::fallback_armed);
        restart_wpa2_tkip_aes_check();
    }
    watch_wisp_radio(phy == TPI_CONNECTED);
    link->last_time = now;
}

// Starts the PPPoE client in the background, on the WAN port's interface.
static void start_pppoe_client()
{
    char text[ACCOUNT_SIZE];
    char mtu_text[16];
    char name[shell_quoted_size(sizeof text)];
    char password[shell_quoted_size(sizeof text)];
    char mtu[shell_quoted_size(sizeof mtu_text)];
    GetValue(KEY_WISP_PPPOE_NAME, text);
    shell_quoted(name, sizeof name, text);
    GetValue(KEY_WISP_PPPOE_PASSWORD, text);
    shell_quoted(password, sizeof password, text);
    GetValue(KEY_WISP_PPPOE_MTU, mtu_text);
    shell_quoted(mtu, sizeof mtu, mtu_text);
    doSystemCmd("echo nameserver > /etc/resolv_wisp.conf"); // compat 78
    doSystemCmd("pppoecd eth1 -u %s -p %s -r %s -t %s -i 0 -U 0 &", name, password, mtu, mtu);
}

void check_wisp_pppoe_exist(P_WIFI_CONNECT wifi)
{
    constexpr int LINE_NUMBER = 659; // belongs to the line's fixed text (compat 16)
    if (!wifi_mode_is(wifi->wl_mode, "wisp") || !wifi_mode_is(wifi->access_mode, "pppoe"))
        return;
    if (check_app("pppoecd") != 0) {
        state.pppoe_missing = 0;
        return;
    }
    state.pppoe_missing++;
    judged(wifi_connect_verdict::pppoe_missing);
    if (state.pppoe_missing < MISSING_TICKS)
        return;
    judged(wifi_connect_verdict::pppoe_restarted);
    printf("%s %d: pppoecd process not exist, restart pppoecd\n", __func__, LINE_NUMBER);
    start_pppoe_client();
    state.pppoe_missing = 0;
}

void wifi_wisp_check(P_WIFI_CONNECT wifi)
{
    wifi_wisp_link_check(wifi);
    time_check_tell_link(&state.wisp_link);
    check_wisp_pppoe_exist(wifi);
}

// ---- AP client ----

int32_t wl_get_sta_info(const char *ifname)
{
    return tpi_wifi_relay_phy_check(ifname) != WIFI_RELAY_CONNECTED;
}

// The first look only says how things stand.
static void watch_apclient_radio(bool up)
{
    link_watch *link = &state.apclient_link;
    if (link->last_link_status == 0)
        link->last_link_status = up ? TPI_CONNECTED : TPI_NOT_CONNECTED;
    switch (time_check_link_news(link, up, link->last_link_status == TPI_NOT_CONNECTED)) {
    case link_news::none:
        break;
    case link_news::back:
        judged(wifi_connect_verdict::return_told);
        time_check_post_upstream(true);
        time_check_link_return_told(link, TPI_CONNECTED);
        break;
    case link_news::lost:
        judged(wifi_connect_verdict::loss_told);
        time_check_post_upstream(false);
        time_check_link_loss_told(link);
        break;
    }
}

// As with WISP there is no judging before acting.
void wifi_apclient_link_check(P_WIFI_CONNECT wifi)
{
    link_watch *link = &state.apclient_link;
    const time_t now = time(nullptr);
    const int32_t not_associated = wl_get_sta_info(wifi->ifname);
    // Never: an AP client's grace and fallback do not count down, so a link loss does not arm the fallback
    // (compat 75).
    const bool counts_down = not_associated == RADIO_NOT_ASKED;
    if (not_associated == 1) {
        judged(wifi_connect_verdict::association_lost);
        time_check_link_add_lost_time(link, now);
        LOG_TRACE(DEBUG_INFO, "wireless phy disconnected! not_conn_time:%lld cur_time:%lld last_time:%lld \n",
                  static_cast<long long>(link->wl_not_conn_time), static_cast<long long>(now),
                  static_cast<long long>(link->last_time));
    } else {
        judged(wifi_connect_verdict::associated);
        LOG_TRACE(DEBUG_INFO, "wireless phy connected!\n");
        link->wl_not_conn_time = 0;
    }
    // An address from the upstream means that the association works, whatever the radio says.
    if (wifi_mode_is(wifi->wl_enable, "1") && lan_address(wifi) == LAN_CONFIGURED_ADDRESS) {
        time_check_link_schedule_fallback(link);
        time_check_link_count_grace_down(link, counts_down);
        const wifi_connect_verdict unbounced = state.verdict;
        judged(wifi_connect_verdict::bounced); // before it is done
        if (!time_check_link_bounce_when_due(link, wifi->ifname, "apclient not connected time over 60 s."))
            judged(unbounced);
    }
    if (time_check_link_fallback_is_due(link) && counts_down)
        restart_wpa2_tkip_aes_check();
    watch_apclient_radio(not_associated != 1);
    link->last_time = now;
}

void wifi_apclient_check(P_WIFI_CONNECT wifi)
{
    wifi_apclient_link_check(wifi);
    time_check_tell_link(&state.apclient_link);
}

void APclientOpenDHCPS(P_WIFI_CONNECT wifi)
{
    if (!wifi_mode_is(wifi->wl_mode, "apclient"))
        return;
    SetValue(KEY_DHCPS_EN, "1");
    if (CommitCfm() != 0)
        post_op(DHCP_SERVER_MODULE, OP_RESTART, ",index=1");
}

// ---- the tick ----

static bool dhcp_client_runs(const WIFI_CONNECT *wifi)
{
    if (wifi_mode_is(wifi->wl_mode, "wisp"))
        return check_app("udhcpc") != 0;
    return wifi_mode_is(wifi->wl_mode, "apclient") && check_app("dhcpcd_lan") != 0;
}

// Keeps the supervision idle until the uplink's DHCP client has been started, or has had its time.
static bool is_past_gate(const WIFI_CONNECT *wifi)
{
    if (state.first == 1 && dhcp_client_runs(wifi))
        state.first = 0;
    if (state.first == 1 && state.counts++ >= GATE_TICKS)
        state.first = 0;
    return state.first == 0;
}

static void start(P_WIFI_CONNECT wifi)
{
    judged(wifi_connect_verdict::starting);
    if (state.wifiRestart == 1 && lan_address(wifi) != LAN_UPSTREAM_ADDRESS)
        APclientOpenDHCPS(wifi);
    state.wifiRestart--;
}

static void supervise(P_WIFI_CONNECT wifi)
{
    judged(wifi_connect_verdict::trying_ciphers); // also of a radio that cannot be asked whether it needs another
    const int32_t fallback = wpa2_tkip_aes_connect(wifi);
    if (fallback != 1) {
        if (fallback != 0)
            judged(wifi_connect_verdict::radio_not_asked);
        return;
    }
    if (wifi_mode_is(wifi->wl_enable, "1") && wifi_mode_is(wifi->wl_mode, "wisp"))
        wifi_wisp_check(wifi);
    else if (wifi_mode_is(wifi->wl_mode, "apclient")) // whether or not the radio is enabled (compat 79)
        wifi_apclient_check(wifi);
    else
        judged(wifi_connect_verdict::nothing_supervised);
}

// Every look counts, or is an act: each step of the start and of the supervision notes its own verdict.
void time_check_wifi_connect()
{
    WIFI_CONNECT *wifi = &_WIFI_CONNECT_STRUCT_;
    if (wifi_mode_is(wifi->wl_mode, "ap")) {
        judged(wifi_connect_verdict::no_uplink);
    } else if (!is_past_gate(wifi)) {
        judged(wifi_connect_verdict::waiting_for_dhcp_client);
    } else {
        LOG_TRACE(DEBUG_INFO, "Begin to check wifi connect! \n");
        if (state.wifiRestart == 0)
            supervise(wifi);
        else
            start(wifi);
    }
    tell_verdict();
}

wifi_connect_verdict time_check_wifi_connect_verdict()
{
    return state.verdict;
}

// ---- for products ----

static void restart_radio_in_mode(const WIFI_CONNECT *wifi, const char *mode)
{
    if (wifi_mode_is(wifi->wl2g_mode, mode))
        time_check_post_wifi_op(&wifi_bands[BAND_2G], OP_RESTART);
    else if (wifi_mode_is(wifi->wl5g_mode, mode))
        time_check_post_wifi_op(&wifi_bands[BAND_5G], OP_RESTART);
}

void wispRebootWifi(P_WIFI_CONNECT wifi)
{
    TPI_WAN_CONN_TYPE type = TPI_WAN_DHCP;
    if (access_type_of(wifi->access_mode, &type) && tpi_wifi_wisp_connect_check(wifi->ifname, type) != TPI_CONNECTED)
        restart_radio_in_mode(wifi, "wisp");
}

void apClientRebootWifi(P_WIFI_CONNECT wifi)
{
    if (lan_address(wifi) == LAN_CONFIGURED_ADDRESS)
        restart_radio_in_mode(wifi, "apclient");
}

void autoRebootWifi(P_WIFI_CONNECT wifi)
{
    if (wifi_mode_is(wifi->wl2g_mode, "wisp") || wifi_mode_is(wifi->wl5g_mode, "wisp"))
        wispRebootWifi(wifi);
    else if (wifi_mode_is(wifi->wl2g_mode, "apclient") || wifi_mode_is(wifi->wl5g_mode, "apclient"))
        apClientRebootWifi(wifi);
}
