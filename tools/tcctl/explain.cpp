#include "tools/tcctl/explain.h"

#include <algorithm>
#include <array>
#include <ctime>

#include <fmt/format.h>

#include "tools/tcctl/gates.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

namespace
{

constexpr std::array<std::string_view, 12> NAMES = {"reboot", "power",  "wifi", "led",      "guest", "cpu",
                                                    "daemon", "uplink", "ap",   "stoppage", "wan1",  "wan2"};

struct other_name {
    std::string_view other;
    std::string_view name;
};
constexpr std::array<other_name, 4> OTHERS = {
    {{"sleep", "power"}, {"fault", "stoppage"}, {"wifi_connect", "uplink"}, {"ap_connect", "ap"}}};

} // namespace

std::span<const std::string_view> module_names()
{
    return NAMES;
}

std::string_view module_named(std::string_view name)
{
    for (const other_name &one : OTHERS)
        if (one.other == name)
            return one.name;
    const bool is_known = std::find(NAMES.begin(), NAMES.end(), name) != NAMES.end();
    return is_known ? name : std::string_view();
}

bool clock_is_set(const judged_second &now)
{
    constexpr int FIRST_VALID_YEAR = 2001;
    const time_t asked = now.calendar;
    struct tm local = {};
    return localtime_r(&asked, &local) != nullptr && local.tm_year + 1900 >= FIRST_VALID_YEAR;
}

explanation explain(const time_check_status &page, const judged_second &now, std::string_view module)
{
    struct one {
        std::string_view name;
        explanation (*explain)(const time_check_status &page, const judged_second &now);
    };
    constexpr std::array<one, 8> PLAIN = {{{"reboot", explain_reboot},
                                           {"power", explain_power},
                                           {"wifi", explain_wifi},
                                           {"led", explain_led},
                                           {"guest", explain_guest},
                                           {"uplink", explain_uplink},
                                           {"ap", explain_gateway},
                                           {"stoppage", explain_stoppage}}};
    for (const one &each : PLAIN)
        if (each.name == module)
            return each.explain(page, now);
    if (module == "wan1" || module == "wan2")
        return explain_wan(page, now, module == "wan1" ? 0 : 1);
    return explain_watchdog(page, now, module);
}

// ---- the watchdogs ----

namespace
{

std::string share_text(const status_program &program)
{
    const auto percent = [](uint32_t tenths) { return fmt::format("{}.{} %", tenths / 10, tenths % 10); };
    return fmt::format("{} of {}", percent(program.share), percent(program.limit));
}

std::string count_text(const status_program &program, const char *what)
{
    return fmt::format("{} of {} {}", program.count, program.target, what);
}

// Names come from the store, a program may be called as its owner likes.
std::string name_of(const status_program &program)
{
    return std::string(text_of(program.name));
}

explanation explain_load(const status_program &program, const judged_second &now)
{
    using enum cpu;
    gate_walk<cpu> rule("cpu " + name_of(program), {}, program.verdict);
    const bool is_over = rule.is({over_limit, over_for_long, excused});
    rule.is_wrong_if({over_limit, over_for_long});
    rule.add("enabled", {off}, "watched");
    rule.add("due", {not_due}, "sampled in this second", fmt::format("every {}", length_of(program.period)));
    rule.add("share", {within_limit}, "over its limit", share_text(program));
    rule.add("counts", {excused}, "it counts");
    rule.add("lasts", {over_limit}, "for long enough", count_text(program, "samples in a row"));
    explanation &made = rule.made();
    made.is_ordinary = !is_over;
    made.brief = share_text(program);
    if (is_over)
        made.brief += ", " + count_text(program, "samples");
    if (!rule.is({off}) && program.looked != 0 && program.period != 0)
        made.next = coming{std::max<int64_t>(program.looked + program.period, now.calendar), "next sample"};
    return std::move(made);
}

explanation explain_presence(const status_program &program, const judged_second &now)
{
    using enum liveness;
    gate_walk<liveness> rule("daemon " + name_of(program), {}, program.verdict);
    rule.is_wrong_if({look_failed, missing, missing_for_long});
    rule.add("enabled", {off}, "the watchdog is on");
    rule.add("due", {not_due}, "looked at in this second", fmt::format("every {}", length_of(program.period)));
    rule.add("watched", {not_watched}, "watched");
    rule.add("look", {look_failed}, "the list of processes can be read");
    rule.add("missing", {runs}, "missing", "it runs");
    rule.add("counts", {excused}, "that counts");
    rule.add("lasts", {missing}, "for long enough", count_text(program, "looks in a row"));
    explanation &made = rule.made();
    made.is_ordinary = !rule.is({look_failed, excused, missing, missing_for_long});
    if (rule.is({missing, missing_for_long}))
        made.brief = count_text(program, "looks");
    if (!rule.is({off, not_watched}) && program.looked != 0 && program.period != 0)
        made.next = coming{std::max<int64_t>(program.looked + program.period, now.calendar), "next look"};
    return std::move(made);
}

const status_watchdog &watchdog_of(const time_check_status &page, std::string_view module)
{
    return module == "cpu" ? page.main.cpu : page.main.daemon;
}

} // namespace

std::vector<explanation> explain_programs(const time_check_status &page, const judged_second &now,
                                          std::string_view module)
{
    std::vector<explanation> all;
    if (module != "cpu" && module != "daemon")
        return all;
    const status_watchdog &dog = watchdog_of(page, module);
    for (uint32_t i = 0; i < std::min<uint32_t>(dog.num, STATUS_PROGRAMS); i++)
        all.push_back(module == "cpu" ? explain_load(dog.programs[i], now) : explain_presence(dog.programs[i], now));
    return all;
}

explanation explain_watchdog(const time_check_status &page, const judged_second &now, std::string_view module)
{
    const status_watchdog &dog = watchdog_of(page, module);
    explanation made;
    made.module = module;
    made.row = page.main.rows[module == "cpu" ? STATUS_CPU : STATUS_DAEMON];
    made.verdict = dog.enabled != 0 ? "on" : "off";
    made.meaning =
        dog.enabled != 0 ? "The watchdog is on: each program has its own gates." : words_of(cpu{})[0].sentence;
    made.gates.push_back({"enabled", "the watchdog is on", dog.enabled != 0, ""});
    uint32_t watched = 0;
    for (const explanation &program : explain_programs(page, now, module))
        made.is_wrong = made.is_wrong || (dog.enabled != 0 && program.is_wrong);
    for (uint32_t i = 0; i < std::min<uint32_t>(dog.num, STATUS_PROGRAMS); i++)
        watched += dog.programs[i].watched;
    made.brief = watched == 1 ? "1 program watched" : fmt::format("{} programs watched", watched);
    return made;
}

} // namespace tcctl
