// The tools of the reachability check: name resolution, policy rules, the DNS block and the probe itself.
//
// Everything here runs on the reachability thread, which alone owns the state behind it; no locks.
#ifndef TIME_CHECK_WAN_SURF_PROBE_H
#define TIME_CHECK_WAN_SURF_PROBE_H

#include <cstdint>

enum : uint32_t { IS_INTERNAL = 0, IS_INTERNET = 1 };

enum : uint32_t { DNS_RESOLVE_DEFAULT = 0, DNS_RESOLVE_SUCCESS = 1, DNS_RESOLVE_FAILED = 2 };

// What is known of one WAN.
struct internet_status {
    uint32_t current_status;     // what the probe last reported: IS_INTERNET or IS_INTERNAL
    int32_t internal_count;      // failed passes in a row that were still reported as internet; -1: none is forgiven
    uint32_t last_status;        // what netctrl was last told
    uint32_t dns_resolve_status; // a DNS_RESOLVE_ value
};

enum iptables_cmd { IPTABLES_DEFAULT = 0, IPTABLES_NEW_CHAIN = 1, IPTABLES_ADD = 2, IPTABLES_DEL = 3 };

// Where each user of policy rules begins.
enum IPRULE_POLICY_PRIORITY_ID {
    IPRULE_POLICY_PRIO_ID_INTERNET_CHECK = 5000,
    IPRULE_POLICY_PRIO_ID_STATIC_ROUTE = 6000,
    IPRULE_POLICY_PRIO_ID_LOAD_BALANCE = 32000,
    IPRULE_POLICY_PRIO_ID_LOCAL_ROUTE = 32100,
    IPRULE_POLICY_PRIO_ID_LOCAL_APP_ROUTE = 32150,
};

// Chooses the probe hosts: one set for `country` "CN" or "cn", another for everywhere else.
void set_probe_hosts(const char *country);

// Makes the DNS block and the policy rules afresh and empty, and forgets the probe addresses.
void reset_probe();

// Takes back what stands in the ledger, and nothing else: the order of the name servers, if nobody else has written
// their file meanwhile, the policy rules, the DNS block. `for_good`: at the program's end, on the main thread; the name
// servers' order is not changed after that. Otherwise on the thread of the checks, before they begin.
void take_probe_back(bool for_good);

// Adds or removes the rule that blocks new DNS queries out of `interface`, or makes the chain of these rules afresh and
// empty (`interface` is not looked at then). Anything else is only logged.
void config_iptables_rule(const char *interface, iptables_cmd command);

// "add": sends the probes of every WAN through that WAN's routing table. "del": removes these rules, there or not.
// Anything else, null too: nothing. Only the first three characters count.
void config_ip_rule_policy(const char *action);

// Resolves the probe hosts unless they are resolved. Fewer than three addresses, or two equal ones in a row, count as a
// failed DNS: nothing is kept, and the next name server gets its turn (decision 0032).
void dns_resolv();

// Rotates the name servers of /etc/resolv.conf: the next one is asked first.
void adjust_resolv_conf_sequence();

// Probes WAN `wanid` out of `interface` (null: by the routing table) and notes the outcome in `status`.
// 1: report internet. 0: report none. Blocks for the look-ups and six pings at the most.
int ping_connet_check(const char *interface, internet_status *status, int wanid);

#endif
