#include "time_check/time_check_module.h"

#include <cstddef>
#include <cstring>

#include "platform/network.h"
#include "time_check/time_check_ap_connect.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_daemon.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_reboot.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_stoppage_check.h"
#include "time_check/time_check_wifi.h"
#include "time_check/time_check_wifi_connect.h"
#include "time_check/time_check_wl_guest.h"

static char ppp_address[IF_ADDRESS_SIZE]; // the dial-up address that was last compared with the LAN's

static void check_wan_lan_clash()
{
    if (getIfIp("ppp0", ppp_address) == 0 || getIfIp("ppp45", ppp_address) == 0)
        wan_lan_check(ppp_address, "255.255.255.0");
}

// ---- the table ----

// Some ticks give a result; the loop asks for none.
template <auto Tick>
static void tick()
{
    Tick();
}

constexpr int32_t NO_ID = -1; // a step of the loop that is no module: it has neither name nor messages

struct module_row {
    int32_t id;                     // with that it tells of itself, too
    uint8_t status = STATUS_NOBODY; // but for those without
    const char *name;
    module_init_fn init;
    void (*tick)(); // null: none
};

// In the order in which the loop runs them, which is behaviour: who comes later sees what the earlier ones did.
constexpr module_row rows[] = {
    {.id = TIME_CHECK_DBG_MODULE, .name = "time_check_debug", .init = time_check_debug_init, .tick = nullptr},
    {.id = TIME_CHECK_REBOOT,
     .name = "time_check_reboot",
     .init = time_check_reboot_init,
     .tick = tick<time_check_reboot>},
    {.id = TIME_CHECK_POWER, .name = "time_check_power", .init = time_check_power_init, .tick = tick<time_check_power>},
    {.id = TIME_CHECK_WIFI, .name = "time_check_wifi", .init = time_check_wifi_init, .tick = tick<time_check_wifi>},
    {.id = TIME_CHECK_LED, .name = "time_check_led", .init = time_check_led_init, .tick = tick<time_check_led>},
    {.id = TIME_CHECK_CPU, .name = "time_check_cpu", .init = time_check_cpu_init, .tick = tick<time_check_cpu>},
    {.id = TIME_CHECK_DAEMON,
     .name = "time_check_daemon",
     .init = time_check_daemon_init,
     .tick = tick<time_check_daemon>},
    {.id = NO_ID, .status = STATUS_CLASH, .name = "", .init = nullptr, .tick = check_wan_lan_clash},
    {.id = TIME_CHECK_WIFI_CONNECT,
     .name = "time_check_wifi_connect",
     .init = time_check_wifi_connect_init,
     .tick = tick<time_check_wifi_connect>},
    {.id = TIME_CHECK_AP_CONNECT,
     .name = "time_check_ap_connect",
     .init = time_check_ap_connect_init,
     .tick = tick<time_check_ap_connect>},
    {.id = TIME_CHECK_WL_GUEST,
     .name = "time_check_wl_guest",
     .init = time_check_wl_guest_init,
     .tick = tick<time_check_wl_guest>},
    {.id = NO_ID, .status = STATUS_STOPPAGE, .name = "", .init = nullptr, .tick = tick<time_check_stoppage>},
};
constexpr size_t ROWS = sizeof rows / sizeof rows[0];

constexpr bool each_id_has_one_row()
{
    size_t rows_of[TIME_CHECK_MAX_MODULE_NUM] = {};
    for (const module_row &row : rows)
        if (row.id != NO_ID)
            rows_of[row.id]++;
    size_t wrong = 0;
    for (const size_t number : rows_of)
        wrong += number == 1 ? 0 : 1;
    return wrong == 0;
}
static_assert(each_id_has_one_row());

// The same modules as messages find them: by their ids, which is also the order of their inits.
struct module_table {
    time_check_module_entry entries[TIME_CHECK_MAX_MODULE_NUM];
};

constexpr module_table table_by_id()
{
    module_table table = {};
    for (const module_row &row : rows) {
        if (row.id == NO_ID)
            continue;
        time_check_module_entry *entry = &table.entries[row.id];
        entry->id = row.id;
        entry->init = row.init;
        for (size_t i = 0; row.name[i] != '\0'; i++)
            entry->name[i] = row.name[i];
    }
    return table;
}

static constinit module_table time_check_modules = table_by_id();

// ---- start ----

void init_time_check_module_index()
{
    dispatch_to_modules(time_check_modules.entries, TIME_CHECK_MAX_MODULE_NUM);
}

void init_time_check_module_entries()
{
    LOG_DEBUG(TIME_CHECK_DBG_MODULE, "init module entries.\n");
    init_time_check_module_index();
    for (time_check_module_entry &entry : time_check_modules.entries)
        INIT_LIST_HEAD(&entry.ops_head);
    for (status_row &told : status_memory.main.rows)
        status_turned(&told, 0);
    status_turned(&status_memory.main.stoppage_row, 0);
    for (const time_check_module_entry &entry : time_check_modules.entries) {
        status_begin(static_cast<uint8_t>(entry.id), STATUS_AT_START);
        if (entry.init != nullptr)
            entry.init();
    }
}

// The debug module has no settings, and its message is a switch; power saving's ends what a user has asked for
// (decision 0148).
void read_time_check_module_settings()
{
    TIME_CHECK_MODULES_COMMON_STRUCT message = {};
    for (int32_t id = TIME_CHECK_DBG_MODULE + 1; id < TIME_CHECK_MAX_MODULE_NUM; id++) {
        if (id == TIME_CHECK_POWER)
            set_time_check_power_info();
        else
            handle_time_check_module_msg(id, &message);
    }
}

int32_t find_time_check_module_id_by_name(const char *name)
{
    for (const time_check_module_entry &entry : time_check_modules.entries) {
        if (strcmp(entry.name, name) == 0) {
            LOG_PROGRESS("found msg id:{name:%10s,id:%2d}\n", entry.name, entry.id);
            return entry.id;
        }
    }
    // The line names the last row, not the name searched for: its readers know it so (compat 1).
    LOG_ERROR("not found msg id[%s]\n", time_check_modules.entries[TIME_CHECK_MAX_MODULE_NUM - 1].name);
    return -1;
}

// ---- the loop's pass ----

// The list is unrolled when it is compiled, so that an idle second does not pay for it.
template <size_t Row = 0>
static void tick_from()
{
    if constexpr (Row < ROWS) {
        constexpr module_row row = rows[Row];
        if constexpr (row.tick != nullptr) {
            status_begin(row.id == NO_ID ? row.status : static_cast<uint8_t>(row.id), STATUS_UNJUDGED);
            row.tick();
        }
        tick_from<Row + 1>();
    }
}

void time_check_tick()
{
    tick_from();
    status_end_second();
}
