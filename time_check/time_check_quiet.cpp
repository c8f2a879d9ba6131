#include "time_check/time_check_quiet.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/network.h"
#include "platform/statistics.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"

users_info *ip_info;

// ---- traffic and clients ----

int32_t time_check_get_client(const char *ifname)
{
    constexpr char path[] = "/proc/net/arp";
    constexpr size_t LINE_MAX_LENGTH = 128;
    if (ifname == nullptr)
        return 0;
    line_reader reader;
    if (!open_lines(&reader, path)) {
        LOG_ERROR("open %s fail!\n", path);
        return 0;
    }

    int32_t found = 0;
    char line[LINE_MAX_LENGTH + 1];
    read_line(&reader, line, sizeof line); // the header
    while (found == 0 && read_line(&reader, line, sizeof line)) {
        char flags[16];
        // The name may be any part of the line (compat 29).
        if (strstr(line, ifname) == nullptr || strstr(line, "00:00:00:00:00:00") != nullptr)
            continue;
        copy_column(flags, sizeof flags, line, 3);
        found = strcmp(flags, "0x0") != 0; // 0x0: an entry without an answer (decision 0004)
    }
    close_lines(&reader);
    return found;
}

// Only the last eight digits count, which keeps the number within 32 bits; the checks take the wrap for a reset
// (compat 28).
static uint64_t counter_value(const char *text)
{
    constexpr size_t DIGITS = 8;
    const size_t length = strlen(text);
    return static_cast<uint64_t>(time_check_atoi(length > DIGITS ? text + length - DIGITS : text));
}

static bool read_counter(const char *ifname, const char *direction, uint64_t *value)
{
    char path[128];
    snprintf(path, sizeof path, "/sys/class/net/%s/statistics/%s_bytes", ifname, direction);
    line_reader reader;
    if (!open_lines(&reader, path))
        return false;
    char line[64];
    char word[64];
    read_line(&reader, line, sizeof line);
    close_lines(&reader);
    copy_column(word, sizeof word, line, 1);
    *value = counter_value(word);
    return true;
}

int32_t time_check_get_RX_TX_pack(const char *ifname, P_FLOW_SPEED flow)
{
    if (!read_counter(ifname, "tx", &flow->tx_flow)) {
        LOG_ERROR("fopen (/sys/class/net/%s/statistics/tx_bytes) error\n", ifname); // compat 23
        return 0;
    }
    if (!read_counter(ifname, "rx", &flow->rx_flow)) {
        LOG_ERROR("fopen (/sys/class/net/%s/statistics/rx_bytes) error\n", ifname);
        return 0;
    }
    return 1;
}

int32_t time_check_get_forword_RX_TX_pack(P_FLOW_SPEED flow)
{
    uint64_t first = 0;
    uint64_t second = 0;
    int count = 0;
    if (get_statistic_info(&first, &second, &count) != 0)
        return 1;
    if (ip_info == nullptr)
        return 1;
    for (int i = 0; i < count; i++) {
        flow->rx_flow += ip_info[i].down_bytes;
        flow->tx_flow += ip_info[i].up_bytes;
    }
    free(ip_info);
    ip_info = nullptr;
    return 1;
}

static bool is_usual_bridge(const char *name)
{
    return strcmp(name, "br0") == 0 || strcmp(name, "br1") == 0;
}

int32_t time_check_get_multicast_forword_RX_TX_pack(P_FLOW_SPEED flow)
{
    constexpr char path[] = "/proc/net/ip_mr_vif";
    constexpr size_t LINE_MAX_LENGTH = 256;
    line_reader reader;
    if (!open_lines(&reader, path)) {
        LOG_ERROR("open %s fail!\n", path);
        return 0;
    }

    char line[LINE_MAX_LENGTH + 1];
    read_line(&reader, line, sizeof line); // the header
    while (read_line(&reader, line, sizeof line)) {
        char ifname[16];
        char bytes_out[64];
        copy_column(ifname, sizeof ifname, line, 2);
        if (is_usual_bridge(ifname) && copy_column(bytes_out, sizeof bytes_out, line, 5))
            flow->rx_flow += counter_value(bytes_out); // what is sent into the LAN is what its hosts receive
    }
    close_lines(&reader);
    return 1;
}

static int32_t other_bridge_has_client(const char *name)
{
    return name[0] != '\0' && !is_usual_bridge(name) ? time_check_get_client(name) : 0;
}

// Where LAN or guests have a bridge of another name, that nobody is on the usual ones says nothing (decision 0129).
int32_t time_check_get_bridge_clients()
{
    const int32_t clients = time_check_get_client("br0") + time_check_get_client("br1");
    if (clients != 0)
        return clients;
    char guests[16];
    GetValue(KEY_LAN2_IFNAME, guests);
    return other_bridge_has_client(getLanIfName()) + other_bridge_has_client(guests);
}

// A probe that fails adds nothing (compat 30).
FLOW_SPEED time_check_get_forwarded_flow()
{
    FLOW_SPEED routed = {};
    FLOW_SPEED multicast = {};
    time_check_get_forword_RX_TX_pack(&routed);
    time_check_get_multicast_forword_RX_TX_pack(&multicast);
    return {.rx_flow = routed.rx_flow + multicast.rx_flow, .tx_flow = routed.tx_flow + multicast.tx_flow};
}

// ---- the quiet-network count ----

static bool went_back(const flow_counter *counters, size_t counter_num)
{
    for (size_t i = 0; i < counter_num; i++)
        if (counters[i].now < counters[i].before)
            return true;
    return false;
}

static bool all_low(const flow_counter *counters, size_t counter_num, uint32_t limit)
{
    for (size_t i = 0; i < counter_num; i++)
        if (counters[i].now - counters[i].before >= limit)
            return false;
    return true;
}

// decision 0005
QUIET_SAMPLE time_check_quiet_sample(uint32_t *count, flow_counter *counters, size_t counter_num, uint32_t limit)
{
    QUIET_SAMPLE sample = QUIET_BASELINE;
    *count += 1;
    if (*count > LOW_SAMPLES) {
        *count = 0;
        return QUIET_LONG_ENOUGH;
    }
    if (*count > 1) {
        if (went_back(counters, counter_num)) {
            sample = QUIET_WENT_BACK;
            *count -= 1;
        } else if (all_low(counters, counter_num, limit)) {
            sample = QUIET_LOW;
        } else {
            sample = QUIET_BUSY;
            *count = 0;
        }
    }
    for (size_t i = 0; i < counter_num; i++)
        counters[i].before = counters[i].now;
    return sample;
}

WITH_FRACTIONS float time_check_flow_rate(uint64_t now, uint64_t before, uint32_t period)
{
    const uint32_t kilo_period = 1000 * period;
    return static_cast<float>(now - before) / static_cast<float>(kilo_period == 0 ? 1 : kilo_period);
}

// Bytes a second, as far as 32 bits go.
static uint32_t byte_rate(const flow_counter *counter, uint32_t period)
{
    const uint64_t bytes = counter->now - counter->before;
    const uint32_t counted = bytes < UINT32_MAX ? static_cast<uint32_t>(bytes) : UINT32_MAX;
    return period == 0 ? counted : counted / period;
}

// Before the counters become the previous ones; whether the sample was low is told afterwards.
static void tell_rates(const forwarded_count *watch, uint32_t speed, uint32_t period)
{
    status_quiet *const seen = watch->seen;
    status_note(&seen->sampled, time(nullptr));
    status_note(&seen->limit, speed);
    status_note(&seen->received, watch->count == 0 ? 0 : byte_rate(&watch->counters[0], period));
    status_note(&seen->sent, watch->count == 0 ? 0 : byte_rate(&watch->counters[1], period));
}

void time_check_tell_counts(status_row *row, const forwarded_count *watch, uint32_t no_client)
{
    status_note(&watch->seen->no_client, no_client);
    status_note(&watch->seen->low, watch->count);
    if (no_client != 0)
        status_count(row, no_client, NO_CLIENT_SAMPLES);
    else
        status_count(row, watch->count, watch->count == 0 ? 0 : LOW_SAMPLES);
}

static void tell_busy(status_quiet *seen)
{
    status_note(&seen->busy, seen->sampled);
    status_note(&seen->busy_received, seen->received);
    status_note(&seen->busy_sent, seen->sent);
}

WITH_FRACTIONS int32_t time_check_count_forwarded(uint32_t module, forwarded_count *watch, uint32_t speed,
                                                  uint32_t period, const char *function)
{
    const FLOW_SPEED flow = time_check_get_forwarded_flow();
    watch->counters[0].now = flow.rx_flow;
    watch->counters[1].now = flow.tx_flow;
    double rates[2];
    for (size_t i = 0; i < 2; i++)
        rates[i] = static_cast<double>(time_check_flow_rate(watch->counters[i].now, watch->counters[i].before, period));
    const uint32_t number = watch->count + 1;
    tell_rates(watch, speed, period);
    const QUIET_SAMPLE sample = time_check_quiet_sample(&watch->count, watch->counters, 2, speed * period);
    // The two bodies differ in a blank (compat 21).
    if (sample == QUIET_LOW || sample == QUIET_BUSY)
        LOG_DEBUG_OF(module, function, "num %d:froward_rx = %.2fkB/s,froward_tx = %.2fkB/s!!\n", number, rates[0],
                     rates[1]);
    if (sample == QUIET_BUSY)
        tell_busy(watch->seen);
    if (sample == QUIET_BUSY)
        LOG_PROGRESS_OF(function, "num %d:froward_rx = %.2fkB/s,froward_tx = %.2fkB/s !!\n", number, rates[0],
                        rates[1]);
    return sample == QUIET_LONG_ENOUGH;
}
