#include "time_check/time_check_stoppage_check.h"

#include <cstdio>
#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/netctrl.h"
#include "platform/network.h"
#include "platform/system.h"
#include "time_check/time_check.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_setting.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"
#include "time_check/wan_keys.h"

constexpr int32_t NO_INTERFACE = -1;
constexpr int32_t MOST_WANS = 64; // more than any router has; their number is a setting, and may be anything
constexpr char DIAGNOSIS_SERVER[] = "dhttpd";

static struct stoppage_state {
    uint64_t first_up_time;   // run time when the fault was first seen
    uint64_t up_time;         // run time at the latest look
    int32_t time_up_flag;     // 1: a fault is being timed
    int32_t first_up_flag;    // without use (compat 64)
    int32_t check_result;     // the fault that is being timed
    int32_t recheck_result;   // the fault as last seen
    stoppage_verdict verdict; // the last tick's
} state;

int32_t get_work_mode(char *mode)
{
    char mode_2g[16];
    char mode_5g[16];
    char workmode[16];
    GetValue(KEY_WL2G_PUBLIC_MODE, mode_2g);
    GetValue(KEY_WL5G_PUBLIC_MODE, mode_5g);
    GetValue(KEY_SYS_WORKMODE, workmode);
    if (strcmp(mode_2g, "ap") == 0 && strcmp(workmode, "router") == 0)
        copy_text(mode, WORK_MODE_SIZE, "router");
    else if (strcmp(workmode, "ap") == 0)
        copy_text(mode, WORK_MODE_SIZE, "ap");
    else if (strcmp(mode_2g, "apclient") == 0)
        copy_text(mode, WORK_MODE_SIZE, "client+ap");
    else if (strcmp(mode_2g, "wisp") == 0 || strcmp(mode_5g, "wisp") == 0)
        copy_text(mode, WORK_MODE_SIZE, "wisp");
    return 0;
}

// ---- the signs of a fault ----

// The interface of a WAN, or null and a line of the caller's.
static const char *wan_ifname(int wan, const char *function = __builtin_FUNCTION())
{
    const char *ifname = getWanIfName(wan, get_sys_mode(), getWanConnType(wan));
    if (ifname == nullptr)
        printf("[%s:%d]get wanifname failure!!!!!!!!!!!\n", function, __LINE__);
    return ifname;
}

static bool has_address(int wan, const char *ifname)
{
    char address[WAN_ADDRESS_SIZE];
    return tpi_wan_get_ip(ifname, address, wan) == 0;
}

int32_t get_wan_online_result()
{
    const int32_t count = wans_in_settings();
    for (int32_t wan = 1; wan <= count && wan <= MOST_WANS; wan++) {
        const char *ifname = wan_ifname(wan);
        if (ifname == nullptr)
            return 0;
        if (has_address(wan, ifname))
            return 1;
    }
    return 0;
}

int32_t get_dhcp_noreponse_status()
{
    line_reader reader;
    if (!open_lines(&reader, "etc/dhcpc/noresp")) // from the working directory (compat 66)
        return -1;
    int32_t status = 0;
    bool begins = true; // the buffer holds the beginning of a line (decision 0033)
    char line[64];
    while (read_line(&reader, line, sizeof line)) {
        if (begins && (line[0] == '0' || line[0] == '1'))
            status = line[0] - '0';
        begins = strchr(line, '\n') != nullptr;
    }
    close_lines(&reader);
    return status;
}

// A rejected account is no fault while the WAN was never online and is being taken down or rebooted.
static bool account_is_rejected()
{
    return time_check_key_is(KEY_WAN1_ERR_CHECK, "2") && time_check_key_is(KEY_WAN1_PPPOE_AUTH_CHANGED, "0") &&
           (time_check_key_is_on(KEY_WAN1_ONLN_BEFORESTART) ||
            (time_check_key_is(KEY_WAN1_DOWN_FLAG, "0") && time_check_key_is(KEY_REBOOT_FLAG, "0")));
}

static bool account_is_still_rejected()
{
    return time_check_key_is(KEY_WAN1_ERR_CHECK, "2");
}

// ---- diagnosis ----

static int32_t dial_up_fault(bool (*rejected)())
{
    if (rejected())
        return WRONG_AUTH_CODE;
    return time_check_key_is(KEY_WAN1_ERR_CHECK, "4") ? PPPOE_CONNECT_TIMEOUT : STOPPAGE_DEFAULT;
}

static int32_t diagnose(bool (*rejected)(), const char *function = __builtin_FUNCTION())
{
    if (get_wan_online_result() == 1)
        return STOPPAGE_DEFAULT;
    if (__GetPortLink(wanid_to_sw_port(1)) == 0)
        return WAN_UNLINED;
    const char *ifname = wan_ifname(1, function);
    if (ifname == nullptr)
        return NO_INTERFACE;
    if (has_address(1, ifname))
        return STOPPAGE_DEFAULT;

    char type[16];
    GetValue(KEY_WAN1_CONNECTTYPE, type);
    switch (time_check_atoi(type)) {
    case WAN_DHCP:
        return get_dhcp_noreponse_status() == 1 ? DHCP_CONNECT_TIMEOUT : STOPPAGE_DEFAULT;
    case WAN_PPPOE:
        return dial_up_fault(rejected);
    default:
        return STOPPAGE_DEFAULT;
    }
}

uint32_t get_check_polling_time(int32_t code)
{
    switch (code) {
    case WAN_UNLINED:
        return 30;
    case WRONG_AUTH_CODE:
        return 600;
    case PPPOE_CONNECT_TIMEOUT:
    case DHCP_CONNECT_TIMEOUT:
        return 300;
    default:
        return 0;
    }
}

static stoppage_verdict judge_fault(const stoppage_state *s)
{
    if (s->check_result <= STOPPAGE_DEFAULT)
        return s->check_result == NO_INTERFACE ? stoppage_verdict::no_interface : stoppage_verdict::no_fault;
    if (s->recheck_result <= STOPPAGE_DEFAULT)
        return s->recheck_result == NO_INTERFACE ? stoppage_verdict::interface_gone : stoppage_verdict::fault_gone;
    if (s->recheck_result != s->check_result)
        return stoppage_verdict::fault_changed;
    if (s->up_time - s->first_up_time < get_check_polling_time(s->check_result))
        return stoppage_verdict::fault_timed;
    return stoppage_verdict::fault_lasts;
}

static void publish(int32_t code)
{
    if (code > STOPPAGE_DEFAULT) {
        const char digit[2] = {static_cast<char>('0' + code), '\0'};
        state.time_up_flag = 1;
        SetValue(KEY_WAN_STOPPAGE_ERR, digit);
    } else if (code == STOPPAGE_DEFAULT) { // the last fault stays to be read (compat 65)
        state.time_up_flag = 0;
        SetValue(KEY_STOPPAGE_FLAG, "0");
    }
}

int32_t stoppage_check_result()
{
    const int32_t code = diagnose(account_is_rejected);
    if (status_memory.main.acting_verdict == STATUS_UNJUDGED) // otherwise there is a fault, and its clock starts anew
        status_acts_by(code > STOPPAGE_DEFAULT ? stoppage_verdict::fault_timed : stoppage_verdict::no_fault);
    publish(code);
    if (code > STOPPAGE_DEFAULT)
        time_check_get_run_time(&state.first_up_time);
    return code;
}

int32_t stoppage_recheck_result()
{
    state.recheck_result = diagnose(account_is_still_rejected);
    status_acts_by(judge_fault(&state));
    publish(state.recheck_result);
    return state.recheck_result;
}

// ---- the tick ----

static void switch_server(bool on)
{
    if (check_app(DIAGNOSIS_SERVER) == (on ? 0 : 1))
        doSystemCmd("cfm post netctrl %d?op=%d", DHTTPD_MODULE, on ? OP_START : OP_STOP);
}

// A look for a fault publishes what it sees, and only a fault that is there is looked at again: so both looks are
// taken, and kept in the state, before they are judged.
static void look_for_fault(stoppage_state *s)
{
    if (s->time_up_flag != 0)
        time_check_get_run_time(&s->up_time);
    else
        s->check_result = stoppage_check_result();
    if (s->check_result <= STOPPAGE_DEFAULT)
        return;
    if (s->up_time < s->first_up_time)
        time_check_get_run_time(&s->up_time);
    stoppage_recheck_result();
}

static stoppage_verdict look_and_judge(stoppage_state *s)
{
    char mode[WORK_MODE_SIZE] = "";
    get_work_mode(mode);
    if (time_check_key_is_on(KEY_WAN1_ISONLN))
        return stoppage_verdict::online;
    if (strcmp(mode, "router") != 0)
        return stoppage_verdict::not_a_router;
    look_for_fault(s);
    return judge_fault(s);
}

// How long a fault has lasted is not told: it would have to be each second, and follows from when it was first seen.
static void tell_fault()
{
    int32_t fault = STOPPAGE_DEFAULT;
    if (state.verdict != stoppage_verdict::online && state.verdict != stoppage_verdict::not_a_router)
        fault = state.check_result > STOPPAGE_DEFAULT ? state.recheck_result : state.check_result;
    if (fault == STOPPAGE_DEFAULT && status_memory.main.stoppage.fault == STOPPAGE_DEFAULT)
        return;
    status_note(&status_memory.main.stoppage.fault, fault);
    status_note(&status_memory.main.stoppage.since_uptime, fault > STOPPAGE_DEFAULT ? state.first_up_time : 0);
    status_count(&status_memory.main.stoppage_row, 0, get_check_polling_time(fault));
}

void time_check_stoppage()
{
    state.verdict = look_and_judge(&state);
    status_judged(&status_memory.main.stoppage_row, state.verdict);
    switch (state.verdict) {
    case stoppage_verdict::online:
    case stoppage_verdict::not_a_router:
    case stoppage_verdict::no_interface:
    case stoppage_verdict::no_fault:
        switch_server(false);
        break;
    case stoppage_verdict::fault_changed:
        SetValue(KEY_STOPPAGE_FLAG, "0");
        state.check_result = state.recheck_result;
        stoppage_check_result(); // only restarts the clock
        break;
    case stoppage_verdict::fault_lasts:
        SetValue(KEY_STOPPAGE_FLAG, "1");
        switch_server(true);
        break;
    case stoppage_verdict::interface_gone:
    case stoppage_verdict::fault_gone:
    case stoppage_verdict::fault_timed:
        break;
    }
    tell_fault();
}

stoppage_verdict time_check_stoppage_verdict()
{
    return state.verdict;
}
