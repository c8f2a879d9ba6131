// page_maker PATH VERDICT AGE: writes a status page on which each module has the VERDICT-th verdict, and whose main
// loop last ended a second AGE seconds ago. Its names and texts are such that a terminal must not see them.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string_view>

#include "platform/common/status_file.h"

namespace
{

constexpr std::string_view HOSTILE = "a\033]0;b\007\ncd\x9b"
                                     "e f";

template <size_t SIZE>
void fill(char (&field)[SIZE])
{
    for (size_t i = 0; i < SIZE; i++) // to its last byte, without an end
        field[i] = HOSTILE[i % HOSTILE.size()];
}

void fill_row(status_row &row, uint8_t verdict, int64_t now)
{
    row.since = now - 4000;
    row.acted = now - 90000;
    row.next = now + 300;
    row.verdict = verdict;
    fill(row.act);
}

void fill_watchdog(status_watchdog &dog, uint8_t verdict, int64_t now)
{
    dog.enabled = 1;
    dog.num = STATUS_PROGRAMS;
    for (status_program &program : dog.programs) {
        fill(program.name);
        program = {.looked = now - 5,
                   .name = {},
                   .watched = 1,
                   .period = 256,
                   .count = 7,
                   .target = 32,
                   .share = 31,
                   .limit = 900,
                   .verdict = verdict,
                   .reserved = {}};
        fill(program.name);
    }
    strcpy(dog.programs[0].name, "httpd");
}

void fill_main(status_main &main, uint8_t verdict, int64_t now)
{
    for (status_row &row : main.rows)
        fill_row(row, verdict, now);
    fill_row(main.stoppage_row, verdict, now);
    for (status_daily *daily : {&main.reboot, &main.power})
        *daily = {.enabled = 1,
                  .type = 1,
                  .start = 3 * 3600,
                  .end = 5 * 3600,
                  .factory_start = 1,
                  .suspended = 0,
                  .quiet = {.sampled = now,
                            .busy = now - 300,
                            .received = 2100,
                            .sent = 300,
                            .busy_received = 41000,
                            .busy_sent = 4294967295U,
                            .limit = 5000,
                            .no_client = 3,
                            .low = 212,
                            .reserved = 0}};
    for (status_weekly *weekly : {&main.wifi, &main.led}) {
        weekly->setting = 2;
        weekly->num = 2;
        weekly->rules[0] = {23, 0, 0x3e, 6, 0, 0x7c, 1, 0};
        weekly->rules[1] = {12, 30, 0x7f, 13, 0, 0x7f, 0, 0};
    }
    main.guest = {.limit = 5400, .is_running = 1, .since_uptime = 10, .reserved = 0};
    fill_watchdog(main.cpu, verdict, now);
    fill_watchdog(main.daemon, verdict, now);
    fill(main.uplink.interface);
    fill(main.uplink.mode);
    main.uplink.fallback = 90;
    fill(main.gateway.address);
    main.stoppage.fault = 2;
}

void fill_wans(status_wans &wans, uint8_t verdict, int64_t now)
{
    wans.num = STATUS_WANS;
    wans.next = now + 7;
    for (status_wan &wan : wans.wan) {
        fill_row(wan.row, verdict, now);
        wan.looked = now - 8;
        wan.forgivable = 5;
        wan.names = STATUS_SAME_ANSWER;
        fill(wan.interface);
        fill(wan.address);
        for (size_t i = 0; i < STATUS_HOSTS; i++) {
            fill(wan.hosts[i]);
            wan.answers[i] = STATUS_SILENT;
        }
    }
}

} // namespace

int main(int count, char *arguments[])
{
    if (count != 4)
        return 2;
    static time_check_status page;
    static status_file file;
    const int64_t now = time(nullptr);
    const auto verdict = static_cast<uint8_t>(strtol(arguments[2], nullptr, 10));
    fill_main(page.main, verdict, now);
    fill_wans(page.wans, verdict, now);
    memcpy(file.magic, STATUS_MAGIC, sizeof file.magic);
    file.byte_order = STATUS_BYTE_ORDER;
    file.version = STATUS_VERSION;
    file.size = sizeof file;
    file.pid = 4242;
    fill(file.program);
    timespec clock = {};
    clock_gettime(CLOCK_MONOTONIC, &clock);
    file.beat =
        (static_cast<uint32_t>(clock.tv_sec) - static_cast<uint32_t>(strtol(arguments[3], nullptr, 10))) * 1000U;
    status_file_publish(&file, STATUS_PART_MAIN, &page);
    status_file_publish(&file, STATUS_PART_WANS, &page);
    std::ofstream out(arguments[1], std::ios::binary);
    out.write(reinterpret_cast<const char *>(&file), sizeof file);
    return out.flush() ? 0 : 1;
}
