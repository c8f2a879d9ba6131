// Bytes forwarded for each LAN host, counted by the kernel in a netfilter table of the ground's own (decision 0023).
#include "platform/statistics.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libmnl/libmnl.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <net/if.h>

#include "platform/config_keys.h"
#include "platform/linux/counted_hosts.h"
#include "platform/linux/deadline.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/store_setting.h"
#include "platform/network.h"
#include "platform/system.h"

constexpr char TABLE[] = "time_check_acct";
constexpr int TRIES = 5;           // of a dump that a change of the table cut short
constexpr int RETRY_CREATE_S = 60; // a kernel or router without nft gets no process every second

// ---- the table ----

// A host's IPv6 addresses change daily and would fill any set, so all of IPv6 counts as one host for each bridge.
constexpr char TABLE_FORMAT[] = R"(table inet %s {
    set up { type ipv4_addr; size %d; flags dynamic; }
    set down { type ipv4_addr; size %d; flags dynamic; }
    set up6 { type iface_index; size %d; flags dynamic; }
    set down6 { type iface_index; size %d; flags dynamic; }
    chain count {
        type filter hook forward priority 0;
        iifname { "%s", "%s" } update @up { ip saddr counter }
        oifname { "%s", "%s" } update @down { ip daddr counter }
        iifname { "%s", "%s" } meta nfproto ipv6 update @up6 { iif counter }
        oifname { "%s", "%s" } meta nfproto ipv6 update @down6 { oif counter }
    }
})";

// The names go between quotes of nft's, and a "*" would be a pattern.
static bool is_plain_ifname(const char *name)
{
    return name[0] != '\0' &&
           strspn(name, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-") == strlen(name);
}

static bool create_table()
{
    const char *const lan = getLanIfName();
    char guests[IFNAMSIZ];
    if (!setting_text(KEY_LAN2_IFNAME, "br1", guests, sizeof guests))
        strcpy(guests, lan);
    if (!is_plain_ifname(lan) || !is_plain_ifname(guests))
        return false;
    char script[1536];
    snprintf(script, sizeof script, TABLE_FORMAT, TABLE, HOSTS_A_SET, HOSTS_A_SET, BRIDGES, BRIDGES, lan, guests, lan,
             guests, lan, guests, lan, guests);
    char nft[] = "nft";
    char *const argv[] = {nft, script, nullptr};
    return _eval(argv, ">/dev/null", 0, nullptr) == 0;
}

// ---- reading a set ----

static mnl_socket *kernel;         // open from the first reading on; null: before it, and after one that failed
static char message_buffer[16384]; // for requests and answers
static uint32_t sequence;          // of the last request

static bool open_kernel()
{
    if (kernel != nullptr)
        return true;
    kernel = mnl_socket_open2(NETLINK_NETFILTER, SOCK_CLOEXEC);
    return kernel != nullptr && mnl_socket_bind(kernel, 0, MNL_SOCKET_AUTOPID) == 0;
}

static void close_kernel()
{
    const int kept_errno = errno;
    if (kernel != nullptr)
        mnl_socket_close(kernel);
    kernel = nullptr;
    errno = kept_errno;
}

// Asks for the whole set.
static bool request_set(const char *name)
{
    nlmsghdr *const message = mnl_nlmsg_put_header(message_buffer);
    message->nlmsg_type = (NFNL_SUBSYS_NFTABLES << 8) | NFT_MSG_GETSETELEM;
    message->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message->nlmsg_seq = sequence;
    nfgenmsg *const header = static_cast<nfgenmsg *>(mnl_nlmsg_put_extra_header(message, sizeof(nfgenmsg)));
    header->nfgen_family = NFPROTO_INET;
    header->version = NFNETLINK_V0;
    mnl_attr_put_strz(message, NFTA_SET_ELEM_LIST_TABLE, TABLE);
    mnl_attr_put_strz(message, NFTA_SET_ELEM_LIST_SET, name);
    return mnl_socket_sendto(kernel, message, message->nlmsg_len) >= 0;
}

static bool read_set_once(const counted_set *set)
{
    sequence++;
    if (!request_set(set->name))
        return false;
    int more = MNL_CB_OK;
    while (more == MNL_CB_OK) {
        const ssize_t length = mnl_socket_recvfrom(kernel, message_buffer, sizeof message_buffer);
        if (length < 0)
            return false;
        counted_set *const context = const_cast<counted_set *>(set); // NOLINT(*-const-cast): the library's signature
        more = mnl_cb_run(message_buffer, static_cast<size_t>(length), sequence, mnl_socket_get_portid(kernel),
                          take_counted_message, context);
    }
    return more == MNL_CB_STOP;
}

// A reading that failed half-way leaves answers in the socket, so the next has another.
static bool read_set(const counted_set *set)
{
    for (int i = 0; i < TRIES; i++) {
        if (open_kernel() && read_set_once(set))
            return true;
        close_kernel();
        if (errno != EINTR)
            return false;
    }
    return false;
}

bool read_counted_hosts()
{
    forget_hosts();
    for (const counted_set &set : counted_sets)
        if (!read_set(&set))
            return false;
    return true;
}

// ---- the call ----

static int64_t create_again_ms;    // the table is not made before; 0: at once
static int log_unreadable_again_s; // the up-time before which it is not said again

// Reads the sets, making the table when it is not there: at the first call, and after someone has removed it.
static bool read_counters()
{
    if (read_counted_hosts())
        return true;
    if (errno != ENOENT || monotonic_ms() < create_again_ms)
        return false;
    if (create_table() && read_counted_hosts())
        return true;
    create_again_ms = monotonic_ms() + int64_t{RETRY_CREATE_S} * MS_A_SECOND;
    return false;
}

// Once a night, and not once a run: whoever wonders about a restart looks at the last night's lines (decision 0130).
static void log_unreadable()
{
    constexpr int SILENCE_S = 12 * 3600;
    const int now_s = get_uptime();
    if (now_s < log_unreadable_again_s)
        return;
    log_unreadable_again_s = now_s + SILENCE_S;
    ground_log(
        "statistics: the netfilter table %s cannot be made or read: %s; until it can, a busy network looks quiet, so "
        "the nightly restart may come while people use it: install nft and a kernel with nf_tables",
        TABLE, strerror(errno));
}

int get_statistic_info(uint64_t *first, uint64_t *second, int *count)
{
    if (!read_counters()) {
        log_unreadable();
        return -1;
    }
    users_info *const records =
        counted_host_num == 0 ? nullptr : static_cast<users_info *>(malloc(counted_host_num * sizeof *records));
    if (counted_host_num != 0 && records == nullptr)
        return -1;
    *first = 0;
    *second = 0;
    for (size_t i = 0; i < counted_host_num; i++) {
        records[i] = counted_hosts[i].bytes;
        *first += records[i].up_bytes;
        *second += records[i].down_bytes;
    }
    *count = static_cast<int>(counted_host_num);
    ip_info = records;
    return 0;
}
