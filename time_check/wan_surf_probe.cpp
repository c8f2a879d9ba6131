#include "time_check/wan_surf_probe.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/ledger.h"
#include "platform/network.h"
#include "platform/status.h"
#include "platform/system.h"
#include "time_check/time_check_text.h"
#include "time_check/wan_keys.h"

// The console lines here carry fixed numbers, by which the readers of the log know them (compat 14).

constexpr int PROBE_NUM = STATUS_HOSTS;
constexpr char DNS_CHAIN[] = "dns_drop";
constexpr int DNS_PORT = 53;
constexpr char RESOLV_CONF[] = "/etc/resolv.conf";
constexpr char NEW_RESOLV_CONF[] = "/etc/resolv.conf.time_check";

// Public hosts that answer pings, each set under addresses of different owners.
constexpr char PROBE_HOSTS_CN[PROBE_NUM][64] = {"www.baidu.com", "www.qq.com", "www.163.com"};
constexpr char PROBE_HOSTS[PROBE_NUM][64] = {"www.google.com", "www.cloudflare.com", "www.wikipedia.org"};

static struct probe_state {
    char ip_string[PROBE_NUM][64]; // the probe hosts in use
    char ipaddr[PROBE_NUM][16];    // their addresses; [0] empty: not resolved
    int32_t first_config = 1;      // 1: the policy rules have yet to be added
    uint32_t names;                // why they are not resolved, a STATUS_ value
    int32_t is_turning;            // 1: a thread is about to change the name servers' order, or none may any more
} state;

// ---- netfilter and policy rules ----

// iptables' letters: A add, D delete, F flush, N new chain, X delete the chain.
static void do_jump(char letter)
{
    doSystemCmd("iptables -%c OUTPUT -p udp --dport %d -m state --state NEW -j %s", letter, DNS_PORT, DNS_CHAIN);
}

static void do_chain(char letter)
{
    doSystemCmd("iptables -%c %s", letter, DNS_CHAIN);
}

static void do_block(char letter, const char *interface)
{
    char name[shell_quoted_size(64)];
    doSystemCmd("iptables -%c %s -o %s -j DROP", letter, DNS_CHAIN, shell_quoted(name, sizeof name, interface));
}

static void remove_dns_chain()
{
    do_jump('D');
    do_chain('F');
    do_chain('X');
}

static void new_dns_chain()
{
    remove_dns_chain();
    ledger_memory->chain = 1;
    do_chain('N');
    do_jump('A');
}

void config_iptables_rule(const char *interface, iptables_cmd command)
{
    if (interface == nullptr && command != IPTABLES_NEW_CHAIN) {
        printf("%s %d: the args is error\n", __func__, 126);
        return;
    }
    switch (command) {
    case IPTABLES_ADD:
        do_block('A', interface);
        break;
    case IPTABLES_DEL:
        do_block('D', interface);
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
    const bool adds = strncmp(action, "add", 3) == 0 && state.ipaddr[0][0] != '\0';
    const int wans = configured_wans();
    for (int i = 0; i < wans; i++) {
        for (int j = 0; j < PROBE_NUM; j++) {
            const int rule = PROBE_NUM * i + j;
            const int priority = IPRULE_POLICY_PRIO_ID_INTERNET_CHECK + rule;
            if (removes) {
                doSystemCmd("ip rule %s prio %d", action, priority);
            } else if (adds) {
                copy_text(ledger_memory->rules[rule], sizeof ledger_memory->rules[rule], state.ipaddr[j]);
                doSystemCmd("ip rule %s to %s iif lo lookup wan%d prio %d 2> /dev/null", action, state.ipaddr[j], i + 1,
                            priority);
            }
        }
    }
}
static_assert(PROBE_NUM * WAN_NUM == LEDGER_RULES);

void reset_probe()
{
    config_iptables_rule(nullptr, IPTABLES_NEW_CHAIN);
    config_ip_rule_policy("del");
    state.first_config = 1;
    memset(state.ipaddr, 0, sizeof state.ipaddr);
}

// ---- the name servers' order ----

// The file as it is, and as it becomes.
struct resolv_conf {
    struct stat status;
    size_t length;
    size_t new_length;
    char text[2048 + 1]; // the last place shows that there is more
    char new_text[2048 + 1];
};

// False also for a file that does not fit: what is left of it would lose lines.
static bool read_resolv_conf(resolv_conf *conf)
{
    const int fd = open(RESOLV_CONF, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    ssize_t got = 0;
    conf->length = 0;
    do {
        conf->length += got > 0 ? static_cast<size_t>(got) : 0;
        got = read(fd, conf->text + conf->length, sizeof conf->text - conf->length);
    } while (got > 0 || (got < 0 && errno == EINTR));
    const bool is_whole = got == 0 && conf->length < sizeof conf->text && fstat(fd, &conf->status) == 0;
    close(fd);
    return is_whole;
}

static void append(resolv_conf *conf, const char *text, const char *end)
{
    memcpy(conf->new_text + conf->new_length, text, static_cast<size_t>(end - text));
    conf->new_length += static_cast<size_t>(end - text);
}

// Lines go by their ends alone, so that no odd byte in one of them glues it to the next.
static const char *next_line(const char *line, const char *end)
{
    const void *const line_end = memchr(line, '\n', static_cast<size_t>(end - line));
    return line_end == nullptr ? end : static_cast<const char *>(line_end) + 1;
}

static void move_first_name_server(resolv_conf *conf)
{
    const char *const end = conf->text + conf->length;
    conf->text[conf->length] = '\0'; // ends every comparison
    const char *held = conf->text;
    while (held < end && strncmp(held, "nameserver", 10) != 0)
        held = next_line(held, end);
    const char *const rest = next_line(held, end);
    conf->new_length = 0;
    append(conf, conf->text, held);
    append(conf, rest, end);
    if (rest < end && end[-1] != '\n')
        conf->new_text[conf->new_length++] = '\n';
    append(conf, held, rest);
}

static ledger_identity identity_of(const struct stat *file)
{
    return {.node = static_cast<uint32_t>(file->st_ino),
            .seconds = static_cast<uint32_t>(file->st_mtim.tv_sec),
            .nanoseconds = static_cast<uint32_t>(file->st_mtim.tv_nsec),
            .size = static_cast<uint32_t>(file->st_size)};
}

// Whether nobody else has written the file since this program did. It is then the first of the two, so that the second
// is free for what comes.
static bool is_own_file(const struct stat *file)
{
    const ledger_identity found = identity_of(file);
    ledger_identity *const written = ledger_memory->written;
    const size_t known = written[1].seconds == 0 ? sizeof found.node : sizeof found;
    if (memcmp(&found, &written[0], sizeof found) != 0 && memcmp(&found, &written[1], known) != 0)
        return false;
    written[0] = found;
    return true;
}

// Before the file is changed. What another program has written is what will be put back.
static void note_file(const resolv_conf *conf)
{
    time_check_ledger *const ledger = ledger_memory;
    if (ledger->length != 0 && is_own_file(&conf->status))
        return;
    ledger->length = 0;
    __atomic_signal_fence(__ATOMIC_SEQ_CST); // the compiler keeps the order
    memset(ledger->written, 0, sizeof ledger->written);
    memcpy(ledger->text, conf->text, conf->length);
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
    ledger->length = static_cast<uint32_t>(conf->length);
}

// Cuts the file only when it is overwritten, so that at no moment it stands there empty. A new one gets the old one's
// owner and mode, for other programs read it.
static bool write_file(const char *path, int how, const resolv_conf *conf)
{
    const int fd = open(path, O_WRONLY | O_CLOEXEC | how, 0600);
    if (fd < 0)
        return false;
    const bool is_ready = how == 0 || (fchown(fd, conf->status.st_uid, conf->status.st_gid) == 0 &&
                                       fchmod(fd, conf->status.st_mode) == 0);
    struct stat status;
    const bool is_written = is_ready &&
                            write(fd, conf->new_text, conf->new_length) == static_cast<ssize_t>(conf->new_length) &&
                            ftruncate(fd, static_cast<off_t>(conf->new_length)) == 0 && fsync(fd) == 0;
    if (is_written && fstat(fd, &status) == 0)
        ledger_memory->written[1] = identity_of(&status);
    return close(fd) == 0 && is_written;
}

// Beside the file and then over it, so that a crash leaves the old or the new one. In place where that cannot be: a
// link must stay one, a mounted file cannot be replaced, the folder may be read-only. Whatever lies in the new file's
// place was left there by a crash or put there to be followed (decision 0031).
static bool write_resolv_conf(const resolv_conf *conf)
{
    char target[1];
    const bool is_link = readlink(RESOLV_CONF, target, sizeof target) >= 0;
    if (!is_link) {
        unlink(NEW_RESOLV_CONF);
        if (write_file(NEW_RESOLV_CONF, O_CREAT | O_EXCL | O_NOFOLLOW, conf) &&
            rename(NEW_RESOLV_CONF, RESOLV_CONF) == 0)
            return true;
        unlink(NEW_RESOLV_CONF);
    }
    ledger_memory->written[1] = {
        .node = static_cast<uint32_t>(conf->status.st_ino), .seconds = 0, .nanoseconds = 0, .size = 0};
    return write_file(RESOLV_CONF, 0, conf);
}

// Written again at each failure it would wear the flash.
static bool write_if_changed(const resolv_conf *conf)
{
    if (conf->new_length == conf->length && memcmp(conf->new_text, conf->text, conf->length) == 0)
        return true;
    note_file(conf);
    return write_resolv_conf(conf);
}

void adjust_resolv_conf_sequence()
{
    resolv_conf conf;
    if (__atomic_exchange_n(&state.is_turning, 1, __ATOMIC_SEQ_CST) != 0)
        return;
    if (!read_resolv_conf(&conf)) {
        printf("%s %d: open %s fail!\n", __func__, 286, RESOLV_CONF);
    } else {
        move_first_name_server(&conf);
        if (!write_if_changed(&conf))
            printf("%s %d: open %s fail!\n", __func__, 303, RESOLV_CONF);
    }
    __atomic_store_n(&state.is_turning, 0, __ATOMIC_SEQ_CST);
}

static_assert(sizeof resolv_conf::text == LEDGER_TEXT_SIZE + 1);

// Only while it is as this program left it.
static void put_name_servers_back()
{
    time_check_ledger *const ledger = ledger_memory;
    resolv_conf conf;
    if (ledger->length == 0)
        return;
    unlink(NEW_RESOLV_CONF);
    if (ledger->length <= sizeof ledger->text && read_resolv_conf(&conf) && is_own_file(&conf.status)) {
        conf.new_length = ledger->length;
        memcpy(conf.new_text, ledger->text, conf.new_length);
        if (!write_resolv_conf(&conf))
            return; // the next daemon may be able to
    }
    ledger->length = 0;
}

// ---- what is owed ----

void take_probe_back(bool for_good)
{
    while (__atomic_exchange_n(&state.is_turning, 1, __ATOMIC_SEQ_CST) != 0)
        system_sleep(1);
    put_name_servers_back();
    if (!for_good)
        __atomic_store_n(&state.is_turning, 0, __ATOMIC_SEQ_CST);
    for (int rule = 0; rule < LEDGER_RULES; rule++) {
        char address[shell_quoted_size(LEDGER_ADDRESS_SIZE)];
        char(&noted)[LEDGER_ADDRESS_SIZE] = ledger_memory->rules[rule];
        noted[sizeof noted - 1] = '\0';
        if (noted[0] != '\0')
            doSystemCmd("ip rule del to %s iif lo prio %d", shell_quoted(address, sizeof address, noted),
                        IPRULE_POLICY_PRIO_ID_INTERNET_CHECK + rule);
        noted[0] = '\0';
    }
    if (ledger_memory->chain != 0)
        remove_dns_chain();
    ledger_memory->chain = 0;
}

// ---- the probe ----

void set_probe_hosts(const char *country)
{
    const bool cn = strcmp(country, "CN") == 0 || strcmp(country, "cn") == 0;
    memcpy(state.ip_string, cn ? PROBE_HOSTS_CN : PROBE_HOSTS, sizeof state.ip_string);
}

static bool is_own_address(const char *address)
{
    char own[IF_ADDRESS_SIZE];
    const int wans = configured_wans();
    for (int wan_id = 0; wan_id <= wans; wan_id++) { // before the first WAN comes the LAN
        const char *const ifname =
            wan_id == 0 ? getLanIfName() : getWanIfName(wan_id, get_sys_mode(), getWanConnType(wan_id));
        if (ifname != nullptr && getIfIp(ifname, own) == 0 && strcmp(own, address) == 0)
            return true;
    }
    return false;
}

// An answer that names this machine, or no machine at all, is none: its pings would come back without any internet
// (decision 0127). STATUS_NAMES_WORK: it has an address.
static uint32_t resolve(const char *host, char (&address)[16])
{
    const hostent *entry = gethostbyname(host);
    if (entry == nullptr || inet_ntop(entry->h_addrtype, entry->h_addr_list[0], address, sizeof address) == nullptr)
        return STATUS_NO_ANSWER;
    constexpr unsigned char LOOPBACK = 127;
    constexpr unsigned char MULTICAST = 224; // and above it what is reserved, and the broadcast address
    const auto network = static_cast<unsigned char>(entry->h_addr_list[0][0]);
    const bool is_real = network != 0 && network != LOOPBACK && network < MULTICAST && !is_own_address(address);
    return is_real ? STATUS_NAMES_WORK : STATUS_NO_REAL_ANSWER;
}

void dns_resolv()
{
    if (state.ipaddr[0][0] != '\0')
        return;
    int count = 0;
    state.names = STATUS_NAMES_WORK;
    for (const char *host : state.ip_string) {
        const uint32_t result = resolve(host, state.ipaddr[count]);
        state.names = result > state.names ? result : state.names;
        if (result != STATUS_NAMES_WORK)
            continue;
        if (count > 0 && strcmp(state.ipaddr[count], state.ipaddr[count - 1]) == 0) { // neighbours alone (compat 70)
            state.names = STATUS_SAME_ANSWER;
            break;
        }
        count++;
    }
    if (count == PROBE_NUM) {
        printf("%s %d: gethostbyname return ip addres is:\n", __func__, 351); // compat 22
        return;
    }
    printf("%s %d: the dns server is failed\n", __func__, 354);
    memset(state.ipaddr, 0, sizeof state.ipaddr);
    adjust_resolv_conf_sequence();
}

static bool any_host_answers(const char *interface, uint8_t *answers)
{
    constexpr int ROUNDS = 2;
    constexpr int PINGS = 2;
    for (int round = 0; round < ROUNDS; round++) {
        for (int host = 0; host < PROBE_NUM; host++) {
            const bool answered = ping_by_interface(state.ipaddr[host], PINGS, interface) == 0;
            answers[host] = answered ? STATUS_ANSWERED : STATUS_SILENT;
            if (answered)
                return true;
        }
    }
    return false;
}

constexpr int32_t GRACE_PASSES = 5;

static void tell_forgiven(status_wan *told, const internet_status *status)
{
    told->forgiven = status->internal_count > 0 ? static_cast<uint32_t>(status->internal_count) : 0;
    told->forgivable = status->internal_count < 0 ? 0 : GRACE_PASSES;
}

static int probe(const char *interface, internet_status *status, uint8_t *answers)
{
    if (any_host_answers(interface, answers)) {
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

int ping_connet_check(const char *interface, internet_status *status, int wanid)
{
    status_wan *const told = &status_memory.wans.wan[wanid - 1];
    char online[16];
    GetValue(wan_key(wanid, WAN_FIELD_ISONLN).text, online);
    if (time_check_atoi(online) == 0) // what a WAN in trouble resolved may be stale
        memset(state.ipaddr, 0, sizeof state.ipaddr);
    dns_resolv();
    told->names = state.names;
    memcpy(told->hosts, state.ipaddr, sizeof told->hosts);
    if (state.ipaddr[0][0] == '\0') {
        status->dns_resolve_status = DNS_RESOLVE_FAILED;
        return 0;
    }
    status->dns_resolve_status = DNS_RESOLVE_SUCCESS;
    if (state.first_config == 1) {
        config_ip_rule_policy("add");
        state.first_config = 0;
    }
    const int online_now = probe(interface, status, told->answers);
    tell_forgiven(told, status);
    return online_now;
}
