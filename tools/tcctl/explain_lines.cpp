// The guest network, the WANs and what watches them, and the uplink.
#include <algorithm>
#include <array>
#include <string>

#include <fmt/format.h>

#include "tools/tcctl/explain.h"
#include "tools/tcctl/gates.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

// A time below 0 is one without end.
static std::string limit_text(const status_guest &time)
{
    return time.limit < 0 ? "no end" : length_of(time.limit);
}

explanation explain_guest(const time_check_status &page, const judged_second &now)
{
    using enum guest;
    const status_row &row = page.main.rows[STATUS_GUEST];
    const status_guest &time = page.main.guest;
    gate_walk<guest> rule("guest", row, row.verdict);
    const int64_t open = now.uptime - time.since_uptime;
    const std::string of = fmt::format("{} of {}", length_of(open), limit_text(time));
    rule.is_wrong_if({not_stored});
    rule.add("limit", {no_limit},
             rule.is({no_limit}) ? "its time is limited" : "its time is limited to " + limit_text(time));
    rule.add("started", {not_started}, "its time runs");
    rule.add("time", {time_left}, "its time is up", of);
    rule.add("open", {closed_already}, "it is on");
    rule.add("stored", {not_stored}, "the change could be made durable");
    explanation &made = rule.made();
    if (rule.is({time_left})) {
        made.brief = of;
        if (time.limit >= 0)
            made.next = coming{now.calendar + time.limit - open, "closes"};
    } else if (rule.is({not_started})) {
        made.brief = "limited to " + limit_text(time);
    }
    return std::move(made);
}

// ---- the stoppage check ----

namespace
{

struct stoppage_kind {
    const char *name;
    int32_t lasts; // seconds after which users are shown it
};

// By the codes that are published.
constexpr std::array<stoppage_kind, 5> KINDS = {{{"no fault", 0},
                                                 {"no cable", 30},
                                                 {"account rejected", 600},
                                                 {"dial-up server silent", 300},
                                                 {"DHCP server silent", 300}}};

const stoppage_kind &kind_of(int32_t fault)
{
    return KINDS.at(fault > 0 && fault < static_cast<int32_t>(KINDS.size()) ? static_cast<size_t>(fault) : 0);
}

} // namespace

explanation explain_stoppage(const time_check_status &page, const judged_second &now)
{
    using enum stoppage;
    const status_row &row = page.main.stoppage_row;
    const status_stoppage &seen = page.main.stoppage;
    const stoppage_kind &kind = kind_of(seen.fault);
    const int64_t lasted = now.uptime - seen.since_uptime;
    const std::string timed = fmt::format("{}, {} of {}", kind.name, length_of(lasted), length_of(kind.lasts));
    gate_walk<stoppage> rule("stoppage", row, row.verdict);
    rule.is_wrong_if({interface_gone, fault_gone, fault_changed, fault_timed, fault_lasts});
    rule.add("offline", {online}, "the internet is not reached", "wan1 reaches it");
    rule.add("router", {not_a_router}, "works as a wired router");
    rule.add("interface", {no_interface}, "wan1 has an interface");
    rule.add("fault", {no_fault}, "a fault is known");
    rule.add("interface_stays", {interface_gone}, "wan1 still has its interface");
    rule.add("fault_stays", {fault_gone}, "the fault is still there");
    rule.add("same_fault", {fault_changed}, "it is still the same fault", kind.name);
    rule.add("time", {fault_timed}, "it has lasted", timed);
    explanation &made = rule.made();
    if (rule.is({fault_timed})) {
        made.brief = timed;
        made.next = coming{now.calendar + kind.lasts - lasted, "users are shown it"};
    } else if (rule.is({fault_lasts, fault_changed})) {
        made.brief = kind.name;
    }
    return std::move(made);
}

// ---- the wired access point ----

explanation explain_gateway(const time_check_status &page, const judged_second & /*now*/)
{
    using enum gateway;
    constexpr int TELLS = 3; // pings in a row
    const status_row &row = page.main.rows[STATUS_AP_CONNECT];
    const status_gateway &seen = page.main.gateway;
    gate_walk<gateway> rule("ap", row, row.verdict);
    const bool answers = rule.is({reachable, returning, return_told});
    const std::string who = seen.address[0] == '\0' ? "the gateway" : fmt::format("gateway {}", text_of(seen.address));
    const std::string count =
        fmt::format("{} of {} pings {}", answers ? seen.answered : seen.silent, TELLS, answers ? "answered" : "silent");
    rule.is_wrong_if({unreachable, returning, failing, loss_told});
    rule.add("access_point", {no_access_point}, "works as an access point");
    rule.add("pinged", {}, fmt::format("{} {}", who, answers ? "answers" : "is silent"));
    rule.add("news", {reachable, unreachable}, "which is news", "it has been told");
    rule.add("lasts", {returning, failing}, fmt::format("for {} pings", TELLS), count);
    explanation &made = rule.made();
    if (rule.is({returning, failing}))
        made.brief = count;
    else if (!rule.is({no_access_point}))
        made.brief = who;
    return std::move(made);
}

// ---- the wireless uplink ----

namespace
{

using uplink_walk = gate_walk<uplink>;

std::string lost_text(const status_uplink &link)
{
    constexpr int64_t BOUNCES_AFTER = 60;
    std::string text = fmt::format("lost for {}", length_of(link.lost));
    text += link.grace > 0 ? fmt::format(", {} of grace left", length_of(link.grace))
                           : fmt::format(" of {} until its interface is taken down and up", length_of(BOUNCES_AFTER));
    if (link.fallback > 0)
        text += fmt::format(", the ciphers in {}", length_of(link.fallback));
    return text;
}

void add_gates(uplink_walk &rule, const status_uplink &link)
{
    using enum uplink;
    rule.add("client", {no_uplink}, "a radio is a client");
    rule.add("dhcp_client", {waiting_for_dhcp_client}, "its DHCP client was seen, or had its minute");
    rule.add("settled", {starting}, "settled");
    rule.add("ciphers", {radio_not_asked, trying_ciphers}, "no cipher has to be found out");
    rule.add("supervised", {nothing_supervised}, "the radio is on, its mode a client's");
    rule.add("web_page", {being_changed}, "nobody changes it in the web page");
    rule.add("access_mode", {unknown_access_mode}, "its access mode is known");
    rule.add("link", {wan_lost, association_lost, bounced, fallback_armed, loss_told}, "the link is up",
             lost_text(link));
    rule.add("pppoe", {pppoe_missing, pppoe_restarted}, "its dial-up client runs, if it has one");
    rule.add("told", {return_told}, "nothing to tell of it", "its return was told");
}

} // namespace

explanation explain_uplink(const time_check_status &page, const judged_second & /*now*/)
{
    using enum uplink;
    const status_row &row = page.main.rows[STATUS_WIFI_CONNECT];
    const status_uplink &link = page.main.uplink;
    uplink_walk rule("uplink", row, row.verdict);
    rule.is_wrong_if({radio_not_asked, trying_ciphers, unknown_access_mode, wan_lost, association_lost, bounced,
                      fallback_armed, loss_told, pppoe_missing, pppoe_restarted});
    add_gates(rule, link);
    explanation &made = rule.made();
    if (rule.is({wan_lost, association_lost, bounced, fallback_armed, loss_told}))
        made.brief = lost_text(link);
    else if (link.interface[0] != '\0' && !rule.is({no_uplink}))
        made.brief = fmt::format("{} on {}", text_of(link.mode), text_of(link.interface));
    return std::move(made);
}

// ---- the WANs ----

namespace
{

using wan_walk = gate_walk<reach>;

enum { WIRED = 0, WISP = 1 }; // the modes of the check

const char *names_text(uint32_t names)
{
    switch (names) {
    case STATUS_NO_ANSWER:
        return "fewer than three names were resolved";
    case STATUS_NO_REAL_ANSWER:
        return "a name was resolved to an address that is none of the internet";
    case STATUS_SAME_ANSWER:
        return "two names were resolved to one address";
    default:
        return "";
    }
}

std::string hosts_text(const status_wan &wan)
{
    std::string text;
    for (unsigned i = 0; i < STATUS_HOSTS; i++) {
        if (wan.answers[i] == STATUS_NOT_ASKED)
            continue;
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", text_of(wan.hosts[i]),
                            wan.answers[i] == STATUS_ANSWERED ? "answers" : "silent");
    }
    return text.empty() ? "none was asked" : text;
}

std::string forgiven_text(const status_wan &wan)
{
    return fmt::format("{} of {} passes without an answer forgiven", wan.forgiven, wan.forgivable);
}

std::string line_text(const status_wan &wan)
{
    std::string text(text_of(wan.interface));
    if (wan.address[0] != '\0')
        text += fmt::format("{}{}", text.empty() ? "" : " ", text_of(wan.address));
    return text;
}

void add_gates(wan_walk &rule, const time_check_status &page, const status_wan &wan)
{
    using enum reach;
    rule.add("supported", {not_supported}, "a WAN that can be checked", fmt::format("{} WANs are set", page.wans.num));
    if (page.wans.mode == WIRED) {
        rule.add("link", {no_link}, "its port has link");
        const std::string line = line_text(wan);
        rule.add("address", {no_address},
                 line.empty() || rule.is({no_address}) ? "it has an address" : "it has an address, " + line);
    } else if (page.wans.mode == WISP) {
        rule.add("connected", {not_connected}, "the radio is connected");
    }
    rule.add("names", {unresolved}, "names are resolved", names_text(wan.names));
    rule.add("hosts", {unreachable, forgiven}, "a probe host answers",
             hosts_text(wan) + (rule.is({forgiven}) ? "; " + forgiven_text(wan) : ""));
}

} // namespace

explanation explain_wan(const time_check_status &page, const judged_second & /*now*/, unsigned index)
{
    using enum reach;
    const status_wan &wan = page.wans.wan[index];
    wan_walk rule(fmt::format("wan{}", index + 1), wan.row, wan.row.verdict);
    explanation &made = rule.made();
    if (wan.looked == 0) { // the verdict means nothing yet
        wan_walk unseen(made.module, wan.row, STATUS_UNJUDGED);
        return std::move(unseen.made());
    }
    rule.is_wrong_if({not_supported, no_link, no_address, not_connected, unresolved, unreachable});
    add_gates(rule, page, wan);
    if (rule.is({unreachable}))
        made.brief = hosts_text(wan);
    else if (rule.is({forgiven}))
        made.brief = forgiven_text(wan);
    else if (rule.is({unresolved}))
        made.brief = names_text(wan.names);
    else
        made.brief = line_text(wan);
    if (page.wans.next != 0)
        made.next = coming{page.wans.next, "next pass"};
    return std::move(made);
}

} // namespace tcctl
