// Events in words.
#include <array>
#include <cctype>
#include <span>

#include <fmt/format.h>

#include "tools/tcctl/event.h"
#include "tools/tcctl/times.h"
#include "tools/tcctl/verdicts.h"

namespace tcctl
{

namespace
{

// Up to its first end or colon, to go on with in the middle of a sentence.
std::string beginning_of(std::string_view sentence)
{
    std::string text(sentence.substr(0, sentence.find_first_of(":.")));
    const bool is_name =
        text.starts_with("Wi-Fi") || (text.size() > 1 && std::isupper(static_cast<unsigned char>(text[1])) != 0);
    if (!text.empty() && !is_name)
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text;
}

std::string_view fault_text(std::string_view code)
{
    constexpr std::array<std::string_view, 4> FAULTS = {"no cable in the WAN port", "the account is rejected",
                                                        "the dial-up server is silent", "the DHCP server is silent"};
    const bool is_known = code.size() == 1 && code[0] >= '1' && code[0] <= '4';
    return is_known ? FAULTS.at(static_cast<size_t>(code[0] - '1')) : "an unknown fault";
}

constexpr std::array<std::string_view, static_cast<size_t>(change_kind::MINOR) + 1> PHRASES = {
    "restarts the router",
    "armed",
    "asleep",
    "awake",
    "Wi-Fi off",
    "Wi-Fi on",
    "Wi-Fi started anew",
    "LEDs off",
    "LEDs on",
    "guest network closed",
    "offline",
    "online",
    "netctrl is told that the internet is gone",
    "netctrl is told that the internet is there",
    "ended",
    "started anew",
    "the fault lasts",
    "fault seen",
    "the fault is gone",
    "netctrl is asked to start the fault page",
    "netctrl is asked to stop the fault page",
    "the uplink is lost",
    "the uplink is back",
    "the uplink's interface is taken down and up",
    "the uplink's WAN is up",
    "the uplink is tried with another cipher",
    "the uplink's dial-up client is started",
    "the upstream is lost",
    "the upstream is back",
    "the LAN's DHCP server is on",
    "looks whether LAN and WAN have addresses of one network",
    "netctrl is told",
    "set",
    "runs",
    "",
    "boot",
    "the daemon starts",
    "the daemon ends",
    "the settings could not be made durable",
    "a setting could not be stored",
    "netctrl was not reached",
    "a command could not be run",
    "housekeeping"};

// One kind's changes, of which only the subjects differ.
std::string phrase_of(std::span<const change> same)
{
    using enum change_kind;
    const change &first = same.front();
    std::string text(PHRASES.at(static_cast<size_t>(first.kind)));
    switch (first.kind) {
    case WIFI_OFF:
    case WIFI_ON:
    case WIFI_RESTARTED:
        return text + (same.size() > 1 ? ", both bands" : ", " + first.subject);
    case PROCESS_KILLED:
    case PROCESS_RESTARTED:
        return first.subject + " " + text;
    case FAULT_SEEN:
        return fmt::format("{}: {}", text, fault_text(first.value));
    case SETTING:
        for (const change &each : same)
            text += fmt::format(" {}={}", each.subject, each.value);
        return text;
    case SET_FAILED:
    case NETCTRL_FAILED:
    case COMMAND_FAILED:
        return fmt::format("{}: {}", text, first.subject);
    case NOTE:
        return first.value;
    default:
        return first.value.empty() ? text : fmt::format("{}: {}", text, first.value);
    }
}

std::string phrases_of(const event &told)
{
    std::string text;
    const std::span<const change> all = told.changes;
    for (size_t at = 0; at < all.size();) {
        size_t end = at;
        while (end < all.size() && all[end].kind == all[at].kind)
            end++;
        if (all[at].kind != change_kind::MINOR || all.size() == 1)
            text += (text.empty() ? "" : "; ") + phrase_of(all.subspan(at, end - at));
        at = end;
    }
    return text;
}

std::string start_text(const event &told)
{
    const std::string &why = told.changes.front().value;
    const journal_record &act = told.first();
    if (act.who == STATUS_NOBODY)
        return phrases_of(told);
    const std::string_view verdict = told.after.empty() ? told.reason : told.after;
    return act.kind == JOURNAL_START && !why.empty()
               ? fmt::format("boot: the restart was ours ({}, {})", module_of(act.who), verdict)
               : phrases_of(told);
}

std::string restart_text(const event &told)
{
    if (told.after == "armed")
        return "armed";
    return told.after == "counting_no_client" ? "nobody was on the network" : "its window has opened";
}

std::string armed_text(const event &told)
{
    std::string text = "armed: the network was quiet for long enough";
    if (const int64_t next = told.first().next; next != 0)
        text += fmt::format("; restarts at {}", time_of(next, told.first().time));
    return text;
}

// How long the same was done again and again.
std::string repeats_text(const event &told)
{
    constexpr int64_t WORTH_TELLING_S = 5;
    const journal_record *longest = &told.first();
    for (const journal_record &act : told.acts)
        if (act.kind != JOURNAL_SET && act.times > longest->times)
            longest = &act;
    if (longest->kind == JOURNAL_SET || longest->times < 2 || longest->last - longest->time < WORTH_TELLING_S)
        return "";
    return fmt::format(" ({} times until {})", longest->times, time_of(longest->last, longest->time));
}

} // namespace

std::string_view reason_of(uint8_t who, uint8_t verdict)
{
    const std::span<const verdict_words> words = words_of_who(who);
    if (verdict < words.size())
        return words[verdict].name;
    switch (verdict) {
    case STATUS_AT_START:
        return "at_start";
    case STATUS_BY_MESSAGE:
        return "by_message";
    default:
        return "";
    }
}

std::string reason_text(uint8_t who, uint8_t verdict)
{
    const std::span<const verdict_words> words = words_of_who(who);
    if (verdict < words.size())
        return beginning_of(words[verdict].sentence);
    switch (verdict) {
    case STATUS_AT_START:
        return "the daemon starts";
    case STATUS_BY_MESSAGE:
        return "a message asked for it";
    default:
        return "";
    }
}

std::vector<std::string_view> verdict_names(std::string_view module)
{
    std::vector<std::string_view> names;
    for (int who = 0; who < STATUS_NOBODY && names.empty(); who++)
        if (module_of(static_cast<uint8_t>(who)) == module)
            for (const verdict_words &each : words_of_who(static_cast<uint8_t>(who)))
                names.emplace_back(each.name);
    return names;
}

std::string text_of(const event &told)
{
    const journal_record &act = told.first();
    if (act.kind == JOURNAL_START)
        return start_text(told);
    if (told.kind() == change_kind::RESTART_ARMED)
        return armed_text(told);
    const std::string why =
        told.kind() == change_kind::RESTART ? restart_text(told) : reason_text(act.who, act.verdict);
    return phrases_of(told) + (why.empty() ? "" : ": " + why) + repeats_text(told);
}

} // namespace tcctl
