#include "tools/tcctl/metrics_text.h"

#include <ctime>
#include <map>
#include <utility>

#include <fmt/format.h>

#include "tools/tcctl/event.h"
#include "tools/tcctl/explain.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/page.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

namespace
{

enum class metric_kind { GAUGE, COUNTER };

struct label {
    std::string_view name;
    std::string value;
};

// Each family stands together, its samples in the order in which they were added.
class exposition
{
public:
    explicit exposition(metrics_format format) : format_(format)
    {
    }

    // Names without "time_check_", and without the "_total" of a counter.
    void begin(std::string_view name, metric_kind kind, std::string_view help)
    {
        const bool is_counter = kind == metric_kind::COUNTER;
        name_ = fmt::format("time_check_{}{}", name, is_counter ? "_total" : "");
        // OpenMetrics names the family of a counter without the ending of its samples.
        const std::string family =
            is_counter && format_ == metrics_format::OPEN_METRICS ? fmt::format("time_check_{}", name) : name_;
        text_ += fmt::format("# HELP {} {}\n# TYPE {} {}\n", family, help, family, is_counter ? "counter" : "gauge");
    }

    void add(std::initializer_list<label> labels, int64_t value)
    {
        text_ += name_;
        for (const label &each : labels)
            text_ += fmt::format("{}{}=\"{}\"", &each == labels.begin() ? "{" : ",", each.name, escaped(each.value));
        text_ += fmt::format("{} {}\n", labels.size() == 0 ? "" : "}", value);
    }

    void one(std::string_view name, metric_kind kind, std::string_view help, int64_t value)
    {
        begin(name, kind, help);
        add({}, value);
    }

    std::string text() const
    {
        return text_ + "# EOF\n";
    }

private:
    static std::string escaped(std::string_view value)
    {
        std::string text;
        for (const char character : shown(value)) {
            if (character == '\\' || character == '"')
                text += '\\';
            text += character;
        }
        return text;
    }

    metrics_format format_;
    std::string name_;
    std::string text_;
};

using enum metric_kind;

// ---- of the page ----

void tell_daemon(exposition &out, const status_reading &reading)
{
    const judged_second now = second_of(reading);
    out.begin("version", GAUGE, "The daemon's version, as a label.");
    out.add({{"version", reading.program}}, 1);
    out.one("router_uptime_seconds", GAUGE, "For how long the router has been up.", now.uptime);
    out.one("daemon_uptime_seconds", GAUGE, "For how long the daemon has run.", now.uptime - reading.start);
    out.one("tick_age_seconds", GAUGE, "How long ago the daemon last ended a second.", reading.age_ms / 1000);
    out.one("clock_set", GAUGE, "1: the clock has been set.", clock_is_set(now) ? 1 : 0);
}

// The verdict that holds is 1, the module's others are 0.
void tell_verdicts(exposition &out, const status_reading &reading)
{
    const judged_second now = second_of(reading);
    std::vector<explanation> all;
    for (const std::string_view module : module_names())
        if (module != "wan2" || reading.status.wans.num >= 2)
            all.push_back(explain(reading.status, now, module));
    out.begin("verdict", GAUGE, "1: this is what the module's rule finds.");
    for (const explanation &made : all)
        for (const std::string_view name : verdict_names(made.module))
            out.add({{"module", made.module}, {"verdict", std::string(name)}}, name == made.verdict ? 1 : 0);
    out.begin("verdict_since_timestamp_seconds", GAUGE, "When the module came to its verdict.");
    for (const explanation &made : all)
        out.add({{"module", made.module}}, made.row.since);
    out.begin("counted", GAUGE, "How far the module is in what its verdict counts.");
    for (const explanation &made : all)
        out.add({{"module", made.module}}, made.row.count);
    out.begin("counted_target", GAUGE, "How far that must go; 0: nothing is counted.");
    for (const explanation &made : all)
        out.add({{"module", made.module}}, made.row.target);
}

void tell_restart(exposition &out, const status_main &page)
{
    const status_row &row = page.rows[STATUS_REBOOT];
    const bool is_armed = reason_of(STATUS_REBOOT, row.verdict) == "armed";
    out.one("restart_armed", GAUGE, "1: the router restarts within ten minutes.", is_armed ? 1 : 0);
    out.one("restart_timestamp_seconds", GAUGE, "When it does; 0: no restart is armed.", is_armed ? row.next : 0);
    out.begin("quiet_samples", GAUGE, "Samples in a row in which the network was quiet.");
    out.add({{"module", "reboot"}}, page.reboot.quiet.low);
    out.add({{"module", "power"}}, page.power.quiet.low);
    out.begin("no_client_samples", GAUGE, "Samples in a row without a client.");
    out.add({{"module", "reboot"}}, page.reboot.quiet.no_client);
    out.add({{"module", "power"}}, page.power.quiet.no_client);
}

void tell_wans(exposition &out, const status_wans &page)
{
    struct family {
        std::string_view name;
        std::string_view help;
        uint32_t status_wan::*value;
    };
    constexpr family FAMILIES[] = {
        {"wan_online", "1: the internet is reported through this WAN.", &status_wan::published},
        {"wan_told_online", "1: netctrl was last told that the internet is there.", &status_wan::announced},
        {"wan_forgiven_passes", "Passes in a row without an answer that were still reported as internet.",
         &status_wan::forgiven},
        {"wan_look_seconds", "How long the last look at it took.", &status_wan::duration}};
    for (const family &each : FAMILIES) {
        out.begin(each.name, GAUGE, each.help);
        for (uint32_t i = 0; i < page.num && i < STATUS_WANS; i++)
            out.add({{"wan", std::to_string(i + 1)}, {"interface", std::string(text_of(page.wan[i].interface))}},
                    page.wan[i].*each.value);
    }
    out.one("wan_passes", COUNTER, "Passes of the reachability check since the daemon's start.", page.passes);
}

void tell_programs(exposition &out, const status_main &page)
{
    struct family {
        std::string_view name;
        std::string_view help;
        uint32_t status_program::*value;
    };
    constexpr family FAMILIES[] = {
        {"program_watched", "1: the program is watched.", &status_program::watched},
        {"program_counted", "Looks in a row that counted against it.", &status_program::count},
        {"program_counted_target", "How many of them do something about it.", &status_program::target}};
    const std::pair<std::string_view, const status_watchdog *> dogs[] = {{"cpu", &page.cpu}, {"daemon", &page.daemon}};
    for (const family &each : FAMILIES) {
        out.begin(each.name, GAUGE, each.help);
        for (const auto &[name, dog] : dogs)
            for (uint32_t i = 0; i < dog->num && i < STATUS_PROGRAMS; i++)
                out.add({{"watchdog", std::string(name)}, {"program", std::string(text_of(dog->programs[i].name))}},
                        dog->programs[i].*each.value);
    }
}

// ---- of the journal ----

constexpr std::string_view ACT_NAMES[] = {"note", "set",    "commit",        "leds", "netctrl", "command",
                                          "exec", "reboot", "wan_lan_check", "end",  "file",    "start"};

// The newest number is a counter since the router's start. By kind there is only what the ring holds.
void tell_records(exposition &out, const std::vector<journal_record> &records)
{
    out.one("journal_records", COUNTER, "Records written to the journal since the router's start.",
            records.empty() ? 0 : records.back().sequence);
    std::map<std::string_view, int64_t> held;
    for (const journal_record &each : records)
        if (each.kind < std::size(ACT_NAMES))
            held[ACT_NAMES[each.kind]]++;
    out.begin("journal_held_records", GAUGE, "Records of this kind that the journal still holds.");
    for (const std::string_view name : ACT_NAMES)
        out.add({{"kind", std::string(name)}}, held[name]);
}

void tell_events(exposition &out, const std::vector<journal_record> &records)
{
    event_maker maker;
    std::vector<event> events;
    for (const journal_record &each : records)
        maker.take(each, events);
    maker.flush(events);
    std::map<std::pair<std::string_view, std::string_view>, int64_t> newest;
    for (const event &told : events) {
        int64_t &last = newest[{module_of(told.first().who), name_of(told.kind())}];
        last = std::max(last, told.first().time);
    }
    out.begin("last_event_timestamp_seconds", GAUGE,
              "When such an event last happened, as far as the journal reaches.");
    for (const auto &[key, when] : newest)
        if (key.second != name_of(change_kind::MINOR))
            out.add({{"module", std::string(key.first)}, {"event", std::string(key.second)}}, when);
}

} // namespace

std::string metrics_text(const status_reading *reading, const std::vector<journal_record> &records,
                         metrics_format format)
{
    exposition out(format);
    out.one("up", GAUGE, "1: the daemon runs.", reading != nullptr && reading->is_alive ? 1 : 0);
    if (reading != nullptr) {
        tell_daemon(out, *reading);
        tell_verdicts(out, *reading);
        tell_restart(out, reading->status.main);
        tell_wans(out, reading->status.wans);
        tell_programs(out, reading->status.main);
    }
    tell_records(out, records);
    tell_events(out, records);
    return out.text();
}

} // namespace tcctl
