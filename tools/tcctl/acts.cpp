#include "tools/tcctl/acts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "platform/netctrl.h"
#include "tools/tcctl/times.h"
#include "tools/tcctl/verdicts.h"

namespace tcctl
{

namespace
{

constexpr size_t KINDS = static_cast<size_t>(change_kind::MINOR) + 1;

constexpr std::array<std::string_view, KINDS> KIND_NAMES = {"restart",
                                                            "restart_armed",
                                                            "power_asleep",
                                                            "power_awake",
                                                            "wifi_off",
                                                            "wifi_on",
                                                            "wifi_restarted",
                                                            "leds_off",
                                                            "leds_on",
                                                            "guest_closed",
                                                            "wan_offline",
                                                            "wan_online",
                                                            "wan_told_offline",
                                                            "wan_told_online",
                                                            "process_killed",
                                                            "process_restarted",
                                                            "fault_lasts",
                                                            "fault_seen",
                                                            "fault_gone",
                                                            "fault_page_start",
                                                            "fault_page_stop",
                                                            "uplink_lost",
                                                            "uplink_back",
                                                            "uplink_bounced",
                                                            "uplink_wan_up",
                                                            "uplink_cipher",
                                                            "uplink_dialled",
                                                            "upstream_lost",
                                                            "upstream_back",
                                                            "dhcp_server_on",
                                                            "lan_clash_check",
                                                            "message",
                                                            "setting",
                                                            "command",
                                                            "note",
                                                            "boot",
                                                            "daemon_started",
                                                            "daemon_ended",
                                                            "commit_failed",
                                                            "set_failed",
                                                            "netctrl_failed",
                                                            "command_failed",
                                                            "minor"};

enum { OP_START = 1, OP_STOP = 2, OP_RESTART = 3 }; // of any module of netctrl

// The number after `name`, where one stands there.
std::optional<int> number_after(std::string_view text, std::string_view name)
{
    const size_t at = text.find(name);
    int number = 0;
    if (at == std::string_view::npos)
        return {};
    const std::string_view digits = text.substr(at + name.size());
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return error == std::errc() ? std::optional<int>(number) : std::nullopt;
}

// ---- messages to netctrl ----

std::string band_in(std::string_view text)
{
    return number_after(text, "wl_rate=").value_or(0) == WL_RATE_5G ? "5 GHz" : "2.4 GHz";
}

change wifi_message(int op, std::string_view text)
{
    using enum change_kind;
    if (text.find("index=1") != std::string_view::npos) // the guest network's part, after OP_WIFI_GUEST
        return {.kind = MINOR, .subject = "", .value = ""};
    switch (op) {
    case OP_START:
        return {.kind = WIFI_ON, .subject = band_in(text), .value = ""};
    case OP_STOP:
        return {.kind = WIFI_OFF, .subject = band_in(text), .value = ""};
    case OP_RESTART:
        return {.kind = WIFI_RESTARTED, .subject = band_in(text), .value = ""};
    case OP_WIFI_GUEST:
        return {.kind = GUEST_CLOSED, .subject = "", .value = ""};
    case OP_WISP_STOP:
        return {.kind = UPLINK_LOST, .subject = "", .value = ""};
    case OP_WISP_START:
        return {.kind = UPLINK_BACK, .subject = "", .value = ""};
    default:
        return {.kind = MESSAGE, .subject = "", .value = std::string(text)};
    }
}

struct message_meaning {
    int module;
    int op;
    change_kind kind;
};

constexpr std::array<message_meaning, 9> MESSAGES = {{
    {LOAD_BALANCE_MODULE, OP_WAN_PING_RESULT_INTERNET, change_kind::WAN_TOLD_ONLINE},
    {LOAD_BALANCE_MODULE, OP_WAN_PING_RESULT_INTERNAL, change_kind::WAN_TOLD_OFFLINE},
    {DHTTPD_MODULE, OP_START, change_kind::FAULT_PAGE_START},
    {DHTTPD_MODULE, OP_STOP, change_kind::FAULT_PAGE_STOP},
    {LAN_DHCPC_MODULE, OP_LAN_DHCPC_LAN_DOWN, change_kind::UPSTREAM_LOST},
    {LAN_DHCPC_MODULE, OP_LAN_DHCPC_LAN_UP, change_kind::UPSTREAM_BACK},
    {DHCP_SERVER_MODULE, OP_RESTART, change_kind::DHCP_SERVER_ON},
    {WAN_MODULE, OP_WISP_UP, change_kind::UPLINK_WAN_UP},
    {USB_MODULE, 6, change_kind::MINOR}, // goes with the end of the media server
}};

// "MODULE?op=OP,..."
change message_change(std::string_view text)
{
    const int module = number_after(text, "").value_or(-1);
    const int op = number_after(text, "op=").value_or(-1);
    if (module == WIFI_MODULE)
        return wifi_message(op, text);
    for (const message_meaning &each : MESSAGES)
        if (each.module == module && each.op == op)
            return {.kind = each.kind, .subject = "", .value = ""};
    return {.kind = change_kind::MESSAGE, .subject = "", .value = std::string(text)};
}

// ---- settings ----

// The daemon's own bookkeeping, and what a message or an act that follows tells in full.
bool is_bookkeeping(std::string_view key)
{
    constexpr std::array<std::string_view, 8> ENDINGS = {".public.enable",    ".ssid0.enable",
                                                         ".ssid1.enable",     ".ssid1.guest_enable",
                                                         WAN_FIELD_CHECK,     WAN_FIELD_ONLN_BEFORESTART,
                                                         WAN_FIELD_DOWN_FLAG, WAN_FIELD_PPPOE_AUTH_CHANGED};
    constexpr std::array<std::string_view, 4> WHOLE = {KEY_SURF_CHECK_RENEW_FLAG, KEY_REBOOT_FLAG,
                                                       KEY_POWER_CLOSETYPE_CHANGED, KEY_DHCPS_EN};
    return std::ranges::any_of(ENDINGS, [key](std::string_view ending) { return key.ends_with(ending); }) ||
           std::ranges::find(WHOLE, key) != WHOLE.end();
}

change set_change(const set_act &set)
{
    using enum change_kind;
    const bool is_on = set.value == "1";
    if (set.key == KEY_PWR_SAVE_MODE)
        return {.kind = is_on ? ASLEEP : AWAKE, .subject = "", .value = ""};
    if (set.key.starts_with("wan") && set.key.ends_with(WAN_FIELD_ISONLN))
        return {.kind = is_on ? WAN_ONLINE : WAN_OFFLINE, .subject = "", .value = ""};
    if (set.key == KEY_LED_STATE) // that they come on is told by the LEDs themselves
        return {.kind = set.value == "0" ? LEDS_OFF : MINOR, .subject = "", .value = ""};
    if (set.key == KEY_WAN_STOPPAGE_ERR)
        return {.kind = FAULT_SEEN, .subject = "", .value = std::string(set.value)};
    if (set.key == KEY_STOPPAGE_FLAG)
        return {.kind = is_on ? FAULT_LASTS : FAULT_GONE, .subject = "", .value = ""};
    if (set.key == KEY_GUEST_DHCPS_ENABLE || is_bookkeeping(set.key))
        return {.kind = MINOR, .subject = "", .value = ""};
    return {.kind = SETTING, .subject = std::string(set.key), .value = std::string(set.value)};
}

// ---- commands ----

// The daemon's own, in which the rules' housekeeping stands first.
change command_change(std::string_view text, const journal_record &act)
{
    using enum change_kind;
    constexpr std::string_view POST = "cfm post netctrl ";
    constexpr std::string_view KILL = "killall -9 ";
    if (text.starts_with(POST))
        return message_change(text.substr(POST.size()));
    if (text.starts_with(KILL))
        return {.kind = act.who == STATUS_DAEMON ? PROCESS_RESTARTED : PROCESS_KILLED,
                .subject = std::string(text.substr(KILL.size())),
                .value = ""};
    if (text == "date") {
        const bool is_armed = act.who == STATUS_REBOOT && act.verdict == static_cast<uint8_t>(reboot::armed);
        return {.kind = is_armed ? RESTART_ARMED : MINOR, .subject = "", .value = ""};
    }
    if (text.starts_with("iptables ") || text.starts_with("ip rule ") || text.starts_with("echo ") ||
        text.starts_with("nft "))
        return {.kind = MINOR, .subject = "", .value = ""};
    if (text.starts_with("ifconfig "))
        return {.kind = UPLINK_BOUNCED, .subject = "", .value = ""};
    if (text.starts_with("wlconf ") || text.starts_with("killall nas") || text.starts_with("nas"))
        return {.kind = UPLINK_CIPHER, .subject = "", .value = ""};
    if (text.starts_with("pppoecd"))
        return {.kind = UPLINK_DIALLED, .subject = "", .value = ""};
    return {.kind = COMMAND, .subject = "", .value = std::string(text)};
}

// What is started in place of a program that was ended belongs to that.
change watchdog_command(std::string_view text, const journal_record &act)
{
    const change made = command_change(text, act);
    const bool is_end = made.kind == change_kind::PROCESS_KILLED || made.kind == change_kind::PROCESS_RESTARTED;
    return is_end ? made : change{};
}

change failure_of(const journal_record &act)
{
    using enum change_kind;
    switch (act.kind) {
    case JOURNAL_SET:
        return {.kind = SET_FAILED, .subject = std::string(text_of(act.text)), .value = ""};
    case JOURNAL_COMMIT:
        return {.kind = COMMIT_FAILED, .subject = "", .value = ""};
    case JOURNAL_NETCTRL:
        return {.kind = NETCTRL_FAILED, .subject = std::string(text_of(act.text)), .value = ""};
    default:
        return {.kind = COMMAND_FAILED, .subject = std::string(text_of(act.text)), .value = ""};
    }
}

std::string_view rest_of(std::string_view text, std::string_view word)
{
    return text.starts_with(word) ? text.substr(word.size()) : text;
}

change start_of(std::string_view text)
{
    const bool is_daemon_alone = text.find("the daemon alone") != std::string_view::npos;
    return {.kind = is_daemon_alone ? change_kind::DAEMON_START : change_kind::BOOT,
            .subject = "",
            .value = std::string(rest_of(text, "started: "))};
}

} // namespace

std::string_view name_of(change_kind kind)
{
    return KIND_NAMES.at(static_cast<size_t>(kind));
}

set_act set_of(const journal_record &act)
{
    if (act.kind != JOURNAL_SET || act.failed != 0)
        return {};
    const std::string_view text = rest_of(text_of(act.text), "set ");
    const size_t equals = text.find('=');
    return equals == std::string_view::npos ? set_act{} : set_act{text.substr(0, equals), text.substr(equals + 1)};
}

change change_of(const journal_record &act)
{
    using enum change_kind;
    const std::string_view text = text_of(act.text);
    if (act.failed != 0)
        return failure_of(act);
    switch (act.kind) {
    case JOURNAL_SET:
        return set_change(set_of(act));
    case JOURNAL_LEDS:
        return {.kind = text == "leds 0" ? LEDS_OFF : LEDS_ON, .subject = "", .value = ""};
    case JOURNAL_NETCTRL:
        return message_change(rest_of(text, "netctrl "));
    case JOURNAL_COMMAND:
        return act.who == STATUS_CPU || act.who == STATUS_DAEMON ? watchdog_command(rest_of(text, "command "), act)
                                                                 : command_change(rest_of(text, "command "), act);
    case JOURNAL_EXEC:
        return command_change(rest_of(text, "exec "), act);
    case JOURNAL_REBOOT:
        return {.kind = RESTART, .subject = "", .value = ""};
    case JOURNAL_WAN_LAN_CHECK:
        return {.kind = LAN_CLASH_CHECK, .subject = "", .value = std::string(rest_of(text, "wan_lan_check "))};
    case JOURNAL_NOTE:
        return {.kind = NOTE, .subject = "", .value = std::string(text)};
    case JOURNAL_END:
        return {.kind = DAEMON_END, .subject = "", .value = std::string(rest_of(text, "ended: "))};
    case JOURNAL_START:
        return start_of(text);
    default: // a commit, a file: what was done stands beside it
        return {};
    }
}

std::string_view module_of(uint8_t who)
{
    constexpr std::array<std::string_view, STATUS_ROWS> NAMES = {"debug", "reboot", "power",  "wifi", "led",
                                                                 "cpu",   "daemon", "uplink", "ap",   "guest"};
    if (who < NAMES.size())
        return NAMES.at(who);
    switch (who) {
    case STATUS_STOPPAGE:
        return "stoppage";
    case STATUS_CLASH:
        return "clash";
    case STATUS_WAN1:
        return "wan1";
    case STATUS_WAN2:
        return "wan2";
    default:
        return "router";
    }
}

} // namespace tcctl
