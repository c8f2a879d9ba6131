#include "time_check/time_check_common.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "platform/config_store.h"
#include "platform/statistics.h"
#include "platform/system.h"
#include "time_check/time_check.h"
#include "time_check/time_check_power.h"

users_info *ip_info;

constexpr int BAND_PAUSE_S = 1; // netctrl takes the bands one after the other

// ---- clock ----

int32_t time_check_get_now_time(time_check_clock *snapshot, time_t *now)
{
    *now = time(nullptr);
    struct tm local = {};
    localtime_r(now, &local);
    *snapshot = {.tm_sec = local.tm_sec,
                 .tm_min = local.tm_min,
                 .tm_hour = local.tm_hour,
                 .tm_mday = local.tm_mday,
                 .tm_mon = local.tm_mon,
                 .tm_year = local.tm_year};
    return 1;
}

int32_t time_check_get_run_time(uint64_t *run_time)
{
    *run_time = static_cast<uint64_t>(static_cast<int64_t>(get_uptime()));
    return 1;
}

bool time_check_clock_is_set(const time_check_clock *snapshot)
{
    return snapshot->tm_year + 1900 >= FIRST_VALID_YEAR;
}

uint32_t time_check_time_of_day(const time_check_clock *snapshot)
{
    return static_cast<uint32_t>(snapshot->tm_hour) * SECONDS_AN_HOUR +
           static_cast<uint32_t>(snapshot->tm_min) * SECONDS_A_MINUTE + static_cast<uint32_t>(snapshot->tm_sec);
}

int32_t time_check_in_time_check(uint32_t start, uint32_t end)
{
    time_check_clock snapshot;
    time_t calendar = 0;
    time_check_get_now_time(&snapshot, &calendar);
    const uint32_t now = time_check_time_of_day(&snapshot);
    if (start <= end)
        return start <= now && now <= end;
    return now >= start || now <= end;
}

// The bridge's byte count is the random number: traffic spreads the devices, no generator does. Kept on purpose.
uint32_t time_check_get_sleep_rand()
{
    constexpr uint32_t RANGE_S = 600;
    char text[64 + 1];
    const int fd = open("/sys/class/net/br0/statistics/tx_bytes", O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        srand(static_cast<unsigned>(time(nullptr)));
        return static_cast<uint32_t>(rand()) % RANGE_S;
    }
    const ssize_t got = read(fd, text, sizeof text - 1);
    close(fd);
    text[got > 0 ? got : 0] = '\0';
    return static_cast<uint32_t>(time_check_atoi(text)) % RANGE_S;
}

// ---- Wi-Fi and LED switching ----

bool time_check_key_is(const char *key, const char *text)
{
    char value[32];
    GetValue(key, value);
    return strcmp(value, text) == 0;
}

bool time_check_key_is_on(const char *key)
{
    return time_check_key_is(key, "1");
}

void time_check_post_wifi_op(const wifi_band *band, int op)
{
    doSystemCmd("cfm post netctrl %d?op=%d,wl_rate=%d", WIFI_MODULE, op, band->wl_rate);
}

void time_check_close_guest_network()
{
    SetValue("wl.guest.dhcps_enable", "0");
    SetValue("wl5g.ssid1.enable", "0");
    SetValue("wl2g.ssid1.enable", "0");
    SetValue("wl2g.ssid1.guest_enable", "0");
    SetValue("wl5g.ssid1.guest_enable", "0");
}

void time_check_store_band_switches(const wifi_band *band, const char *value)
{
    SetValue(band->public_enable, value);
    SetValue(band->ssid0_enable, value);
}

int32_t time_check_get_wifi_status()
{
    for (const wifi_band &band : wifi_bands)
        if (time_check_key_is_on(band.public_enable) && time_check_key_is_on(band.ssid0_enable))
            return 1;
    return 0;
}

// `function` is whose lines are printed.
static void switch_wifi_on(const char *function)
{
    char enable_2g[16];
    char enable_5g[16];
    GetValue(wifi_bands[BAND_2G].enable, enable_2g);
    GetValue(wifi_bands[BAND_5G].enable, enable_5g);
    const bool on_2g = strcmp(enable_2g, "1") == 0;
    const bool on_5g = strcmp(enable_5g, "1") == 0;

    printf("[%s:%d] wl2g.enable == %s, wl5g.enable == %s\n", function, __LINE__, enable_2g, enable_5g);
    if (on_2g)
        time_check_store_band_switches(&wifi_bands[BAND_2G], "1");
    if (on_5g)
        time_check_store_band_switches(&wifi_bands[BAND_5G], "1");
    if (CommitCfm() == 0)
        return;

    printf("[%s:%d] wl2g.enable == %s, wl5g.enable == %s\n", function, __LINE__, enable_2g, enable_5g);
    if (on_2g) {
        printf("[%s:%d] wl2g.enable == %s\n", function, __LINE__, enable_2g);
        time_check_post_wifi_op(&wifi_bands[BAND_2G], OP_START);
        system_sleep(BAND_PAUSE_S);
    }
    if (on_5g) {
        printf("[%s:%d] wl2g.enable == %s\n", function, __LINE__, enable_2g); // the other band's text: kept on purpose
        time_check_post_wifi_op(&wifi_bands[BAND_5G], OP_START);
    }
}

static void switch_wifi_off()
{
    for (const wifi_band &band : wifi_bands)
        time_check_store_band_switches(&band, "0");
    // Even a missing lifetime closes the guest network: kept on purpose.
    if (!time_check_key_is("wl.guest.effective_time", "0"))
        time_check_close_guest_network();
    if (CommitCfm() == 0)
        return;

    time_check_post_wifi_op(&wifi_bands[BAND_2G], OP_STOP);
    system_sleep(BAND_PAUSE_S);
    time_check_post_wifi_op(&wifi_bands[BAND_5G], OP_STOP);
}

int32_t time_check_set_wifi_status(int32_t on)
{
    const int32_t status = time_check_get_wifi_status();
    if (on == WIFI_ON && status == WIFI_OFF)
        switch_wifi_on(__func__);
    else if (on == WIFI_OFF && status == WIFI_ON)
        switch_wifi_off();
    return 1;
}

int32_t time_check_get_led_sta()
{
    char state[16];
    const bool found = GetValue("nkgw.led.state", state) == 1;
    return found && strcmp(state, "0") != 0 ? LED_AUTO : LED_OFF;
}

// Whether a schedule that is in use turns the LEDs off by other means than the LEDs' own switch.
static bool leds_close_unpowered()
{
    return time_check_key_is("sys.sched.led.closetype", "unpowerClose") &&
           (time_check_key_is("sys.sched.led.type", "time") || time_check_key_is_on("sys.powersleep.enable"));
}

int32_t time_check_set_led_status(uint32_t state)
{
    if (state > LED_AUTO || state == static_cast<uint32_t>(time_check_get_led_sta()))
        return 1;
    char text[16];
    snprintf(text, sizeof text, "%u", state);
    SetValue("nkgw.led.state", text);
    CommitCfm();
    if (state != LED_OFF || !leds_close_unpowered())
        set_all_led(static_cast<int>(state));
    return 1;
}

int32_t time_check_ledclose_power_flag()
{
    if (time_check_power_is_in_power_time() == 0)
        return 0;
    time_check_clock clock;
    time_t now = 0;
    time_check_get_now_time(&clock, &now);
    return time_check_clock_is_set(&clock);
}

// ---- schedule settings ----

uint32_t time_check_parse_time_of_day(const char *text, uint32_t default_hour, uint32_t default_minute)
{
    const char *colon = strchr(text, ':');
    char minute[64];
    if (colon == nullptr || colon == text || !copy_column(minute, sizeof minute, colon + 1, 1))
        return default_hour * SECONDS_AN_HOUR + default_minute * SECONDS_A_MINUTE;
    return static_cast<uint32_t>(time_check_atoi(text)) * SECONDS_AN_HOUR +
           static_cast<uint32_t>(time_check_atoi(minute)) * SECONDS_A_MINUTE;
}

void time_check_parse_wday(const char *text, uint32_t (&wday_en)[7])
{
    memset(wday_en, 0, sizeof wday_en);
    for (uint32_t &day : wday_en) {
        if (*text == '\0' || *text == ';')
            return;
        const char first[2] = {*text, '\0'};
        day = static_cast<uint32_t>(time_check_atoi(first));
        text += strcspn(text, ";");
        if (*text == ';')
            text++;
    }
}

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
        if (strstr(line, ifname) == nullptr || strstr(line, "00:00:00:00:00:00") != nullptr)
            continue;
        copy_column(flags, sizeof flags, line, 3);
        found = strcmp(flags, "0x0") != 0; // 0x0: an entry without an answer
    }
    close_lines(&reader);
    return found;
}

// Only the last eight digits count, which keeps the number within 32 bits; the checks take the wrap for a reset.
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
        LOG_ERROR("fopen (/sys/class/net/%s/statistics/tx_bytes) error\n", ifname);
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
        const bool is_lan = strcmp(ifname, "br0") == 0 || strcmp(ifname, "br1") == 0;
        if (is_lan && copy_column(bytes_out, sizeof bytes_out, line, 5))
            flow->rx_flow += counter_value(bytes_out); // what is sent into the LAN is what its hosts receive
    }
    close_lines(&reader);
    return 1;
}

int32_t time_check_get_bridge_clients()
{
    return time_check_get_client("br0") + time_check_get_client("br1");
}

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
        if (*counters[i].now < *counters[i].before)
            return true;
    return false;
}

static bool all_low(const flow_counter *counters, size_t counter_num, uint32_t limit)
{
    for (size_t i = 0; i < counter_num; i++)
        if (*counters[i].now - *counters[i].before >= limit)
            return false;
    return true;
}

QUIET_SAMPLE time_check_quiet_sample(uint32_t *count, const flow_counter *counters, size_t counter_num, uint32_t limit)
{
    constexpr uint32_t LAST_COMPARED = 1800; // half an hour of samples, the first of them the baseline
    QUIET_SAMPLE sample = QUIET_BASELINE;
    *count += 1;
    if (*count > LAST_COMPARED) {
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
        *counters[i].before = *counters[i].now;
    return sample;
}

float time_check_flow_rate(uint64_t now, uint64_t before, uint32_t period)
{
    const uint32_t kilo_period = 1000 * period;
    return static_cast<float>(now - before) / static_cast<float>(kilo_period == 0 ? 1 : kilo_period);
}

int32_t time_check_count_forwarded(const forwarded_count *watch, uint32_t speed, uint32_t period)
{
    double rates[2];
    for (size_t i = 0; i < 2; i++)
        rates[i] =
            static_cast<double>(time_check_flow_rate(*watch->counters[i].now, *watch->counters[i].before, period));
    const uint32_t number = *watch->count + 1;
    const QUIET_SAMPLE sample = time_check_quiet_sample(watch->count, watch->counters, 2, speed * period);
    if (sample == QUIET_LOW || sample == QUIET_BUSY)
        LOG_DEBUG_OF(watch->module, watch->function, "num %d:froward_rx = %.2fkB/s,froward_tx = %.2fkB/s!!\n", number,
                     rates[0], rates[1]);
    if (sample == QUIET_BUSY)
        LOG_ERROR_OF(watch->function, "num %d:froward_rx = %.2fkB/s,froward_tx = %.2fkB/s !!\n", number, rates[0],
                     rates[1]);
    return sample == QUIET_LONG_ENOUGH;
}
