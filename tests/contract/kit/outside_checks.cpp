// platform/statistics.h, wifi.h, status.h
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/statistics.h"
#include "platform/status.h"
#include "platform/wifi.h"
#include "tests/contract/kit/kit.h"

// ---- traffic ----

struct traffic {
    int hosts;
    uint64_t up;
    uint64_t down;
    uint64_t most_up;   // of one host
    uint64_t most_down; //
};

static bool counts(traffic *sum)
{
    uint64_t first = 0;
    uint64_t second = 0;
    int count = -1;
    *sum = {};
    if (!EXPECT_NUMBER(get_statistic_info(&first, &second, &count), 0) || !EXPECT(count >= 0))
        return false;
    EXPECT((ip_info == nullptr) == (count == 0));
    for (int i = 0; i < count; i++) {
        const users_info &host = ip_info[i];
        sum->up += host.up_bytes;
        sum->down += host.down_bytes;
        sum->most_up = host.up_bytes > sum->most_up ? host.up_bytes : sum->most_up;
        sum->most_down = host.down_bytes > sum->most_down ? host.down_bytes : sum->most_down;
    }
    sum->hosts = count;
    free(ip_info);
    ip_info = nullptr;
    return true;
}

// What the datagrams have of IPv4, or of Ethernet too, where the hardware counts whole frames.
static bool is_of(uint64_t bytes, uint64_t datagrams)
{
    return bytes >= datagrams * 128 && bytes <= datagrams * (128 + 22);
}

static void counted()
{
    traffic before = {};
    traffic after = {};
    if (!counts(&before))
        return;
    WORLD(traffic, "192.168.0.10", 300, 0);
    WORLD(traffic, "192.168.0.11", 500, 700);
    if (!counts(&after))
        return;
    EXPECT(is_of(after.up - before.up, 800));
    EXPECT(is_of(after.down - before.down, 700));
}

static void each_host()
{
    traffic before = {};
    traffic after = {};
    if (!counts(&before))
        return;
    NEEDS(before.hosts == 0, "there are hosts already");
    WORLD(traffic, "192.168.0.10", 300, 0);
    WORLD(traffic, "192.168.0.11", 500, 700);
    if (!counts(&after))
        return;
    EXPECT_NUMBER(after.hosts, 2);
    EXPECT(is_of(after.most_up, 500));
    EXPECT(is_of(after.most_down, 700));
}

static void never_less()
{
    traffic before = {};
    traffic after = {};
    if (!counts(&before))
        return;
    WORLD(traffic, "192.168.0.10", 10, 10);
    if (!counts(&before))
        return;
    EXPECT(before.up > 0);
    if (!counts(&after))
        return;
    EXPECT(after.up >= before.up);
    EXPECT(after.down >= before.down);
}

// ---- radios ----

static bool has_radio(char (&name)[WIFI_IFNAME_SIZE])
{
    return EXPECT_NUMBER(tpi_wifi_get_ifname(24, TPI_WIFI_KIND_CLIENT, name), 0) && EXPECT(name[0] != '\0');
}

static void radio_names()
{
    char name[WIFI_IFNAME_SIZE];
    has_radio(name);
    for (const int band : {24, 5, 6}) {
        memset(name, '#', sizeof name);
        EXPECT_NUMBER(tpi_wifi_get_ifname(band, TPI_WIFI_KIND_CLIENT - 1, name), -1);
        EXPECT_NUMBER(name[0], '\0');
    }
}

static void associated()
{
    char name[WIFI_IFNAME_SIZE];
    WORLD(radio, 1);
    if (!has_radio(name))
        return;
    EXPECT_NUMBER(tpi_wifi_wisp_phy_link_check(name), TPI_CONNECTED);
    EXPECT_NUMBER(tpi_wifi_relay_phy_check(name), WIFI_RELAY_CONNECTED);
    EXPECT_NUMBER(tpi_wifi_wisp_connect_check(name, TPI_WAN_DHCP), TPI_CONNECTING); // no address yet
}

static void not_associated()
{
    char name[WIFI_IFNAME_SIZE];
    WORLD(radio, 1);
    WORLD(radio, 0);
    if (!has_radio(name))
        return;
    const int state = tpi_wifi_wisp_phy_link_check(name);
    EXPECT(state == TPI_NOT_CONNECTED || state == TPI_CONNECTING || state == TPI_NO_WIRE);
    EXPECT(tpi_wifi_relay_phy_check(name) != WIFI_RELAY_CONNECTED);
    EXPECT(tpi_wifi_wisp_connect_check(name, TPI_WAN_DHCP) != TPI_CONNECTED);
}

static void radio_is_off()
{
    char name[WIFI_IFNAME_SIZE];
    WORLD(radio, 1);
    WORLD(radio, -1);
    if (!has_radio(name))
        return;
    EXPECT_NUMBER(tpi_wifi_wisp_phy_link_check(name), -1);
    EXPECT(tpi_wifi_relay_phy_check(name) != WIFI_RELAY_CONNECTED);
    EXPECT(tpi_wifi_wisp_connect_check(name, TPI_WAN_DHCP) != TPI_CONNECTED);
}

static void user_and_uplink()
{
    EXPECT(tpi_wisp_get_webpage_status() != 0);
    WORLD(user_changes_uplink, 1);
    EXPECT_NUMBER(tpi_wisp_get_webpage_status(), 0);
    WORLD(user_changes_uplink, 0);
    EXPECT(tpi_wisp_get_webpage_status() != 0);
}

// ---- the status page ----

static time_check_status before;

static void publish(status_part part, uint32_t main_after, uint32_t wans_after)
{
    time_check_status *const page = status_page();
    page->main.changed = 1;
    page->wans.changed = 1;
    page->main.rows[STATUS_WIFI].since = 1234567;
    page->wans.wan[1].looked = 7654321;
    before = *page;
    const long long begin = kit_ms();
    status_publish(part);
    EXPECT(kit_ms() - begin < 1000);
    EXPECT_NUMBER(page->main.changed, main_after);
    EXPECT_NUMBER(page->wans.changed, wans_after);
    before.main.changed = main_after;
    before.wans.changed = wans_after;
    EXPECT(memcmp(&before, page, sizeof before) == 0);
}

static void published_part()
{
    publish(STATUS_PART_MAIN, 0, 1);
    publish(STATUS_PART_WANS, 1, 0);
}

static constexpr const char *STATISTICS = "statistics.h";
static constexpr const char *WIFI = "wifi.h";
static constexpr const char *STATUS = "status.h";

static constexpr kit_check OF_STATISTICS[] = {
    {STATISTICS, "get_statistic_info", "what LAN hosts send and receive is counted", counted},
    {STATISTICS, "get_statistic_info", "each host has a record of its own", each_host},
    {STATISTICS, "get_statistic_info", "counters never shrink", never_less},
};
static constexpr kit_check OF_WIFI[] = {
    {WIFI, "tpi_wifi_get_ifname", "a radio's client interface has a name, and no other kind has", radio_names},
    {WIFI, "tpi_wifi_wisp_phy_link_check tpi_wifi_relay_phy_check tpi_wifi_wisp_connect_check",
     "an association is seen", associated},
    {WIFI, "tpi_wifi_wisp_phy_link_check tpi_wifi_relay_phy_check tpi_wifi_wisp_connect_check",
     "a lost association is seen", not_associated},
    {WIFI, "tpi_wifi_wisp_phy_link_check", "a radio that is off is told apart from one without an association",
     radio_is_off},
    {WIFI, "tpi_wisp_get_webpage_status", "0 while the user changes the uplink, else not", user_and_uplink},
};
static constexpr kit_check OF_STATUS[] = {
    {STATUS, "status_publish", "the part counts as published, nothing else changes, and nobody waits", published_part},
};

const kit_list statistics_checks = kit_list_of(OF_STATISTICS);
const kit_list wifi_checks = kit_list_of(OF_WIFI);
const kit_list status_checks = kit_list_of(OF_STATUS);
