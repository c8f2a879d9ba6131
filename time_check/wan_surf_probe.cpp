#include "time_check/wan_surf_probe.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <unistd.h>

#include "platform/config_store.h"
#include "platform/network.h"
#include "platform/system.h"
#include "time_check/time_check_text.h"

// The console lines here carry fixed numbers, by which the readers of the log know them.

constexpr int PROBE_NUM = 3;
constexpr char DNS_CHAIN[] = "dns_drop";
constexpr int DNS_PORT = 53;
constexpr char RESOLV_CONF[] = "/etc/resolv.conf";
constexpr char NEW_RESOLV_CONF[] = "/etc/resolv.conf.time_check";

// Public hosts that answer pings, each set under addresses of different owners.
constexpr char PROBE_HOSTS_CN[PROBE_NUM][64] = {"www.baidu.com", "www.qq.com", "www.163.com"};
constexpr char PROBE_HOSTS[PROBE_NUM][64] = {"www.google.com", "www.cloudflare.com", "www.wikipedia.org"};

static char ip_string[PROBE_NUM][64]; // the probe hosts in use
static char ipaddr[PROBE_NUM][16];    // their addresses; [0] empty: not resolved
static int32_t first_config = 1;      // 1: the policy rules have yet to be added

// ---- keys ----

int configured_wans()
{
    char value[16];
    GetValue("wans.flag", value);
    const int32_t count = time_check_atoi(value);
    return count < WAN_NUM ? count : WAN_NUM;
}

wan_key_name wan_key(int wan_id, const char *field)
{
    wan_key_name key;
    snprintf(key.text, sizeof key.text, "wan%d%s", wan_id, field);
    return key;
}

static void set_if_changed(const char *name, const char *state)
{
    if (name == nullptr || state == nullptr)
        return;
    char value[8];
    GetValue(name, value);
    if (strcmp(value, state) != 0)
        SetValue(name, state);
}

void set_check_tag(const char *name, const char *state)
{
    set_if_changed(name, state);
}

void set_wan_tag(const char *name, const char *state)
{
    set_if_changed(name, state);
}

// ---- netfilter and policy rules ----

static void new_dns_chain()
{
    doSystemCmd("iptables -D OUTPUT -p udp --dport %d -m state --state NEW -j %s", DNS_PORT, DNS_CHAIN);
    doSystemCmd("iptables -F %s", DNS_CHAIN);
    doSystemCmd("iptables -X %s", DNS_CHAIN);
    doSystemCmd("iptables -N %s", DNS_CHAIN);
    doSystemCmd("iptables -A OUTPUT -p udp --dport %d -m state --state NEW -j %s", DNS_PORT, DNS_CHAIN);
}

void config_iptables_rule(const char *interface, iptables_cmd command)
{
    if (interface == nullptr && command != IPTABLES_NEW_CHAIN) {
        printf("%s %d: the args is error\n", __func__, 126);
        return;
    }
    char name[shell_quoted_size(64)];
    switch (command) {
    case IPTABLES_ADD:
        doSystemCmd("iptables -A %s -o %s -j DROP", DNS_CHAIN, shell_quoted(name, sizeof name, interface));
        break;
    case IPTABLES_DEL:
        doSystemCmd("iptables -D %s -o %s -j DROP", DNS_CHAIN, shell_quoted(name, sizeof name, interface));
        break;
    case IPTABLES_NEW_CHAIN:
        new_dns_chain();
        break;
    default:
        printf("%s %d: the args is error, command = %d\n", __func__, 150, command);
        break;
    }
}

void config_ip_rule_policy(const char *action)
{
    if (action == nullptr)
        return;
    const bool removes = strncmp(action, "del", 3) == 0;
    const bool adds = strncmp(action, "add", 3) == 0 && ipaddr[0][0] != '\0';
    const int wans = configured_wans();
    for (int i = 0; i < wans; i++) {
        for (int j = 0; j < PROBE_NUM; j++) {
            const int priority = IPRULE_POLICY_PRIO_ID_INTERNET_CHECK + PROBE_NUM * i + j;
            if (removes)
                doSystemCmd("ip rule %s prio %d", action, priority);
            else if (adds)
                doSystemCmd("ip rule %s to %s iif lo lookup wan%d prio %d 2> /dev/null", action, ipaddr[j], i + 1,
                            priority);
        }
    }
}

void reset_probe()
{
    config_iptables_rule(nullptr, IPTABLES_NEW_CHAIN);
    config_ip_rule_policy("del");
    first_config = 1;
    memset(ipaddr, 0, sizeof ipaddr);
}

// ---- the name servers' order ----

// The file's text with its first name server taken out.
struct resolv_conf {
    size_t length;
    char text[2048];
    char held[256]; // the line of the first name server; empty: not met yet
};

static void append(resolv_conf *conf, const char *text, size_t length)
{
    memcpy(conf->text + conf->length, text, length);
    conf->length += length;
}

// A line longer than the buffer comes in pieces. It is kept whole or dropped whole; only the held one is cut.
static bool read_resolv_conf(resolv_conf *conf)
{
    line_reader reader;
    if (!open_lines(&reader, RESOLV_CONF))
        return false;
    char piece[256];
    bool begins = true; // the piece is the first of its line
    bool skips = false; // the rest of the line is not wanted
    size_t line_begin = 0;
    while (read_line(&reader, piece, sizeof piece)) {
        const size_t length = strlen(piece);
        if (begins) {
            line_begin = conf->length;
            skips = conf->held[0] == '\0' && strncmp(piece, "nameserver", 10) == 0;
            if (skips)
                copy_text(conf->held, sizeof conf->held, piece);
        }
        if (!skips && length > sizeof conf->text - conf->length) {
            conf->length = line_begin;
            skips = true;
        }
        if (!skips)
            append(conf, piece, length);
        begins = strchr(piece, '\n') != nullptr;
    }
    close_lines(&reader);
    return !reader.failed;
}

static bool lacks_line_end(const resolv_conf *conf)
{
    return conf->length > 0 && conf->text[conf->length - 1] != '\n';
}

// The name server is worth more than the last lines, if there is no room for all.
static void append_held(resolv_conf *conf)
{
    const size_t held_length = strlen(conf->held);
    if (held_length == 0)
        return;
    while (conf->length > 0 && conf->length + (lacks_line_end(conf) ? 1 : 0) + held_length > sizeof conf->text) {
        do
            conf->length--;
        while (lacks_line_end(conf));
    }
    if (lacks_line_end(conf))
        append(conf, "\n", 1);
    append(conf, conf->held, held_length);
}

// Overwrites and then cuts the file, so that at no moment it stands there empty.
static bool write_file(const char *path, const resolv_conf *conf)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const bool written = write(fd, conf->text, conf->length) == static_cast<ssize_t>(conf->length) &&
                         ftruncate(fd, static_cast<off_t>(conf->length)) == 0 && fsync(fd) == 0;
    return close(fd) == 0 && written;
}

// Beside the file and then over it, so that a crash leaves the old or the new one. In place where that cannot be: a
// link must stay one, a mounted file cannot be replaced, the folder may be read-only.
static bool write_resolv_conf(const resolv_conf *conf)
{
    char target[1];
    const bool is_link = readlink(RESOLV_CONF, target, sizeof target) >= 0;
    if (!is_link) {
        if (write_file(NEW_RESOLV_CONF, conf) && rename(NEW_RESOLV_CONF, RESOLV_CONF) == 0)
            return true;
        unlink(NEW_RESOLV_CONF);
    }
    return write_file(RESOLV_CONF, conf);
}

void adjust_resolv_conf_sequence()
{
    resolv_conf conf;
    conf.length = 0;
    conf.held[0] = '\0';
    if (!read_resolv_conf(&conf)) {
        printf("%s %d: open %s fail!\n", __func__, 286, RESOLV_CONF);
        return;
    }
    append_held(&conf);
    if (!write_resolv_conf(&conf))
        printf("%s %d: open %s fail!\n", __func__, 303, RESOLV_CONF);
}

// ---- the probe ----

void set_probe_hosts(const char *country)
{
    const bool cn = strcmp(country, "CN") == 0 || strcmp(country, "cn") == 0;
    memcpy(ip_string, cn ? PROBE_HOSTS_CN : PROBE_HOSTS, sizeof ip_string);
}

static bool resolve(const char *host, char (&address)[16])
{
    const hostent *entry = gethostbyname(host);
    return entry != nullptr && inet_ntop(entry->h_addrtype, entry->h_addr_list[0], address, sizeof address) != nullptr;
}

void dns_resolv()
{
    if (ipaddr[0][0] != '\0')
        return;
    int count = 0;
    for (const char *host : ip_string) {
        if (!resolve(host, ipaddr[count]))
            continue;
        if (count > 0 && strcmp(ipaddr[count], ipaddr[count - 1]) == 0)
            break;
        count++;
    }
    if (count == PROBE_NUM) {
        printf("%s %d: gethostbyname return ip addres is:\n", __func__, 351);
        return;
    }
    printf("%s %d: the dns server is failed\n", __func__, 354);
    memset(ipaddr, 0, sizeof ipaddr);
    adjust_resolv_conf_sequence();
}

static bool any_host_answers(const char *interface)
{
    constexpr int ROUNDS = 2;
    constexpr int PINGS = 2;
    for (int round = 0; round < ROUNDS; round++)
        for (const char *address : ipaddr)
            if (ping_by_interface(address, PINGS, interface) == 0)
                return true;
    return false;
}

int ping_connet_check(const char *interface, internet_status *status, int wanid)
{
    constexpr int32_t GRACE_PASSES = 5;
    char online[16];
    GetValue(wan_key(wanid, "_isonln").text, online);
    if (time_check_atoi(online) == 0) // what a WAN in trouble resolved may be stale
        memset(ipaddr, 0, sizeof ipaddr);
    dns_resolv();
    if (ipaddr[0][0] == '\0') {
        status->dns_resolve_status = DNS_RESOLVE_FAILED;
        return 0;
    }
    status->dns_resolve_status = DNS_RESOLVE_SUCCESS;
    if (first_config == 1) {
        config_ip_rule_policy("add");
        first_config = 0;
    }

    if (any_host_answers(interface)) {
        status->internal_count = 0;
        status->current_status = IS_INTERNET;
        return 1;
    }
    if (status->current_status == IS_INTERNET && status->internal_count >= 0 && status->internal_count < GRACE_PASSES) {
        status->internal_count++;
        return 1;
    }
    status->current_status = IS_INTERNAL;
    return 0;
}
