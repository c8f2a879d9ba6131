// Between the daemon and its ground: a line for each call of the contract, with its arguments, its result and how long
// it took, in seconds. The daemon's objects call trace_X instead of X (CMakeLists.txt), so what a ground calls
// for itself has no line (decision 0192).
//
//   [   12.004 main] GetValue("sys.mode", 16) = 1 "2" <0.000>
//
// A call that may wait has a line when it begins, too. Lines go to standard error, or to the descriptor that
// TIME_CHECK_TRACE_FD names. What the journal shows as "***" is "***" here.
#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "platform/config_store.h"
#include "platform/message_bus.h"
#include "platform/netctrl.h"
#include "platform/network.h"
#include "platform/program.h"
#include "platform/statistics.h"
#include "platform/status.h"
#include "platform/system.h"
#include "platform/trace/trace_line.h"
#include "platform/vos.h"
#include "platform/wifi.h"

constexpr size_t COMMAND_SIZE = 4096; // as the contract says

static message_handle_fn daemon_handle;
static void (*daemon_end)();
static void (*daemon_read_again)();

// ---- calls ----

template <typename Result, typename... Arguments>
static Result plain(bool may_wait, const char *name, Result (*call)(Arguments...), Arguments... arguments)
{
    trace_line l;
    begin(&l, name);
    (argue(&l, arguments), ...);
    if (may_wait)
        waits(&l);
    const Result result = call(arguments...);
    give(&l, result);
    took(&l);
    return result;
}

template <typename... Arguments>
static void without_result(bool may_wait, const char *name, void (*call)(Arguments...), Arguments... arguments)
{
    trace_line l;
    begin(&l, name);
    (argue(&l, arguments), ...);
    if (may_wait)
        waits(&l);
    call(arguments...);
    put(&l, ")");
    took(&l);
}

// With a buffer of the caller's behind the arguments, whose text is shown when it was filled.
template <typename Fill, typename... Arguments>
static int filling(const char *name, Fill fill, const char *buffer, int filled, Arguments... arguments)
{
    trace_line l;
    begin(&l, name);
    (argue(&l, arguments), ...);
    const int result = fill();
    give(&l, result);
    if (result == filled) {
        put(&l, " ");
        put_any(&l, buffer);
    }
    took(&l);
    return result;
}

extern "C" {

int trace_GetValue(const char *key, char *value, size_t size)
{
    trace_line l;
    begin(&l, "GetValue");
    argue(&l, key);
    argue(&l, size);
    const int result = GetValue(key, value, size);
    give(&l, result);
    if (result == 1) {
        put(&l, " ");
        put_value(&l, key, value);
    }
    took(&l);
    return result;
}

int trace_SetValue(const char *key, const char *value)
{
    trace_line l;
    begin(&l, "SetValue");
    argue(&l, key);
    put(&l, ", ");
    put_value(&l, key, value);
    const int result = SetValue(key, value);
    give(&l, result);
    took(&l);
    return result;
}

int trace_CommitCfm(void)
{
    return plain(true, "CommitCfm", CommitCfm);
}

// ---- what the ground calls ----

static int handle(const char *sender, const char *text)
{
    trace_line l;
    begin(&l, "message");
    argue(&l, sender);
    argue(&l, masked{text, true});
    waits(&l);
    const int result = daemon_handle(sender, text);
    put(&l, ")");
    took(&l);
    return result;
}

static void end(void)
{
    without_result(true, "end", daemon_end);
}

static void read_again(void)
{
    without_result(true, "read_again", daemon_read_again);
}

int trace_RegMsgHandle(const char *name, const char *filter, message_handle_fn given)
{
    trace_line l;
    begin(&l, "RegMsgHandle");
    argue(&l, name);
    argue(&l, filter);
    daemon_handle = given;
    const int result = RegMsgHandle(name, filter, handle);
    give(&l, result);
    took(&l);
    return result;
}

void trace_program_begin(int count, char *const arguments[], void (*given_end)(void), void (*given_read_again)(void))
{
    trace_line l;
    begin(&l, "program_begin");
    for (int i = 1; i < count; i++)
        argue<const char *>(&l, arguments[i]);
    waits(&l); // it may end the program
    daemon_end = given_end;
    daemon_read_again = given_read_again;
    program_begin(count, arguments, end, read_again);
    put(&l, ")");
    took(&l);
}

// ---- netctrl and commands ----

int trace_send_msg_to_netctrl(int module, const char *text)
{
    trace_line l;
    begin(&l, "send_msg_to_netctrl");
    argue(&l, module);
    argue(&l, masked{text});
    waits(&l);
    const int result = send_msg_to_netctrl(module, text);
    give(&l, result);
    took(&l);
    return result;
}

int trace_doSystemCmd(const char *format, ...)
{
    char command[COMMAND_SIZE + 1]; // one that is too long stays too long
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    trace_line l;
    begin(&l, "doSystemCmd");
    argue(&l, masked{command, true});
    waits(&l);
    const int result = doSystemCmd("%s", command);
    give(&l, result);
    took(&l);
    return result;
}

int trace__eval(char *const argv[], const char *redirect, int timeout, int *pid) // NOLINT(bugprone-reserved-identifier)
{
    char words[512] = "";
    size_t length = 0;
    for (char *const *word = argv; *word != nullptr && length < sizeof words; word++)
        length += static_cast<size_t>(
            snprintf(words + length, sizeof words - length, "%s%s", word == argv ? "" : " ", *word));
    trace_line l;
    begin(&l, "_eval");
    argue(&l, masked{words, true});
    argue(&l, redirect);
    argue(&l, timeout);
    waits(&l);
    const int result = _eval(argv, redirect, timeout, pid);
    give(&l, result);
    if (pid != nullptr)
        put(&l, " pid %d", *pid);
    took(&l);
    return result;
}

// ---- the machine ----

int trace_get_uptime(void)
{
    return plain(false, "get_uptime", get_uptime);
}

void trace_system_sleep(int seconds)
{
    without_result(true, "system_sleep", system_sleep, seconds);
}

int trace_get_sys_mode(void)
{
    return plain(false, "get_sys_mode", get_sys_mode);
}

int trace_check_app(const char *name)
{
    return plain(false, "check_app", check_app, name);
}

void trace_set_all_led(int state)
{
    without_result(false, "set_all_led", set_all_led, state);
}

int trace_tpi_systool_reboot(void)
{
    return plain(true, "tpi_systool_reboot", tpi_systool_reboot);
}

// ---- texts ----

int trace_utc2tm(const char *text, struct tm *out)
{
    trace_line l;
    begin(&l, "utc2tm");
    argue(&l, text);
    const int result = utc2tm(text, out);
    give(&l, result);
    if (result == 0)
        put(&l, " %02d:%02d, days 0x%02x", out->tm_hour, out->tm_min, static_cast<unsigned>(out->tm_wday));
    took(&l);
    return result;
}

int trace_vos_strcmp(const char *left, const char *right)
{
    trace_line l;
    begin(&l, "vos_strcmp");
    argue(&l, masked{left});
    argue(&l, masked{right});
    const int result = vos_strcmp(left, right);
    give(&l, result);
    took(&l);
    return result;
}

char *trace_vos_str_trim(char *text)
{
    trace_line l;
    begin(&l, "vos_str_trim");
    argue(&l, masked{text});
    char *const result = vos_str_trim(text);
    give(&l, masked{result});
    took(&l);
    return result;
}

int trace_vos_get_value_from_file(const char *file, const char *key, char *value)
{
    const auto fill = [&] { return vos_get_value_from_file(file, key, value); };
    return filling("vos_get_value_from_file", fill, value, 0, file, key);
}

// ---- the network ----

int trace_getIfIp(const char *ifname, char *address)
{
    return filling(
        "getIfIp", [&] { return getIfIp(ifname, address); }, address, 0, ifname);
}

const char *trace_getLanIfName(void)
{
    return plain(false, "getLanIfName", getLanIfName);
}

const char *trace_getWanIfName(int wan_id, int sys_mode, int conn_type)
{
    return plain(false, "getWanIfName", getWanIfName, wan_id, sys_mode, conn_type);
}

int trace_getWanConnType(int wan_id)
{
    return plain(false, "getWanConnType", getWanConnType, wan_id);
}

const char *trace_get_eth_name(int id)
{
    return plain(false, "get_eth_name", get_eth_name, id);
}

int trace_tpi_wan_get_ip(const char *ifname, char *address, int wan_id)
{
    const auto fill = [&] { return tpi_wan_get_ip(ifname, address, wan_id); };
    return filling("tpi_wan_get_ip", fill, address, 0, ifname, wan_id);
}

int trace_wan_lan_check(const char *address, const char *netmask)
{
    return plain(false, "wan_lan_check", wan_lan_check, address, netmask);
}

int trace_wanid_to_sw_port(int wan_id)
{
    return plain(false, "wanid_to_sw_port", wanid_to_sw_port, wan_id);
}

int trace___GetPortLink(int port) // NOLINT(bugprone-reserved-identifier)
{
    return plain(false, "__GetPortLink", __GetPortLink, port);
}

int trace_simple_ping(const char *address)
{
    return plain(true, "simple_ping", simple_ping, address);
}

int trace_ping_by_interface(const char *address, int count, const char *ifname)
{
    return plain(true, "ping_by_interface", ping_by_interface, address, count, ifname);
}

int trace_get_statistic_info(uint64_t *first, uint64_t *second, int *count)
{
    trace_line l;
    begin(&l, "get_statistic_info");
    const int result = get_statistic_info(first, second, count);
    give(&l, result);
    if (result == 0)
        put(&l, " %d hosts", *count);
    for (int i = 0; result == 0 && ip_info != nullptr && i < *count; i++)
        put(&l, " %llu/%llu", static_cast<unsigned long long>(ip_info[i].up_bytes),
            static_cast<unsigned long long>(ip_info[i].down_bytes));
    took(&l);
    return result;
}

// ---- radios ----

int trace_tpi_wifi_get_ifname(int band, int kind, char *ifname)
{
    const auto fill = [&] { return tpi_wifi_get_ifname(band, kind, ifname); };
    return filling("tpi_wifi_get_ifname", fill, ifname, 0, band, kind);
}

int trace_tpi_wifi_wisp_connect_check(const char *ifname, int access_type)
{
    return plain(false, "tpi_wifi_wisp_connect_check", tpi_wifi_wisp_connect_check, ifname, access_type);
}

int trace_tpi_wifi_wisp_phy_link_check(const char *ifname)
{
    return plain(false, "tpi_wifi_wisp_phy_link_check", tpi_wifi_wisp_phy_link_check, ifname);
}

int trace_tpi_wifi_relay_phy_check(const char *ifname)
{
    return plain(false, "tpi_wifi_relay_phy_check", tpi_wifi_relay_phy_check, ifname);
}

int trace_tpi_wisp_get_webpage_status(void)
{
    return plain(false, "tpi_wisp_get_webpage_status", tpi_wisp_get_webpage_status);
}

// ---- the status page ----

void trace_status_publish(enum status_part part)
{
    trace_line l;
    begin(&l, "status_publish");
    put(&l, part == STATUS_PART_MAIN ? "main" : "wans");
    status_publish(part);
    put(&l, ")");
    took(&l);
}

} // extern "C"
