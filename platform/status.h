// What the daemon tells of itself: of each module what its rule last found, since when, with which numbers, its last
// act and what comes next.
//
// The modules write into one page of plain memory (platform/common/status_page.cpp), the main loop into `main` and the
// reachability thread into `wans`; nobody locks. When a part has changed, the thread that owns it has the ground
// publish it: the plain-Linux ground copies it to where other processes read it (platform/common/status_file.h). A
// firmware that wants none of this does nothing: platform_common has a status_publish that leaves all as it is.
//
// Numbers and short texts only, the same layout on 32 and 64 bits. Passwords and keys never go here.
#ifndef PLATFORM_STATUS_H
#define PLATFORM_STATUS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Goes up when a field moves; readers refuse what they do not know.
enum { STATUS_VERSION = 1 };

// Who judges and acts. Up to 63 the ids of the modules, also of those that a product adds.
enum status_who {
    STATUS_DEBUG = 0,
    STATUS_REBOOT = 1,
    STATUS_POWER = 2,
    STATUS_WIFI = 3,
    STATUS_LED = 4,
    STATUS_CPU = 5,
    STATUS_DAEMON = 6,
    STATUS_WIFI_CONNECT = 7,
    STATUS_AP_CONNECT = 8,
    STATUS_GUEST = 9,
    STATUS_ROWS = 10, // of these each has a row in `main`
    STATUS_STOPPAGE = 64,
    STATUS_CLASH = 65, // the look whether LAN and WAN have addresses of one network
    STATUS_WAN1 = 66,
    STATUS_WAN2 = 67,
    STATUS_NOBODY = 255,
};

// Instead of a verdict: what acts does so before its rule has found anything in this second.
enum {
    STATUS_AT_START = 253,
    STATUS_BY_MESSAGE = 254,
    STATUS_UNJUDGED = 255,
};

enum { STATUS_WANS = 2, STATUS_HOSTS = 3, STATUS_PROGRAMS = 10, STATUS_RULES = 20 };

// Calendar times are seconds since 1970, up-times and lengths of time seconds; 0 is "never" or "not known".
struct status_row {
    int64_t since;        // when it came to this verdict
    int64_t next;         // when it acts or looks next, as far as it knows
    int64_t acted;        // when it last did something
    int32_t since_uptime; // the same two by the up-time
    int32_t acted_uptime; //
    uint32_t count;       // how far it is, in what the verdict counts; of a stoppage, which lasts, see its since_uptime
    uint32_t target;      // and how far that must go; 0: nothing is counted
    uint8_t verdict;      // a line's number in platform/verdicts/, from 0
    uint8_t acted_verdict; // by which it acted, or STATUS_AT_START and so on
    uint8_t reserved[2];
    char act[44]; // what it last did, as in the journal, cut; without secrets
};

// What the network did at the quiet checks' samples. Rates are bytes a second.
struct status_quiet {
    int64_t sampled; // when
    int64_t busy;    // the last sample that was not low
    uint32_t received;
    uint32_t sent;
    uint32_t busy_received; // by LAN hosts, at that sample
    uint32_t busy_sent;
    uint32_t limit;     // below which a sample is low
    uint32_t no_client; // samples in a row without a client
    uint32_t low;       // samples in a row that were low
    uint32_t reserved;
};

// The scheduled reboot and power saving. Times of day are seconds since local midnight.
struct status_daily {
    uint32_t enabled;
    uint32_t type;
    uint32_t start; // as moved by the random offset
    uint32_t end;
    uint32_t factory_start; // 1: the start time is the factory's, and is moved once
    uint32_t suspended;     // power saving: for how long the app has suspended it
    struct status_quiet quiet;
};

// A weekly off period, as it was read. Days: bit 0 Sunday.
struct status_rule {
    uint8_t start_hour, start_minute, start_days;
    uint8_t end_hour, end_minute, end_days;
    uint8_t passes_midnight, reserved;
};

// Wi-Fi and LEDs.
struct status_weekly {
    uint32_t setting; // Wi-Fi: its switch, which is not asked for; LEDs: 0 off, 1 on, 2 by periods
    uint32_t num;     // of the rules in use
    struct status_rule rules[STATUS_RULES];
};

struct status_guest {
    int32_t limit;        // seconds; 0: none
    uint32_t is_running;  // 1: its time
    int32_t since_uptime; // when that began
    uint32_t reserved;
};

// A program of the watchdogs.
struct status_program {
    int64_t looked;   // when it was last looked at; one that nobody watches is not
    char name[24];    //
    uint32_t watched; // 1: it is
    uint32_t period;  // seconds between two looks
    uint32_t count;   // looks in a row that counted against it
    uint32_t target;  // and how many do something about it
    uint32_t share;   // CPU: of the machine at the last look, and the limit, in tenths of a percent
    uint32_t limit;   //
    uint8_t verdict;  // of the last look
    uint8_t reserved[7];
};

struct status_watchdog {
    uint32_t enabled;
    uint32_t num;
    struct status_program programs[STATUS_PROGRAMS];
};

// The wireless uplink.
struct status_uplink {
    int64_t lost;     // for how long the link has been lost, seconds
    uint32_t is_back; // seconds in a row that it was up, of the three after which that is told
    uint32_t is_lost; // and down; more than three are not counted
    int32_t grace;    // seconds before the interface may be taken down and up again
    int32_t fallback; // seconds before the ciphers are tried; 0: no such plan
    char interface[16];
    char mode[16];
};

// The wired access point's gateway.
struct status_gateway {
    uint32_t answered; // pings in a row, three of which are told; more are not counted
    uint32_t silent;   // the same
    char address[16];
};

struct status_stoppage {
    int32_t fault;        // a WAN_STOPPAGE code, 0: none, -1: the WAN has no interface
    int32_t since_uptime; // when it was first seen
};

enum { STATUS_CHANGED = 1, STATUS_NOTED = 2 };

// What the main loop owns.
struct status_main {
    uint32_t changed; // not 0: to be published. STATUS_CHANGED: any of it; STATUS_NOTED alone: what status_noted has
    uint32_t debug;   // the debug switches, a bit a module
    uint8_t acting;   // who acts now, a status_who, and by which verdict
    uint8_t acting_verdict;
    uint8_t reserved[6];
    struct status_row rows[STATUS_ROWS];
    struct status_row stoppage_row;
    struct status_daily reboot;
    struct status_daily power;
    struct status_weekly wifi;
    struct status_weekly led;
    struct status_guest guest;
    struct status_watchdog cpu;
    struct status_watchdog daemon;
    struct status_uplink uplink;
    struct status_gateway gateway;
    struct status_stoppage stoppage;
};

// Answers of a probe host in the last pass.
enum { STATUS_NOT_ASKED = 0, STATUS_ANSWERED = 1, STATUS_SILENT = 2 };

// Why names fail.
enum {
    STATUS_NAMES_WORK = 0,
    STATUS_NO_ANSWER = 1,      // fewer than three names were resolved
    STATUS_NO_REAL_ANSWER = 2, // one of them to an address that is no host of the internet
    STATUS_SAME_ANSWER = 3,    // two of them to the same address
};

struct status_wan {
    struct status_row row;
    int64_t looked;      // when the last look at it ended
    uint32_t duration;   // of that look, seconds
    uint32_t forgiven;   // passes in a row without an answer that were still reported as internet
    uint32_t forgivable; // how many may be
    uint32_t announced;  // as netctrl was last told, 1: internet
    uint32_t published;  // 1: reported as internet in the store
    uint32_t names;      // why names fail
    char interface[16];
    char address[16];
    char hosts[STATUS_HOSTS][16]; // the probe hosts' addresses
    uint8_t answers[STATUS_HOSTS];
    uint8_t reserved[5];
};

// What the reachability thread owns.
struct status_wans {
    uint32_t changed;
    uint32_t num;    // of WANs
    uint32_t mode;   // 0 wired, 1 WISP, 2 AP client or AP
    uint32_t passes; // since the start
    int64_t next;    // when the next pass begins
    uint8_t acting;  // STATUS_WAN1 or STATUS_WAN2
    uint8_t acting_verdict;
    uint8_t reserved[6];
    struct status_wan wan[STATUS_WANS];
};

struct time_check_status {
    struct status_main main;
    struct status_wans wans;
};

// The page that the modules write, and the one call that gives it to the ground. Any thread, each its part.
extern struct time_check_status status_memory;
struct time_check_status *status_page(void);

// What of `main` has changed since it was last published, for a ground that copies no more (decision 0179): words,
// by their number in it, and rows of modules that acted. Valid while `changed` is STATUS_NOTED alone; a word may be
// there twice.
enum { STATUS_NOTED_MAX = 32 };
struct status_changes {
    uint32_t acted; // a bit a row, stoppage_row the one behind the last
    uint32_t num;
    uint16_t words[STATUS_NOTED_MAX];
};
extern struct status_changes status_noted;

// Has the next publishing take over a field of `main`, of `size` bytes, a multiple of 4 or within a word, that has
// changed. Main loop.
void status_field_changed(const void *field, uint32_t size);

// The same for what an act changes of a row; of one that is not in `main` nothing.
void status_row_acted(const struct status_row *row);

enum status_part { STATUS_PART_MAIN, STATUS_PART_WANS };

// A part has changed since it was last published, and the second or the pass is over. Called by the thread that owns
// the part, at most once in each; cannot fail, and must not wait.
void status_publish(enum status_part part);

#ifdef __cplusplus
}
#endif

#endif
