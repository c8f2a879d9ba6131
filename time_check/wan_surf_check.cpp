#include "time_check/wan_surf_check.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/netctrl.h"
#include "platform/network.h"
#include "platform/system.h"
#include "platform/wifi.h"
#include "time_check/time_check_setting.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"
#include "time_check/wan_keys.h"
#include "time_check/wan_surf_probe.h"

constexpr int WIRED = 0;
constexpr int WISP = 1;
constexpr int AP_CLIENT = 2; // or AP

constexpr int QUIET_INTERVAL_S = 20;
constexpr int START_INTERVAL_S = 5;
constexpr int SHORTEST_INTERVAL_S = 2;

static struct reachability_state {
    int wann;                          // number of WANs
    int sleep_time = START_INTERVAL_S; // seconds to the next pass
    int WAN_MODE = WIRED;              // or WISP, or AP_CLIENT
    // What is known of the WANs
    internet_status current_internet_status[WAN_NUM] = {
        {.current_status = IS_INTERNET,
         .internal_count = -1,
         .last_status = IS_INTERNET,
         .dns_resolve_status = DNS_RESOLVE_FAILED},
        {.current_status = IS_INTERNET,
         .internal_count = -1,
         .last_status = IS_INTERNET,
         .dns_resolve_status = DNS_RESOLVE_FAILED},
    };
    char lan_ip[16] = "255.255.255.255"; // as configured, not as obtained from the upstream
    char wl_ifname[16];
    char sys_mode[16];
    char conn_type[WAN_NUM][16];
    int wifi_wan_type[WAN_NUM];             // a TPI_WAN_CONN_TYPE, or whatever number the store holds
    int32_t ISLONE_TAG[WAN_NUM] = {1, 1};   // 1: down at the last look, the link must settle first
    reachability_verdict verdicts[WAN_NUM]; // the last pass's
} state;

// ---- what it tells of itself ----

static_assert(WAN_NUM == STATUS_WANS);

static void judged(int wan_id, reachability_verdict verdict)
{
    state.verdicts[wan_id - 1] = verdict;
    status_wan_judged(wan_id, static_cast<uint8_t>(verdict));
}

// A look at a WAN begins: nothing is known of it now.
static int64_t begin_look(int wan_id)
{
    status_wan *told = status_of_wan(wan_id);
    status_begin_wan(wan_id, STATUS_UNJUDGED);
    memset(told->answers, STATUS_NOT_ASKED, sizeof told->answers);
    told->interface[0] = '\0';
    told->address[0] = '\0';
    return time(nullptr);
}

static void end_look(int wan_id, int64_t began)
{
    status_wan *told = status_of_wan(wan_id);
    const bool is_forgiven = state.verdicts[wan_id - 1] == reachability_verdict::forgiven;
    told->looked = time(nullptr);
    told->duration = told->looked > began ? static_cast<uint32_t>(told->looked - began) : 0;
    told->announced = state.current_internet_status[wan_id - 1].last_status;
    told->row.count = is_forgiven ? told->forgiven : 0;
    told->row.target = is_forgiven ? told->forgivable : 0;
}

static void tell_pass(int pause_s)
{
    status_wans *told = &status_memory.wans;
    told->num = static_cast<uint32_t>(state.wann);
    told->mode = static_cast<uint32_t>(state.WAN_MODE);
    told->passes++;
    told->next = time(nullptr) + pause_s;
    told->changed = 1;
    status_publish(STATUS_PART_WANS);
}

// ---- settings ----

static void read_conn_type(int wan_id)
{
    char(&text)[16] = state.conn_type[wan_id - 1];
    GetValue(wan_key(wan_id, WAN_FIELD_CONNECTTYPE).text, text);
    state.wifi_wan_type[wan_id - 1] = time_check_atoi(text);
}

// A 5 GHz uplink is seen from every WAN, a 2.4 GHz uplink from the first only (compat 67).
static int uplink_mode(int wan_id)
{
    if (time_check_key_is(KEY_SYS_WORKMODE, "ap"))
        return AP_CLIENT;
    if (time_check_key_is(KEY_WL5G_PUBLIC_MODE, "apclient") ||
        (wan_id == 1 && time_check_key_is(KEY_WL2G_PUBLIC_MODE, "apclient")))
        return AP_CLIENT;
    if (time_check_key_is(KEY_WL5G_PUBLIC_MODE, "wisp") ||
        (wan_id == 1 && time_check_key_is(KEY_WL2G_PUBLIC_MODE, "wisp")))
        return WISP;
    return WIRED;
}

void init_value(int wan_id)
{
    char country[16];
    GetValue(KEY_WL2G_PUBLIC_COUNTRY, country);
    set_probe_hosts(country);
    GetValue(KEY_LAN_IP, state.lan_ip);
    GetValue(KEY_WISP_IFNAME, state.wl_ifname);
    GetValue(KEY_SYS_MODE, state.sys_mode);
    state.WAN_MODE = uplink_mode(wan_id);
    state.ISLONE_TAG[wan_id - 1] = 1;
    read_conn_type(wan_id);
}

void check_wan_connttype(int wan_num)
{
    for (int wan_id = 1; wan_id <= wan_num && wan_id <= WAN_NUM; wan_id++)
        read_conn_type(wan_id);
}

void wan_surf_check_init()
{
    state.sleep_time = START_INTERVAL_S;
    printf("[%s:%d] renew config of wan_surf_check\n", __func__, 903); // compat 15
    state.wann = configured_wans();
    for (int wan_id = 1; wan_id <= state.wann; wan_id++)
        init_value(wan_id);
    reset_probe();
}

// ---- what is published ----

static void set_if_changed(const char *name, const char *text)
{
    if (name == nullptr || text == nullptr)
        return;
    char value[8];
    GetValue(name, value);
    if (strcmp(value, text) != 0)
        SetValue(name, text);
}

void set_check_tag(const char *name, const char *text)
{
    set_if_changed(name, text);
}

void set_wan_tag(const char *name, const char *text)
{
    set_if_changed(name, text);
}

static void publish_online(int wan_id, bool online)
{
    set_wan_tag(wan_key(wan_id, WAN_FIELD_ISONLN).text, online ? "1" : "0");
    status_of_wan(wan_id)->published = online ? 1 : 0;
}

static void publish_check(int wan_id, bool probed)
{
    set_check_tag(wan_key(wan_id, WAN_FIELD_CHECK).text, probed ? "1" : "0");
}

static void publish_probe(int wan_id, bool online)
{
    publish_check(wan_id, true);
    publish_online(wan_id, online);
}

static void publish_down(int wan_id)
{
    publish_online(wan_id, false);
    publish_check(wan_id, false);
    state.ISLONE_TAG[wan_id - 1] = 1;
}

void check_wanonln_status(int wan_id)
{
    const wan_key_name before_start = wan_key(wan_id, WAN_FIELD_ONLN_BEFORESTART);
    const wan_key_name taken_down = wan_key(wan_id, WAN_FIELD_DOWN_FLAG);
    const wan_key_name account_changed = wan_key(wan_id, WAN_FIELD_PPPOE_AUTH_CHANGED);
    if (!time_check_key_is(wan_key(wan_id, WAN_FIELD_ERR_CHECK).text, "3")) {
        if (time_check_key_is(taken_down.text, "0") && time_check_key_is(KEY_REBOOT_FLAG, "0") &&
            time_check_key_is_on(before_start.text)) {
            SetValue(before_start.text, "0");
            CommitCfm();
        }
        return;
    }
    if (!time_check_key_is_on(wan_key(wan_id, WAN_FIELD_ISONLN).text))
        return;
    if (time_check_key_is(before_start.text, "0") || time_check_key_is_on(taken_down.text) ||
        time_check_key_is_on(account_changed.text) || time_check_key_is_on(KEY_REBOOT_FLAG)) {
        SetValue(before_start.text, "1");
        SetValue(taken_down.text, "0");
        SetValue(account_changed.text, "0");
        SetValue(KEY_REBOOT_FLAG, "0");
        CommitCfm();
    }
}

// ---- the probe's outcome ----

// A probe is many acts, which note their outcome in `status` themselves; `online` is what it wants reported.
static reachability_verdict judge_probe(const internet_status *status, bool online)
{
    if (status->dns_resolve_status == DNS_RESOLVE_FAILED)
        return reachability_verdict::unresolved;
    if (!online)
        return reachability_verdict::unreachable;
    return status->internal_count > 0 ? reachability_verdict::forgiven : reachability_verdict::reachable;
}

// Probes a WAN and notes the verdict; whether internet is to be reported.
static bool probe(int wan_id, const char *interface)
{
    internet_status *status = &state.current_internet_status[wan_id - 1];
    const bool online = ping_connet_check(interface, status, wan_id) == 1;
    judged(wan_id, judge_probe(status, online));
    return online;
}

// ---- a wired router ----

static void let_settle(int wan_id)
{
    constexpr int SETTLE_S = 6;
    if (state.ISLONE_TAG[wan_id - 1] != 1)
        return;
    state.ISLONE_TAG[wan_id - 1] = 0;
    system_sleep(SETTLE_S);
}

// Whether a WAN has link and address; with both nothing is known against it, and it counts as reachable so far. Its
// interface goes into `name`: a copy, since the probe asks for names, too.
static reachability_verdict judge_line(int wan_id, char (&name)[64])
{
    if (__GetPortLink(wanid_to_sw_port(wan_id)) == 0)
        return reachability_verdict::no_link;
    const char *interface =
        getWanIfName(wan_id, time_check_atoi(state.sys_mode), time_check_atoi(state.conn_type[wan_id - 1]));
    if (interface == nullptr)
        return reachability_verdict::no_address;
    status_wan *told = status_of_wan(wan_id);
    char address[WAN_ADDRESS_SIZE];
    copy_text(name, sizeof name, interface);
    copy_text(told->interface, sizeof told->interface, interface);
    if (tpi_wan_get_ip(name, address, wan_id) != 0)
        return reachability_verdict::no_address;
    copy_text(told->address, sizeof told->address, address);
    return reachability_verdict::reachable;
}

// Tells netctrl of a change, and keeps queries off a WAN without internet while there is another one. A failed
// resolution proves nothing about this WAN and is not told.
static void announce(int wan_id, int wan_num, const char *interface, uint32_t seen)
{
    internet_status *status = &state.current_internet_status[wan_id - 1];
    if (status->last_status == seen || status->dns_resolve_status != DNS_RESOLVE_SUCCESS)
        return;
    const bool internet = seen == IS_INTERNET;
    doSystemCmd("cfm post netctrl %d?op=%d,wan_id=%d", LOAD_BALANCE_MODULE,
                internet ? OP_WAN_PING_RESULT_INTERNET : OP_WAN_PING_RESULT_INTERNAL, wan_id);
    status->last_status = seen;
    if (wan_num >= 2)
        config_iptables_rule(interface, internet ? IPTABLES_DEL : IPTABLES_ADD);
}

// Gives whether the WAN is in trouble: down, without internet, or with failed probes that are still forgiven.
static bool check_wired_wan(int wan_id, int wan_num)
{
    char interface[64];
    const reachability_verdict line = judge_line(wan_id, interface);
    if (line != reachability_verdict::reachable) {
        judged(wan_id, line);
        internet_status *status = &state.current_internet_status[wan_id - 1];
        publish_down(wan_id);
        status->current_status = IS_INTERNAL;
        status->last_status = IS_INTERNAL; // untold: netctrl sees the link itself (compat 69)
        return true;
    }
    let_settle(wan_id);
    const bool online = probe(wan_id, interface);
    publish_probe(wan_id, online);
    announce(wan_id, wan_num, interface, online ? IS_INTERNET : IS_INTERNAL);
    return state.verdicts[wan_id - 1] != reachability_verdict::reachable;
}

int ap_wan_surf_check(int *interval_s, int wan_num)
{
    constexpr int MOST_SAVED_S = 16;
    const bool too_many = wan_num >= 3;
    const bool too_few = wan_num <= 0;
    if (too_many && too_few) { // never both, and it stays so (compat 68)
        printf("%s %d: the agrv is invalid, wann = %d\n", __func__, 539, wan_num);
        return 0;
    }
    if (interval_s == nullptr)
        return 0;

    int penalty_s = 0;
    for (int wan_id = 1; wan_id <= wan_num && wan_id <= WAN_NUM; wan_id++) {
        const int64_t began = begin_look(wan_id);
        if (check_wired_wan(wan_id, wan_num))
            penalty_s += MOST_SAVED_S / wan_num;
        end_look(wan_id, began);
    }
    const int left_s = QUIET_INTERVAL_S - penalty_s;
    *interval_s = left_s <= 0 ? SHORTEST_INTERVAL_S : left_s;
    return 1;
}

// ---- a wireless uplink ----

int wisp_wan_surf_check(int *interval_s)
{
    if (interval_s == nullptr)
        return 0;
    const int64_t began = begin_look(1);
    status_wan *told = status_of_wan(1);
    copy_text(told->interface, sizeof told->interface, state.wl_ifname);
    const bool connected = tpi_wifi_wisp_connect_check(state.wl_ifname, state.wifi_wan_type[0]) == TPI_CONNECTED;
    if (connected) {
        let_settle(1);
        publish_probe(1, probe(1, nullptr));
    } else {
        judged(1, reachability_verdict::not_connected);
        publish_down(1);
    }
    end_look(1, began);
    *interval_s = connected ? QUIET_INTERVAL_S : SHORTEST_INTERVAL_S;
    return 1;
}

int ap_clinet_wan_surf_check(int *interval_s)
{
    constexpr int NO_LEASE_INTERVAL_S = 5; // the upstream has not given an address yet
    if (interval_s == nullptr)
        return 0;
    const int64_t began = begin_look(1);
    status_wan *told = status_of_wan(1);
    const char *const lan = getLanIfName();
    char address[IF_ADDRESS_SIZE];
    copy_text(told->interface, sizeof told->interface, lan);
    if (getIfIp(lan, address) < 0)
        GetValue(KEY_LAN_IP, address);
    else
        copy_text(told->address, sizeof told->address, address);
    *interval_s = strcmp(address, state.lan_ip) == 0 ? NO_LEASE_INTERVAL_S : QUIET_INTERVAL_S;

    if (probe(1, nullptr)) {
        publish_online(1, true);
        publish_check(1, true);
    } else {
        publish_probe(1, false);
    }
    end_look(1, began);
    return 1;
}

// ---- the thread ----

static int not_supported()
{
    for (int wan_id = 1; wan_id <= WAN_NUM; wan_id++)
        judged(wan_id, reachability_verdict::not_supported);
    return -1;
}

int surf_check(int *interval_s, int wan_num)
{
    switch (state.WAN_MODE) {
    case WISP:
        check_wan_connttype(wan_num);
        return wan_num == 1 ? wisp_wan_surf_check(interval_s) : not_supported();
    case AP_CLIENT:
        return wan_num == 1 ? ap_clinet_wan_surf_check(interval_s) : not_supported();
    case WIRED:
        check_wan_connttype(wan_num);
        status_begin_wan(1, STATUS_UNJUDGED);
        check_wanonln_status(1);
        return ap_wan_surf_check(interval_s, wan_num);
    default:
        return not_supported();
    }
}

static bool renewal_wanted()
{
    char flag[16];
    GetValue(KEY_SURF_CHECK_RENEW_FLAG, flag);
    return flag[0] == '1';
}

void *wan_surf_check(void * /*unused*/)
{
    for (status_wan &wan : status_memory.wans.wan)
        status_turned(&wan.row, 0);
    status_begin_wan(1, STATUS_AT_START);
    take_probe_back(false); // of a daemon that was killed
    wan_surf_check_init();
    for (;;) {
        surf_check(&state.sleep_time, state.wann);
        const bool renews = renewal_wanted();
        tell_pass(renews ? 0 : state.sleep_time);
        if (renews) {
            status_begin_wan(1, STATUS_BY_MESSAGE);
            const bool is_noted = SetValue(KEY_SURF_CHECK_RENEW_FLAG, "0") != 0;
            wan_surf_check_init();
            if (!is_noted) // it is wanted again after the next pass
                system_sleep(state.sleep_time);
        } else {
            system_sleep(state.sleep_time);
        }
    }
}

void wan_surf_check_renew()
{
    SetValue(KEY_SURF_CHECK_RENEW_FLAG, "1");
}

void wan_surf_check_end()
{
    take_probe_back(true);
}

reachability_verdict wan_surf_verdict(int wan_id)
{
    return state.verdicts[wan_id - 1];
}
